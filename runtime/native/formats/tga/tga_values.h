// Properties of TGA images, and the bytes of their files.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_VALUES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_VALUES_H

#include <optional>
#include <string>

#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/formats/tga/tga_extension.h"

namespace zelmor::embed {

// A text of a file, which states no encoding: UTF-8 if it is that, otherwise Latin-1.
std::u16string text_of_tga(const std::string& bytes);

// Sets the properties of an image from the extension area of its file.
void put_tga_extension(ImageObject& image, const imagework::TgaExtension& extension);
// Writes the properties that say something else than the area into it, and makes one where there has to be one.
void take_tga_extension(const ImageObject& image, std::optional<imagework::TgaExtension>& extension);

// "1.10b": the version with a letter, which may be missing.
std::u16string tga_version_text(int number, char letter);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_VALUES_H

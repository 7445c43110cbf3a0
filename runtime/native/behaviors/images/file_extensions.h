// The formats that the extensions of file names stand for.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FILE_EXTENSIONS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FILE_EXTENSIONS_H

#include <string>

#include "runtime/native/imagework/formats.h"

namespace zelmor::embed {

// In small letters and without the dot; empty where the name has none.
std::string extension_of(const std::string& path);

// The format that a file name asks for: kUnknown where its extension stands for no format of the API, or where it has
// none. NotSupportedException for the extension of a format that this runtime cannot write.
imagework::Format format_of_extension(const std::string& path);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_FILE_EXTENSIONS_H

// The areas behind the pixels of a TGA file, which its footer leads to.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_AREAS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_AREAS_H

#include <cstdint>

#include "runtime/native/formats/tga/tga_encoding.h"
#include "runtime/native/formats/tga/tga_header.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {

constexpr uint64_t kTgaFooterSize = 26;
constexpr char kTgaSignature[] = "TRUEVISION-XFILE.";  // with the zero at its end
constexpr size_t kTgaCorrectionBytes = 256 * 4 * 2;

// Whether a file of so many bytes ends with the footer.
bool has_tga_footer(const ByteReader& file, uint64_t size);

// Fills in what the areas say. An area that does not lie within the file is left out: the pixels need none. All of
// them together have no more bytes than the file and limits::kTextBytes.
void read_tga_areas(SourceBytes& bytes, const TgaHeader& header, TgaEncoding& settings);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TGA_TGA_AREAS_H

// The data of a JPEG file as a stream of a PDF file.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_JPEG_COPY_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_JPEG_COPY_H

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace zelmor::imagework {

// The picture of the file without anything that only describes it: EXIF, XMP, profiles, comments, and what follows its
// end. Nothing where readers of PDF may take the data for something else: codings other than baseline and progressive
// Huffman of 8 bits, inks, colors that no marker tells. `has_profile`: the picture has a profile of its own; a file
// where that is otherwise was converted when it was loaded.
std::optional<std::vector<uint8_t>> jpeg_for_pdf(std::span<const uint8_t> file, bool has_profile);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_JPEG_COPY_H

// Whether the strips and tiles of a page can be as large, and where, as its directory says.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_PIECE_SIZES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_PIECE_SIZES_H

#include <cstdint>

#include "runtime/native/formats/tiff/page_layout.h"

namespace zelmor::imagework {

// PictureError(kDamaged) where the compressed bytes of the page cannot hold all of its pixels: a few bytes that claim
// gigabytes are refused before memory is taken for them.
void require_enough_bytes(TiffInput& input, const PageLayout& layout);

// Whether the directory gives all strips or tiles of the page a place in the file.
bool has_all_pieces(TiffInput& input);

// PictureError(kTooLarge) for tiles, or strips that are decoded as a whole, that take more memory than any writer asks
// of its readers.
void require_sensible_pieces(const PageLayout& layout, uint32_t width, uint32_t height);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_PIECE_SIZES_H

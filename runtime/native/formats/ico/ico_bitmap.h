// A BMP entry of an ICO or CUR file: a BMP without the file header, and behind its pixels a mask of one bit a pixel.
// The header states the height of both together.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_ICO_ICO_BITMAP_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_ICO_ICO_BITMAP_H

#include <cstdint>
#include <memory>

#include "runtime/native/formats/ico/ico_directory.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// What the header of such an entry says.
struct IcoBitmap {
    int32_t width = 0;
    int32_t height = 0;  // of the picture
    int bits = 0;
    bool top_down = false;
    uint64_t mask_at = 0;      // in the entry; the pixels end there
    uint64_t mask_stride = 0;  // bytes of a row of it
    bool has_mask = false;     // all of it is there
    bool has_gaps = false;     // pixels are missing
    SharedSource pixels;       // the picture as a BMP file
};

// `entry` has the bytes of the entry alone. PictureError: kDamaged, kUnsupported or kTooLarge.
IcoBitmap read_ico_bitmap(const SharedSource& entry, const IcoEntry& directory);

// The rows with the transparency that the mask or the alpha channel has. The pixels are looked at before the form is
// known, row by row.
std::unique_ptr<RowReader> open_ico_bitmap(const SharedSource& entry, const IcoBitmap& bitmap,
                                           const DecodeOptions& options);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_ICO_ICO_BITMAP_H

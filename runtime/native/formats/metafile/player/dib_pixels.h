// Bitmaps of records as colors.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_DIB_PIXELS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_DIB_PIXELS_H

#include "runtime/native/formats/metafile/player/device_objects.h"
#include "runtime/native/formats/metafile/player/fields.h"

namespace zelmor::embed::metafile {

struct DibReading {
    int64_t usage = 0;  // 1: the colors are indices into the palette
    std::span<const Argb> palette = {};
    bool keeps_alpha = false;  // the fourth byte of a pixel is its alpha, which the others are multiplied by
    bool two_colors = false;   // bits as black and white, whatever the colors are
    int64_t rows = -1;         // that the data has, where these are not all
};

// A WmfDeviceIndependentBitmap, or null. Pixels that the data lacks are black. PictureError for a bitmap of a kind
// that nothing reads.
Pixels dib_pixels(const ManagedObject* bitmap, const DibReading& reading);
bool is_top_down(const ManagedObject& bitmap);
// A WmfBitmap16, whose pixels stand elsewhere in some records.
Pixels old_bitmap_pixels(const ManagedObject& bitmap, const FileBytes& bits);
// The picture of a file in memory: PNG, JPEG and others.
Pixels file_pixels(std::span<const uint8_t> file);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_DIB_PIXELS_H

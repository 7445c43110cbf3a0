// How a page of a TIFF file stores its samples, and the form that they have in memory.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_PAGE_LAYOUT_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_PAGE_LAYOUT_H

#include <cstdint>

#include "runtime/native/formats/tiff/sample_rows.h"
#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/formats/tiff/tiff_input.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

struct PageLayout {
    uint32_t width = 0;
    uint32_t height = 0;
    int bits = 0;     // of a sample, as stored
    int samples = 0;  // of a pixel, as stored
    TiffCompression compression = TiffCompression::kNone;
    TiffPhotometric photometric = TiffPhotometric::kMinIsBlack;
    bool separate = false;  // each band lies for itself
    bool tiled = false;
    uint32_t tile_width = 0;
    uint32_t tile_height = 0;
    uint32_t rows_per_strip = 0;
    // The library converts to RGB or gray of 8 bits: YCbCr that is not of JPEG, and JPEG of the old style.
    bool converted = false;

    PixelForm form;
    FileColors colors;  // how the stored samples stand for those of the form

    int planes() const { return separate ? samples : 1; }
    int samples_of_plane() const { return separate ? 1 : samples; }
    size_t pixel_size() const { return form.pixel_size(); }
};

// The layout of the page that the input is at. It tells the library to give RGB where a page is JPEG of YCbCr.
// PictureError(kUnsupported) names what is not read.
PageLayout read_layout(TiffInput& input);

// The same as the boundary to the pictures has it, with palette, profile and resolution.
RowsHeader header_of(TiffInput& input, const PageLayout& layout);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_PAGE_LAYOUT_H

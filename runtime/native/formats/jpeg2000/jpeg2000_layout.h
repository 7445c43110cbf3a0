// From the channels of a JPEG 2000 file to the form of a picture.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_LAYOUT_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_LAYOUT_H

#include <cstdint>
#include <optional>
#include <vector>

#include "runtime/native/formats/jpeg2000/jpeg2000_structure.h"
#include "runtime/native/imagework/pixels/pixel_form.h"

namespace zelmor::imagework {

// The samples that become one band of the picture.
struct Jpeg2000Band {
    uint16_t component = 0;
    std::optional<uint8_t> column = {};  // of the palette
    int bits = 8;
    bool is_signed = false;
};

struct Jpeg2000Layout {
    PixelForm form;
    int32_t width = 0;
    int32_t height = 0;
    uint32_t unit_x = 1;  // pixels of the reference grid to a pixel of the picture
    uint32_t unit_y = 1;
    int bits = 8;                     // of the deepest band in the file
    std::vector<Jpeg2000Band> bands;  // in the order of the form; one of an indexed picture, its indices
    bool ycc = false;                 // the three colors are luminance and two differences
    bool premultiplied = false;
    std::vector<Argb> palette;
    std::vector<uint64_t> deep_palette;
};

// PictureError(kUnsupported) that names what the pictures here cannot be, kDamaged or kTooLarge.
Jpeg2000Layout jpeg2000_layout(const ByteReader& file, const Jpeg2000Structure& structure);

// A color of 16 bits a channel that was multiplied by its opacity, without.
uint64_t unmultiplied(uint64_t color);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_LAYOUT_H

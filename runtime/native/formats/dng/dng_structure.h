// The structure of a DNG file: a TIFF whose directories hold previews and the raw picture, the samples of a sensor.
//
// No pixel is decoded here. A *CFA* is the pattern of colored filters on the sensor: each pixel has a sample of one
// color. A *linear* raw picture has samples of all colors for each pixel. The *active area* is the part of the sensor
// that light reaches, and the *crop* is the part of it that is the picture; the rest is for the neighborhoods of
// pixels.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DNG_DNG_STRUCTURE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DNG_DNG_STRUCTURE_H

#include <cstdint>
#include <optional>
#include <string>

#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/pixel_form.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

struct DngStructure {
    bool readable = false;  // there is a raw picture whose sizes make sense
    std::string obstacle;   // why it is not read all the same; empty for one that is
    int32_t raw_width = 0;
    int32_t raw_height = 0;
    Rect active{};  // in the raw picture
    Rect crop{};    // in the active area
    int orientation = 1;
    int bits = 0;     // of a sample
    int samples = 0;  // of a pixel in the file
    bool linear = false;
    bool compressed = false;
    bool has_curve = false;          // samples stand for numbers of more bits
    double baseline_exposure = 0.0;  // by how much to make the picture brighter, in powers of two
    std::optional<Resolution> resolution = {};

    // Of the upright picture.
    bool is_turned() const { return orientation >= 5; }
    int32_t width() const { return is_turned() ? crop.height : crop.width; }
    int32_t height() const { return is_turned() ? crop.width : crop.height; }
    // Gray of a sensor without filters, otherwise RGB; 16 bits unless the samples have no more than 8.
    PixelForm form() const;
};

// Of a file that begins as a DNG.
DngStructure dng_structure(const ByteReader& file);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DNG_DNG_STRUCTURE_H

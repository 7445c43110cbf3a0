// The form of a picture's samples: color model, sample type, depth and alpha.
//
// A picture keeps the form that its file has. Rows in memory are interleaved samples in native byte order, without
// padding. Samples of fewer than 8 bits lie in bytes, one sample a byte: those of a gray picture are spread over the
// whole range (1 bit: 0 and 255; 2 bits: multiples of 85; 4 bits: multiples of 17), so that depth changes no formula,
// and those of an indexed picture are the indices themselves.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_PIXEL_FORM_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_PIXEL_FORM_H

#include <cstddef>
#include <cstdint>

namespace zelmor::imagework {

enum class ColorModel : uint8_t {
    kGray,
    kRgb,
    kCmyk,     // amounts of ink: 0 is none, the greatest value is all of it
    kLab,      // CIE L*a*b*, D50; of integers as TIFF encodes them: L* from 0, a* and b* signed
    kIndexed,  // one index a pixel into the palette; transparency is the palette's
};

enum class SampleType : uint8_t { kUint8, kInt8, kUint16, kInt16, kUint32, kInt32, kFloat, kDouble };

constexpr size_t sample_size(SampleType type) {
    switch (type) {
        case SampleType::kUint8:
        case SampleType::kInt8:
            return 1;
        case SampleType::kUint16:
        case SampleType::kInt16:
            return 2;
        case SampleType::kUint32:
        case SampleType::kInt32:
        case SampleType::kFloat:
            return 4;
        case SampleType::kDouble:
            return 8;
    }
    return 0;
}

struct PixelForm {
    ColorModel color = ColorModel::kRgb;
    SampleType sample = SampleType::kUint8;
    int bits = 8;        // of a sample in the file: 1, 2, 4 or 8 of kUint8, 16 (half) or 32 of kFloat
    bool alpha = false;  // a last band, never premultiplied in memory; never of an indexed picture

    bool operator==(const PixelForm&) const = default;

    constexpr int color_bands() const {
        switch (color) {
            case ColorModel::kGray:
            case ColorModel::kIndexed:
                return 1;
            case ColorModel::kRgb:
            case ColorModel::kLab:
                return 3;
            case ColorModel::kCmyk:
                return 4;
        }
        return 0;
    }
    constexpr int bands() const { return color_bands() + (alpha ? 1 : 0); }
    constexpr size_t pixel_size() const { return sample_size(sample) * static_cast<size_t>(bands()); }
    // Whether the pixels are inks of 8 or 16 bits, as raw data of CMYK have them.
    constexpr bool has_inks() const {
        return color == ColorModel::kCmyk && (sample == SampleType::kUint8 || sample == SampleType::kUint16);
    }
    constexpr bool is_integer() const { return sample != SampleType::kFloat && sample != SampleType::kDouble; }
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_PIXEL_FORM_H

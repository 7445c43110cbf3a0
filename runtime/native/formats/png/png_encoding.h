// The settings that PNG files are saved with.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_ENCODING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_ENCODING_H

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

// The numbers are those of the format; kAuto stands for the form that the picture has in memory.
enum class PngColor : uint8_t {
    kGray = 0,
    kTruecolor = 2,
    kIndexed = 3,
    kGrayAlpha = 4,
    kTruecolorAlpha = 6,
    kAuto = 255,
};
enum class PngFilter : uint8_t { kNone, kSub, kUp, kAverage, kPaeth, kAdaptive };

// The one color that a gray or RGB file without alpha has as transparent, in samples of the depth given.
struct PngKey {
    int bit_depth;
    std::array<uint16_t, 3> samples;  // the first alone of gray
    bool operator==(const PngKey&) const = default;
};

// A chunk of a file that says something of the picture which no setting does. It is written again as it is.
struct PngNote {
    enum class About : uint8_t {
        kColors,     // what the numbers mean: also of changed pixels
        kForm,       // of the color type and depth, such as the background
        kUntouched,  // of the very pixels, such as how often each color is used, or the place of the picture on a page
    };
    About about;
    std::array<char, 5> type;  // ends with a zero
    std::vector<uint8_t> content;
    bool operator==(const PngNote&) const = default;
};

struct PngEncoding {
    static constexpr Format kFormat = Format::kPng;

    PngColor color = PngColor::kAuto;
    int bit_depth = 0;  // 1, 2, 4, 8 or 16; 0 keeps the picture's own
    bool interlaced = false;
    PngFilter filter = PngFilter::kAdaptive;
    int compression_level = 6;       // 0 to 9
    int plays = 0;                   // of an animation; 0: for ever
    std::optional<PngKey> key = {};  // written instead of an alpha channel where the pixels are like that
    // How the file says that its colors are sRGB; written as long as the picture has no profile.
    std::optional<int> srgb_intent = {};  // a chunk with the rendering intent
    bool srgb_gamma = false;              // a chunk with the exponent
    bool srgb_chromaticities = false;     // a chunk with the primaries
    // Of a file: written as long as the color type and depth are these.
    PngColor notes_color = PngColor::kAuto;
    int notes_depth = 0;
    std::vector<PngNote> notes = {};
    // Pixels in a length of no unit, across and down, of a file without a resolution; zeros where it does not say.
    std::array<uint32_t, 2> aspect = {};
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_ENCODING_H

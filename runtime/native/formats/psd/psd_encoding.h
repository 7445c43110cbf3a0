// What a PSD file can be written as: its color mode, depth, compression and the settings beside.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_ENCODING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_ENCODING_H

#include <cstdint>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

// The numbers are those of the format; kAuto stands for the colors that the picture has in memory.
enum class PsdColorMode : uint16_t {
    kBitmap = 0,
    kGray = 1,
    kIndexed = 2,
    kRgb = 3,
    kCmyk = 4,
    kMultichannel = 7,
    kDuotone = 8,
    kLab = 9,
    kAuto = 65535,
};

// The numbers are those of the format.
enum class PsdCompression : uint16_t { kRaw = 0, kPackBits = 1, kZip = 2, kZipWithPrediction = 3 };

struct PsdEncoding {
    static constexpr Format kFormat = Format::kPsd;

    bool large = false;  // PSB: up to 300,000 pixels to a side, and lengths of 8 bytes
    PsdColorMode color = PsdColorMode::kAuto;
    PsdCompression compression = PsdCompression::kPackBits;
    int bits = 0;                      // of a sample: 1, 8, 16 or 32; 0 keeps the picture's own
    int channels = 0;                  // with the one of transparency; 0 keeps what the picture has
    bool without_text_engine = false;  // leaves out the data of the text engine among kept layers
    bool new_thumbnail = false;        // makes the small picture among the resources of the picture that is written
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_ENCODING_H

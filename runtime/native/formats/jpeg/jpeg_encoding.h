// The settings that JPEG files are saved with.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_ENCODING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_ENCODING_H

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

// How colors are stored: kYcc is RGB as YCbCr, and kYcck CMYK whose first three inks are stored in that way.
enum class JpegColor : uint8_t { kAuto, kGray, kYcc, kRgb, kCmyk, kYcck };

// The model of the rows that are stored so.
constexpr bool has_inks(JpegColor color) {
    return color == JpegColor::kCmyk || color == JpegColor::kYcck;
}

// The numbers are those of the API's enumeration and of the format.
enum class JpegLsInterleaving : uint8_t {
    kNone = 0,    // one component after the other
    kLine = 1,    // rows of all components in turn
    kSample = 2,  // all components of a pixel together
};

struct JpegLsSettings {
    int bits = 8;            // 2 to 16 of a sample
    int greatest_error = 0;  // of a sample; 0: no loss
    JpegLsInterleaving interleaving = JpegLsInterleaving::kNone;
    // Numbers of the coding; 0 for those of the standard.
    int maximum = 0;
    std::array<int, 3> thresholds = {};
    int reset = 0;
};

struct JpegEncoding {
    static constexpr Format kFormat = Format::kJpeg;

    int quality = 75;  // 1 to 100
    bool progressive = false;
    JpegColor color = JpegColor::kAuto;
    std::string comment = {};  // UTF-8; empty for none
    // The sampling factors of each component, 1 to 4: a component with half of the greatest factor has half of the
    // picture's samples in that direction. Empty: those that suit the quality.
    std::vector<uint8_t> horizontal_sampling = {};
    std::vector<uint8_t> vertical_sampling = {};
    bool is_ls = false;  // JPEG-LS, a coding of its own
    JpegLsSettings ls = {};
    bool is_lossless = false;  // the coding of the standard that keeps every sample
    int bits = 8;              // 2 to 16 of a sample of such a file; of a file that is read also 12 of other codings
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_ENCODING_H

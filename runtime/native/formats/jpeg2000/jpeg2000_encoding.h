// The settings that a JPEG 2000 file is written with, and that a file tells of itself.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_ENCODING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_ENCODING_H

#include <cstdint>
#include <string>
#include <vector>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

// The numbers are those of the API's enumeration. A file is a bare codestream (kJ2k), or a codestream inside boxes
// that tell of colors, resolution and metadata (kJp2). kJpt is the stream of a network protocol; nothing writes it.
enum class Jpeg2000Codec : uint8_t { kJ2k = 0, kJp2 = 1, kJpt = 2 };

// Quality layers that a picture is written in.
constexpr size_t kMostJpeg2000Layers = 100;

struct Jpeg2000Encoding {
    static constexpr Format kFormat = Format::kJpeg2000;

    Jpeg2000Codec codec = Jpeg2000Codec::kJp2;
    // How many times smaller than its samples the file is after each quality layer, from the smallest file to the
    // greatest: each ratio is below the one before it. 1 stands for all data. Empty: one layer of all data.
    std::vector<float> compression_ratios = {};
    bool irreversible = false;               // the 9-7 wavelet, which loses a little even where all data are kept
    int bit_depth = 0;                       // 1 to 24 bits of a sample; 0 keeps the depth of the picture's form
    std::vector<std::string> comments = {};  // UTF-8 of characters that ISO 8859-15 has
    // Bytes of metadata for boxes of their own; a bare codestream has no place for them.
    std::vector<uint8_t> xmp = {};
    std::vector<uint8_t> exif = {};  // a TIFF header and its directories

    bool operator==(const Jpeg2000Encoding&) const = default;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_ENCODING_H

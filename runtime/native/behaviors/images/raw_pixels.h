// Pixels in the layout of a PixelDataFormat, as bytes.
//
// Channels of 8 bits are bytes in the format's order, those of 16, 32 and 64 bits groups of bytes, the lowest first;
// pixels of fewer than 8 bits fill their bytes from the upper end, and the 15- and 16-bit colors are words, the lower
// byte first. Channels of 32 and 64 bits are the samples of a picture that has samples of this size, integers or
// floating ones.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_RAW_PIXELS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_RAW_PIXELS_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "runtime/native/behaviors/colors/pixel_data_format.h"
#include "runtime/native/imagework/backend.h"

namespace zelmor::embed {

struct RawFormat {
    PixelLayout layout{};
    std::vector<int32_t> bits;
    int32_t bits_per_pixel = 0;
    bool indexed = false;
    std::vector<imagework::Argb> palette;  // of an indexed one
    uint16_t fallback_index = 0;           // of an indexed one, for indices that the palette does not have; 0 is none
    int64_t line_size = 0;                 // in bytes; 0: as many as the pixels need
    std::string name;
};

// NotSupportedException for a layout that cannot be written or read.
[[noreturn]] void throw_layout(const RawFormat& format);

// How the channels of a pixel stand in bytes; NotSupportedException for a layout without such a form.
enum class Packing { kBytes, kWords, kUpperBits, kColorWord, kSamples };
Packing packing_of(const RawFormat& format);

// How the samples of a picture stand in bytes of the format, where each does as it is: in the picture's own order, or
// with red and blue exchanged.
enum class Verbatim { kNone, kSame, kReversed };
Verbatim verbatim_of(const RawFormat& format, const imagework::Picture& picture);

// Exchanges the first and the third of each three or four bytes, or pairs of bytes. The rows may be the same.
void exchange_red_and_blue(const std::byte* from, std::byte* to, size_t pixels, size_t channels, size_t channel_size);

// Channels in the format's order, each 0 to 65535, of an indexed format the index: so many of each pixel.
size_t channels_of(const RawFormat& format);

// From colors of 16 bits a channel, 0xAAAARRRRGGGGBBBB, to channels and back.
void split(const RawFormat& format, std::span<const uint64_t> colors, uint16_t* channels);
void join(const RawFormat& format, const uint16_t* channels, std::span<uint64_t> colors);

// Whether pixels of the format are made of colors of 8 bits a channel, and back, without channels of 16 bits between:
// channels of 8 bits in the order of gray, RGB, BGR or CMYK.
bool is_byte_format(const RawFormat& format, Packing packing);
void pack_colors(const RawFormat& format, std::span<const imagework::Argb> colors, std::byte* line);
void unpack_colors(const RawFormat& format, const std::byte* line, std::span<imagework::Argb> colors);

// Between the channels of a line and its bytes. A line that is written begins as zeros and is long enough.
void pack_line(const RawFormat& format, Packing packing, const uint16_t* channels, size_t pixels, std::byte* line);
void unpack_line(const RawFormat& format, Packing packing, const std::byte* line, size_t pixels, uint16_t* channels);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_RAW_PIXELS_H

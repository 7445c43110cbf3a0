// Pixels in the layout of a PixelDataFormat, as bytes.
//
// Channels of 8 bits are bytes in the format's order, those of 16 bits pairs of bytes, the lower first; pixels of fewer
// than 8 bits fill their bytes from the upper end, and the 15- and 16-bit colors are words, the lower byte first.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_RAW_PIXELS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_RAW_PIXELS_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "runtime/native/behaviors/colors/pixel_data_format.h"
#include "runtime/native/imagework/formats.h"

namespace zelmor::embed {

struct RawFormat {
    PixelLayout layout{};
    std::vector<int32_t> bits;
    int32_t bits_per_pixel = 0;
    bool indexed = false;
    std::vector<imagework::Argb> palette;  // of an indexed one
    int64_t line_size = 0;                 // in bytes; 0: as many as the pixels need
    std::string name;
};

// NotSupportedException for a layout that cannot be written or read.
[[noreturn]] void throw_layout(const RawFormat& format);

// How the channels of a pixel stand in bytes; NotSupportedException for a layout without such a form.
enum class Packing { kBytes, kWords, kUpperBits, kColorWord };
Packing packing_of(const RawFormat& format);

// One pixel's channels in the format's order, each 0 to 65535; of an indexed format one, the index.
using Channels = std::vector<uint32_t>;

// From a color of 16 bits per channel, 0xAAAARRRRGGGGBBBB, and to one of 8 bits.
void split(const RawFormat& format, uint64_t argb, Channels& channels);
imagework::Argb joined(const RawFormat& format, const Channels& channels);

// Writes the pixels of a line one after the other. The line begins as zeros and is long enough.
class LineWriter {
 public:
    LineWriter(const RawFormat& format, std::byte* line)
        : m_format(format), m_packing(packing_of(format)), m_line(line) {}
    void put(const Channels& channels);

 private:
    void byte(uint32_t value);

    const RawFormat& m_format;
    Packing m_packing;
    std::byte* m_line;
    size_t m_bit = 0;
};

// Reads the pixels of a line one after the other.
class LineReader {
 public:
    LineReader(const RawFormat& format, const std::byte* line)
        : m_format(format), m_packing(packing_of(format)), m_line(line) {}
    void get(Channels& channels);

 private:
    uint32_t byte();

    const RawFormat& m_format;
    Packing m_packing;
    const std::byte* m_line;
    size_t m_bit = 0;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_RAW_PIXELS_H

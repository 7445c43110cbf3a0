// The header of a BMP file: those of Windows and OS/2, with palettes and bit fields.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_HEADER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_HEADER_H

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

// One channel of a pixel of bit fields, brought to 8 bits.
class ChannelMask {
 public:
    ChannelMask() = default;
    explicit ChannelMask(uint32_t mask);
    bool present() const { return m_mask != 0; }
    // The mask is that of one byte of the pixel, so that the byte is the channel.
    std::optional<int> byte() const;
    uint8_t get(uint32_t pixel) const {
        if (m_top == 0) {
            return 0;
        }
        const uint64_t value = (pixel & m_mask) >> m_shift;
        return static_cast<uint8_t>((value * 255 + m_top / 2) / m_top);
    }

 private:
    uint32_t m_mask = 0;
    int m_shift = 0;
    uint64_t m_top = 0;
};

struct BmpHeader {
    int32_t width = 0;
    int32_t height = 0;
    bool top_down = false;  // mostly the last row comes first
    int bits = 0;           // 1, 2, 4, 8, 16, 24 or 32
    uint32_t storage = 0;   // a BmpStorage that goes with the bits
    uint64_t pixels_at = 0;
    std::array<ChannelMask, 4> masks;  // R, G, B, A; of 16 and 32 bits
    std::optional<Resolution> resolution;

    bool has_runs() const;
    // Bytes of a stored row, with and without the padding behind it.
    uint64_t row_stride() const { return (bits_of_row() + 31) / 32 * 4; }
    uint64_t row_bytes() const { return (bits_of_row() + 7) / 8; }

 private:
    uint64_t bits_of_row() const { return static_cast<uint64_t>(width) * static_cast<uint64_t>(bits); }
};

// PictureError: kDamaged, kUnsupported, or kTooLarge for sides beyond the limit.
BmpHeader read_bmp_header(const ByteReader& in);

[[noreturn]] void bmp_damaged(const std::string& text);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_BMP_BMP_HEADER_H

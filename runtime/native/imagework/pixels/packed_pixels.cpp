// Packing and unpacking pixels; see packed_pixels.h. The first pixel of a byte has its uppermost bits.
#include "runtime/native/imagework/pixels/packed_pixels.h"

#include <array>
#include <cassert>
#include <cstring>
#include <utility>

namespace zelmor::imagework {
namespace {

constexpr size_t kByteBits = 8;

// The samples of black and white, eight for each value of a byte.
using EightSamples = std::array<uint8_t, kByteBits>;
std::array<EightSamples, 256> unpacked_bytes(uint8_t step) {
    std::array<EightSamples, 256> all{};
    for (size_t byte = 0; byte < all.size(); byte++) {
        for (size_t i = 0; i < kByteBits; i++) {
            all[byte][i] = (byte >> (kByteBits - 1 - i) & 1) != 0 ? step : uint8_t{0};
        }
    }
    return all;
}

class PackedReader final : public RowReader {
 public:
    PackedReader(std::shared_ptr<const PackedPixels> pixels, RowsHeader header)
        : m_pixels(std::move(pixels)), m_header(std::move(header)) {}

    const RowsHeader& header() const override { return m_header; }

    void read(int32_t count, std::span<uint8_t> rows) override {
        const auto width = static_cast<size_t>(m_header.width);
        assert(count >= 0 && count <= m_header.height - m_next && rows.size() == width * static_cast<size_t>(count));
        for (int32_t i = 0; i < count; i++) {
            m_pixels->read(0, m_next++, rows.subspan(width * static_cast<size_t>(i), width));
        }
    }

 private:
    std::shared_ptr<const PackedPixels> m_pixels;
    RowsHeader m_header;
    int32_t m_next = 0;
};

}  // namespace

PackedPixels::PackedPixels(const RowsHeader& header, const SharedBudget& budget)
    : m_width(static_cast<size_t>(header.width)),
      m_row_size((m_width * static_cast<size_t>(header.form.bits) + kByteBits - 1) / kByteBits),
      m_bits(header.form.bits),
      m_step(header.form.color == ColorModel::kGray ? static_cast<uint8_t>(255 / ((1 << m_bits) - 1)) : uint8_t{1}),
      m_share(budget, m_row_size * static_cast<size_t>(header.height)),
      m_bytes(m_row_size * static_cast<size_t>(header.height)) {
    assert(suit(header.form));
}

bool PackedPixels::add(int32_t count, std::span<const uint8_t> rows) {
    assert(count >= 0 && rows.size() == m_width * static_cast<size_t>(count));
    const unsigned most = (1U << m_bits) - 1;
    const size_t per_byte = kByteBits / static_cast<size_t>(m_bits);
    std::array<uint8_t, 256> values{};  // by sample
    std::array<bool, 256> known{};
    for (unsigned value = 0; value <= most; value++) {
        values[value * m_step] = static_cast<uint8_t>(value);
        known[value * m_step] = true;
    }
    bool all = true;
    const uint8_t* sample = rows.data();
    for (int32_t i = 0; i < count; i++, m_rows++) {
        uint8_t* to = m_bytes.data() + m_rows * m_row_size;
        for (size_t x = 0; x < m_width; x += per_byte) {
            unsigned byte = 0;
            for (size_t k = 0; k < per_byte; k++) {
                const bool inside = x + k < m_width;
                all = all && (!inside || known[*sample]);
                byte = byte << m_bits | (inside ? values[*sample++] : 0U);
            }
            *to++ = static_cast<uint8_t>(byte);
        }
    }
    return all;
}

void PackedPixels::read(int32_t x, int32_t y, std::span<uint8_t> out) const {
    const auto first = static_cast<size_t>(x);
    assert(static_cast<size_t>(y) < m_rows && first + out.size() <= m_width);
    const uint8_t* row = m_bytes.data() + static_cast<size_t>(y) * m_row_size;
    const auto bits = static_cast<size_t>(m_bits);
    const unsigned most = (1U << m_bits) - 1;
    size_t done = 0;
    if (m_bits == 1) {
        static const auto kGrayBytes = unpacked_bytes(255);
        static const auto kIndexBytes = unpacked_bytes(1);
        const auto& table = m_step == 1 ? kIndexBytes : kGrayBytes;
        for (; done < out.size() && (first + done) % kByteBits != 0; done++) {
            const size_t at = first + done;
            out[done] = table[row[at / kByteBits]][at % kByteBits];
        }
        for (; out.size() - done >= kByteBits; done += kByteBits) {
            std::memcpy(&out[done], table[row[(first + done) / kByteBits]].data(), kByteBits);
        }
    }
    for (; done < out.size(); done++) {
        const size_t at = (first + done) * bits;
        const unsigned value = row[at / kByteBits] >> (kByteBits - bits - at % kByteBits) & most;
        out[done] = static_cast<uint8_t>(value * m_step);
    }
}

std::unique_ptr<RowReader> rows_of_packed(std::shared_ptr<const PackedPixels> pixels, RowsHeader header) {
    return std::make_unique<PackedReader>(std::move(pixels), std::move(header));
}

}  // namespace zelmor::imagework

// ICO and CUR files by hand: entries of BMP pixels with a mask, and the directory in front.
#ifndef ZELMOR_TESTS_UNIT_FORMATS_ICO_FILES_H
#define ZELMOR_TESTS_UNIT_FORMATS_ICO_FILES_H

#include <algorithm>
#include <cstdint>
#include <random>
#include <utility>
#include <vector>

#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/pixel_form.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

using Bytes = std::vector<uint8_t>;

inline constexpr PixelForm kRgb{};
inline constexpr PixelForm kRgba{ColorModel::kRgb, SampleType::kUint8, 8, true};
constexpr PixelForm indices(int bits) {
    return {ColorModel::kIndexed, SampleType::kUint8, bits, false};
}

inline void put(Bytes& out, uint64_t value, int bytes) {
    for (int i = 0; i < bytes; i++) {
        out.push_back(static_cast<uint8_t>(i < 8 ? value >> 8 * i : 0));
    }
}
inline void put(Bytes& out, const Bytes& bytes) {
    out.insert(out.end(), bytes.begin(), bytes.end());
}

// A BMP entry by hand. `pixels` are stored numbers from the upper left, `mask` says which are transparent.
struct Bitmap {
    int width = 5;
    int height = 3;
    int bits = 24;
    uint32_t header = 40;
    uint32_t storage = 0;
    std::vector<uint32_t> palette = {};
    std::vector<uint32_t> pixels = {};
    std::vector<bool> mask = {};
    std::vector<uint32_t> fields = {};
    bool doubled = true;
    bool top_down = false;
    bool has_mask = true;

    Bytes entry() const {
        Bytes out;
        const int stated = (doubled ? 2 * height : height) * (top_down ? -1 : 1);
        put(out, header, 4);
        if (header == 12) {
            put(out, static_cast<unsigned>(width), 2);
            put(out, static_cast<unsigned>(stated), 2);
            put(out, 1, 2);
            put(out, static_cast<unsigned>(bits), 2);
        } else {
            put(out, static_cast<unsigned>(width), 4);
            put(out, static_cast<uint32_t>(stated), 4);
            put(out, 1, 2);
            put(out, static_cast<unsigned>(bits), 2);
            put(out, storage, 4);
            put(out, 0, 12);
            put(out, palette.size() == size_t{1} << std::min(bits, 16) ? 0 : palette.size(), 4);
            put(out, 0, 4);
        }
        for (const uint32_t field : fields) {
            put(out, field, 4);
        }
        out.resize(std::max<size_t>(out.size(), header));
        for (const uint32_t color : palette) {
            put(out, color, header == 12 ? 3 : 4);
        }
        for (int row = 0; row < height; row++) {
            const int y = top_down ? row : height - 1 - row;
            put_row(out, bits, [&](int x) { return pixels[static_cast<size_t>(y * width + x)]; });
        }
        for (int row = 0; has_mask && row < height; row++) {
            const int y = top_down ? row : height - 1 - row;
            put_row(out, 1, [&](int x) {
                return static_cast<uint32_t>(!mask.empty() && mask[static_cast<size_t>(y * width + x)]);
            });
        }
        return out;
    }

    template <class Pixel>
    void put_row(Bytes& out, int depth, Pixel&& pixel) const {
        const size_t begin = out.size();
        if (depth >= 8) {
            for (int x = 0; x < width; x++) {
                put(out, pixel(x), depth / 8);
            }
        } else {
            std::vector<bool> row;
            for (int x = 0; x < width; x++) {
                for (int bit = depth; bit-- > 0;) {
                    row.push_back((pixel(x) >> bit & 1) != 0);
                }
            }
            row.resize((row.size() + 7) / 8 * 8);
            for (size_t at = 0; at < row.size(); at += 8) {
                unsigned byte = 0;
                for (size_t bit = 0; bit < 8; bit++) {
                    byte = byte << 1 | static_cast<unsigned>(row[at + bit]);
                }
                put(out, byte, 1);
            }
        }
        out.resize(begin + (out.size() - begin + 3) / 4 * 4);
    }
};

struct Place {
    int width;
    int height;
    Bytes bytes;
    uint16_t x = 1;
    uint16_t y = 32;
};

inline Bytes file_of(const std::vector<Place>& places, int kind = 1) {
    Bytes out;
    put(out, 0, 2);
    put(out, static_cast<unsigned>(kind), 2);
    put(out, places.size(), 2);
    size_t at = 6 + 16 * places.size();
    for (const Place& place : places) {
        put(out, static_cast<unsigned>(place.width) & 0xFF, 1);
        put(out, static_cast<unsigned>(place.height) & 0xFF, 1);
        put(out, 0, 2);
        put(out, place.x, 2);
        put(out, place.y, 2);
        put(out, place.bytes.size(), 4);
        put(out, at, 4);
        at += place.bytes.size();
    }
    for (const Place& place : places) {
        put(out, place.bytes);
    }
    return out;
}

inline Bytes file_of(const Bitmap& bitmap) {
    return file_of({{bitmap.width, bitmap.height, bitmap.entry()}});
}

inline std::vector<uint32_t> random_numbers(size_t count, uint32_t top, unsigned seed = 3) {
    std::mt19937 random(seed);
    std::vector<uint32_t> numbers;
    for (size_t i = 0; i < count; i++) {
        numbers.push_back(static_cast<uint32_t>(random()) & top);
    }
    return numbers;
}

inline std::vector<bool> random_mask(size_t count) {
    std::vector<bool> mask;
    for (const uint32_t number : random_numbers(count, 3, 8)) {
        mask.push_back(number == 0);
    }
    return mask;
}

// Bytes that are not in memory, so that every read is a call.
class FarSource final : public DataSource {
 public:
    explicit FarSource(Bytes bytes) : m_bytes(std::move(bytes)) {}
    uint64_t size() const override { return m_bytes.size(); }
    size_t read_at(uint64_t offset, std::span<uint8_t> out) const override {
        const auto found = ByteReader(m_bytes).piece(offset, out.size());
        std::copy(found.begin(), found.end(), out.begin());
        return found.size();
    }

 private:
    Bytes m_bytes;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_TESTS_UNIT_FORMATS_ICO_FILES_H

// TIFF files put together byte by byte, in either byte order and either form, for unit tests.
#ifndef ZELMOR_TESTS_UNIT_IMAGEWORK_TIFF_BYTES_H
#define ZELMOR_TESTS_UNIT_IMAGEWORK_TIFF_BYTES_H

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

namespace zelmor::imagework {

// An entry of a directory: its field type, and its numbers; a fraction is two of them.
struct TiffValue {
    uint16_t tag;
    uint16_t type;
    std::vector<uint64_t> numbers;
};

inline TiffValue tiff_text(uint16_t tag, const std::string& text) {
    return {tag, 2, {text.begin(), text.end()}};
}

class TiffBytes {
 public:
    explicit TiffBytes(bool big_endian = false, bool big = false) : m_big_endian(big_endian), m_big(big) {
        put(big_endian ? 0x4D4D : 0x4949, 2);
        put(big ? 43 : 42, 2);
        if (big) {
            put(8, 2);
            put(0, 2);
        }
        m_link = bytes.size();
        put(0, word());
    }

    // Adds a directory, and behind it the values that do not fit into it; answers where it is.
    uint64_t directory(const std::vector<TiffValue>& values) {
        const uint64_t at = bytes.size();
        put(values.size(), m_big ? 8 : 2);
        const size_t entries = bytes.size();
        bytes.resize(entries + values.size() * (m_big ? 20 : 12));
        const size_t next = bytes.size();
        put(0, word());
        for (size_t i = 0; i < values.size(); i++) {
            const TiffValue& value = values[i];
            const size_t entry = entries + i * (m_big ? 20 : 12);
            const size_t unit = unit_of(value.type);
            const bool is_fraction = value.type == 5 || value.type == 10;
            set(entry, value.tag, 2);
            set(entry + 2, value.type, 2);
            set(entry + 4, value.numbers.size() / (is_fraction ? 2 : 1), word());
            size_t place = entry + 4 + word();
            if (unit * value.numbers.size() > word()) {
                set(place, bytes.size(), word());
                place = bytes.size();
                bytes.resize(bytes.size() + unit * value.numbers.size());
            }
            for (const uint64_t number : value.numbers) {
                set(place, number, unit);
                place += unit;
            }
        }
        m_next = next;
        return at;
    }
    // The same as the next page.
    uint64_t page(const std::vector<TiffValue>& values) {
        const uint64_t at = bytes.size();
        set(m_link, at, word());
        directory(values);
        m_link = m_next;
        return at;
    }

    // The place of the offset behind the last directory.
    uint64_t next() const { return m_next; }
    size_t word() const { return m_big ? 8 : 4; }
    void put(uint64_t value, size_t size) {
        bytes.resize(bytes.size() + size);
        set(bytes.size() - size, value, size);
    }
    void set(uint64_t at, uint64_t value, size_t size) {
        for (size_t i = 0; i < size; i++) {
            bytes[at + (m_big_endian ? size - 1 - i : i)] = static_cast<uint8_t>(value >> 8 * i);
        }
    }

    std::vector<uint8_t> bytes;

 private:
    static size_t unit_of(uint16_t type) {
        switch (type) {
            case 3:
            case 8:
                return 2;
            case 4:
            case 5:
            case 9:
            case 10:
            case 11:
            case 13:
                return 4;
            case 12:
            case 16:
            case 17:
            case 18:
                return 8;
            default:
                return 1;
        }
    }

    bool m_big_endian;
    bool m_big;
    uint64_t m_link;
    uint64_t m_next = 0;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_TESTS_UNIT_IMAGEWORK_TIFF_BYTES_H

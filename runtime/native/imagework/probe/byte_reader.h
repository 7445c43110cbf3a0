// Bounds-checked reading of integers from bytes of a file, in either byte order.
//
// Reading past the end gives zero and is remembered, so that a parser can read a header in one go and ask afterwards.
// The bytes lie in memory, or come from a source when they are looked at.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_BYTE_READER_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_BYTE_READER_H

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

namespace zelmor::imagework {

// A file that is not in memory as a whole.
class ByteSource {
 public:
    virtual ~ByteSource() = default;
    // The bytes there, fewer where the file ends before. They stay until the next call.
    virtual std::span<const uint8_t> at(uint64_t offset, uint64_t length) = 0;
    virtual bool has(uint64_t offset, uint64_t length) { return at(offset, length).size() == length; }
};

class ByteReader {
 public:
    explicit ByteReader(std::span<const uint8_t> data, bool big_endian = false)
        : m_data(data), m_big_endian(big_endian) {}
    explicit ByteReader(ByteSource& source, bool big_endian = false) : m_source(&source), m_big_endian(big_endian) {}

    // The same bytes in the order given, with nothing remembered.
    ByteReader in_order(bool big_endian) const {
        ByteReader other = *this;
        other.m_big_endian = big_endian;
        other.m_ok = true;
        return other;
    }

    bool ok() const { return m_ok; }
    bool has(uint64_t offset, uint64_t length) const {
        if (m_source == nullptr) [[likely]] {
            return offset <= m_data.size() && length <= m_data.size() - offset;
        }
        return m_source->has(offset, length);
    }
    bool starts_with(uint64_t offset, std::string_view text) const {
        const auto found = piece(offset, text.size());
        return found.size() == text.size() && std::memcmp(found.data(), text.data(), text.size()) == 0;
    }
    // The bytes there, fewer where they end before; good until the next question.
    std::span<const uint8_t> piece(uint64_t offset, uint64_t length) const {
        if (m_source != nullptr) {
            return m_source->at(offset, length);
        }
        if (offset >= m_data.size()) {
            return m_data.first(0);
        }
        return m_data.subspan(offset, length < m_data.size() - offset ? length : m_data.size() - offset);
    }

    uint8_t u8(uint64_t offset) const { return static_cast<uint8_t>(read(offset, 1)); }
    uint16_t u16(uint64_t offset) const { return static_cast<uint16_t>(read(offset, 2)); }
    uint32_t u32(uint64_t offset) const { return static_cast<uint32_t>(read(offset, 4)); }
    uint64_t u64(uint64_t offset) const { return read(offset, 8); }
    int32_t i32(uint64_t offset) const { return static_cast<int32_t>(u32(offset)); }

 private:
    uint64_t read(uint64_t offset, size_t length) const {
        // Pixels are read this way too, so that bytes in memory have the shortest path.
        const uint8_t* bytes = nullptr;
        if (m_source == nullptr) [[likely]] {
            if (offset <= m_data.size() && length <= m_data.size() - offset) {
                bytes = m_data.data() + offset;
            }
        } else if (const auto found = m_source->at(offset, length); found.size() == length) {
            bytes = found.data();
        }
        if (bytes == nullptr) {
            m_ok = false;
            return 0;
        }
        uint64_t value = 0;
        for (size_t i = 0; i < length; i++) {
            uint64_t byte = bytes[m_big_endian ? i : length - 1 - i];
            value = value << 8 | byte;
        }
        return value;
    }

    std::span<const uint8_t> m_data;
    ByteSource* m_source = nullptr;
    bool m_big_endian;
    mutable bool m_ok = true;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_BYTE_READER_H

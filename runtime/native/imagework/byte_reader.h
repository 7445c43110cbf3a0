// Bounds-checked reading of integers from bytes of a file, in either byte order.
//
// Reading past the end gives zero and is remembered, so that a parser can read a header in one go and ask afterwards.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace zelmor::imagework {

class ByteReader {
 public:
    explicit ByteReader(std::span<const uint8_t> data, bool big_endian = false)
        : data_(data), big_endian_(big_endian) {}

    bool ok() const { return ok_; }
    size_t size() const { return data_.size(); }
    bool has(uint64_t offset, uint64_t length) const {
        return offset <= data_.size() && length <= data_.size() - offset;
    }

    uint8_t u8(uint64_t offset) const { return static_cast<uint8_t>(read(offset, 1)); }
    uint16_t u16(uint64_t offset) const { return static_cast<uint16_t>(read(offset, 2)); }
    uint32_t u32(uint64_t offset) const { return static_cast<uint32_t>(read(offset, 4)); }
    uint64_t u64(uint64_t offset) const { return read(offset, 8); }
    int32_t i32(uint64_t offset) const { return static_cast<int32_t>(u32(offset)); }

 private:
    uint64_t read(uint64_t offset, int length) const {
        if (!has(offset, static_cast<uint64_t>(length))) {
            ok_ = false;
            return 0;
        }
        uint64_t value = 0;
        for (int i = 0; i < length; i++) {
            uint64_t byte = data_[offset + static_cast<uint64_t>(big_endian_ ? i : length - 1 - i)];
            value = value << 8 | byte;
        }
        return value;
    }

    std::span<const uint8_t> data_;
    bool big_endian_;
    mutable bool ok_ = true;
};

}  // namespace zelmor::imagework

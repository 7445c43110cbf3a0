// Bounds-checked reading of integers from bytes of a file, in either byte order.
//
// Reading past the end gives zero and is remembered, so that a parser can read a header in one go and ask afterwards.
// The bytes lie in memory, or come from a source when they are looked at.
#pragma once

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
};

class ByteReader {
 public:
    explicit ByteReader(std::span<const uint8_t> data, bool big_endian = false)
        : data_(data), big_endian_(big_endian) {}
    explicit ByteReader(ByteSource& source, bool big_endian = false) : source_(&source), big_endian_(big_endian) {}

    // The same bytes in the order given, with nothing remembered.
    ByteReader in_order(bool big_endian) const {
        ByteReader other = *this;
        other.big_endian_ = big_endian;
        other.ok_ = true;
        return other;
    }

    bool ok() const { return ok_; }
    bool has(uint64_t offset, uint64_t length) const {
        if (!source_) [[likely]]
            return offset <= data_.size() && length <= data_.size() - offset;
        return source_->at(offset, length).size() == length;
    }
    bool starts_with(uint64_t offset, std::string_view text) const {
        const auto found = piece(offset, text.size());
        return found.size() == text.size() && std::memcmp(found.data(), text.data(), text.size()) == 0;
    }
    // The bytes there, fewer where they end before; good until the next question.
    std::span<const uint8_t> piece(uint64_t offset, uint64_t length) const {
        if (source_) return source_->at(offset, length);
        if (offset >= data_.size()) return data_.first(0);
        return data_.subspan(offset, length < data_.size() - offset ? length : data_.size() - offset);
    }

    uint8_t u8(uint64_t offset) const { return static_cast<uint8_t>(read(offset, 1)); }
    uint16_t u16(uint64_t offset) const { return static_cast<uint16_t>(read(offset, 2)); }
    uint32_t u32(uint64_t offset) const { return static_cast<uint32_t>(read(offset, 4)); }
    uint64_t u64(uint64_t offset) const { return read(offset, 8); }
    int32_t i32(uint64_t offset) const { return static_cast<int32_t>(u32(offset)); }

 private:
    uint64_t read(uint64_t offset, size_t length) const {
        // Pixels are read so too: what lies in memory takes no detour.
        const uint8_t* bytes = nullptr;
        if (!source_) [[likely]] {
            if (offset <= data_.size() && length <= data_.size() - offset) bytes = data_.data() + offset;
        } else if (const auto found = source_->at(offset, length); found.size() == length) {
            bytes = found.data();
        }
        if (!bytes) {
            ok_ = false;
            return 0;
        }
        uint64_t value = 0;
        for (size_t i = 0; i < length; i++) {
            uint64_t byte = bytes[big_endian_ ? i : length - 1 - i];
            value = value << 8 | byte;
        }
        return value;
    }

    std::span<const uint8_t> data_;
    ByteSource* source_ = nullptr;
    bool big_endian_;
    mutable bool ok_ = true;
};

}  // namespace zelmor::imagework

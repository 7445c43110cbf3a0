// Reads the numbers of CDR chunks, whose widths and units depend on the version of the file. Their least byte comes
// first: the library that draws refuses files with the other order.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_CDR_NUMBERS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_CDR_NUMBERS_H

#include <cstdint>
#include <cstring>
#include <span>

#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::embed {

// Versions are hundreds: 600 is the sixth.
constexpr uint32_t kCdrLongNumbers = 600;  // 32 bits from here on, and 16 before

// CdrNumbers one after the other, in the form of the file's version.
class CdrNumbers {
 public:
    CdrNumbers(std::span<const uint8_t> data, uint32_t version, uint64_t at = 0)
        : m_in(data), m_size(data.size()), m_version(version), m_at(at) {}

    bool ok() const { return m_in.ok(); }
    bool has(uint64_t count) const { return m_in.has(m_at, count); }
    uint8_t u8() { return m_in.u8(step(1)); }
    uint16_t u16() { return m_in.u16(step(2)); }
    uint32_t u32() { return m_in.u32(step(4)); }
    bool is_long() const { return m_version >= kCdrLongNumbers; }
    uint32_t count() { return is_long() ? u32() : u16(); }
    // Inches.
    double length() {
        constexpr double kTenthsOfMicrometer = 254000;
        return is_long() ? static_cast<int32_t>(u32()) / kTenthsOfMicrometer : static_cast<int16_t>(u16()) / 1000.0;
    }
    double angle() { return is_long() ? static_cast<int32_t>(u32()) / 1e6 : static_cast<int16_t>(u16()) / 10.0; }
    double real() {
        const uint64_t bits = m_in.u64(step(8));
        double value = 0;
        static_assert(sizeof value == sizeof bits);
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    void skip(uint64_t count) { step(count); }
    // Bytes behind this place.
    uint64_t left() const { return m_size > m_at ? m_size - m_at : 0; }
    // Whether no step went beyond the end, not even one over bytes that are not read.
    bool within() const { return ok() && m_at <= m_size; }
    // Makes ok() false, as reading beyond the end does.
    void fail() {
        m_at = m_size;
        m_in.u8(m_size);
    }
    // All bytes from here on.
    std::span<const uint8_t> rest() { return piece(left()); }
    std::span<const uint8_t> piece(uint64_t count) { return m_in.piece(step(count), count); }

 private:
    uint64_t step(uint64_t count) {
        const uint64_t at = m_at;
        m_at += count;
        return at;
    }
    imagework::ByteReader m_in;
    uint64_t m_size;
    uint32_t m_version;
    uint64_t m_at;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_CDR_NUMBERS_H

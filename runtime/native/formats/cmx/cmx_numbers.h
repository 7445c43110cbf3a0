// Reads the numbers of CMX files, whose order and width their header states.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_CMX_CMX_NUMBERS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_CMX_CMX_NUMBERS_H

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <span>

#include "runtime/native/drawwork/geometry.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::embed {

// The form of a file's numbers.
struct CmxForm {
    bool big_endian = false;
    bool is_long = false;  // 32 bits, and tagged parts
};

// A place in the data, in the order and width of the file's numbers.
class CmxNumbers {
 public:
    CmxNumbers(std::span<const uint8_t> data, const CmxForm& form)
        : m_in(data, form.big_endian), m_size(data.size()), m_long(form.is_long) {}

    bool is_long() const { return m_long; }
    bool ok() const { return m_in.ok(); }
    uint64_t at() const { return m_at; }
    void go_to(uint64_t at) { m_at = at; }
    bool has(uint64_t count) const { return m_in.has(m_at, count); }
    uint8_t u8() { return m_in.u8(step(1)); }
    uint16_t u16() { return m_in.u16(step(2)); }
    int16_t s16() { return static_cast<int16_t>(u16()); }
    uint32_t u32() { return m_in.u32(step(4)); }
    int32_t s32() { return static_cast<int32_t>(u32()); }
    double units_of_inch() const { return m_long ? 254000 : 1000; }
    // Inches.
    double length() { return (m_long ? s32() : s16()) / units_of_inch(); }
    double hundredth() { return u16() / 100.0; }
    double real() {
        const uint64_t bits = m_in.u64(step(8));
        double value = 0;
        static_assert(sizeof value == sizeof bits);
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }
    drawwork::Affine matrix() {
        drawwork::Affine map;
        constexpr uint16_t kGeneral = 2;
        if (u16() >= kGeneral) {
            map.m11 = real();
            map.m12 = real();
            map.m21 = real();
            map.m22 = real();
            map.dx = real() / units_of_inch();
            map.dy = real() / units_of_inch();
        }
        return map;
    }
    drawwork::RectD bounds() {
        const double x0 = length(), y0 = length(), x1 = length(), y1 = length();
        return {std::min(x0, x1), std::min(y0, y1), std::abs(x1 - x0), std::abs(y1 - y0)};
    }
    // Degrees.
    double angle() { return m_long ? s32() / 1e6 : s16() / 10.0; }
    void skip(uint64_t count) { step(count); }
    std::span<const uint8_t> rest() { return piece(m_size > m_at ? m_size - m_at : 0); }
    std::span<const uint8_t> piece(uint64_t count) { return m_in.piece(step(count), count); }

    // Long files have tagged parts: calls `take` with the number of each, until the last.
    template <class Take>
    void tags(Take&& take) {
        constexpr uint8_t kEnd = 255;
        while (has(1)) {
            const uint64_t start = m_at;
            const uint8_t tag = u8();
            if (tag == kEnd) {
                return;
            }
            const uint16_t size = u16();
            constexpr uint16_t kHead = 3;
            if (size < kHead || !m_in.has(start, size)) {
                go_to(m_size);
                return;
            }
            take(tag);
            go_to(start + size);
        }
    }
    // Short files have the parts one after the other; each is numbered as in long ones.
    template <class Take>
    void parts(std::initializer_list<uint8_t> in_order, Take&& take) {
        if (m_long) {
            tags(take);
        } else {
            for (const uint8_t part : in_order) {
                take(part);
            }
        }
    }

 private:
    uint64_t step(uint64_t count) {
        const uint64_t at = m_at;
        m_at += count;
        return at;
    }
    imagework::ByteReader m_in;
    uint64_t m_size;
    bool m_long;
    uint64_t m_at = 0;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_CMX_CMX_NUMBERS_H

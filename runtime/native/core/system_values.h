// The value types of the .NET library that have a form of their own on the wire: Decimal, DateTime, DateTimeOffset,
// TimeSpan, Guid.
//
// They are kept in the words of the wire, byte for byte: a pointer to one is a pointer to what crosses. What they do
// here is what every managed value does: they compare as .NET's do, hash accordingly, and show themselves in the
// invariant culture.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_SYSTEM_VALUES_H
#define ZELMOR_RUNTIME_NATIVE_CORE_SYSTEM_VALUES_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace zelmor::embed {

constexpr int64_t kTicksPerSecond = 10'000'000;
constexpr int64_t kTicksPerDay = 86'400 * kTicksPerSecond;

// A mantissa of 96 bits, low word first, then the sign in bit 31 and the scale in bits 16 to 23.
struct DecimalValue {
    std::array<uint32_t, 4> words{};
    bool negative() const { return words[3] >> 31 != 0; }
    int scale() const { return static_cast<int>(words[3] >> 16 & 0xFF); }
    bool operator==(const DecimalValue& other) const;  // by value: 1.0 is 1.00
};

// A clock in ticks from 0001-01-01, the kind in the top two bits, and the offset that a local clock has.
struct DateTimeValue {
    uint64_t word = 0;
    int64_t offset = 0;  // not part of a .NET DateTime: what the wire wants beside a local one
    int kind() const { return static_cast<int>(word >> 62); }
    int64_t ticks() const { return static_cast<int64_t>(word << 2 >> 2); }
    bool operator==(const DateTimeValue& other) const { return ticks() == other.ticks(); }  // whatever the kinds
};

struct DateTimeOffsetValue {
    int64_t ticks = 0;   // of its own clock
    int64_t offset = 0;  // of that clock from UTC, in ticks
    int64_t utc_ticks() const { return ticks - offset; }
    bool operator==(const DateTimeOffsetValue& other) const { return utc_ticks() == other.utc_ticks(); }
};

struct TimeSpanValue {
    int64_t ticks = 0;
    bool operator==(const TimeSpanValue&) const = default;
};

// In managed memory order: the first three fields little-endian, the other eight bytes as they stand.
struct GuidValue {
    std::array<uint8_t, 16> bytes{};
    bool operator==(const GuidValue&) const = default;
};

static_assert(sizeof(DecimalValue) == 16 && sizeof(DateTimeValue) == 16 && sizeof(DateTimeOffsetValue) == 16 &&
              sizeof(TimeSpanValue) == 8 && sizeof(GuidValue) == 16);

// The hash code of a word of 64 bits, as .NET makes it: both halves, combined by exclusive or.
constexpr int32_t fold(uint64_t word) {
    return static_cast<int32_t>(word ^ (word >> 32));
}
int32_t hash_of(const DecimalValue& value);
int32_t hash_of(const DateTimeValue& value);
int32_t hash_of(const DateTimeOffsetValue& value);
int32_t hash_of(const TimeSpanValue& value);
int32_t hash_of(const GuidValue& value);

// ToString() in the invariant culture: "1.50", "06/01/2023 12:30:00", the same with " +02:00", "1.02:03:04.5000000",
// "00112233-4455-6677-8899-aabbccddeeff".
std::u16string text_of(const DecimalValue& value);
std::u16string text_of(const DateTimeValue& value);
std::u16string text_of(const DateTimeOffsetValue& value);
std::u16string text_of(const TimeSpanValue& value);
std::u16string text_of(const GuidValue& value);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_SYSTEM_VALUES_H

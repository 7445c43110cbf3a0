// Arithmetic of the managed decimal's mantissa.
#include "convert/decimal_arg_out_builder.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "convert/ten_pow.h"

namespace {

constexpr unsigned int kGroupLimit = 1'000'000'000;
constexpr int kSignBit = 31;
constexpr int kScaleBit = 16;
constexpr int kMantissaWords = 3;

}  // namespace

DecimalArgOutBuilder::DecimalArgOutBuilder(unsigned int* target) : m_target(target) {
    assert(target != nullptr);
    std::fill_n(target, 4, 0U);
}

void DecimalArgOutBuilder::begin_accept_decimal(int sign, long long exponent, int round_position) {
    m_sign = sign;
    m_exponent = exponent;
    m_round_position = round_position;
}

void DecimalArgOutBuilder::accept_decimal_mantissa(unsigned long group, int width) {
    assert(width >= 1 && width <= kGroupWidth && group < TenPow::pow(static_cast<unsigned int>(width)));
    unsigned long limit = width == kGroupWidth ? kGroupLimit : TenPow::pow(static_cast<unsigned int>(width));
    int digits = m_accepted_digits + width;
    if (digits == m_round_position) {
        round_last(group, limit);
        --digits;
        limit /= 10;
    }
    m_accepted_digits = digits;
    if (digits == kMaxDigits && m_exponent < 0 && is_overflow_estimated(group)) {
        // All 29 digits do not fit, and one of them is behind the point: 28 are kept.
        ++m_exponent;
        round_last(group, 10);
        limit = 10;
    }
    imul_and_add(static_cast<unsigned int>(limit), static_cast<unsigned int>(group));
}

bool DecimalArgOutBuilder::end_accept_decimal() {
    if (m_overflow) {
        return false;
    }
    if (is_zero()) {
        // Zero has neither sign nor scale here.
        m_target[3] = 0;
        return true;
    }
    const unsigned int sign = static_cast<unsigned int>(m_sign) << kSignBit;
    if (m_exponent <= 0) {
        m_target[3] = sign | static_cast<unsigned int>(-m_exponent) << kScaleBit;
        return true;
    }
    move_exponent_to_mantissa();
    if (m_overflow) {
        return false;
    }
    m_target[3] = sign;
    return true;
}

int DecimalArgOutBuilder::accept_long(long long value, int sign) {
    const auto bits = static_cast<uint64_t>(value);
    m_target[0] = static_cast<unsigned int>(bits);
    m_target[1] = static_cast<unsigned int>(bits >> 32);
    m_target[3] = static_cast<unsigned int>(sign) << kSignBit;
    return 1;
}

int DecimalArgOutBuilder::accept_double(double value) {
    if (std::isnan(value)) {
        return -1;
    }
    uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    m_target[0] = static_cast<unsigned int>(bits);
    m_target[1] = static_cast<unsigned int>(bits >> 32);
    constexpr int kBias = 1022;
    const int exponent = static_cast<int>(bits >> 52 & 0x7FF) - kBias;
    if (exponent > kMantissaWords * 32) {
        return 1;
    }
    m_target[3] = 1;
    return 0;
}

void DecimalArgOutBuilder::imul_and_add(unsigned int multiplier, unsigned int addend) {
    uint64_t carry = addend;
    for (int i = 0; i < kMantissaWords; ++i) {
        carry += uint64_t{m_target[i]} * multiplier;
        m_target[i] = static_cast<unsigned int>(carry);
        carry >>= 32;
    }
    m_overflow = m_overflow || carry != 0;
}

// Rounds half to even by the dropped digit alone: the digits behind it are ignored. "Even" refers to the rest of the
// group, which is 0 if the dropped digit was the whole group.
void DecimalArgOutBuilder::round_last(unsigned long& group, unsigned long limit) {
    const unsigned long dropped = group % 10;
    group /= 10;
    if (dropped > 5 || (dropped == 5 && group % 2 != 0)) {
        ++group;
    }
    if (group == limit) {
        imul_and_add(1, 1);
        group = 0;
    }
}

// Whether the mantissa, with the two digits of the group appended, would not fit 96 bits.
bool DecimalArgOutBuilder::is_overflow_estimated(unsigned long group) const {
    for (int i = kMantissaWords - 1; i >= 0; --i) {
        if (m_target[i] != est_max_value[i + 1]) {
            return m_target[i] > est_max_value[i + 1];
        }
    }
    return group > est_max_value[0];
}

bool DecimalArgOutBuilder::is_zero() const {
    return std::all_of(m_target, m_target + kMantissaWords, [](unsigned int word) { return word == 0; });
}

void DecimalArgOutBuilder::move_exponent_to_mantissa() {
    // A mantissa that is not zero overflows within its first few steps, and no later step changes that.
    for (long long i = 0; i < m_exponent / kGroupWidth && !m_overflow; ++i) {
        imul_and_add(kGroupLimit, 0);
    }
    const auto rest = static_cast<unsigned int>(m_exponent % kGroupWidth);
    if (rest != 0) {
        imul_and_add(static_cast<unsigned int>(TenPow::pow(rest)), 0);
    }
}

// Fractions of TIFF; see rationals.h.
#include "runtime/native/behaviors/metadata/tiff/rationals.h"

#include <cmath>
#include <limits>
#include <numeric>

#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

bool fits(int64_t number, bool is_signed) {
    if (is_signed) {
        return number >= INT32_MIN && number <= INT32_MAX;
    }
    return number >= 0 && number <= int64_t{UINT32_MAX};
}

template <bool kSigned>
using Number = std::conditional_t<kSigned, int32_t, uint32_t>;

template <bool kSigned>
Ref<ManagedObject> make_zero() {
    return make_rational(0, 1, kSigned);
}
template <bool kSigned>
Ref<ManagedObject> make_whole(Number<kSigned> value) {
    return make_rational(value, 1, kSigned);
}
template <bool kSigned>
Ref<ManagedObject> make_fraction(Number<kSigned> nominator, Number<kSigned> denominator) {
    return make_rational(nominator, denominator, kSigned);
}
template <bool kSigned, class T>
Ref<ManagedObject> approximate(T value) {
    return approximate_rational(value, kRationalEpsilon, kSigned);
}
template <bool kSigned, class T>
Ref<ManagedObject> approximate_within(T value, double epsilon) {
    return approximate_rational(value, epsilon, kSigned);
}
template <bool kSigned>
Number<kSigned> nominator(RationalObject& self) {
    return static_cast<Number<kSigned>>(self.nominator());
}
template <bool kSigned>
Number<kSigned> denominator(RationalObject& self) {
    return static_cast<Number<kSigned>>(self.denominator());
}
float value(RationalObject& self) {
    return static_cast<float>(self.value());
}
double value_d(RationalObject& self) {
    return self.value();
}
double epsilon() {
    return kRationalEpsilon;
}

template <bool kSigned>
void add_members(BehaviorTable& table) {
    const char* const type = kSigned ? RationalObject::kSignedName : RationalObject::kManagedName;
    const char* const constructors[3] = {kSigned ? "ctor_000_TiffSRational" : "ctor_000_TiffRational",
                                         kSigned ? "ctor_001_TiffSRational" : "ctor_001_TiffRational",
                                         kSigned ? "ctor_002_TiffSRational" : "ctor_002_TiffRational"};
    table.add({type, constructors[0], entry<&make_zero<kSigned>>()});
    table.add({type, constructors[1], entry<&make_whole<kSigned>>()});
    table.add({type, constructors[2], entry<&make_fraction<kSigned>>()});
    table.add({type, "call_000_ApproximateFraction", entry<&approximate_within<kSigned, double>>()});
    table.add({type, "call_001_ApproximateFraction", entry<&approximate<kSigned, double>>()});
    table.add({type, "call_002_ApproximateFraction", entry<&approximate_within<kSigned, float>>()});
    table.add({type, "call_003_ApproximateFraction", entry<&approximate<kSigned, float>>()});
    table.add({type, "call_000_ApproximateDoubleFractionEps", entry<&approximate_within<kSigned, double>>()});
    table.add({type, "call_000_ApproximateDoubleFraction", entry<&approximate<kSigned, double>>()});
    table.add({type, "call_000_ApproximateFloatFractionEps", entry<&approximate_within<kSigned, float>>()});
    table.add({type, "call_000_ApproximateFloatFraction", entry<&approximate<kSigned, float>>()});
    table.add({type, "get_Nominator", entry<&nominator<kSigned>>()});
    table.add({type, "get_Denominator", entry<&denominator<kSigned>>()});
    table.add({type, "get_Value", entry<&value>()});
    table.add({type, "get_ValueD", entry<&value_d>()});
    table.add({type, "getsa_Epsilon", entry<&epsilon>()});
}

[[maybe_unused]] const bool registered = [] {
    static auto& table = *new BehaviorTable(Assembly::kImaging, std::span<const Behavior>());
    add_members<false>(table);
    add_members<true>(table);
    return true;
}();

}  // namespace

bool RationalObject::equals(const ManagedObject& other) const {
    const auto* same = dynamic_cast<const RationalObject*>(&other);
    if (!same || &same->type() != &type()) {
        return false;
    }
    if (m_denominator == 0 || same->m_denominator == 0) {
        return m_nominator == same->m_nominator && m_denominator == same->m_denominator;
    }
    return m_nominator * same->m_denominator == same->m_nominator * m_denominator;
}

int32_t RationalObject::hash_code() const {
    const int64_t divisor = m_denominator == 0 ? 1 : std::gcd(m_nominator, m_denominator);
    const int64_t sign = m_denominator < 0 ? -1 : 1;
    const auto reduced = static_cast<uint64_t>(sign * m_nominator / divisor) * 31 +
                         static_cast<uint64_t>(sign * m_denominator / divisor);
    return static_cast<int32_t>(reduced ^ reduced >> 32);
}

std::u16string RationalObject::to_text() const {
    return number_text(m_nominator) + u"/" + number_text(m_denominator);
}

Ref<ManagedObject> make_rational(int64_t nominator, int64_t denominator, bool is_signed) {
    static const TypeInfo& plain = require_type(RationalObject::kManagedName);
    static const TypeInfo& with_sign = require_type(RationalObject::kSignedName);
    if (!fits(nominator, is_signed) || !fits(denominator, is_signed)) {
        throw ManagedException("OverflowException", "The fraction " + std::to_string(nominator) + "/" +
                                                        std::to_string(denominator) + " does not fit in two numbers " +
                                                        (is_signed ? "of 32 bits." : "of 32 bits without a sign."));
    }
    return make_ref<RationalObject>(is_signed ? with_sign : plain, nominator, denominator);
}

Ref<ManagedObject> approximate_rational(double value, double epsilon, bool is_signed) {
    if (!std::isfinite(value) || (value < 0 && !is_signed)) {
        throw_out_of_range("value", "The number " + to_utf8(number_text(value)) + " is no fraction of this kind.");
    }
    if (!(epsilon > 0)) {
        throw_out_of_range("epsilon", "A difference to stay within is greater than zero.");
    }
    // Continued fractions: each step comes nearer, with the smallest denominators that can.
    const int64_t most = is_signed ? INT32_MAX : int64_t{UINT32_MAX};
    const double size = std::abs(value);
    if (std::floor(size) > static_cast<double>(most)) {
        throw ManagedException("OverflowException",
                               "The number " + to_utf8(number_text(value)) + " is too large for a fraction of TIFF.");
    }
    int64_t before_nominator = 1, before_denominator = 0;
    auto nominator = static_cast<int64_t>(std::floor(size));
    int64_t denominator = 1;
    double rest = size - std::floor(size);
    while (std::abs(size - static_cast<double>(nominator) / static_cast<double>(denominator)) > epsilon && rest > 0) {
        const double turned = 1 / rest;
        const double whole = std::floor(turned);
        rest = turned - whole;
        const double next_nominator = whole * static_cast<double>(nominator) + static_cast<double>(before_nominator);
        const double next_denominator =
            whole * static_cast<double>(denominator) + static_cast<double>(before_denominator);
        if (next_nominator > static_cast<double>(most) || next_denominator > static_cast<double>(most)) {
            break;
        }
        before_nominator = std::exchange(nominator, static_cast<int64_t>(next_nominator));
        before_denominator = std::exchange(denominator, static_cast<int64_t>(next_denominator));
    }
    return make_rational(value < 0 ? -nominator : nominator, denominator, is_signed);
}

}  // namespace zelmor::embed

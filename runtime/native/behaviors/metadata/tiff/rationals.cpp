// Fractions of TIFF; see rationals.h.
#include "runtime/native/behaviors/metadata/tiff/rationals.h"

#include <cmath>
#include <limits>
#include <numeric>
#include <type_traits>
#include <vector>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.h"
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

// TiffRational consists of numbers without a sign, TiffSRational of numbers with one.
using Plain = api::FileFormats::Tiff::TiffRational;
using Signed = api::FileFormats::Tiff::TiffSRational;

template <class Number>
Ref<ManagedObject> make_zero() {
    return make_rational(0, 1, std::is_signed_v<Number>);
}
template <class Number>
Ref<ManagedObject> make_whole(Number value) {
    return make_rational(value, 1, std::is_signed_v<Number>);
}
template <class Number>
Ref<ManagedObject> make_fraction(Number nominator, Number denominator) {
    return make_rational(nominator, denominator, std::is_signed_v<Number>);
}
template <class Number, class T>
Ref<ManagedObject> approximate(T value) {
    return approximate_rational(value, kRationalEpsilon, std::is_signed_v<Number>);
}
template <class Number, class T>
Ref<ManagedObject> approximate_within(T value, double epsilon) {
    return approximate_rational(value, epsilon, std::is_signed_v<Number>);
}
template <class Number>
Number nominator(RationalObject& self) {
    return static_cast<Number>(self.nominator());
}
template <class Number>
Number denominator(RationalObject& self) {
    return static_cast<Number>(self.denominator());
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

// The members of either class that have the same name in both.
template <class Api, class Number>
std::vector<BehaviorRow> members() {
    return {
        behavior<&approximate_within<Number, double>, Api::call_000_ApproximateFraction,
                 Api::call_000_ApproximateDoubleFractionEps>(),
        behavior<&approximate<Number, double>, Api::call_001_ApproximateFraction,
                 Api::call_000_ApproximateDoubleFraction>(),
        behavior<&approximate_within<Number, float>, Api::call_002_ApproximateFraction,
                 Api::call_000_ApproximateFloatFractionEps>(),
        behavior<&approximate<Number, float>, Api::call_003_ApproximateFraction,
                 Api::call_000_ApproximateFloatFraction>(),
        behavior<&nominator<Number>, Api::get_Nominator>(),
        behavior<&denominator<Number>, Api::get_Denominator>(),
    };
}

const BehaviorTable ZELMOR_UNNAMED(members<Plain, uint32_t>());
const BehaviorTable ZELMOR_UNNAMED(members<Signed, int32_t>());
const BehaviorTable ZELMOR_UNNAMED({
    behavior<&make_zero<uint32_t>, Plain::ctor_000_TiffRational>(),
    behavior<&make_whole<uint32_t>, Plain::ctor_001_TiffRational>(),
    behavior<&make_fraction<uint32_t>, Plain::ctor_002_TiffRational>(),
    behavior<&make_zero<int32_t>, Signed::ctor_000_TiffSRational>(),
    behavior<&make_whole<int32_t>, Signed::ctor_001_TiffSRational>(),
    behavior<&make_fraction<int32_t>, Signed::ctor_002_TiffSRational>(),
    behavior<&value, Plain::get_Value, Signed::get_Value>(),
    behavior<&value_d, Plain::get_ValueD, Signed::get_ValueD>(),
    behavior<&epsilon, Plain::getsa_Epsilon, Signed::getsa_Epsilon>(),
});

}  // namespace

bool RationalObject::equals(const ManagedObject& other) const {
    const auto* same = dynamic_cast<const RationalObject*>(&other);
    if (same == nullptr || &same->type() != &type()) {
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
    // Continued fractions: each step is the best approximation among fractions with no larger denominator.
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

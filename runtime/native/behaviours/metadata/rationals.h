// TiffRational and TiffSRational: a nominator over a denominator, as TIFF and EXIF store fractions.
#pragma once

#include <cstdint>

#include "runtime/native/core/object.h"

namespace zelmor::embed {

class RationalObject final : public ManagedObject {
 public:
    static constexpr const char* kManagedName = "Zelmor.Imaging.FileFormats.Tiff.TiffRational";
    static constexpr const char* kSignedName = "Zelmor.Imaging.FileFormats.Tiff.TiffSRational";
    RationalObject(const TypeInfo& type, int64_t nominator, int64_t denominator)
        : ManagedObject(type), nominator_(nominator), denominator_(denominator) {}

    int64_t nominator() const { return nominator_; }
    int64_t denominator() const { return denominator_; }
    // Infinite or not a number where the denominator is zero, which EXIF uses for what is not known.
    double value() const { return static_cast<double>(nominator_) / static_cast<double>(denominator_); }

    // 1/2 equals 2/4; what has no value equals only the same two numbers.
    bool equals(const ManagedObject& other) const override;
    int32_t hash_code() const override;
    std::u16string to_text() const override;  // "1/2"
    Ref<ManagedObject> copy() const override { return make_ref<RationalObject>(type(), nominator_, denominator_); }

 private:
    int64_t nominator_;
    int64_t denominator_;
};

// OverflowException where a number does not fit in 32 bits with or without a sign.
Ref<ManagedObject> make_rational(int64_t nominator, int64_t denominator, bool is_signed);
// The fraction with the smallest denominator that is no further away than `epsilon`.
Ref<ManagedObject> approximate_rational(double value, double epsilon, bool is_signed);

constexpr double kRationalEpsilon = 1e-6;

}  // namespace zelmor::embed

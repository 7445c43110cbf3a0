// TiffRational and TiffSRational: a nominator over a denominator, as TIFF and EXIF store fractions.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_RATIONALS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_RATIONALS_H

#include <cstdint>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.h"
#include "runtime/native/core/object.h"

namespace zelmor::embed {

class RationalObject final : public ManagedObject {
 public:
    static constexpr const char* kManagedName = api::FileFormats::Tiff::TiffRational::kType.name;
    static constexpr const char* kSignedName = api::FileFormats::Tiff::TiffSRational::kType.name;
    RationalObject(const TypeInfo& type, int64_t nominator, int64_t denominator)
        : ManagedObject(type), m_nominator(nominator), m_denominator(denominator) {}

    int64_t nominator() const { return m_nominator; }
    int64_t denominator() const { return m_denominator; }
    // Infinite or not a number where the denominator is zero, which EXIF uses for what is not known.
    double value() const { return static_cast<double>(m_nominator) / static_cast<double>(m_denominator); }

    // 1/2 equals 2/4; what has no value equals only the same two numbers.
    bool equals(const ManagedObject& other) const override;
    int32_t hash_code() const override;
    std::u16string to_text() const override;  // "1/2"
    Ref<ManagedObject> copy() const override { return make_ref<RationalObject>(type(), m_nominator, m_denominator); }

 private:
    int64_t m_nominator;
    int64_t m_denominator;
};

// OverflowException where a number does not fit in 32 bits with or without a sign.
Ref<ManagedObject> make_rational(int64_t nominator, int64_t denominator, bool is_signed);
// The fraction with the smallest denominator that is no further away than `epsilon`.
Ref<ManagedObject> approximate_rational(double value, double epsilon, bool is_signed);

constexpr double kRationalEpsilon = 1e-6;

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_RATIONALS_H

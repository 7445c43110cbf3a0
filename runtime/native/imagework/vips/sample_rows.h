// Rows of samples as numbers to compute with, and back.
//
// Colors are multiplied by their alpha on the way, so that what is mixed from them does not bleed in from transparent
// pixels; on the way back they are divided by it, rounded and clipped to the range of their format.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_SAMPLE_ROWS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_SAMPLE_ROWS_H

#include <cstddef>

#include <vips/vips.h>

namespace zelmor::imagework {

struct SampleForm {
    VipsBandFormat format;
    int bands;
    bool weighed;  // the last band is an alpha, by which the others are weighed

    size_t samples(int pixels) const { return static_cast<size_t>(pixels) * static_cast<size_t>(bands); }
};

// Whether single precision is enough to compute with: it holds integers of 24 bits.
constexpr bool fits_single(VipsBandFormat format) {
    return format != VIPS_FORMAT_UINT && format != VIPS_FORMAT_INT && format != VIPS_FORMAT_DOUBLE;
}

// Work is float or double; the formats are the real ones.
template <class Work>
void unpack_row(const SampleForm& form, const void* from, Work* to, int pixels);
// Changes the numbers of `from`.
template <class Work>
void pack_row(const SampleForm& form, Work* from, void* to, int pixels);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_SAMPLE_ROWS_H

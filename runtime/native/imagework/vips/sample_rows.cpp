// Rows of samples as numbers; see sample_rows.h.
#include "runtime/native/imagework/vips/sample_rows.h"

#include <cassert>
#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

#include "runtime/native/imagework/vips/wide_code.h"

namespace zelmor::imagework {
namespace {

// The number that stands for a full channel. Signed integers count from their least value.
template <class Sample>
constexpr double top_of() {
    if constexpr (std::is_floating_point_v<Sample>) {
        return 1.0;
    } else {
        return static_cast<double>(std::numeric_limits<Sample>::max()) - std::numeric_limits<Sample>::min();
    }
}
template <class Sample, class Work>
constexpr Work least_of() {
    return std::is_floating_point_v<Sample> ? Work(0) : static_cast<Work>(std::numeric_limits<Sample>::min());
}

template <class Sample, class Work>
struct Unpack {
    ZELMOR_INLINE void run(const Sample* from, Work* to, size_t size) {
        for (size_t i = 0; i < size; i++) {
            to[i] = static_cast<Work>(from[i]) - least_of<Sample, Work>();
        }
    }
};

template <class Sample, class Work>
struct Pack {
    ZELMOR_INLINE void run(const Work* from, Sample* to, size_t size) {
        if constexpr (std::is_floating_point_v<Sample>) {
            for (size_t i = 0; i < size; i++) {
                to[i] = static_cast<Sample>(from[i]);
            }
        } else {
            constexpr Work kTop = static_cast<Work>(top_of<Sample>());
            using Whole = std::conditional_t<(sizeof(Sample) < 4), int32_t, int64_t>;
            for (size_t i = 0; i < size; i++) {
                const Work high = from[i] < kTop ? from[i] : kTop;
                const Work value = high > 0 ? high : 0;
                to[i] = static_cast<Sample>(static_cast<Whole>(value + Work(0.5)) +
                                            static_cast<Whole>(std::numeric_limits<Sample>::min()));
            }
        }
    }
};

template <class Work>
void weigh(Work* row, int pixels, int bands, Work top) {
    for (int x = 0; x < pixels; x++, row += bands) {
        const Work share = row[bands - 1] / top;
        for (int band = 0; band < bands - 1; band++) {
            row[band] *= share;
        }
    }
}

template <class Work>
void unweigh(Work* row, int pixels, int bands, Work top) {
    for (int x = 0; x < pixels; x++, row += bands) {
        const Work alpha = row[bands - 1];
        const Work share = alpha > 0 ? top / alpha : 0;
        for (int band = 0; band < bands - 1; band++) {
            row[band] *= share;
        }
    }
}

// Calls with a value of the type of the format's samples.
template <class Call>
void by_format(VipsBandFormat format, Call&& call) {
    // The branches call different instances.
    // NOLINTBEGIN(bugprone-branch-clone)
    switch (format) {
        case VIPS_FORMAT_UCHAR:
            return call(uint8_t());
        case VIPS_FORMAT_CHAR:
            return call(int8_t());
        case VIPS_FORMAT_USHORT:
            return call(uint16_t());
        case VIPS_FORMAT_SHORT:
            return call(int16_t());
        case VIPS_FORMAT_UINT:
            return call(uint32_t());
        case VIPS_FORMAT_INT:
            return call(int32_t());
        case VIPS_FORMAT_FLOAT:
            return call(float());
        case VIPS_FORMAT_DOUBLE:
            return call(double());
        default:
            assert(false && "a complex number is no sample");
    }
    // NOLINTEND(bugprone-branch-clone)
}

}  // namespace

template <class Work>
void unpack_row(const SampleForm& form, const void* from, Work* to, int pixels) {
    by_format(form.format, [&](auto kind) {
        using Sample = decltype(kind);
        run_step<Unpack<Sample, Work>>(static_cast<const Sample*>(from), to, form.samples(pixels));
        if (form.weighed) {
            weigh(to, pixels, form.bands, static_cast<Work>(top_of<Sample>()));
        }
    });
}

template <class Work>
void pack_row(const SampleForm& form, Work* from, void* to, int pixels) {
    by_format(form.format, [&](auto kind) {
        using Sample = decltype(kind);
        if (form.weighed) {
            unweigh(from, pixels, form.bands, static_cast<Work>(top_of<Sample>()));
        }
        run_step<Pack<Sample, Work>>(static_cast<const Work*>(from), static_cast<Sample*>(to), form.samples(pixels));
    });
}

template void unpack_row(const SampleForm&, const void*, float*, int);
template void unpack_row(const SampleForm&, const void*, double*, int);
template void pack_row(const SampleForm&, float*, void*, int);
template void pack_row(const SampleForm&, double*, void*, int);

}  // namespace zelmor::imagework

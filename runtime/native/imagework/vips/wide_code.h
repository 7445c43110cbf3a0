// Loops over samples, compiled twice: for every x86-64 processor, and for those with vectors of 32 bytes (AVX2).
//
// A step is a structure with a static function `run`, declared ZELMOR_INLINE so that it becomes part of both. Only
// steps are compiled for the wider vectors, never a whole file: an inline function of the standard library that was
// compiled so could be chosen by the linker for all callers. Neither way fuses multiplications with additions, so that
// the results are the same on every machine.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_WIDE_CODE_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_WIDE_CODE_H

#include <cstddef>

#define ZELMOR_INLINE [[gnu::always_inline]] static inline

namespace zelmor::imagework {

template <class Step, class... Args>
[[gnu::target("avx2")]] void run_wide(Args... args) {
    Step::run(args...);
}

template <class Step, class... Args>
void run_narrow(Args... args) {
    Step::run(args...);
}

template <class Step, class... Args>
void run_step(Args... args) {
    static const bool wide = __builtin_cpu_supports("avx2") != 0;
    if (wide) {
        run_wide<Step>(args...);
    } else {
        run_narrow<Step>(args...);
    }
}

// Numbers in one vector of 32 bytes; two vectors of 16 where there are no wider ones. Loose ones lie anywhere in
// memory, among other numbers.
template <class Work>
struct Lanes;
template <>
struct Lanes<float> {
    static constexpr size_t kCount = 8;
    using Vector = float __attribute__((vector_size(32)));
    using Loose = float __attribute__((vector_size(32), aligned(4), may_alias));
    using LooseFour = float __attribute__((vector_size(16), aligned(4), may_alias));
    using Four = float __attribute__((vector_size(16)));
};
template <>
struct Lanes<double> {
    static constexpr size_t kCount = 4;
    using Vector = double __attribute__((vector_size(32)));
    using Loose = double __attribute__((vector_size(32), aligned(8), may_alias));
    using LooseFour = Loose;
    using Four = Vector;
};

// to[i] = weights[0] * from[i] + weights[1] * from[i + stride] + ..., for i below size. The weighted sum of rows that
// lie `stride` apart, and as well that of neighbors in one row, which lie apart by the number of bands.
template <class Work>
struct WeightedSum {
    ZELMOR_INLINE void run(const Work* from, size_t stride, const Work* weights, size_t count, Work* to, size_t size) {
        using Vector = typename Lanes<Work>::Vector;
        using Loose = typename Lanes<Work>::Loose;
        constexpr size_t kLanes = Lanes<Work>::kCount;
        size_t i = 0;
        for (; i + 4 * kLanes <= size; i += 4 * kLanes) {
            Vector first = {};
            Vector second = {};
            Vector third = {};
            Vector fourth = {};
            const Work* at = from + i;
            for (size_t k = 0; k < count; k++, at += stride) {
                const Work weight = weights[k];
                const auto* samples = reinterpret_cast<const Loose*>(at);
                first += samples[0] * weight;
                second += samples[1] * weight;
                third += samples[2] * weight;
                fourth += samples[3] * weight;
            }
            auto* sums = reinterpret_cast<Loose*>(to + i);
            sums[0] = first;
            sums[1] = second;
            sums[2] = third;
            sums[3] = fourth;
        }
        for (; i < size; i++) {
            Work sum = 0;
            for (size_t k = 0; k < count; k++) {
                sum += from[i + k * stride] * weights[k];
            }
            to[i] = sum;
        }
    }
};

// to[i] += weight * from[i]
template <class Work>
struct AddScaled {
    ZELMOR_INLINE void run(const Work* from, Work weight, Work* to, size_t size) {
        for (size_t i = 0; i < size; i++) {
            to[i] += from[i] * weight;
        }
    }
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_WIDE_CODE_H

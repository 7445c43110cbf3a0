// One color laid over another, neither of them multiplied by its alpha.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_BLENDING_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_BLENDING_H

#include <algorithm>
#include <cstdint>

namespace zelmor::imagework {

// The `colors` bands of a pixel come before its alpha.
template <class Sample>
void blend(const Sample* from, Sample* to, int colors) {
    constexpr uint64_t kTop = static_cast<Sample>(~Sample{0});
    const uint64_t alpha = from[colors];
    if (alpha == kTop || to[colors] == 0) {
        std::copy_n(from, colors + 1, to);
        return;
    }
    const uint64_t below = to[colors] * (kTop - alpha);
    const uint64_t sum = alpha * kTop + below;  // the alpha of both, times kTop
    if (sum == 0) {
        return;
    }
    for (int band = 0; band < colors; band++) {
        to[band] = static_cast<Sample>((from[band] * alpha * kTop + to[band] * below + sum / 2) / sum);
    }
    to[colors] = static_cast<Sample>((sum + kTop / 2) / kTop);
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_BLENDING_H

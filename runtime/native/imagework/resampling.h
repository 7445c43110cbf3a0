// How a picture is resampled.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_RESAMPLING_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_RESAMPLING_H

#include <cstdint>

namespace zelmor::imagework {

enum class Resampling : uint8_t {
    kNearest,
    kBilinear,
    kCatmullRom,
    kMitchell,
    kLanczos,
    kSinc,
    kAdaptive,  // enlarges by an interpolation that adapts itself to edges, reduces as Lanczos' kernel does
    kBell,
    kBSpline,
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_RESAMPLING_H

// How a transformation stretches text, for formats whose text has a height, a width of letters and a direction.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_TEXT_SCALE_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_TEXT_SCALE_H

#include <cmath>
#include <optional>

#include "runtime/native/drawwork/geometry.h"

namespace zelmor::embed {

// How much larger text becomes along its lines and across them.
struct TextScale {
    double along = 1, across = 1;
};

// Nothing for text that is slanted or mirrored.
inline std::optional<TextScale> text_scale(const drawwork::Affine& placing) {
    const double determinant = placing.determinant();
    const double slant = placing.m11 * placing.m21 + placing.m12 * placing.m22;
    if (!(determinant > 0) || !(std::abs(slant) <= 1e-6 * determinant)) {
        return std::nullopt;
    }
    return TextScale{std::hypot(placing.m11, placing.m12), std::hypot(placing.m21, placing.m22)};
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_TEXT_SCALE_H

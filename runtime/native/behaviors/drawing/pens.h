// A pen as the drawing needs it, read from the properties of its object.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_PENS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_PENS_H

#include <optional>
#include <vector>

#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

// Values of the enumeration LineCap.
enum class LineCap : int32_t {
    kFlat = 0,
    kSquare = 1,
    kRound = 2,
    kTriangle = 3,
    kNoAnchor = 16,
    kSquareAnchor = 17,
    kRoundAnchor = 18,
    kDiamondAnchor = 19,
    kArrowAnchor = 20,
    kCustom = 255,
};

// The cap that lies within the line's width; anchors stand on a flat end.
EndCap end_cap_of(int64_t line_cap);
// The part of a pen that widens outlines. Anchors and dashes are not in it.
PenShape pen_shape(const ManagedObject& pen);
// The lengths of dashes and gaps in units of the pen's width; empty for an unbroken line.
std::vector<double> dashes_of(const ManagedObject& pen);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_PENS_H

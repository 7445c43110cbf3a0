// Text on a canvas in any size.
#include "runtime/native/formats/metafile/player/shown_text.h"

#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/drawwork/loader.h"

namespace zelmor::embed::metafile {

namespace {

constexpr double kLeast = 0.1, kMost = 1000;  // of letters, in pixels

}  // namespace

bool is_measurable(double size) {
    return size >= kLeast && size <= kMost;
}

void show_text(drawwork::Canvas& canvas, const drawwork::TextLayout& layout, const drawwork::Affine& placing,
               const drawwork::Paint& paint, bool smooth) {
    const double across = std::hypot(placing.m11, placing.m12) * layout.size;
    const double down = std::hypot(placing.m21, placing.m22) * layout.size;
    if (!is_measurable(layout.size) || !(std::min(across, down) >= kLeast) || !std::isfinite(across + down) ||
        !placing.inverse()) {
        return;
    }
    if (std::max(across, down) <= kMost) {
        canvas.text(layout, placing, paint);
        return;
    }
    const Outline outline = transformed(drawing_backend().outline_of(layout), placing);
    canvas.fill(outline, FillRule::kWinding, paint, smooth);
}

}  // namespace zelmor::embed::metafile

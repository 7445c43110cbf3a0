// Pictures on canvases; see picture_drawing.h.
#include "runtime/native/behaviors/vector/picture_drawing.h"

#include <algorithm>

namespace zelmor::embed {

using drawwork::Affine;
using drawwork::Contour;
using drawwork::Extend;
using drawwork::FillRule;
using drawwork::Paint;
using drawwork::RectD;

namespace {

// Pixels to a side of one texture. Drawing libraries have coordinates of 16 bits for pixels.
constexpr int32_t kTexture = 1 << 14;

Contour frame(const RectD& area, const Affine& map) {
    Contour contour;
    contour.start = map.apply({area.x, area.y});
    contour.line_to(map.apply({area.right(), area.y}));
    contour.line_to(map.apply({area.right(), area.bottom()}));
    contour.line_to(map.apply({area.x, area.bottom()}));
    contour.closed = true;
    return contour;
}

}  // namespace

RectD PictureDrawing::bounds() const {
    return {0, 0, static_cast<double>(m_picture->width()), static_cast<double>(m_picture->height())};
}

void PictureDrawing::draw(drawwork::Canvas& canvas, const Affine& placing, const DrawSettings&) {
    for (int32_t top = 0; top < m_picture->height(); top += kTexture) {
        for (int32_t left = 0; left < m_picture->width(); left += kTexture) {
            const imagework::Rect area{left, top, std::min(kTexture, m_picture->width() - left),
                                       std::min(kTexture, m_picture->height() - top)};
            Paint paint;
            paint.kind = Paint::Kind::kTexture;
            paint.width = area.width;
            paint.height = area.height;
            paint.extend = Extend::kPad;
            paint.placing = Affine::translation(left, top).then(placing);
            paint.pixels.resize(static_cast<size_t>(area.width) * static_cast<size_t>(area.height));
            m_picture->read_argb(area, paint.pixels);
            const RectD covered{static_cast<double>(left), static_cast<double>(top), static_cast<double>(area.width),
                                static_cast<double>(area.height)};
            canvas.fill({frame(covered, placing)}, FillRule::kWinding, paint, false);
        }
    }
}

}  // namespace zelmor::embed

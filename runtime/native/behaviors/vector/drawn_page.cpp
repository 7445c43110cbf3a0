// Drawing a page; see drawn_page.h.
#include "runtime/native/behaviors/vector/drawn_page.h"

#include "runtime/native/behaviors/vector/vector_image.h"

namespace zelmor::embed {

using drawwork::Affine;
using drawwork::Contour;
using drawwork::FillRule;
using drawwork::Outline;
using drawwork::Paint;
using drawwork::RectD;

namespace {

// The parallelogram that the map makes of the rectangle.
Outline mapped(const RectD& area, const Affine& map) {
    Contour contour;
    contour.start = map.apply({area.x, area.y});
    contour.line_to(map.apply({area.right(), area.y}));
    contour.line_to(map.apply({area.right(), area.bottom()}));
    contour.line_to(map.apply({area.x, area.bottom()}));
    contour.closed = true;
    return {contour};
}

}  // namespace

void DrawnPage::draw(drawwork::Canvas& canvas, const Affine& to_canvas) const {
    const RectD whole{0, 0, width, height};
    if (background >> 24 != 0) {
        Paint paint;
        paint.color = background;
        canvas.fill(mapped(whole, to_canvas), FillRule::kWinding, paint, settings.smooth);
    }
    const RectD shown = drawing->bounds();
    if (!(shown.width > 0) || !(shown.height > 0)) {
        return;
    }
    const Affine map = placing.then(to_canvas);
    canvas.save();
    canvas.clip(mapped(whole, to_canvas), FillRule::kWinding, false);
    canvas.clip(mapped(shown, map), FillRule::kWinding, settings.smooth);
    drawing->draw(canvas, map, settings);
    canvas.restore();
}

bool DrawnPage::is_unchanged() const {
    const auto* image = dynamic_cast<const VectorImageObject*>(source.get());
    if (image == nullptr || image->is_changed()) {
        return false;
    }
    const SizeFValue size = image->size_f();
    return background >> 24 == 0 && image->placing() == placing && size.width == static_cast<float>(width) &&
           size.height == static_cast<float>(height);
}

}  // namespace zelmor::embed

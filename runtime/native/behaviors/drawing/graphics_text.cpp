// Graphics: text.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/graphics.h"
#include "runtime/native/behaviors/drawing/text_layouts.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

using api::GraphicsUnit;
using api::TextRenderingHint;

namespace {

using drawwork::Paint;
using drawwork::PixelArea;
using Graphics = GraphicsObject;
using Text = std::optional<std::u16string>;

// The length of a unit of the font's size in world coordinates. The page's unit does not change a size that is given in
// inches, points and so on; the transformation enlarges text like everything else.
double font_scale(const Graphics& self, const ManagedObject* font) {
    const auto unit = property_enum<GraphicsUnit>(required(font, "font"), "Unit");
    if (unit == GraphicsUnit::kWorld) {
        return 1;
    }
    const double page =
        self.unit_pixels(property_enum<GraphicsUnit>(self, "PageUnit")) * property_double(self, "PageScale");
    return page > 0 ? self.unit_pixels(unit) / page : 1;
}

void set_rendering(drawwork::TextLayout& layout, TextRenderingHint hint) {
    layout.smooth =
        hint != TextRenderingHint::kSingleBitPerPixelGridFit && hint != TextRenderingHint::kSingleBitPerPixel;
    layout.hinted = hint == TextRenderingHint::kSingleBitPerPixelGridFit ||
                    hint == TextRenderingHint::kAntiAliasGridFit || hint == TextRenderingHint::kClearTypeGridFit;
}

void draw(Graphics& self, const Text& text, const ManagedObject* font, const ManagedObject* brush, const RectD& frame,
          const ManagedObject* format) {
    required(brush, "brush");
    if (!text || text->empty()) {
        return;
    }
    PlacedText placed = place_text(*text, font, format, frame.width, frame.height, font_scale(self, font));
    if (placed.layout.text.empty()) {
        return;
    }
    set_rendering(placed.layout, property_enum<TextRenderingHint>(self, "TextRenderingHint"));
    const Affine to_pixels = self.map();
    const PointD at = PointD{frame.x, frame.y} + placed.offset;
    // Letters reach beyond the box of their line, by less than the size of the font.
    const double margin = placed.layout.size;
    const RectD box{at.x + placed.extent.left - margin, at.y - margin, placed.extent.width + 2 * margin,
                    placed.extent.height + 2 * margin};
    const RectD reach = bounds_of(transformed({rectangle_contour(box)}, to_pixels));
    self.draw(reach, [&](drawwork::Canvas& canvas, const PixelArea& area) {
        if (placed.clip) {
            const RectD shown{frame.x + placed.clip->x, frame.y + placed.clip->y, placed.clip->width,
                              placed.clip->height};
            canvas.clip(transformed({rectangle_contour(shown)}, to_pixels), FillRule::kAlternate, self.smooth());
        }
        const Paint paint = paint_of(brush, {to_pixels, area});
        canvas.text(placed.layout, Affine::translation(at.x, at.y).then(to_pixels), paint);
    });
}

void draw_at_with(Graphics& self, const Text& text, Record* font, ManagedObject* brush, PointArg at, Record* format) {
    draw(self, text, font, brush, {at.x, at.y, 0, 0}, format);
}
void draw_at(Graphics& self, const Text& text, Record* font, ManagedObject* brush, PointArg at) {
    draw_at_with(self, text, font, brush, at, nullptr);
}
void draw_at_xy_with(Graphics& self, const Text& text, Record* font, ManagedObject* brush, float x, float y,
                     Record* format) {
    draw_at_with(self, text, font, brush, {{x, y}}, format);
}
void draw_at_xy(Graphics& self, const Text& text, Record* font, ManagedObject* brush, float x, float y) {
    draw_at_with(self, text, font, brush, {{x, y}}, nullptr);
}
void draw_in_with(Graphics& self, const Text& text, Record* font, ManagedObject* brush, RectArg frame, Record* format) {
    draw(self, text, font, brush, frame, format);
}
void draw_in(Graphics& self, const Text& text, Record* font, ManagedObject* brush, RectArg frame) {
    draw(self, text, font, brush, frame, nullptr);
}

// The text without the spaces at the ends of its lines.
std::u16string without_trailing_spaces(const std::u16string& text) {
    std::u16string result;
    for (const char16_t c : text) {
        if (c == u'\n') {
            result.erase(result.find_last_not_of(u' ') + 1);
        }
        result += c;
    }
    result.erase(result.find_last_not_of(u' ') + 1);
    return result;
}

SizeFValue measure(Graphics& self, const Text& text, Record* font, const SizeFValue& area, Record* format) {
    const double scale = font_scale(self, font);
    if (!text || text->empty()) {
        return {};
    }
    const int64_t flags = format != nullptr ? property_int(*format, "FormatFlags") : 0;
    const bool whole = (flags & number_of(api::StringFormatFlags::kMeasureTrailingSpaces)) != 0;
    const PlacedText placed =
        place_text(whole ? *text : without_trailing_spaces(*text), font, format, area.width, area.height, scale);
    const auto within = [](double extent, float room) {
        return static_cast<float>(room > 0 ? std::min(extent, double{room}) : extent);
    };
    return {within(placed.extent.width, area.width), within(placed.extent.height, area.height)};
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&draw_at_xy, api::Graphics::call_000_DrawString, api::Graphics::call_000_DrawStringAtXy>(),
    behavior<&draw_at, api::Graphics::call_001_DrawString, api::Graphics::call_000_DrawStringAtPointF>(),
    behavior<&draw_at_xy_with, api::Graphics::call_002_DrawString>(),
    behavior<&draw_at_with, api::Graphics::call_003_DrawString, api::Graphics::call_000_DrawStringAtPointFFormat>(),
    behavior<&draw_in, api::Graphics::call_004_DrawString, api::Graphics::call_000_DrawStringInRect>(),
    behavior<&draw_in_with, api::Graphics::call_005_DrawString, api::Graphics::call_000_DrawStringInRectF>(),
    behavior<&measure, api::Graphics::call_000_MeasureString>(),
});

}  // namespace

}  // namespace zelmor::embed

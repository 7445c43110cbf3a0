// Graphics: drawing images on the image.
//
// The part of the source is a texture that is mapped to a parallelogram, of which a rectangle is one.
#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/drawing/graphics.h"
#include "runtime/native/behaviors/drawing/image_attributes.h"
#include "runtime/native/behaviors/images/image_entry.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

using drawwork::Extend;
using drawwork::Paint;
using drawwork::PixelArea;
using drawwork::Sampling;
using Graphics = GraphicsObject;

constexpr int32_t kPixels = 2;

ImageObject& source_of(ManagedObject* image) {
    if (!image) {
        throw_argument_null("source_image");
    }
    auto* raster = dynamic_cast<ImageObject*>(image);
    if (!raster) {
        throw_not_supported(std::string("Drawing a ") + image->type().full_name);
    }
    raster->require_live();
    return *raster;
}
RectD all_of(const ImageObject& image) {
    return {0, 0, double(image.picture().width()), double(image.picture().height())};
}

// A rectangle of the source in its own unit as pixels of it.
RectD in_pixels(const ImageObject& image, const RectD& rect, int32_t unit) {
    const auto resolution = image.picture().resolution();
    const auto factor = [&](double dpi) {
        switch (unit) {
            case 3:
                return dpi / 72;
            case 4:
                return dpi;
            case 5:
                return dpi / 300;
            case 6:
                return dpi / 25.4;
            default:
                return 1.0;
        }
    };
    const double x = factor(resolution.horizontal), y = factor(resolution.vertical);
    return {rect.x * x, rect.y * y, rect.width * x, rect.height * y};
}

Sampling sampling_of(const Graphics& self) {
    switch (property_int(self, "InterpolationMode")) {
        case 1:  // low
        case 5:  // nearest neighbor
            return Sampling::kNearest;
        case 2:  // high
        case 4:  // bicubic
        case 6:  // high quality
        case 7:
            return Sampling::kBest;
        default:
            return Sampling::kGood;
    }
}

// The source's pixels, as many as the part needs, and where they are in the source.
Paint source_paint(const ImageObject& image, const RectD& part, const ImageAttributesObject* attributes) {
    const RectD whole = all_of(image);
    const bool inside = part.x >= 0 && part.y >= 0 && part.right() <= whole.width && part.bottom() <= whole.height;
    PixelArea area{0, 0, int32_t(whole.width), int32_t(whole.height)};
    if (inside) {
        const double x = std::floor(part.x), y = std::floor(part.y);
        area = {int32_t(x), int32_t(y), int32_t(std::ceil(part.right()) - x), int32_t(std::ceil(part.bottom()) - y)};
    }
    Paint paint = texture_of(image, area, attributes ? attributes->wrap_mode : 4);
    paint.placing = Affine::translation(area.x, area.y);
    if (inside) {
        paint.extend = Extend::kPad;  // no fading out along the edges
    }
    if (attributes) {
        attributes->for_images().apply(paint.pixels);
    }
    return paint;
}

void draw_part(Graphics& self, ManagedObject* source, const RectD& part, const std::vector<PointD>& corners,
               const ImageAttributesObject* attributes) {
    const ImageObject& image = source_of(source);
    if (corners.size() != 3) {
        throw_argument("A parallelogram has three points, not " + std::to_string(corners.size()) +
                       ". (Parameter 'dest_points')");
    }
    if (!(part.width > 0 && part.height > 0)) {
        return;
    }
    const Affine to_pixels = self.map();
    const Affine placing = map_of_corners(part, corners).then(to_pixels);
    if (!placing.inverse()) {
        return;
    }
    const Outline outline = transformed({rectangle_contour(part)}, placing);
    const bool upright = placing.m12 == 0 && placing.m21 == 0;
    self.draw(bounds_of(outline), [&](drawwork::Canvas& canvas, const PixelArea&) {
        Paint paint = source_paint(image, part, attributes);
        paint.placing = paint.placing.then(placing);
        paint.sampling = sampling_of(self);
        canvas.fill(outline, FillRule::kAlternate, paint, !upright && self.smooth());
    });
}
void draw_to_rect(Graphics& self, ManagedObject* source, const RectD& part, const RectD& to,
                  const ImageAttributesObject* attributes) {
    draw_part(self, source, part, {{to.x, to.y}, {to.right(), to.y}, {to.x, to.bottom()}}, attributes);
}

// ---- In its natural size: as large as its resolution makes it on this image

void at(Graphics& self, ManagedObject* source, PointD to) {
    const ImageObject& image = source_of(source);
    const auto resolution = image.picture().resolution();
    const RectD part = all_of(image);
    draw_to_rect(self, source, part,
                 {to.x, to.y, part.width * self.dpi_x() / resolution.horizontal,
                  part.height * self.dpi_y() / resolution.vertical},
                 nullptr);
}
void at_point(Graphics& self, ManagedObject* image, PointArg point) {
    at(self, image, point);
}
template <class N>
void at_xy(Graphics& self, ManagedObject* image, N x, N y) {
    at(self, image, {double(x), double(y)});
}

// ---- Pixel by pixel

void unscaled(Graphics& self, ManagedObject* source, PointD to) {
    const RectD part = all_of(source_of(source));
    draw_to_rect(self, source, part, {to.x, to.y, part.width, part.height}, nullptr);
}
void unscaled_at(Graphics& self, ManagedObject* image, PointArg point) {
    unscaled(self, image, point);
}
void unscaled_at_xy(Graphics& self, ManagedObject* image, int32_t x, int32_t y) {
    unscaled(self, image, {double(x), double(y)});
}
void unscaled_in(Graphics& self, ManagedObject* image, RectArg rect) {
    unscaled(self, image, {rect.x, rect.y});
}
void unscaled_in_xywh(Graphics& self, ManagedObject* image, int32_t x, int32_t y, int32_t, int32_t) {
    unscaled(self, image, {double(x), double(y)});
}
void unscaled_clipped(Graphics& self, ManagedObject* source, RectArg rect) {
    const RectD whole = all_of(source_of(source));
    const RectD part{0, 0, std::min(whole.width, rect.width), std::min(whole.height, rect.height)};
    draw_to_rect(self, source, part, {rect.x, rect.y, part.width, part.height}, nullptr);
}

// ---- Into rectangles and parallelograms. The unit is that of the source.

void to_rect(Graphics& self, ManagedObject* image, RectArg rect) {
    draw_to_rect(self, image, all_of(source_of(image)), rect, nullptr);
}
template <class N>
void to_xywh(Graphics& self, ManagedObject* image, N x, N y, N width, N height) {
    to_rect(self, image, {{double(x), double(y), double(width), double(height)}});
}
void to_rect_with(Graphics& self, ManagedObject* image, RectArg rect, int32_t, ImageAttributesObject* attributes) {
    draw_to_rect(self, image, all_of(source_of(image)), rect, attributes);
}
void to_rect_in(Graphics& self, ManagedObject* image, RectArg rect, int32_t) {
    to_rect(self, image, rect);
}
void part_to_rect_with(Graphics& self, ManagedObject* image, RectArg part, RectArg rect, int32_t unit,
                       ImageAttributesObject* attributes) {
    draw_to_rect(self, image, in_pixels(source_of(image), part, unit), rect, attributes);
}
void part_to_rect(Graphics& self, ManagedObject* image, RectArg part, RectArg rect, int32_t unit) {
    part_to_rect_with(self, image, part, rect, unit, nullptr);
}
void to_points(Graphics& self, ManagedObject* image, PointsArg points) {
    draw_part(self, image, all_of(source_of(image)), points.items, nullptr);
}
void part_to_points_with(Graphics& self, ManagedObject* image, PointsArg points, RectArg part, int32_t unit,
                         ImageAttributesObject* attributes) {
    draw_part(self, image, in_pixels(source_of(image), part, unit), points.items, attributes);
}
void part_to_points_in(Graphics& self, ManagedObject* image, PointsArg points, RectArg part, int32_t unit) {
    part_to_points_with(self, image, std::move(points), part, unit, nullptr);
}
void part_to_points(Graphics& self, ManagedObject* image, PointsArg points, RectArg part) {
    part_to_points_in(self, image, std::move(points), part, kPixels);
}

const BehaviorTable table(Assembly::kImaging, [] {
    static std::vector<Behavior> members;
    const auto add = [](EntryPoint point, std::initializer_list<const char*> entries) {
        for (const char* entry : entries) {
            members.push_back({GraphicsObject::kManagedName, entry, point});
        }
    };
    add(image_entry<&at_point>(),
        {"call_000_DrawImage", "call_020_DrawImage", "call_000_DrawImageAtPointF", "call_000_DrawImageAtPoint"});
    add(image_entry<&at_xy<float>>(), {"call_001_DrawImage", "call_000_DrawImageAtXyf"});
    add(image_entry<&to_rect>(),
        {"call_002_DrawImage", "call_022_DrawImage", "call_000_DrawImageRectangleF", "call_000_DrawImageInRectangle"});
    add(image_entry<&to_rect_in>(), {"call_003_DrawImage", "call_004_DrawImage", "call_000_DrawImageToRectWithUnit",
                                     "call_000_DrawImageToRectFWithUnit"});
    add(image_entry<&to_rect_with>(),
        {"call_005_DrawImage", "call_006_DrawImage", "call_000_DrawImageDestRectWithUnitAttribs",
         "call_000_DrawImageDestRectFWithUnitAttribs"});
    add(image_entry<&part_to_rect>(),
        {"call_007_DrawImage", "call_008_DrawImage", "call_000_DrawImageSrcDestRectsWithUnit",
         "call_000_DrawImageSrcDestRectsFWithUnit"});
    add(image_entry<&part_to_rect_with>(),
        {"call_009_DrawImage", "call_010_DrawImage", "call_000_DrawImageSrcDstRectsWithUnitAndAttribs",
         "call_000_DrawImageSrcDstRectFWithUnitAndAttribs"});
    add(image_entry<&to_points>(),
        {"call_011_DrawImage", "call_015_DrawImage", "call_000_DrawImagePoints", "call_000_DrawImagePointsF"});
    add(image_entry<&part_to_points>(),
        {"call_012_DrawImage", "call_016_DrawImage", "call_000_DrawImageDestPointsSrcRect",
         "call_000_DrawImageDestPointsFSrcRectF"});
    add(image_entry<&part_to_points_in>(),
        {"call_013_DrawImage", "call_017_DrawImage", "call_000_DrawImageDestPointsSrcRectWithUnit",
         "call_000_DrawImageDestPointFSrcRectFWithUnit"});
    add(image_entry<&part_to_points_with>(),
        {"call_014_DrawImage", "call_018_DrawImage", "call_000_DrawImageDestPointsSrcRectWithUnitAndAttribs",
         "call_000_DrawImageDestPointFSrcRectFWithUnitAndAttribs"});
    add(image_entry<&to_xywh<float>>(), {"call_019_DrawImage", "call_000_DrawImageInRectF"});
    add(image_entry<&at_xy<int32_t>>(), {"call_021_DrawImage", "call_000_DrawImageAtXy"});
    add(image_entry<&to_xywh<int32_t>>(), {"call_023_DrawImage", "call_000_DrawImageInRect"});
    add(image_entry<&unscaled_at>(), {"call_000_DrawImageUnscaled", "call_000_DrawImageUnscaledToPoint"});
    add(image_entry<&unscaled_at_xy>(), {"call_001_DrawImageUnscaled"});
    add(image_entry<&unscaled_clipped>(), {"call_000_DrawImageUnscaledAndClipped"});
    add(image_entry<&unscaled_in>(), {"call_002_DrawImageUnscaled", "call_000_DrawImageUnscaledInRectangle"});
    add(image_entry<&unscaled_in_xywh>(), {"call_003_DrawImageUnscaled"});
    return std::span<const Behavior>(members);
}());

}  // namespace

}  // namespace zelmor::embed

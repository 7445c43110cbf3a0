// Graphics: drawing images on the image.
//
// The part of the source is a texture that is mapped to a parallelogram, of which a rectangle is one.
#include <algorithm>
#include <cmath>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/graphics.h"
#include "runtime/native/behaviors/drawing/image_attributes.h"
#include "runtime/native/behaviors/images/picture_failures.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

using api::GraphicsUnit;
using api::InterpolationMode;

namespace {

using drawwork::Extend;
using drawwork::Paint;
using drawwork::PixelArea;
using drawwork::Sampling;
using Graphics = GraphicsObject;

ImageObject& source_of(ManagedObject* image) {
    auto* raster = dynamic_cast<ImageObject*>(&required(image, "source_image"));
    if (raster == nullptr) {
        throw_not_supported(std::string("Drawing a ") + image->type().full_name);
    }
    raster->require_live();
    return *raster;
}
RectD all_of(const ImageObject& image) {
    return {0, 0, double(image.picture().width()), double(image.picture().height())};
}

// A rectangle of the source in its own unit as pixels of it.
RectD in_pixels(const ImageObject& image, const RectD& rect, GraphicsUnit unit) {
    const auto resolution = image.picture().resolution();
    const double x = pixels_in_unit(unit, resolution.horizontal), y = pixels_in_unit(unit, resolution.vertical);
    return {rect.x * x, rect.y * y, rect.width * x, rect.height * y};
}

Sampling sampling_of(const Graphics& self) {
    switch (property_enum<InterpolationMode>(self, "InterpolationMode")) {
        case InterpolationMode::kLow:
        case InterpolationMode::kNearestNeighbor:
            return Sampling::kNearest;
        case InterpolationMode::kHigh:
        case InterpolationMode::kBicubic:
        case InterpolationMode::kHighQualityBilinear:
        case InterpolationMode::kHighQualityBicubic:
            return Sampling::kBest;
        default:
            return Sampling::kGood;
    }
}

// The pixels of the source that the part needs, placed at their position in the source.
Paint source_paint(const ImageObject& image, const RectD& part, const ImageAttributesObject* attributes) {
    const RectD whole = all_of(image);
    const bool inside = part.x >= 0 && part.y >= 0 && part.right() <= whole.width && part.bottom() <= whole.height;
    PixelArea area{0, 0, int32_t(whole.width), int32_t(whole.height)};
    if (inside) {
        const double x = std::floor(part.x), y = std::floor(part.y);
        area = {int32_t(x), int32_t(y), int32_t(std::ceil(part.right()) - x), int32_t(std::ceil(part.bottom()) - y)};
    }
    Paint paint = texture_of(image, area, attributes != nullptr ? attributes->wrap_mode : api::WrapMode::kClamp);
    paint.placing = Affine::translation(area.x, area.y);
    if (inside) {
        paint.extend = Extend::kPad;  // no fading out along the edges
    }
    if (attributes != nullptr) {
        attributes->for_images().apply(paint.pixels);
        if (!inside) {
            add_mirrored(paint, flips_sideways(attributes->wrap_mode), flips_upright(attributes->wrap_mode));
        }
    }
    return paint;
}

// The color around the source, where the part reaches beyond it and nothing is repeated.
void fill_outside(drawwork::Canvas& canvas, const ImageObject& image, const RectD& part, const Affine& placing,
                  const ImageAttributesObject& attributes, bool smooth) {
    const RectD whole = all_of(image);
    const double left = std::clamp(part.x, 0.0, whole.width), right = std::clamp(part.right(), 0.0, whole.width);
    const double top = std::clamp(part.y, 0.0, whole.height), bottom = std::clamp(part.bottom(), 0.0, whole.height);
    const Outline around =
        transformed({rectangle_contour(part), rectangle_contour({left, top, right - left, bottom - top})}, placing);
    Paint paint;
    paint.color = attributes.outside;
    canvas.fill(around, FillRule::kAlternate, paint, smooth);
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
        if (attributes != nullptr && attributes->wrap_mode == api::WrapMode::kClamp && attributes->outside >> 24 != 0 &&
            paint.extend == Extend::kNone) {
            fill_outside(canvas, image, part, placing, *attributes, !upright && self.smooth());
        }
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
void to_rect_with(Graphics& self, ManagedObject* image, RectArg rect, GraphicsUnit, ImageAttributesObject* attributes) {
    draw_to_rect(self, image, all_of(source_of(image)), rect, attributes);
}
void to_rect_in(Graphics& self, ManagedObject* image, RectArg rect, GraphicsUnit) {
    to_rect(self, image, rect);
}
void part_to_rect_with(Graphics& self, ManagedObject* image, RectArg part, RectArg rect, GraphicsUnit unit,
                       ImageAttributesObject* attributes) {
    draw_to_rect(self, image, in_pixels(source_of(image), part, unit), rect, attributes);
}
void part_to_rect(Graphics& self, ManagedObject* image, RectArg part, RectArg rect, GraphicsUnit unit) {
    part_to_rect_with(self, image, part, rect, unit, nullptr);
}
void to_points(Graphics& self, ManagedObject* image, PointsArg points) {
    draw_part(self, image, all_of(source_of(image)), points.items, nullptr);
}
void part_to_points_with(Graphics& self, ManagedObject* image, PointsArg points, RectArg part, GraphicsUnit unit,
                         ImageAttributesObject* attributes) {
    draw_part(self, image, in_pixels(source_of(image), part, unit), points.items, attributes);
}
void part_to_points_in(Graphics& self, ManagedObject* image, PointsArg points, RectArg part, GraphicsUnit unit) {
    part_to_points_with(self, image, std::move(points), part, unit, nullptr);
}
void part_to_points(Graphics& self, ManagedObject* image, PointsArg points, RectArg part) {
    part_to_points_in(self, image, std::move(points), part, GraphicsUnit::kPixel);
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&at_point, api::Graphics::call_000_DrawImage, api::Graphics::call_020_DrawImage,
             api::Graphics::call_000_DrawImageAtPointF, api::Graphics::call_000_DrawImageAtPoint>(),
    behavior<&at_xy<float>, api::Graphics::call_001_DrawImage, api::Graphics::call_000_DrawImageAtXyf>(),
    behavior<&to_rect, api::Graphics::call_002_DrawImage, api::Graphics::call_022_DrawImage,
             api::Graphics::call_000_DrawImageRectangleF, api::Graphics::call_000_DrawImageInRectangle>(),
    behavior<&to_rect_in, api::Graphics::call_003_DrawImage, api::Graphics::call_004_DrawImage,
             api::Graphics::call_000_DrawImageToRectWithUnit, api::Graphics::call_000_DrawImageToRectFWithUnit>(),
    behavior<&to_rect_with, api::Graphics::call_005_DrawImage, api::Graphics::call_006_DrawImage,
             api::Graphics::call_000_DrawImageDestRectWithUnitAttribs,
             api::Graphics::call_000_DrawImageDestRectFWithUnitAttribs>(),
    behavior<&part_to_rect, api::Graphics::call_007_DrawImage, api::Graphics::call_008_DrawImage,
             api::Graphics::call_000_DrawImageSrcDestRectsWithUnit,
             api::Graphics::call_000_DrawImageSrcDestRectsFWithUnit>(),
    behavior<&part_to_rect_with, api::Graphics::call_009_DrawImage, api::Graphics::call_010_DrawImage,
             api::Graphics::call_000_DrawImageSrcDstRectsWithUnitAndAttribs,
             api::Graphics::call_000_DrawImageSrcDstRectFWithUnitAndAttribs>(),
    behavior<&to_points, api::Graphics::call_011_DrawImage, api::Graphics::call_015_DrawImage,
             api::Graphics::call_000_DrawImagePoints, api::Graphics::call_000_DrawImagePointsF>(),
    behavior<&part_to_points, api::Graphics::call_012_DrawImage, api::Graphics::call_016_DrawImage,
             api::Graphics::call_000_DrawImageDestPointsSrcRect,
             api::Graphics::call_000_DrawImageDestPointsFSrcRectF>(),
    behavior<&part_to_points_in, api::Graphics::call_013_DrawImage, api::Graphics::call_017_DrawImage,
             api::Graphics::call_000_DrawImageDestPointsSrcRectWithUnit,
             api::Graphics::call_000_DrawImageDestPointFSrcRectFWithUnit>(),
    behavior<&part_to_points_with, api::Graphics::call_014_DrawImage, api::Graphics::call_018_DrawImage,
             api::Graphics::call_000_DrawImageDestPointsSrcRectWithUnitAndAttribs,
             api::Graphics::call_000_DrawImageDestPointFSrcRectFWithUnitAndAttribs>(),
    behavior<&to_xywh<float>, api::Graphics::call_019_DrawImage, api::Graphics::call_000_DrawImageInRectF>(),
    behavior<&at_xy<int32_t>, api::Graphics::call_021_DrawImage, api::Graphics::call_000_DrawImageAtXy>(),
    behavior<&to_xywh<int32_t>, api::Graphics::call_023_DrawImage, api::Graphics::call_000_DrawImageInRect>(),
    behavior<&unscaled_at, api::Graphics::call_000_DrawImageUnscaled,
             api::Graphics::call_000_DrawImageUnscaledToPoint>(),
    behavior<&unscaled_at_xy, api::Graphics::call_001_DrawImageUnscaled>(),
    behavior<&unscaled_clipped, api::Graphics::call_000_DrawImageUnscaledAndClipped>(),
    behavior<&unscaled_in, api::Graphics::call_002_DrawImageUnscaled,
             api::Graphics::call_000_DrawImageUnscaledInRectangle>(),
    behavior<&unscaled_in_xywh, api::Graphics::call_003_DrawImageUnscaled>(),
});

}  // namespace

}  // namespace zelmor::embed

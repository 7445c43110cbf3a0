// The members of the recorders.
#include "runtime/native/behaviors/drawing/graphics.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/formats/metafile/recording/recorder.h"

namespace zelmor::embed::metafile {

namespace {

using api::FillMode;
using api::GraphicsUnit;
using Api = api::FileFormats::Emf::Graphics::MetafileRecorderGraphics2D;
using Recorder = RecorderObject;
using Text = std::optional<std::u16string>;

// ---- Lines

void draw_line(Recorder& self, Record* pen, PointArg from, PointArg to) {
    self.stroke(pen, {polygon_contour(std::vector<PointD>{from, to}, false)});
}
void draw_line_xy(Recorder& self, Record* pen, int32_t x1, int32_t y1, int32_t x2, int32_t y2) {
    draw_line(self, pen, {{double(x1), double(y1)}}, {{double(x2), double(y2)}});
}
void require_points(const PointsArg& points, size_t least) {
    if (points.items.size() < least) {
        throw_argument("There are " + std::to_string(points.items.size()) + " points where " + std::to_string(least) +
                       " are needed. (Parameter 'points')");
    }
}
void draw_polyline(Recorder& self, Record* pen, PointsArg points) {
    require_points(points, 2);
    self.stroke(pen, {polygon_contour(points.items, false)});
}
void draw_bezier(Recorder& self, Record* pen, PointArg a, PointArg b, PointArg c, PointArg d) {
    self.stroke(pen, {bezier_contour(std::vector<PointD>{a, b, c, d}, false)});
}
void draw_beziers(Recorder& self, Record* pen, PointsArg points) {
    require_points(points, 4);
    if (points.items.size() % 3 != 1) {
        throw_argument("A series of curves has three points for each curve and one more. (Parameter 'points')");
    }
    self.stroke(pen, {bezier_contour(points.items, false)});
}
void draw_arc(Recorder& self, Record* pen, RectArg rect, float start, float sweep) {
    self.stroke(pen, {arc_contour(rect, start, sweep, false)});
}

// ---- Shapes

void draw_polygon(Recorder& self, Record* pen, PointsArg points) {
    require_points(points, 2);
    self.stroke(pen, {polygon_contour(points.items, true)});
}
void fill_polygon_by(Recorder& self, ManagedObject* brush, PointsArg points, FillMode fill_mode) {
    require_points(points, 3);
    self.fill(brush, {polygon_contour(points.items, true)},
              fill_mode == FillMode::kWinding ? FillRule::kWinding : FillRule::kAlternate);
}
void fill_polygon(Recorder& self, ManagedObject* brush, PointsArg points) {
    fill_polygon_by(self, brush, std::move(points), FillMode::kAlternate);
}
void draw_rectangle(Recorder& self, Record* pen, RectArg rect) {
    self.stroke(pen, {rectangle_contour(rect)});
}
void draw_rectangle_xywh(Recorder& self, Record* pen, int32_t x, int32_t y, int32_t width, int32_t height) {
    draw_rectangle(self, pen, {{double(x), double(y), double(width), double(height)}});
}
void fill_rectangle(Recorder& self, ManagedObject* brush, RectArg rect) {
    self.fill(brush, {rectangle_contour(rect)}, FillRule::kAlternate);
}
void draw_ellipse(Recorder& self, Record* pen, RectArg rect) {
    self.stroke(pen, {ellipse_contour(rect)});
}
void fill_ellipse(Recorder& self, ManagedObject* brush, RectArg rect) {
    self.fill(brush, {ellipse_contour(rect)}, FillRule::kAlternate);
}
void draw_pie(Recorder& self, Record* pen, RectArg rect, float start, float sweep) {
    self.stroke(pen, {pie_contour(rect, start, sweep)});
}
void fill_pie(Recorder& self, ManagedObject* brush, RectArg rect, float start, float sweep) {
    self.fill(brush, {pie_contour(rect, start, sweep)}, FillRule::kAlternate);
}
void draw_path(Recorder& self, Record* pen, PathObject* path) {
    self.stroke(pen, required(path, "path").outline());
}
// Fills the path, and draws its lines where there is a pen.
void fill_path(Recorder& self, Record* pen, ManagedObject* brush, PathObject* path) {
    const Outline outline = required(path, "path").outline();
    self.fill(brush, outline, path->fill_rule());
    if (pen != nullptr) {
        self.stroke(pen, outline);
    }
}
void clear(Recorder& self) {
    self.clear();
}

// ---- Images

void draw_part(Recorder& self, const imagework::Picture& picture, RectD part, const RectD& to, GraphicsUnit unit) {
    const imagework::Resolution resolution = picture.resolution();
    const double x = pixels_in_unit(unit, resolution.horizontal), y = pixels_in_unit(unit, resolution.vertical);
    part = {part.x * x, part.y * y, part.width * x, part.height * y};
    self.image(picture, part, to);
}
RectD all_of(const imagework::Picture& picture) {
    return {0, 0, double(picture.width()), double(picture.height())};
}

// As large as its resolution makes it.
void draw_image(Recorder& self, ImageObject* image, PointArg at) {
    required(image, "image").require_live();
    const imagework::Picture& picture = image->picture();
    const imagework::Resolution resolution = picture.resolution();
    const auto size = [](int32_t pixels, double dots, double own) { return own > 0 ? pixels * dots / own : pixels; };
    self.image(picture, all_of(picture),
               {at.x, at.y, size(picture.width(), self.dots_per_inch().x, resolution.horizontal),
                size(picture.height(), self.dots_per_inch().y, resolution.vertical)});
}
void draw_image_part(Recorder& self, ImageObject* image, RectArg to, RectArg part, GraphicsUnit unit) {
    required(image, "image").require_live();
    draw_part(self, image->picture(), part, to, unit);
}
void draw_image_bytes(Recorder& self, std::span<const std::byte> bytes, RectArg to, GraphicsUnit) {
    const auto* first = reinterpret_cast<const uint8_t*>(bytes.data());
    const auto image = decoded_image({first, first + bytes.size()}, nullptr, "Cannot draw the image");
    self.image(image->picture(), all_of(image->picture()), to);
}
void draw_image_stream(Recorder& self, Ref<ManagedStream> stream, RectArg to, GraphicsUnit) {
    const auto image = image_of_stream(stream, nullptr);
    self.image(image->picture(), all_of(image->picture()), to);
}

// ---- Text

void draw_turned_string(Recorder& self, const Text& string, Record* font, const ColorValue& color, int32_t x, int32_t y,
                        float angle) {
    if (!string) {
        throw_argument_null("string");
    }
    self.text(*string, font, color.argb, {double(x), double(y)}, angle);
}
void draw_string(Recorder& self, const Text& string, Record* font, const ColorValue& color, int32_t x, int32_t y) {
    draw_turned_string(self, string, font, color, x, y, 0);
}

// ---- Clips, in world coordinates

template <RegionOperation kOperation>
void clip_by(Recorder& self, const RegionTree& world) {
    self.set_clip(combined(self.clip(), transformed(world, self.transform), kOperation));
}
template <RegionOperation kOperation>
void clip_by_rect(Recorder& self, RectArg rect) {
    clip_by<kOperation>(self, region_of({rectangle_contour(rect)}, FillRule::kWinding));
}
template <RegionOperation kOperation>
void clip_by_region(Recorder& self, RegionObject* region) {
    clip_by<kOperation>(self, required(region, "region").tree);
}
void reset_clip(Recorder& self) {
    self.set_clip(infinite_region());
}
// The clip in world coordinates of now; a copy, so that a change of it does not change the recorder.
Ref<RegionObject> get_clip(Recorder& self) {
    const auto back = self.transform.inverse();
    return make_ref<RegionObject>(back ? transformed(self.clip(), *back) : self.clip());
}
void set_clip(Recorder& self, RegionObject* value) {
    self.set_clip(value != nullptr ? transformed(value->tree, self.transform) : infinite_region());
}
RectangleFValue clip_bounds(Recorder& self) {
    if (self.clip()->kind == RegionNode::Kind::kInfinite) {
        return to_rectangle_f(self.page());
    }
    return to_rectangle_f(bounds_of(outline_of(self.clip(), self.page()).outline));
}

// ---- The transformation

constexpr MatrixOrder kFirst = MatrixOrder::kPrepend;

void apply(Recorder& self, const Affine& step, MatrixOrder order) {
    self.canvas();  // not after the end
    self.transform = combined(self.transform, step, order);
}
void multiply_in(Recorder& self, MatrixObject* matrix, MatrixOrder order) {
    apply(self, required_map(matrix, "matrix"), order);
}
void multiply(Recorder& self, MatrixObject* matrix) {
    multiply_in(self, matrix, kFirst);
}
void translate_in(Recorder& self, float x, float y, MatrixOrder order) {
    apply(self, Affine::translation(x, y), order);
}
void translate(Recorder& self, float x, float y) {
    translate_in(self, x, y, kFirst);
}
void rotate_around(Recorder& self, float angle, PointArg center, MatrixOrder order) {
    apply(self,
          Affine::translation(-center.x, -center.y)
              .then(Affine::rotation(angle))
              .then(Affine::translation(center.x, center.y)),
          order);
}
void rotate(Recorder& self, float angle) {
    apply(self, Affine::rotation(angle), kFirst);
}
void scale_in(Recorder& self, float sx, float sy, MatrixOrder order) {
    apply(self, Affine::scaling(sx, sy), order);
}
void scale(Recorder& self, float sx, float sy) {
    scale_in(self, sx, sy, kFirst);
}
Ref<MatrixObject> get_transform(Recorder& self) {
    return make_ref<MatrixObject>(self.transform);
}
void set_transform(Recorder& self, MatrixObject* transform) {
    self.canvas();
    self.transform = required_map(transform, "transform");
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&draw_image, Api::call_000_DrawImage>(),
    behavior<&draw_image_part, Api::call_001_DrawImage>(),
    behavior<&draw_image_bytes, Api::call_002_DrawImage, Api::call_000_DrawImageFromBytes>(),
    behavior<&draw_image_stream, Api::call_003_DrawImage, Api::call_000_DrawImageFromStream>(),
    behavior<&draw_line_xy, Api::call_000_DrawLine>(),
    behavior<&draw_line, Api::call_001_DrawLine>(),
    behavior<&fill_polygon, Api::call_000_FillPolygon>(),
    behavior<&fill_polygon_by, Api::call_001_FillPolygon>(),
    behavior<&draw_rectangle_xywh, Api::call_000_DrawRectangle>(),
    behavior<&draw_rectangle, Api::call_001_DrawRectangle>(),
    behavior<&draw_string, Api::call_000_DrawString>(),
    behavior<&draw_turned_string, Api::call_001_DrawString>(),
    behavior<&clip_by_rect<RegionOperation::kExclude>, Api::call_000_ExcludeClip, Api::call_000_ExcludeClipRect>(),
    behavior<&clip_by_region<RegionOperation::kExclude>, Api::call_001_ExcludeClip, Api::call_000_ExcludeClipRgn>(),
    behavior<&clip_by_rect<RegionOperation::kIntersect>, Api::call_000_IntersectClip,
             Api::call_000_IntersectClipRectF>(),
    behavior<&clip_by_region<RegionOperation::kIntersect>, Api::call_001_IntersectClip,
             Api::call_000_IntersectClipRgn>(),
    behavior<&multiply, Api::call_000_MultiplyTransform>(),
    behavior<&multiply_in, Api::call_001_MultiplyTransform>(),
    behavior<&translate, Api::call_000_TranslateTransform>(),
    behavior<&translate_in, Api::call_001_TranslateTransform>(),
    behavior<&rotate, Api::call_000_RotateTransform>(),
    behavior<&rotate_around, Api::call_001_RotateTransform>(),
    behavior<&scale, Api::call_000_ScaleTransform>(),
    behavior<&scale_in, Api::call_001_ScaleTransform>(),
    behavior<&clear, Api::call_000_Clear>(),
    behavior<&draw_arc, Api::call_000_DrawArc>(),
    behavior<&draw_bezier, Api::call_000_DrawCubicBezier>(),
    behavior<&draw_beziers, Api::call_000_DrawPolyCubicBezier>(),
    behavior<&draw_ellipse, Api::call_000_DrawEllipse>(),
    behavior<&fill_ellipse, Api::call_000_FillEllipse>(),
    behavior<&draw_polyline, Api::call_000_DrawPolyline>(),
    behavior<&draw_path, Api::call_000_DrawPath>(),
    behavior<&fill_path, Api::call_000_FillPath>(),
    behavior<&draw_pie, Api::call_000_DrawPie>(),
    behavior<&fill_pie, Api::call_000_FillPie>(),
    behavior<&draw_polygon, Api::call_000_DrawPolygon>(),
    behavior<&fill_rectangle, Api::call_000_FillRectangle>(),
    behavior<&reset_clip, Api::call_000_ResetClip>(),
    behavior<&get_transform, Api::call_000_GetTransform>(),
    behavior<&set_transform, Api::call_000_SetTransform>(),
    {behavior<&get_clip, Api::get_Clip>(), behavior<&set_clip, Api::set_Clip>()},
    behavior<&clip_bounds, Api::get_ClipBounds>(),
});

}  // namespace

}  // namespace zelmor::embed::metafile

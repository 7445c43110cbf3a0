// SvgGraphics2D: drawing that becomes an SVG image.
//
// Everything is drawn on a canvas that writes SVG. A recording that began with an image is laid over the document of
// that image.
#include <memory>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Svg.Graphics.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Svg.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/drawing/graphics.h"
#include "runtime/native/behaviors/drawing/paints.h"
#include "runtime/native/behaviors/drawing/shapes.h"
#include "runtime/native/behaviors/drawing/text_layouts.h"
#include "runtime/native/behaviors/images/picture_failures.h"
#include "runtime/native/behaviors/vector/vector_image.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/drawwork/loader.h"
#include "runtime/native/formats/svg/embedded_png.h"
#include "runtime/native/formats/svg/svg_canvas.h"
#include "runtime/native/formats/svg/svg_drawing.h"
#include "runtime/native/formats/svg/svg_root.h"

namespace zelmor::embed {

namespace {

using drawwork::Paint;
using drawwork::PixelArea;
using SvgImageApi = api::FileFormats::Svg::SvgImage;
using SvgGraphicsApi = api::FileFormats::Svg::Graphics::SvgGraphics2D;

constexpr int32_t kUsualDotsPerInch = 96;

// A prefix of names that a document does not have.
std::string free_prefix(const SvgFileDrawing& drawing) {
    const std::string text = imagework::svg_text(drawing.document());
    std::string prefix = "r";
    for (int number = 1; text.find(prefix + "-") != std::string::npos; ++number) {
        prefix = "r" + std::to_string(number);
    }
    return prefix + "-";
}

class SvgGraphicsObject final : public Record {
 public:
    static constexpr const char* kManagedName = SvgGraphicsApi::kType.name;

    SvgGraphicsObject(int32_t width, int32_t height, int32_t dots_per_inch)
        : Record(require_type(kManagedName)), m_width(width), m_height(height), m_dots_per_inch(dots_per_inch) {
        begin({});
    }
    // On an image, as it is now.
    explicit SvgGraphicsObject(VectorImageObject& image)
        : Record(require_type(kManagedName)),
          m_width(image.size_f().width),
          m_height(image.size_f().height),
          m_ground(std::dynamic_pointer_cast<SvgFileDrawing>(image.drawing())),
          m_ground_placing(image.placing()) {
        if (m_ground == nullptr && image.drawing() != nullptr) {
            throw_not_supported("Recording on an image that was not made of an SVG document");
        }
        begin(m_ground != nullptr ? free_prefix(*m_ground) : std::string());
    }

    int32_t dots_per_inch() const { return m_dots_per_inch; }

    // Runs a step of the recording. A step that fails leaves nothing of itself but what it has drawn before.
    template <class Step>
    void draw(Step&& step) {
        require_recording();
        // Brushes and pens may run Python code, which may end the recording.
        const std::shared_ptr<SvgCanvas> canvas = m_canvas;
        const PaintPlace place{
            {}, {0, 0, static_cast<int32_t>(std::ceil(m_width)), static_cast<int32_t>(std::ceil(m_height))}};
        try {
            step(*canvas, place);
        } catch (const drawwork::DrawError& error) {
            throw_invalid_operation(std::string("The drawing cannot be made: ") + error.what() + ".");
        } catch (const imagework::PictureError& error) {
            throw_picture_error(error);
        }
    }

    Ref<VectorImageObject> end() {
        require_recording();
        std::string document = m_canvas->finish();
        m_canvas.reset();
        try {
            if (m_ground != nullptr) {
                const std::string recorded = document.substr(document.find("<svg"));
                document = m_ground->placed_document(m_ground_placing, m_width, m_height, 0, recorded);
                if (document.empty()) {
                    throw imagework::PictureError(imagework::Failure::kUnsupported,
                                                  "the end of the SVG document cannot be found");
                }
            }
            auto drawing = std::make_shared<SvgFileDrawing>(std::vector<uint8_t>(document.begin(), document.end()),
                                                            PointD{m_width, m_height});
            return make_ref<VectorImageObject>(require_type(SvgImageApi::kType.name), std::move(drawing), m_width,
                                               m_height);
        } catch (const imagework::PictureError& error) {
            throw_picture_error(error);
        }
    }

 private:
    void begin(std::string name_prefix) {
        m_canvas = std::make_shared<SvgCanvas>(
            drawing_backend(),
            SvgCanvasSettings{m_width, m_height, false, false, &png_address, std::move(name_prefix)});
    }
    void require_recording() const {
        if (m_canvas == nullptr) {
            throw_invalid_operation("The recording has ended.");
        }
    }

    double m_width, m_height;
    int32_t m_dots_per_inch = kUsualDotsPerInch;
    std::shared_ptr<SvgFileDrawing> m_ground;
    Affine m_ground_placing;
    std::shared_ptr<SvgCanvas> m_canvas;  // null once the recording has ended
};

using Graphics = SvgGraphicsObject;

int32_t positive(int32_t value, const char* parameter) {
    if (value <= 0) {
        throw_out_of_range(parameter, "The value " + std::to_string(value) + " is not positive.");
    }
    return value;
}

Ref<Graphics> of_size(int32_t width, int32_t height, int32_t dpi) {
    return make_ref<Graphics>(positive(width, "width"), positive(height, "height"), positive(dpi, "dpi"));
}
Ref<Graphics> of_image(VectorImageObject* image) {
    required(image, "image");
    image->require_live();
    return make_ref<Graphics>(*image);
}

// ---- Shapes. The pen of a shape that is filled may be missing.

void stroke(Graphics& self, const ManagedObject* pen, const Outline& outline) {
    required(pen, "pen");
    self.draw([&](SvgCanvas& canvas, const PaintPlace& place) { stroke_on(canvas, pen, outline, place, true); });
}
void fill(Graphics& self, const ManagedObject* pen, const ManagedObject* brush, const Outline& outline, FillRule rule) {
    required(brush, "brush");
    Outline closed = outline;
    for (Contour& contour : closed) {
        contour.closed = true;
    }
    self.draw([&](SvgCanvas& canvas, const PaintPlace& place) {
        canvas.fill(closed, rule, paint_of(brush, place), true);
        if (pen != nullptr) {
            stroke_on(canvas, pen, outline, place, true);
        }
    });
}

void draw_arc(Graphics& self, Record* pen, RectArg rect, float start_angle, float arc_angle) {
    stroke(self, pen, {arc_contour(rect, start_angle, arc_angle, false)});
}
void fill_arc(Graphics& self, Record* pen, Record* brush, RectArg rect, float start_angle, float arc_angle) {
    fill(self, pen, brush, {pie_contour(rect, start_angle, arc_angle)}, FillRule::kAlternate);
}
void draw_cubic_bezier(Graphics& self, Record* pen, PointArg pt1, PointArg pt2, PointArg pt3, PointArg pt4) {
    stroke(self, pen, {bezier_contour(std::vector<PointD>{pt1, pt2, pt3, pt4}, false)});
}
void draw_line(Graphics& self, Record* pen, int32_t x1, int32_t y1, int32_t x2, int32_t y2) {
    const std::vector<PointD> ends{{double(x1), double(y1)}, {double(x2), double(y2)}};
    stroke(self, pen, {polygon_contour(ends, false)});
}
void draw_path(Graphics& self, Record* pen, PathObject* path) {
    stroke(self, pen, required(path, "path").outline());
}
void fill_path(Graphics& self, Record* pen, Record* brush, PathObject* path) {
    fill(self, pen, brush, required(path, "path").outline(), path->fill_rule());
}
void draw_rectangle(Graphics& self, Record* pen, int32_t x, int32_t y, int32_t width, int32_t height) {
    stroke(self, pen, {rectangle_contour({double(x), double(y), double(width), double(height)})});
}
void fill_rectangle(Graphics& self, Record* pen, Record* brush, int32_t x, int32_t y, int32_t width, int32_t height) {
    fill(self, pen, brush, {rectangle_contour({double(x), double(y), double(width), double(height)})},
         FillRule::kAlternate);
}

// ---- Text

void draw_string(Graphics& self, Record* font, const std::optional<std::u16string>& text, PointArg origin,
                 const ColorValue& text_color) {
    const auto unit = property_enum<api::GraphicsUnit>(required(font, "font"), "Unit");
    if (!text || text->empty()) {
        return;
    }
    const PlacedText placed = place_text(*text, font, nullptr, 0, 0, pixels_in_unit(unit, self.dots_per_inch()));
    if (placed.layout.text.empty()) {
        return;
    }
    const PointD at = origin + placed.offset;
    self.draw([&](SvgCanvas& canvas, const PaintPlace&) {
        canvas.text(placed.layout, Affine::translation(at.x, at.y), solid_paint(text_color, 1));
    });
}

// ---- Pictures

void draw_part(Graphics& self, ImageObject* image, const RectD& part, const RectD& to) {
    required(image, "image");
    image->require_live();
    const RectD whole{0, 0, double(image->image_width()), double(image->image_height())};
    if (!(part.x >= 0 && part.y >= 0 && part.right() <= whole.width && part.bottom() <= whole.height)) {
        throw_out_of_range("src_rect", "The rectangle is not a part of the image of " +
                                           size_text(image->image_width(), image->image_height()) + " pixels.");
    }
    if (!(part.width > 0 && part.height > 0)) {
        return;
    }
    const PixelArea area{int32_t(part.x), int32_t(part.y), int32_t(part.width), int32_t(part.height)};
    self.draw([&](SvgCanvas& canvas, const PaintPlace&) {
        Paint paint = texture_of(*image, area, api::WrapMode::kClamp);
        paint.placing = Affine{to.width / part.width, 0, 0, to.height / part.height, to.x, to.y};
        canvas.fill({rectangle_contour(to)}, FillRule::kAlternate, paint, false);
    });
}
RectD all_of(const ImageObject* image) {
    return {0, 0, double(required(image, "image").image_width()), double(image->image_height())};
}

void draw_image(Graphics& self, ImageObject* image, PointArg origin) {
    const RectD whole = all_of(image);
    draw_part(self, image, whole, {origin.x, origin.y, whole.width, whole.height});
}
void draw_image_sized(Graphics& self, ImageObject* image, PointArg origin, const SizeValue& size) {
    draw_part(self, image, all_of(image), {origin.x, origin.y, double(size.width), double(size.height)});
}
void draw_image_part(Graphics& self, RectArg src_rect, RectArg dest_rect, ImageObject* image) {
    draw_part(self, image, src_rect, dest_rect);
}

Ref<VectorImageObject> end_recording(Graphics& self) {
    return self.end();
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&of_size, SvgGraphicsApi::ctor_000_SvgGraphics2D>(),
    behavior<&of_image, SvgGraphicsApi::ctor_001_SvgGraphics2D>(),
    behavior<&draw_image, SvgGraphicsApi::call_000_DrawImage>(),
    behavior<&draw_image_sized, SvgGraphicsApi::call_001_DrawImage, SvgGraphicsApi::call_000_DrawImagePointSize>(),
    behavior<&draw_image_part, SvgGraphicsApi::call_002_DrawImage, SvgGraphicsApi::call_000_DrawImageSrcDstRects>(),
    behavior<&draw_arc, SvgGraphicsApi::call_000_DrawArc>(),
    behavior<&fill_arc, SvgGraphicsApi::call_000_FillArc>(),
    behavior<&draw_cubic_bezier, SvgGraphicsApi::call_000_DrawCubicBezier>(),
    behavior<&draw_string, SvgGraphicsApi::call_000_DrawString>(),
    behavior<&draw_line, SvgGraphicsApi::call_000_DrawLine>(),
    behavior<&draw_path, SvgGraphicsApi::call_000_DrawPath>(),
    behavior<&fill_path, SvgGraphicsApi::call_000_FillPath>(),
    behavior<&draw_rectangle, SvgGraphicsApi::call_000_DrawRectangle>(),
    behavior<&fill_rectangle, SvgGraphicsApi::call_000_FillRectangle>(),
    behavior<&end_recording, SvgGraphicsApi::call_000_EndRecording>(),
});

}  // namespace

}  // namespace zelmor::embed

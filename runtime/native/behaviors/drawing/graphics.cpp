// Graphics: the way from an image's pixels to a canvas and back, and the state that drawing depends on.
#include "runtime/native/behaviors/drawing/graphics.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "runtime/native/behaviors/drawing/region_sweep.h"
#include "runtime/native/behaviors/images/picture_failures.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/references.h"
#include "runtime/native/drawwork/loader.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::embed {

using api::GraphicsUnit;
using api::SmoothingMode;
using drawwork::Argb;
using drawwork::PixelArea;

namespace {

// The pixels that a rectangle touches, of those of an image.
PixelArea pixels_in(const RectD& rect, const PixelArea& image) {
    const double x1 = std::max<double>(std::floor(rect.x), image.x);
    const double y1 = std::max<double>(std::floor(rect.y), image.y);
    const double x2 = std::min<double>(std::ceil(rect.right()), image.x + image.width);
    const double y2 = std::min<double>(std::ceil(rect.bottom()), image.y + image.height);
    if (!(x2 > x1 && y2 > y1)) {
        return {};
    }
    return {int32_t(x1), int32_t(y1), int32_t(x2 - x1), int32_t(y2 - y1)};
}

imagework::Rect rect_of(const PixelArea& area) {
    return {area.x, area.y, area.width, area.height};
}

// What is drawn on for a part of an image. Of 8 bits a channel it is a copy of the pixels. A deeper picture would lose
// its depth in such a copy: for it there are two grounds, black and white, and the picture itself lays what was drawn
// on them over its pixels.
class Grounds {
 public:
    Grounds(const ImageObject& image, const PixelArea& area) : m_area(area) {
        const size_t count = static_cast<size_t>(area.width) * static_cast<size_t>(area.height);
        const imagework::PixelForm& form = image.picture().form();
        const bool deep = imagework::sample_size(form.sample) > 1;
        for (const Argb ground : {imagework::kBlack, imagework::kWhite}) {
            std::vector<Argb> pixels(count, ground);
            if (!deep) {
                image.picture().read_argb(rect_of(area), pixels);
            }
            m_canvases.push_back(drawing_backend().canvas(area, pixels));
            if (!deep) {
                break;
            }
        }
    }
    const PixelArea& area() const { return m_area; }
    const std::vector<std::unique_ptr<drawwork::PixelCanvas>>& canvases() const { return m_canvases; }
    void put_into(imagework::Picture& picture) const {
        if (m_canvases.size() == 1) {
            return picture.write_argb(rect_of(m_area), m_canvases[0]->pixels());
        }
        picture.blend(rect_of(m_area), m_canvases[0]->pixels(), m_canvases[1]->pixels());
    }

 private:
    PixelArea m_area;
    std::vector<std::unique_ptr<drawwork::PixelCanvas>> m_canvases;
};

}  // namespace

// All that is drawn between begin_update() and end_update().
class GraphicsObject::Update final : public PendingDrawing {
 public:
    Update(const ImageObject& image, const PixelArea& area) : m_grounds(image, area) {}

    const Grounds& grounds() const { return m_grounds; }
    void mark() { m_drawn = true; }
    void put_into(ImageObject& image) override {
        if (!m_drawn) {
            return;
        }
        const PixelArea& area = m_grounds.area();
        imagework::Picture& picture = image.picture();
        m_drawn = false;
        if (picture.width() != area.width || picture.height() != area.height) {
            throw_invalid_operation("The image was given another size since the update began.");
        }
        m_grounds.put_into(picture);
        if (m_grounds.canvases().size() > 1) {  // or it would be laid over the picture a second time
            m_grounds = Grounds(image, area);
        }
    }

 private:
    Grounds m_grounds;
    bool m_drawn = false;
};

GraphicsObject::GraphicsObject(const TypeInfo& type, Ref<ImageObject> image) : Record(type), m_image(std::move(image)) {
    track();
    assert(m_image);
    set_property(*this, "Image", Value(Ref<ManagedObject>(m_image)));
    set_property(*this, "PageUnit", GraphicsUnit::kDisplay);
    set_property(*this, "PageScale", 1.0);
    set_property(*this, "Transform", Value(Ref<ManagedObject>(make_ref<MatrixObject>())));
    set_property(*this, "Clip", Value(Ref<ManagedObject>(make_ref<RegionObject>())));
}

void GraphicsObject::references(ReferenceVisitor& visitor) {
    Record::references(visitor);
    visitor(m_image);
}

// An update that nobody ended stays with the image, whose next save or operation takes it in.
GraphicsObject::~GraphicsObject() = default;

PixelArea GraphicsObject::whole() const {
    m_image->require_live();
    return {0, 0, m_image->picture().width(), m_image->picture().height()};
}

RectD GraphicsObject::image_rect() const {
    const PixelArea area = whole();
    return {0, 0, double(area.width), double(area.height)};
}

double pixels_in_unit(GraphicsUnit unit, double dots_per_inch) {
    switch (unit) {
        case GraphicsUnit::kPoint:
            return dots_per_inch / 72;
        case GraphicsUnit::kInch:
            return dots_per_inch;
        case GraphicsUnit::kDocument:
            return dots_per_inch / 300;
        case GraphicsUnit::kMillimeter:
            return dots_per_inch / kMillimetersPerInch;
        default:
            return 1;
    }
}

double GraphicsObject::unit_pixels(GraphicsUnit unit, bool upright) const {
    return pixels_in_unit(unit, upright ? dpi_y() : dpi_x());
}

Affine GraphicsObject::map() const {
    const auto unit = property_enum<GraphicsUnit>(*this, "PageUnit");
    const double scale = property_double(*this, "PageScale");
    return transform_of(*this).then(Affine::scaling(unit_pixels(unit) * scale, unit_pixels(unit, true) * scale));
}

bool GraphicsObject::smooth() const {
    const auto mode = property_enum<SmoothingMode>(*this, "SmoothingMode");
    return mode == SmoothingMode::kHighQuality || mode == SmoothingMode::kAntiAlias;
}

void GraphicsObject::set_clip(RegionObject* region) {
    set_property(*this, "Clip", Value(Ref<ManagedObject>(region)));
    m_clip_map = map();
}

RegionOutline outline_of(const RegionTree& region, const RectD& around) {
    if (region->kind == RegionNode::Kind::kOutline) {
        return {region->outline, region->rule};
    }
    const auto frame = region_of({rectangle_contour(around)}, FillRule::kAlternate);
    Outline outline;
    for (const Trapezoid& t : trapezoids_of(*combined(region, frame, RegionOperation::kIntersect))) {
        const std::vector<PointD> corners{
            {t.left_top, t.top}, {t.right_top, t.top}, {t.right_bottom, t.bottom}, {t.left_bottom, t.bottom}};
        outline.push_back(polygon_contour(corners, true));
    }
    return {std::move(outline), FillRule::kWinding};
}

void GraphicsObject::apply_clip(drawwork::Canvas& canvas) const {
    canvas.unclip();
    const auto held = property_object(*this, "Clip");
    if (!held) {
        return;
    }
    const RegionTree& region = cast_object<RegionObject>(*held).tree;
    if (region->kind == RegionNode::Kind::kInfinite) {
        return;
    }
    const RegionOutline clip = outline_of(transformed(region, m_clip_map), image_rect());
    canvas.clip(clip.outline, clip.rule, smooth());
}

void GraphicsObject::drawing(const RectD& reach, Drawing draw, void* context) {
    // A reference of its own: reading a brush may run Python code, and that code may end the update.
    const std::shared_ptr<Update> shared = m_update;
    const PixelArea area = shared ? shared->grounds().area() : pixels_in(reach, whole());
    if (area.width == 0) {
        return;
    }
    const auto draw_on = [&](const Grounds& grounds, const PixelArea& part) {
        for (const auto& canvas : grounds.canvases()) {
            apply_clip(*canvas);
            draw(context, *canvas, part);
        }
    };
    try {
        if (shared) {
            shared->mark();
            return draw_on(shared->grounds(), pixels_in(reach, area));
        }
        const Grounds own(*m_image, area);
        draw_on(own, area);
        own.put_into(m_image->picture());
    } catch (const drawwork::DrawError& error) {
        throw_invalid_operation(std::string("The drawing cannot be made: ") + error.what() + ".");
    } catch (const imagework::PictureError& error) {
        throw_picture_error(error);
    }
}

void GraphicsObject::begin_update() {
    if (updating()) {
        throw_invalid_operation("An update has begun already.");
    }
    try {
        m_update = std::make_shared<Update>(*m_image, whole());
    } catch (const drawwork::DrawError& error) {
        throw_invalid_operation(std::string("The image cannot be drawn on: ") + error.what() + ".");
    }
    m_image->add_drawing(m_update);
}

void GraphicsObject::end_update() {
    if (!updating()) {
        throw_invalid_operation("No update has begun.");
    }
    const PixelArea now = whole();
    const std::shared_ptr<Update> update = std::move(m_update);
    m_image->remove_drawing(update.get());
    if (now.width != update->grounds().area().width || now.height != update->grounds().area().height) {
        throw_invalid_operation("The image was given another size since the update began.");
    }
    update->put_into(*m_image);
}

void GraphicsObject::fill(const ManagedObject* brush, const Outline& world, FillRule rule) {
    required(brush, "brush");
    const Affine to_pixels = map();
    Outline outline = transformed(world, to_pixels);
    for (Contour& contour : outline) {
        contour.closed = true;
    }
    draw(bounds_of(outline), [&](drawwork::Canvas& canvas, const PixelArea& area) {
        canvas.fill(outline, rule, paint_of(brush, {to_pixels, area}), smooth());
    });
}

// ---- Members

namespace {

Ref<GraphicsObject> for_image(ManagedObject* image) {
    auto* raster = dynamic_cast<ImageObject*>(&required(image, "source_image"));
    if (raster == nullptr) {
        throw_not_supported(std::string("Drawing on a ") + image->type().full_name);
    }
    raster->require_live();
    return make_ref<GraphicsObject>(require_type(GraphicsObject::kManagedName), Ref<ImageObject>(raster));
}
float dpi_x(GraphicsObject& self) {
    return static_cast<float>(self.dpi_x());
}
float dpi_y(GraphicsObject& self) {
    return static_cast<float>(self.dpi_y());
}
bool is_updating(GraphicsObject& self) {
    return self.updating();
}
void begin_update(GraphicsObject& self) {
    self.begin_update();
}
void end_update(GraphicsObject& self) {
    self.end_update();
}
void set_clip(GraphicsObject& self, RegionObject* region) {
    self.set_clip(region);
}
// Colors are always mixed by their numbers.
void set_compositing_quality(GraphicsObject& self, api::CompositingQuality value) {
    if (value == api::CompositingQuality::kGammaCorrected) {
        throw_not_supported("The value " + std::to_string(number_of(value)) + " of Graphics.CompositingQuality");
    }
    if (number_of(value) < number_of(api::CompositingQuality::kDefault) ||
        number_of(value) > number_of(api::CompositingQuality::kAssumeLinear)) {
        throw_out_of_range("value",
                           "The value " + std::to_string(number_of(value)) + " is no valid one of CompositingQuality.");
    }
    set_property(self, "CompositingQuality", value);
}
// An image of lines is painted on as what it is.
void set_paintable_image_options(GraphicsObject&, Record* value) {
    if (value != nullptr) {
        throw_not_supported("A value of Graphics.PaintableImageOptions");
    }
}
void clear(GraphicsObject& self, const ColorValue& color) {
    self.draw(self.image_rect(), [&](drawwork::Canvas& canvas, const PixelArea&) { canvas.clear(color.argb); });
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&for_image, api::Graphics::ctor_000_Graphics>(),
    behavior<&dpi_x, api::Graphics::get_DpiX>(),
    behavior<&dpi_y, api::Graphics::get_DpiY>(),
    behavior<&is_updating, api::Graphics::get_IsInBeginUpdateCall>(),
    behavior<&set_clip, api::Graphics::set_Clip>(),
    behavior<&set_compositing_quality, api::Graphics::set_CompositingQuality>(),
    behavior<&set_paintable_image_options, api::Graphics::set_PaintableImageOptions>(),
    behavior<&begin_update, api::Graphics::call_000_BeginUpdate>(),
    behavior<&end_update, api::Graphics::call_000_EndUpdate>(),
    behavior<&clear, api::Graphics::call_000_Clear>(),
});

}  // namespace

}  // namespace zelmor::embed

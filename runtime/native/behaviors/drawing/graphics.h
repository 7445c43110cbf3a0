// A Graphics: draws on an image.
//
// World coordinates go through the transformation and the page's unit and scale to pixels. Between begin_update() and
// end_update() everything is drawn on a canvas beside the image, which takes the whole over at the end; otherwise each
// drawing reads and writes the pixels that it can reach.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_GRAPHICS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_GRAPHICS_H

#include <memory>

#include "runtime/native/behaviors/drawing/paints.h"
#include "runtime/native/behaviors/drawing/pens.h"
#include "runtime/native/behaviors/drawing/regions.h"
#include "runtime/native/behaviors/images/image_object.h"

namespace zelmor::embed {

// The number of pixels in a unit at a resolution; 1 for the units that depend on no resolution.
double pixels_in_unit(api::GraphicsUnit unit, double dots_per_inch);

class GraphicsObject final : public Record {
 public:
    static constexpr const char* kManagedName = api::Graphics::kType.name;
    GraphicsObject(const TypeInfo& type, Ref<ImageObject> image);
    ~GraphicsObject() override;

    ImageObject& image() const { return *m_image; }
    void references(ReferenceVisitor& visitor) override;
    RectD image_rect() const;
    double dpi_x() const { return m_image->picture().resolution().horizontal; }
    double dpi_y() const { return m_image->picture().resolution().vertical; }
    // From world coordinates to pixels.
    Affine map() const;
    // The number of pixels in a unit, across or down the image.
    double unit_pixels(api::GraphicsUnit unit, bool upright = false) const;
    // Whether edges are smoothed.
    bool smooth() const;

    bool updating() const { return m_update != nullptr; }
    void begin_update();
    void end_update();

    void set_clip(RegionObject* region);

    // Draws inside `reach`, a rectangle in pixels; the pixels outside do not change.
    template <class Draw>
    void draw(const RectD& reach, Draw&& draw) {
        drawing(
            reach,
            [](void* context, drawwork::Canvas& canvas, const drawwork::PixelArea& area) {
                (*static_cast<std::remove_reference_t<Draw>*>(context))(canvas, area);
            },
            &draw);
    }

    void fill(const ManagedObject* brush, const Outline& world, FillRule rule);
    void stroke(const ManagedObject* pen, const Outline& world);

 private:
    class Update;
    using Drawing = void (*)(void* context, drawwork::Canvas& canvas, const drawwork::PixelArea& area);
    void drawing(const RectD& reach, Drawing draw, void* context);
    void apply_clip(drawwork::Canvas& canvas) const;
    drawwork::PixelArea whole() const;

    Ref<ImageObject> m_image;
    Affine m_clip_map;  // of the moment when the clip was set
    std::shared_ptr<Update> m_update;
};

// Draws an outline with a pen on any canvas; ArgumentNullException for no pen.
void stroke_on(drawwork::Canvas& canvas, const ManagedObject* pen, const Outline& outline, const PaintPlace& place,
               bool smooth);

// A region as an outline; an infinite one is cut to the rectangle.
struct RegionOutline {
    Outline outline;
    FillRule rule = FillRule::kAlternate;
};
RegionOutline outline_of(const RegionTree& region, const RectD& around);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_GRAPHICS_H

// Plays EMF+ records on a canvas.
//
// World coordinates go through the world's map, the page's unit and scale, and the maps of the containers around to
// pixels of the device, and from there to the canvas.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_PLUS_PLAYER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_PLUS_PLAYER_H

#include <functional>
#include <map>

#include "runtime/native/formats/metafile/player/device.h"
#include "runtime/native/formats/metafile/player/plus_objects.h"

namespace zelmor::embed::metafile {

struct PlusState {
    Affine world;
    int64_t page_unit = 1;
    double page_scale = 1;
    Affine base;                          // of the containers, in pixels
    RegionTree clip = infinite_region();  // in pixels
    bool half_pixels = false;             // whole coordinates are the corners of pixels, for lines too
    int64_t interpolation = 0;
    PointD hatch_origin;  // in pixels of the device; hatches are repeated from there on
    bool copies = false;  // fills and lines replace what is there
};

class PlusPlayer {
 public:
    // Draws a metafile within a picture of another: its bytes, and the map of its own pixels to the canvas.
    using Nested = std::function<void(const FileBytes& file, const RectD& source, const Affine& to_canvas)>;

    PlusPlayer(Canvas& canvas, CanvasClip& clip, const DeviceSpace& space, const Rendering& rendering, Nested nested);
    PlusPlayer(const PlusPlayer&) = delete;
    PlusPlayer& operator=(const PlusPlayer&) = delete;

    void play(const ManagedObject& record);

    PlusState state;

    // ---- For the functions of single records

    Affine map() const;         // to pixels of the device
    Affine canvas_map() const;  // to the canvas
    double pixels_in(int64_t unit) const;
    void set_resolution(double dots_per_inch) { m_dots = dots_per_inch > 0 ? dots_per_inch : m_dots; }
    const Ref<ManagedObject>& object(int64_t id) const;
    void put_object(int64_t id, Ref<ManagedObject> object);
    void set_effect(Ref<ManagedObject> effect) { m_effect = std::move(effect); }

    // The brush of a record: a color, or the object of a number.
    PlusBrush brush_in(const ManagedObject& record) const;
    void fill(const Outline& world, FillRule rule, const PlusBrush& brush);
    void fill_region(const RegionTree& world, const PlusBrush& brush);
    void stroke(const Outline& world, int64_t pen_id);
    void image(int64_t id, const RectD& source, int64_t unit, const std::vector<PointD>& corners, int64_t attributes_id,
               bool with_effect);
    void text(const std::u16string& text, const ManagedObject& font, const ManagedObject* format, const RectD& frame,
              const PlusBrush& brush);
    void glyphs(const ManagedObject& record);
    void clear(Argb color);
    void clip(const RegionTree& world, int64_t mode);
    void move_clip(PointD by);
    void save(int64_t index);
    void restore(int64_t index);
    // Maps `source`, in the unit given, to `target` in the coordinates so far.
    void begin_container(int64_t index, const RectD& target, const RectD& source, int64_t unit);

 private:
    void use_clip() { m_clip.use({state.clip}); }
    drawwork::PixelArea area_of(const Outline& canvas_outline) const;
    std::optional<Paint> paint_with(const PlusBrush& brush, const drawwork::PixelArea& area) const;

    Canvas& m_canvas;
    CanvasClip& m_clip;
    DeviceSpace m_space;
    Rendering m_rendering;
    Nested m_nested;
    double m_dots = 96;
    std::map<int64_t, Ref<ManagedObject>> m_objects;
    Ref<ManagedObject> m_effect;
    std::vector<std::pair<int64_t, PlusState>> m_saved;
};

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_PLUS_PLAYER_H

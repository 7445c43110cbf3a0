// A device context that draws on a canvas: what the records of EMF and WMF files do.
//
// Coordinates are in logical units unless a name says otherwise; outlines that are drawn, paths and regions are in
// pixels of the device, since a later change of the units does not move them.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_DEVICE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_DEVICE_H

#include <map>
#include <span>

#include "runtime/native/behaviors/drawing/fonts.h"
#include "runtime/native/formats/metafile/player/flood_paper.h"

namespace zelmor::embed::metafile {

using drawwork::Canvas;
using drawwork::Contour;
using drawwork::FillRule;
using drawwork::Outline;
using drawwork::Paint;

struct Rendering {
    bool smooth = true, smooth_text = true, hinted = false;
};

// Whether letters stand at fractions of pixels.
inline bool is_exact(const Rendering& rendering) {
    return rendering.smooth_text && !rendering.hinted;
}

// The least width in pixels of a line whose pen has a width of its own in units of the drawing. Thinner than a pixel,
// it is as pale as it is thin; thinner than that, it would not be seen.
inline double thinnest_line(bool smooth) {
    return smooth ? 0.25 : 1;
}

// The ways in which a new region meets the one before it, by the numbers that files have.
enum class RegionMode { kAnd = 1, kOr, kXor, kDiff, kCopy };
enum class ArcKind { kArc, kArcTo, kChord, kPie };

struct TextRun {
    PointD at;
    std::u16string text;
    uint32_t options = 0;
    RectD rect;                    // with kOpaque or kClipped
    std::vector<double> advances;  // of the characters; none for those of the font
    std::vector<double> rises;     // upwards, or none
    // Of the options.
    enum : uint32_t {
        kOpaque = 2,
        kClipped = 4,
        kGlyphs = 0x10,
        kRightToLeft = 0x80,
        kNoRect = 0x100,
        kPairs = 0x2000
    };
};

// A part of a bitmap that is drawn: in pixels of the bitmap, and the parallelogram that it is drawn to.
struct Placement {
    RectD source;
    PointD corner, right, down;  // where the left top, right top and left bottom of the source go
};

class Device {
 public:
    // A device without paper draws no flood fills.
    Device(Canvas& canvas, CanvasClip& clip, const DeviceSpace& space, const Rendering& rendering,
           FloodPaper* paper = nullptr);
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    DeviceState state;
    const DeviceSpace& space() const { return m_space; }
    Canvas& canvas() { return m_canvas; }
    const Rendering& rendering() const { return m_rendering; }
    Affine map() const { return state.map(m_space); }
    Affine canvas_map() const { return map().then(m_space.to_canvas); }

    void save();
    // To the state that has this number, counted from 1, or from the last one back if it is negative.
    void restore(int64_t number);

    // device_objects: kept by index.
    void put_object(int64_t index, DeviceObject object);
    void delete_object(int64_t index);
    void select_object(int64_t index);
    const DeviceObject& object(int64_t index) const;

    // device_shapes.cpp
    void move_to(PointD point);
    void line_to(PointD point);
    void polyline(std::span<const PointD> points);
    void polyline_to(std::span<const PointD> points);
    void beziers(std::span<const PointD> points);
    void beziers_to(std::span<const PointD> points);
    void polygon(std::span<const PointD> points);
    void polygons(std::span<const PointD> points, std::span<const double> counts, bool closed);
    void draw_types(std::span<const PointD> points, std::span<const double> types);
    void rectangle(const RectD& box);
    void ellipse(const RectD& box);
    void round_rectangle(const RectD& box, PointD corner);
    void arc(ArcKind kind, const RectD& box, PointD start, PointD end);
    void angle_arc(PointD center, double radius, double start, double sweep);
    void pixel(PointD at, Argb color);

    // device_paths.cpp
    void begin_path();
    void end_path();
    void close_figure();
    void abort_path();
    void flatten_path();
    void widen_path();
    void draw_path(bool fills, bool strokes);
    void clip_to_path(RegionMode mode);

    // device_regions.cpp
    void clip_rectangle(const RectD& box, RegionOperation operation);
    void move_clip(PointD by);
    void select_region(const std::vector<RectD>* rects, RegionMode mode);  // in pixels; null for all
    void select_meta_region();
    void fill_region(const std::vector<RectD>& rects, const DeviceBrush& brush);
    void frame_region(const std::vector<RectD>& rects, const DeviceBrush& brush, double width, double height);
    void invert_region(const std::vector<RectD>& rects);
    void flood(PointD at, Argb color, FloodLimit limit);

    // device_text.cpp
    void text(const TextRun& run);

    // device_bitmaps.cpp: the index of the raster operation says how pattern, source and pixels there are combined.
    void pattern(const RectD& box, uint8_t operation);
    void bitmap(const Pixels& pixels, const Placement& placement, uint8_t operation);
    // The pixels under set bits of the mask by one operation, the others by another.
    void masked(const Pixels& pixels, const Placement& placement, const Pixels& mask, PointD mask_at, uint8_t operation,
                uint8_t other);
    void blended(const Pixels& pixels, const Placement& placement, double opacity);
    void device_bitmap(const Pixels& pixels, PointD at, const RectD& part);  // one pixel to one of the device
    void gradient(std::span<const PointD> points, std::span<const Argb> colors, bool upright);  // two corners
    void triangle(std::span<const PointD> points, std::span<const Argb> colors);

    // The parallelogram of a box.
    Placement placed(const RectD& source, const RectD& box) const;

 private:
    friend class TextDrawing;

    // Makes the clip of the state that of the canvas.
    void use_clip();

    // In pixels of the device.
    Outline in_pixels(const Outline& logical) const;
    void shape(Outline outline, bool fills, bool strokes);  // into the path, if one is open
    void fill(const Outline& outline, FillRule rule, const DeviceBrush& brush);
    void stroke(const Outline& outline, const DevicePen& pen);
    // Joined to the last contour of the open path, if that ends at the current position.
    void extend(const Contour& logical);
    RectD frame(const RectD& box, bool strokes) const;  // a box in pixels, which ends before its last row and column

    Paint paint_of(const DeviceBrush& brush) const;
    void paint(const Outline& canvas_outline, FillRule rule, const Paint& paint, int mix);
    void combine(const Outline& canvas_outline, FillRule rule, const Paint& pattern, const Paint& source,
                 uint8_t operation);
    void combine_by_blends(const Outline& canvas_outline, FillRule rule, const Paint& paint, int both);

    Canvas& m_canvas;
    CanvasClip& m_clip;
    FloodPaper* m_paper;
    DeviceSpace m_space;
    Rendering m_rendering;
    std::vector<DeviceState> m_saved;
    std::map<int64_t, DeviceObject> m_objects;
    Outline m_path;
    bool m_path_open = false;
    bool m_contour_open = false;  // the last contour of the path goes on at the current position
};

// Which of two pictures a raster operation depends on: the pattern, the source, the pixels there.
bool uses_pattern(uint8_t operation);
bool uses_source(uint8_t operation);
bool uses_destination(uint8_t operation);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_DEVICE_H

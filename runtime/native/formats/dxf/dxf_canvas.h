// A canvas that writes a DXF drawing of the release 2004, as text.
//
// Lines are polylines, curves are splines, areas are hatches, text is text. The format has no clips: what a clip cuts
// is cut into pieces. A unit of the drawing is a pixel, and y points up.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DXF_DXF_CANVAS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DXF_DXF_CANVAS_H

#include <cstdint>
#include <string>
#include <vector>

#include "runtime/native/behaviors/drawing/text_scale.h"
#include "runtime/native/drawwork/written_canvas.h"

namespace zelmor::embed {

struct DxfSettings {
    double width = 0, height = 0;       // of the picture, in pixels
    bool text_as_lines = false;         // the outlines of characters instead of text
    bool convert_text_beziers = false;  // curves of such outlines become lines,
    int32_t bezier_point_count = 0;     // so many for each curve
};

class DxfCanvas final : public drawwork::WrittenCanvas {
 public:
    DxfCanvas(drawwork::Backend& backend, const DxfSettings& settings);

    void fill(const drawwork::Outline& outline, drawwork::FillRule rule, const drawwork::Paint& paint,
              bool smooth) override;
    void stroke(const drawwork::Outline& outline, const drawwork::Stroke& stroke, const drawwork::Paint& paint,
                bool smooth) override;
    void clear(drawwork::Argb color) override;
    void text(const drawwork::TextLayout& layout, const drawwork::Affine& placing,
              const drawwork::Paint& paint) override;

    // The drawing. Nothing is drawn afterwards.
    std::string finish();

 private:
    void open_clip(const Clip&) override {}
    void close_clip() override {}
    void open_group() override;
    void close_group(double opacity, drawwork::Blend blend) override;

    // A figure of the drawing: its name, and the pairs of its own.
    struct Entity {
        const char* name;
        const char* subclass;
        drawwork::Argb color;
        int line_weight;  // in hundredths of a millimeter; negative for the usual one
        std::string pairs;
    };
    using Points = std::vector<drawwork::PointD>;

    // PictureError for a paint that is no color.
    static drawwork::Argb color_of(const drawwork::Paint& paint);
    Entity& add(const char* name, const char* subclass, drawwork::Argb color, int line_weight = -1);
    void add_polyline(const Points& points, bool closed, double width, drawwork::Argb color);
    void add_spline(const drawwork::Contour& contour, drawwork::Argb color, int line_weight);
    void add_hatch(const drawwork::Outline& outline, drawwork::Argb color);
    void add_trapezoids(const drawwork::Outline& outline, drawwork::FillRule rule, drawwork::Argb color);
    void add_text(const drawwork::TextLine& line, const drawwork::TextLayout& layout, const drawwork::Affine& placing,
                  const TextScale& scale, drawwork::Argb color);
    void add_outline_of_text(const drawwork::Outline& outline, drawwork::Argb color);
    drawwork::PointD upward(drawwork::PointD p) const { return {p.x, m_settings.height - p.y}; }
    // All clips that hold, those around open groups among them.
    Clips all_clips() const;
    bool is_within_clips(const drawwork::RectD& area) const;
    // The parts of a line that lie within the clips.
    std::vector<Points> cut(const Points& points) const;
    std::string tables(uint32_t& handle) const;

    drawwork::Backend& m_backend;
    DxfSettings m_settings;
    std::vector<Entity> m_entities;
    std::vector<std::string> m_families;  // of text
    std::vector<Clips> m_outer_clips;     // of the open groups
    std::vector<size_t> m_group_begins;   // the entity that each of them begins with
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DXF_DXF_CANVAS_H

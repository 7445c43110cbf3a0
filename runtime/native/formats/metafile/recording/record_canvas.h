// A canvas that makes records of a metafile instead of pixels.
//
// What such records cannot say becomes a bitmap in them: gradients, repeated textures, groups with an opacity. The
// bitmap has a pixel for each of the page.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_RECORD_CANVAS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_RECORD_CANVAS_H

#include <functional>
#include <vector>

#include "runtime/native/behaviors/drawing/outlines.h"
#include "runtime/native/drawwork/canvas.h"
#include "runtime/native/formats/metafile/player/device_objects.h"

namespace zelmor::embed::metafile {

using drawwork::Affine;
using drawwork::Blend;
using drawwork::Canvas;
using drawwork::FillRule;
using drawwork::Outline;
using drawwork::Paint;
using drawwork::Stroke;
using drawwork::TextLayout;

class RecordCanvas : public Canvas {
 public:
    // A page of so many pixels, with its left top corner at the origin.
    RecordCanvas(double width, double height);

    void save() final;
    void restore() final;
    void unclip() final;
    void clip(const Outline& outline, FillRule rule, bool smooth) final;
    void fill(const Outline& outline, FillRule rule, const Paint& paint, bool smooth) final;
    void stroke(const Outline& outline, const Stroke& stroke, const Paint& paint, bool smooth) final;
    void clear(Argb color) final;
    bool is_screen() const final { return true; }
    void text(const TextLayout& layout, const Affine& placing, const Paint& paint) final;
    void begin_group() final;
    void end_group(double opacity, Blend blend) final;
    bool combine(const Outline& outline, FillRule rule, const Paint& pattern, const Paint& source,
                 uint8_t operation) final;

 protected:
    struct Clip {
        Outline outline;
        FillRule rule;
    };

    double width() const { return m_width; }
    double height() const { return m_height; }
    // All of them hold.
    const std::vector<Clip>& clips() const { return m_clips; }

    // Puts the pixels of a fill on the page.
    void as_bitmap(const Outline& outline, FillRule rule, const Paint& paint);

    virtual void emit_save() = 0;
    virtual void emit_restore() = 0;
    virtual void emit_clip(const Clip& clip) = 0;
    virtual void emit_unclip() = 0;
    virtual void emit_fill(const Outline& outline, FillRule rule, Argb color) = 0;
    // False for what the format's own lines and texts cannot show: then their outlines are filled.
    virtual bool emit_stroke(const Outline& outline, const Stroke& stroke, Argb color) = 0;
    virtual bool emit_text(const TextLayout& layout, const Affine& placing, Argb color) = 0;
    // `placing` maps the pixels to the page.
    virtual void emit_bitmap(const Pixels& pixels, const Affine& placing) = 0;
    // A raster operation of a color with the pixels there.
    virtual bool emit_combine(const Outline& outline, FillRule rule, Argb pattern, uint8_t operation) = 0;

 private:
    using Step = std::function<void(Canvas&)>;

    // Keeps the call for the end of the group, if there is one.
    bool keeps(Step step);
    bool put_texture(const Outline& outline, FillRule rule, const Paint& paint);
    // Draws on pixels and puts what becomes of it on the page.
    void rasterized(const RectD& around, const Step& draw);

    double m_width, m_height;
    std::vector<Clip> m_clips;
    std::vector<std::vector<Clip>> m_saved_clips;
    std::vector<Clip> m_base;  // of the group that is being drawn
    std::vector<std::vector<Step>> m_groups;
};

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_RECORD_CANVAS_H

// A canvas that makes records of a Windows metafile.
//
// These have whole units of 16 bits, no curves, no clips but rectangles, and no transparency: curves become lines,
// what is clipped becomes the outline of what is left, and transparent pixels are either white or not drawn.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_WMF_CANVAS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_WMF_CANVAS_H

#include <map>
#include <string>

#include "runtime/native/formats/metafile/player/play.h"
#include "runtime/native/formats/metafile/recording/record_canvas.h"

namespace zelmor::embed::metafile {

// The units of a page of this size: how many of them make an inch, which is 96 pixels.
int32_t inch_for(double width, double height);

class WmfCanvas final : public RecordCanvas {
 public:
    // `window` is the rectangle of units that the page is; `inch` says how large they are.
    WmfCanvas(double width, double height, const RectD& window, int64_t first_object);
    // The records so far, without an end.
    const Records& records() const { return m_records; }
    // The records of a new file begin with these.
    void add_start();

 protected:
    void emit_save() override {}
    void emit_restore() override {}
    void emit_clip(const Clip&) override {}
    void emit_unclip() override {}
    void emit_fill(const Outline& outline, FillRule rule, Argb color) override;
    bool emit_stroke(const Outline& outline, const Stroke& stroke, Argb color) override;
    bool emit_text(const TextLayout& layout, const Affine& placing, Argb color) override;
    void emit_bitmap(const Pixels& pixels, const Affine& placing) override;
    bool emit_combine(const Outline& outline, FillRule rule, Argb pattern, uint8_t operation) override;

 private:
    Ref<ManagedObject> add(const char* name);
    PointD units(PointD page) const;
    void select(int64_t& selected, int64_t index);
    int64_t object(const std::string& key, const std::function<void()>& make);
    void select_brush(Argb color);
    void select_no_pen();
    bool is_within_clips(const RectD& box) const;

    RectD m_window;
    PointD m_scale;
    Records m_records;
    int64_t m_brush = -1, m_pen = -1, m_font = -1, m_rule = 0, m_text_color = -1;
    std::map<std::string, int64_t> m_objects;
    int64_t m_next_object;
};

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_WMF_CANVAS_H

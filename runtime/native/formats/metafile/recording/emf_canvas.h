// A canvas that makes records of an enhanced metafile.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_EMF_CANVAS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_EMF_CANVAS_H

#include <map>
#include <string>

#include "runtime/native/formats/metafile/player/play.h"
#include "runtime/native/formats/metafile/recording/record_canvas.h"

namespace zelmor::embed::metafile {

// The units of the records are parts of a pixel: so many.
constexpr double kUnitsOfPixel = 32;

class EmfCanvas final : public RecordCanvas {
 public:
    // `origin` is the place of the page's left top corner in pixels of the device.
    EmfCanvas(double width, double height, PointD origin = {});
    // The records so far, without a header and an end.
    const Records& records() const { return m_records; }
    // Objects have numbers from here on, in a file that has others already.
    void use_objects_from(int64_t index) { m_next_object = index; }

 protected:
    void emit_save() override;
    void emit_restore() override;
    void emit_clip(const Clip& clip) override;
    void emit_unclip() override;
    void emit_fill(const Outline& outline, FillRule rule, Argb color) override;
    bool emit_stroke(const Outline& outline, const Stroke& stroke, Argb color) override;
    bool emit_text(const TextLayout& layout, const Affine& placing, Argb color) override;
    void emit_bitmap(const Pixels& pixels, const Affine& placing) override;
    bool emit_combine(const Outline& outline, FillRule rule, Argb pattern, uint8_t operation) override;

 private:
    struct Selected {
        int64_t pen = 0, brush = 0, font = 0;
        int64_t rule = 0, text_color = -1, miter = 10;
    };

    Ref<ManagedObject> add(const char* name);
    void path(const Outline& outline, PointD shift);
    void set_rule(FillRule rule);
    void select(int64_t& selected, int64_t index);
    void select_brush(Argb color);
    Value page_value() const;

    Records m_records;
    Selected m_selected;
    std::vector<Selected> m_saved;
    std::map<std::string, int64_t> m_objects;  // by their values
    int64_t m_next_object = 1;
};

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_EMF_CANVAS_H

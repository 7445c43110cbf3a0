// The recorders of the API: drawing with its pens and brushes that becomes the records of a metafile.
//
// World coordinates go through the transformation to units of the recorder: pixels of the device for an enhanced
// metafile, units of the window for a Windows metafile.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_RECORDER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_RECORDER_H

#include <memory>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.Graphics.h"
#include "runtime/native/behaviors/drawing/regions.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/formats/metafile/metafile_images.h"
#include "runtime/native/formats/metafile/recording/record_canvas.h"

namespace zelmor::embed::metafile {

class RecorderObject : public Record {
 public:
    static constexpr const char* kManagedName = api::FileFormats::Emf::Graphics::MetafileRecorderGraphics2D::kType.name;
    // Draws on the canvas; `page` is the rectangle of the recorder's units that the canvas shows, `dots_per_inch` says
    // how large the units are.
    RecorderObject(const TypeInfo& type, std::unique_ptr<RecordCanvas> canvas, const RectD& page, PointD dots_per_inch);

    Affine transform;  // from world coordinates to units
    const RectD& page() const { return m_page; }
    PointD dots_per_inch() const { return m_dots; }
    Affine map() const;  // from world coordinates to the canvas

    void fill(const ManagedObject* brush, const Outline& world, FillRule rule);
    void stroke(const ManagedObject* pen, const Outline& world);
    void image(const imagework::Picture& picture, const RectD& part, const RectD& to);
    void text(const std::u16string& text, const ManagedObject* font, Argb color, PointD at, double degrees);
    void clear();

    const RegionTree& clip() const { return m_clip; }  // in units
    void set_clip(RegionTree clip);

    // The canvas for the last time: nothing can be drawn afterwards.
    std::unique_ptr<RecordCanvas> finish();
    // InvalidOperationException after the end.
    RecordCanvas& canvas();

 private:
    std::unique_ptr<RecordCanvas> m_canvas;
    RectD m_page;
    PointD m_dots;
    RegionTree m_clip = infinite_region();
};

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_RECORDER_H

// Making the recorders, and the images that they end as.
#include <algorithm>
#include <cmath>
#include <string_view>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Wmf.Graphics.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Wmf.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/references.h"
#include "runtime/native/formats/metafile/embedded_copy.h"
#include "runtime/native/formats/metafile/recording/emf_canvas.h"
#include "runtime/native/formats/metafile/recording/new_records.h"
#include "runtime/native/formats/metafile/recording/plus_parts.h"
#include "runtime/native/formats/metafile/recording/recorder.h"
#include "runtime/native/formats/metafile/recording/wmf_canvas.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::embed::metafile {

namespace {

using EmfApi = api::FileFormats::Emf::Graphics::EmfRecorderGraphics2D;
using WmfApi = api::FileFormats::Wmf::Graphics::WmfRecorderGraphics2D;

// A recorder with the image that it goes on with, or a new one.
class EmfRecorder final : public RecorderObject {
 public:
    static constexpr const char* kManagedName = EmfApi::kType.name;
    EmfRecorder(const RectD& page, PointD dots, Ref<ManagedObject> header, RecordingParts parts, int64_t first_object)
        : RecorderObject(require_type(kManagedName), make_canvas(page, first_object), page, dots),
          m_header(std::move(header)),
          m_parts(std::move(parts)) {
        track();
    }
    void references(ReferenceVisitor& visitor) override {
        RecorderObject::references(visitor);
        visitor(m_header);
        visitor(m_parts.before);
        visitor(m_parts.after);
    }
    Ref<MetaImageObject> end() {
        const std::unique_ptr<RecordCanvas> canvas = finish();
        auto image = make_ref<MetaImageObject>(require_type(api::FileFormats::Emf::EmfImage::kType.name), drawing());
        MetafileDrawing& made = image->metafile();
        for (const Records& records : {static_cast<EmfCanvas&>(*canvas).records(), m_parts.after}) {
            for (const Ref<ManagedObject>& record : records) {
                made.records()->append(Value(record));
            }
        }
        made.records()->append(Value(new_emf_record("EmfEof")));
        return image;
    }

 private:
    static std::unique_ptr<RecordCanvas> make_canvas(const RectD& page, int64_t first_object) {
        auto canvas = std::make_unique<EmfCanvas>(page.width, page.height, PointD{page.x, page.y});
        canvas->use_objects_from(first_object);
        return canvas;
    }
    std::shared_ptr<MetafileDrawing> drawing() const {
        EmfFile file;
        file.records = {m_header};
        file.records.insert(file.records.end(), m_parts.before.begin(), m_parts.before.end());
        return MetafileDrawing::of_emf(std::move(file));
    }

    Ref<ManagedObject> m_header;
    RecordingParts m_parts;
};

class WmfRecorder final : public RecorderObject {
 public:
    static constexpr const char* kManagedName = WmfApi::kType.name;
    WmfRecorder(const WmfFrame& frame, Records before, int64_t first_object)
        : RecorderObject(require_type(kManagedName), make_canvas(frame, first_object), frame.window,
                         {frame.inch, frame.inch}),
          m_frame(frame),
          m_before(std::move(before)) {
        track();
    }
    void references(ReferenceVisitor& visitor) override {
        RecorderObject::references(visitor);
        visitor(m_before);
    }
    Ref<MetaImageObject> end() {
        const std::unique_ptr<RecordCanvas> canvas = finish();
        const auto drawing = MetafileDrawing::empty(RecordFamily::kWmf, 0, 0);
        drawing->set_window(m_frame);
        for (const Records& records : {m_before, static_cast<WmfCanvas&>(*canvas).records()}) {
            for (const Ref<ManagedObject>& record : records) {
                drawing->records()->append(Value(record));
            }
        }
        drawing->records()->append(Value(new_wmf_object("WmfEof")));
        return make_ref<MetaImageObject>(require_type(api::FileFormats::Wmf::WmfImage::kType.name), drawing);
    }

 private:
    static std::unique_ptr<RecordCanvas> make_canvas(const WmfFrame& frame, int64_t first_object) {
        const RectD& window = frame.window;
        auto canvas = std::make_unique<WmfCanvas>(window.width, window.height, window, first_object);
        canvas->add_start();
        return canvas;
    }

    WmfFrame m_frame;
    Records m_before;
};

void require_size(double width, double height, const char* parameter) {
    if (!(width > 0 && height > 0)) {
        throw_out_of_range(parameter, "The size is not positive.");
    }
}

// The frame is in pixels of the device.
Ref<EmfRecorder> new_emf(const RectangleValue& frame, const SizeValue& device, const SizeValue& millimeters) {
    require_size(frame.width, frame.height, "frame");
    require_size(device.width, device.height, "device_size");
    require_size(millimeters.width, millimeters.height, "device_size_mm");
    const PointD per_mm{double(device.width) / millimeters.width, double(device.height) / millimeters.height};
    const RectD page{double(frame.x), double(frame.y), double(frame.width), double(frame.height)};
    auto record = new_emf_record("EmfMetafileHeader");
    const auto header = property_object(*record, "EmfHeader");
    set_property(*header, "Bounds", rect_value({page.x, page.y, page.width - 1, page.height - 1}));
    set_property(*header, "Frame",
                 rect_value({page.x / per_mm.x * 100, page.y / per_mm.y * 100, page.width / per_mm.x * 100,
                             page.height / per_mm.y * 100}));
    set_property(*header, "RecordSignature", int64_t{0x464D4520});
    set_property(*header, "Version", int64_t{0x10000});
    set_property(*header, "Device", Value(box(device)));
    set_property(*header, "Millimeters", Value(box(millimeters)));
    return make_ref<EmfRecorder>(page, PointD{per_mm.x * kMillimetersPerInch, per_mm.y * kMillimetersPerInch}, record,
                                 RecordingParts(), 1);
}

Records records_of(const MetafileDrawing& drawing) {
    Records records;
    const Ref<ManagedList>& list = drawing.records();
    for (size_t i = 0; list && i < list->size(); ++i) {
        const Value element = list->get(i);
        const auto* object = std::get_if<Ref<ManagedObject>>(&element);
        if (object != nullptr && *object) {
            records.push_back(*object);
        }
    }
    return records;
}

bool is_class(const ManagedObject& record, std::string_view name) {
    return name == record.type().name;
}

// Goes on behind the records of the image, with the state that a file begins with.
Ref<EmfRecorder> of_emf(MetaImageObject* image) {
    MetafileDrawing& drawing = required(image, "emf_image").metafile();
    image->require_live();
    const RectD bounds = drawing.bounds();
    require_size(bounds.width, bounds.height, "emf_image");
    Records records = records_of(drawing);
    Ref<ManagedObject> header = drawing.header();
    if (!records.empty() && has_property(*records.front(), "EmfHeader")) {
        header = records.front();
        records.erase(records.begin());
    }
    if (!records.empty() && is_class(*records.back(), "EmfEof")) {
        records.pop_back();
    }
    int64_t last = 0;
    for (const Ref<ManagedObject>& record : records) {
        for (const char* name : {"IhPen", "IhBrush", "IhFonts", "IhPal", "IhCs"}) {
            if (has_property(*record, name)) {
                last = std::max(last, whole_in(*record, name) & 0x7FFFFFFF);
            }
        }
    }
    const EmfFrame frame = emf_frame(header.get());
    const RectD page{std::floor(bounds.x), std::floor(bounds.y), std::ceil(bounds.width), std::ceil(bounds.height)};
    return make_ref<EmfRecorder>(
        page, PointD{frame.pixels_per_mm.x * kMillimetersPerInch, frame.pixels_per_mm.y * kMillimetersPerInch}, header,
        recording_parts(std::move(records)), last + 1);
}

Ref<MetaImageObject> end_emf(EmfRecorder& self) {
    return self.end();
}

Ref<WmfRecorder> new_wmf(const RectangleValue& frame, int32_t inch) {
    require_size(frame.width, frame.height, "frame");
    if (inch <= 0 || inch > 0xFFFF) {
        throw_out_of_range("inch", "The value " + std::to_string(inch) + " is no number of units from 1 to 65535.");
    }
    const RectD window{double(frame.x), double(frame.y), double(frame.width), double(frame.height)};
    return make_ref<WmfRecorder>(WmfFrame{window, double(inch)}, Records(), 0);
}

Ref<WmfRecorder> of_wmf(MetaImageObject* image) {
    MetafileDrawing& drawing = required(image, "wmf_image").metafile();
    image->require_live();
    const WmfFrame frame = drawing.window();
    require_size(frame.window.width, frame.window.height, "wmf_image");
    Records records = records_of(drawing);
    if (!records.empty() && is_class(*records.back(), "WmfEof")) {
        records.pop_back();
    }
    // The enhanced metafile in the comments, which readers show instead of the records, would lack the new ones.
    records = without_copy(records);
    // Objects are numbered by the lowest index that is free: behind as many as are made, none is taken.
    const TypeInfo& graphic = require_type("Zelmor.Imaging.FileFormats.Wmf.Objects.WmfGraphicObject");
    std::vector<bool> taken;
    for (const Ref<ManagedObject>& record : records) {
        if (is_assignable(graphic, record->type())) {
            const auto free = std::find(taken.begin(), taken.end(), false);
            free != taken.end() ? static_cast<void>(*free = true) : taken.push_back(true);
        } else if (is_class(*record, "WmfDeleteObject")) {
            const auto index = static_cast<size_t>(whole_in(*record, "ObjectIndex"));
            if (index < taken.size()) {
                taken[index] = false;
            }
        }
    }
    // Free places are filled, so that new objects are numbered one after the other.
    for (auto free = std::find(taken.begin(), taken.end(), false); free != taken.end();
         free = std::find(free, taken.end(), false)) {
        records.push_back(new_wmf_object("WmfCreatePenInDirect"));
        set_property(*records.back(), "PenStyle", int64_t{5});
        set_property(*records.back(), "Width", point_value({}));
        *free = true;
    }
    records.insert(records.begin(), new_wmf_object("WmfSaveDc"));
    records.push_back(new_wmf_object("WmfRestoreDc"));
    set_property(*records.back(), "SavedDc", int64_t{1});
    return make_ref<WmfRecorder>(frame, std::move(records), static_cast<int64_t>(taken.size()));
}

Ref<MetaImageObject> end_wmf(WmfRecorder& self) {
    return self.end();
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&new_emf, EmfApi::ctor_000_EmfRecorderGraphics2D>(),
    behavior<&of_emf, EmfApi::call_000_FromEmfImage>(),
    behavior<&end_emf, EmfApi::call_000_EndRecording>(),
    behavior<&new_wmf, WmfApi::ctor_000_WmfRecorderGraphics2D>(),
    behavior<&of_wmf, WmfApi::call_000_FromWmfImage>(),
    behavior<&end_wmf, WmfApi::call_000_EndRecording>(),
});

}  // namespace

}  // namespace zelmor::embed::metafile

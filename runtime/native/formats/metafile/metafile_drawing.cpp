// The drawing behind an image of a metafile.
#include "runtime/native/formats/metafile/metafile_drawing.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string_view>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.Emf.Objects.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.Emf.Records.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Wmf.Objects.h"
#include "runtime/native/behaviors/drawing/arguments.h"
#include "runtime/native/behaviors/drawing/region_sweep.h"
#include "runtime/native/core/references.h"
#include "runtime/native/core/values.h"
#include "runtime/native/formats/metafile/player/dib_pixels.h"
#include "runtime/native/formats/metafile/player/embedded_pictures.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed::metafile {

namespace {

using imagework::Failure;
using imagework::PictureError;
using std::string_view;

// Steps that the regions of a file may take: some seconds.
constexpr uint64_t kMostSteps = 100'000'000;

constexpr double kPixelsPerInch = 96;
constexpr double kHundredths = 2540.0 / kPixelsPerInch;  // of a millimeter in a pixel

Ref<ManagedList> list_of(const std::vector<Ref<ManagedObject>>& records) {
    Ref<ManagedObject> made = make_instance(api::FileFormats::Emf::MetaObjectList::kType.name);
    auto& list = cast_object<ManagedList>(*made);
    for (const Ref<ManagedObject>& record : records) {
        list.append(Value(record));
    }
    return Ref<ManagedList>(&list);
}

// What the file of a new picture says of itself and of the device that it is for.
void complete_header(ManagedObject& record, double width, double height) {
    const auto header = property_object(record, "EmfHeader");
    const RectD frame = header ? rect_in(*header, "Frame") : RectD();
    if (!header || (frame.width > 0 && frame.height > 0)) {
        return;
    }
    constexpr int32_t kDeviceSide = 9600, kMillimeters = 2540;  // a square meant for 96 pixels to the inch
    const auto whole = [](double value) { return static_cast<int32_t>(std::lround(value)); };
    set_property(*header, "Bounds", Value(box(RectangleValue{0, 0, whole(width) - 1, whole(height) - 1})));
    set_property(*header, "Frame",
                 Value(box(RectangleValue{0, 0, whole(width * kHundredths), whole(height * kHundredths)})));
    set_property(*header, "RecordSignature", int64_t{0x464D4520});
    set_property(*header, "Version", int64_t{0x10000});
    set_property(*header, "Device", Value(box(SizeValue{kDeviceSide, kDeviceSide})));
    set_property(*header, "Millimeters", Value(box(SizeValue{kMillimeters, kMillimeters})));
}

bool is_class(const ManagedObject& record, string_view name) {
    return name == record.type().name;
}

bool is_header(const ManagedObject& record) {
    return is_a(record.type(), api::FileFormats::Emf::Emf::Records::EmfMetafileHeader::kType);
}

template <class Enum>
Enum mode_of(const DrawSettings& settings, string_view type_name, Enum usual) {
    if (!settings.options || type_name != settings.options->type().name) {
        return usual;
    }
    return static_cast<Enum>(property_int(*settings.options, "RenderMode"));
}

}  // namespace

std::shared_ptr<MetafileDrawing> MetafileDrawing::of_emf(EmfFile file) {
    std::shared_ptr<MetafileDrawing> drawing(new MetafileDrawing(RecordFamily::kEmf));
    drawing->m_header = file.records.empty() ? Ref<ManagedObject>() : file.records.front();
    drawing->m_records = list_of(file.records);
    drawing->m_tail = std::move(file.tail);
    drawing->m_source = std::move(file.source);
    const EmfFrame frame = drawing->frame();
    drawing->m_width = frame.width;
    drawing->m_height = frame.height;
    return drawing;
}

std::shared_ptr<MetafileDrawing> MetafileDrawing::of_wmf(WmfFile file) {
    std::shared_ptr<MetafileDrawing> drawing(new MetafileDrawing(RecordFamily::kWmf));
    drawing->m_window.window = window_of(file.records);
    if (file.placeable) {
        const Placeable& box = *file.placeable;
        drawing->m_window.window = {double(box.left), double(box.top), double(box.right) - box.left,
                                    double(box.bottom) - box.top};
        drawing->m_window.inch = box.inch != 0 ? box.inch : kPixelsPerInch;
    }
    drawing->m_records = list_of(file.records);
    drawing->m_copy = EmbeddedCopy(file.records);
    drawing->m_placeable = file.placeable;
    drawing->m_wmf_header = file.header;
    drawing->m_tail = std::move(file.tail);
    drawing->m_source = std::move(file.source);
    return drawing;
}

std::shared_ptr<MetafileDrawing> MetafileDrawing::empty(RecordFamily family, double width, double height) {
    std::shared_ptr<MetafileDrawing> drawing(new MetafileDrawing(family));
    drawing->m_records = list_of({});
    drawing->m_width = width;
    drawing->m_height = height;
    drawing->m_window.window = {0, 0, width, height};
    if (family == RecordFamily::kEmf) {
        drawing->m_header = make_instance(api::FileFormats::Emf::Emf::Records::EmfMetafileHeader::kType.name);
    }
    return drawing;
}

double MetafileDrawing::width() const {
    return m_family == RecordFamily::kEmf ? m_width : m_window.width();
}
double MetafileDrawing::height() const {
    return m_family == RecordFamily::kEmf ? m_height : m_window.height();
}

void MetafileDrawing::set_inch(int32_t inch) {
    m_window.inch = inch;
    if (m_placeable) {
        m_placeable->inch = static_cast<uint16_t>(inch);
        m_placeable->checksum.reset();
    }
}

EmfFrame MetafileDrawing::frame() const {
    EmfFrame frame = emf_frame(m_header.get());
    if (!(frame.width > 0 && frame.height > 0)) {
        frame.bounds = {0, 0, m_width, m_height};
        frame.width = m_width;
        frame.height = m_height;
    }
    return frame;
}

// A list that wraps a Python list may hold anything, and running it may change it.
Records MetafileDrawing::current() const {
    Records records;
    const Ref<ManagedList> list = m_records;
    for (size_t i = 0; list && i < list->size(); ++i) {
        const Value element = list->get(i);
        const auto* object = std::get_if<Ref<ManagedObject>>(&element);
        if (object != nullptr && *object) {
            records.push_back(*object);
        }
    }
    return records;
}

RectD MetafileDrawing::bounds() const {
    return m_family == RecordFamily::kEmf ? frame().bounds : RectD{0, 0, m_window.width(), m_window.height()};
}

void MetafileDrawing::draw(drawwork::Canvas& canvas, const Affine& placing, const DrawSettings& settings) {
    Playing playing;
    playing.placing = placing;
    playing.rendering = {settings.smooth, settings.smooth_text, settings.hinted};
    playing.emf = mode_of(settings, "EmfRasterizationOptions", EmfMode::kAuto);
    playing.wmf = mode_of(settings, "WmfRasterizationOptions", WmfMode::kAuto);
    const SweepLimit limit(kMostSteps);
    try {
        if (m_family == RecordFamily::kEmf) {
            play_emf(canvas, current(), frame(), playing);
        } else {
            const Records records = current();
            if (playing.wmf == WmfMode::kAuto && m_copy.is_outdated(records)) {
                playing.wmf = WmfMode::kRecords;
            }
            play_wmf(canvas, records, m_window, playing);
        }
    } catch (const MetafileError& error) {
        throw PictureError(Failure::kDamaged, error.what());
    } catch (const SweepTooLong& error) {
        throw PictureError(Failure::kDamaged, error.what() + std::string(": the metafile has too many lines in them"));
    }
}

FileBytes MetafileDrawing::file() const {
    try {
        Records records = current();
        if (m_family == RecordFamily::kEmf) {
            using namespace api::FileFormats::Emf::Emf::Records;
            if (m_header && (records.empty() || !is_header(*records.front()))) {
                complete_header(*m_header, m_width, m_height);
                records.insert(records.begin(), m_header);
            }
            if (records.empty() || !is_class(*records.back(), "EmfEof")) {
                records.push_back(make_instance(EmfEof::kType.name));
            }
            return write_emf({std::move(records), m_tail, m_source});
        }
        if (m_copy.is_outdated(records)) {
            records = without_copy(records);  // readers would show it, and not what was changed
        }
        if (records.empty() || !is_class(*records.back(), "WmfEof")) {
            records.push_back(make_instance(api::FileFormats::Wmf::Objects::WmfEof::kType.name));
        }
        std::optional<Placeable> placeable = m_placeable;
        if (!placeable && m_source.empty()) {  // of a new picture
            const auto side = [](double value) {
                return static_cast<int16_t>(std::clamp(std::lround(value), -32768L, 32767L));
            };
            const RectD& window = m_window.window;
            placeable = Placeable{0,
                                  side(window.x),
                                  side(window.y),
                                  side(window.right()),
                                  side(window.bottom()),
                                  static_cast<uint16_t>(std::clamp(m_window.inch, 1.0, 65535.0)),
                                  0,
                                  {}};
        }
        return write_wmf({placeable, m_wmf_header, std::move(records), m_tail, m_source});
    } catch (const MetafileError& error) {
        throw PictureError(Failure::kEncoding, error.what());
    }
}

std::vector<std::u16string> MetafileDrawing::fonts() const {
    std::vector<std::u16string> names;
    const auto add = [&](const ManagedObject& font, const char* name) {
        const std::u16string face = text_in(font, name);
        const std::u16string clean = face.substr(0, face.find(u'\0'));
        if (!clean.empty() && std::find(names.begin(), names.end(), clean) == names.end()) {
            names.push_back(clean);
        }
    };
    for (const Ref<ManagedObject>& record : current()) {
        if (is_class(*record, "EmfExtCreateFontIndirectW")) {
            if (const auto font = object_in(*record, "Elw")) {
                add(*font, "Facename");
            }
        } else if (is_class(*record, "WmfCreateFontInDirect")) {
            add(*record, "Facename");
        } else if (is_class(*record, "EmfCommentEmfPlus")) {
            for_plus_records(*record, [&](const ManagedObject& plus) {
                const auto font =
                    has_property(plus, "ObjectData") ? object_in(plus, "ObjectData") : Ref<ManagedObject>();
                if (font && is_class(*font, "EmfPlusFont")) {
                    add(*font, "FamilyName");
                }
            });
        }
    }
    return names;
}

std::u16string MetafileDrawing::post_script() const {
    std::u16string text;
    for (const Ref<ManagedObject>& record : current()) {
        if (is_class(*record, "WmfEscapePostScript")) {
            for (const uint8_t byte : bytes_in(*record, "PostScriptData")) {
                text += static_cast<char16_t>(byte);
            }
        }
    }
    return text;
}

void MetafileDrawing::references(ReferenceVisitor& visitor) {
    visitor(m_records);
    visitor(m_header);
}

std::vector<Ref<ImageBase>> MetafileDrawing::embedded_images() {
    try {
        return embedded_pictures(current());
    } catch (const MetafileError& error) {
        throw PictureError(Failure::kDamaged, error.what());
    }
}

}  // namespace zelmor::embed::metafile

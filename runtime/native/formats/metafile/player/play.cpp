// Playing whole metafiles, and those within them.
#include "runtime/native/formats/metafile/player/play.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "runtime/native/formats/metafile/frame_pixels.h"
#include "runtime/native/formats/metafile/player/emf_player.h"
#include "runtime/native/formats/metafile/player/plus_player.h"
#include "runtime/native/formats/metafile/player/wmf_player.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::embed::metafile {

namespace {

using std::string_view;

constexpr int kDeepestMetafile = 4;
constexpr double kPixelsPerInch = 96;

bool is_class(const ManagedObject& record, string_view name) {
    return name == record.type().name;
}

void play_nested(Canvas& canvas, const FileBytes& packed, const RectD& source, const Affine& to_canvas,
                 const Playing& outer);

// Where flood fills of the records are worked out; empty for records without any.
std::unique_ptr<FloodPaper> paper_for(const Records& records, Canvas& canvas, const DeviceSpace& space) {
    const bool floods = std::any_of(records.begin(), records.end(), [](const Ref<ManagedObject>& record) {
        return is_class(*record, "EmfExtFloodFill") || is_class(*record, "WmfFloodFill") ||
               is_class(*record, "WmfExtFloodFill");
    });
    return floods ? std::make_unique<FloodPaper>(canvas, space) : nullptr;
}

// ---- EMF with EMF+

class EmfRun {
 public:
    EmfRun(Canvas& canvas, const Records& records, const EmfFrame& frame, const Playing& playing)
        : m_playing(playing),
          m_space{frame.bounds, frame.pixels_per_mm, playing.placing},
          m_paper(paper_for(records, canvas, m_space)),
          m_canvas(m_paper != nullptr ? *m_paper : canvas),
          m_clip(m_canvas, m_space, playing.rendering.smooth),
          m_device(m_canvas, m_clip, m_space, playing.rendering, m_paper.get()),
          m_plus(m_canvas, m_clip, m_space, playing.rendering,
                 [this](const FileBytes& file, const RectD& source, const Affine& to_canvas) {
                     play_nested(m_canvas, file, source, to_canvas, m_playing);
                 }) {
        m_has_plus = std::any_of(records.begin(), records.end(), [](const Ref<ManagedObject>& record) {
            return is_class(*record, "EmfCommentEmfPlus");
        });
        const bool plays_plus = m_has_plus && playing.emf != EmfMode::kEmf;
        m_plays_emf = playing.emf == EmfMode::kEmf || playing.emf == EmfMode::kBoth || !plays_plus;
        if (playing.emf == EmfMode::kEmfPlus) {
            m_plays_emf = false;
        }
        m_plays_plus = plays_plus;
    }

    void play(const Records& records) {
        for (const Ref<ManagedObject>& record : records) {
            if (is_class(*record, "EmfCommentEmfPlus")) {
                for_plus_records(*record, [&](const ManagedObject& plus) { play_plus(plus); });
                continue;
            }
            if (m_plays_emf || m_handed_over) {
                play_emf_record(m_device, *record);
            }
        }
    }

 private:
    void play_plus(const ManagedObject& record) {
        m_handed_over = is_class(record, "EmfPlusGetDc") && m_plays_plus && m_playing.emf != EmfMode::kEmfPlus;
        if (m_plays_plus) {
            m_plus.play(record);
        }
    }

    const Playing& m_playing;
    DeviceSpace m_space;
    std::unique_ptr<FloodPaper> m_paper;
    Canvas& m_canvas;
    CanvasClip m_clip;
    Device m_device;
    PlusPlayer m_plus;
    bool m_has_plus = false, m_plays_emf = true, m_plays_plus = false;
    bool m_handed_over = false;  // records of EMF draw on behalf of EMF+
};

void play_nested(Canvas& canvas, const FileBytes& packed, const RectD& source, const Affine& to_canvas,
                 const Playing& outer) {
    if (outer.depth >= kDeepestMetafile) {
        return;
    }
    const FileBytes bytes = unpacked(packed);
    Playing playing = outer;
    playing.depth = outer.depth + 1;
    const auto placed = [&](const RectD& bounds) {
        // The part that is drawn is given in pixels of the picture, from its left top corner on.
        static_cast<void>(source);
        return Affine::translation(-bounds.x, -bounds.y).then(to_canvas);
    };
    if (is_emf(bytes)) {
        const EmfFile file = read_emf(bytes);
        const EmfFrame frame = emf_frame(file.records.empty() ? nullptr : file.records.front().get());
        playing.placing = placed(frame.bounds);
        play_emf(canvas, file.records, frame, playing);
    } else if (is_wmf(bytes)) {
        const WmfFile file = read_wmf(bytes);
        WmfFrame frame;
        frame.window = window_of(file.records);
        if (file.placeable) {
            const Placeable& box = *file.placeable;
            frame.window = {double(box.left), double(box.top), double(box.right) - box.left,
                            double(box.bottom) - box.top};
            frame.inch = box.inch != 0 ? box.inch : frame.inch;
        }
        playing.placing = placed({0, 0, frame.width(), frame.height()});
        play_wmf(canvas, file.records, frame, playing);
    }
}

}  // namespace

void for_plus_records(const ManagedObject& comment, const std::function<void(const ManagedObject&)>& use) {
    for (const Ref<ManagedObject>& record : objects_in(comment, "Records")) {
        use(*record);
    }
}

EmfFrame emf_frame(const ManagedObject* record) {
    EmfFrame frame;
    frame.pixels_per_mm = {kPixelsPerInch / kMillimetersPerInch, kPixelsPerInch / kMillimetersPerInch};
    const auto header = record != nullptr && has_property(*record, "EmfHeader") ? object_in(*record, "EmfHeader")
                                                                                : Ref<ManagedObject>();
    if (!header) {
        return frame;
    }
    const PointD device = point_in(*header, "Device");
    PointD size = point_in(*header, "Millimeters");
    const auto exact =
        has_property(*record, "EmfHeaderExtension2") ? object_in(*record, "EmfHeaderExtension2") : Ref<ManagedObject>();
    if (exact && whole_in(*exact, "MicrometersX") > 0 && whole_in(*exact, "MicrometersY") > 0) {
        size = {number_in(*exact, "MicrometersX") / 1000, number_in(*exact, "MicrometersY") / 1000};
    }
    if (device.x > 0 && device.y > 0 && size.x > 0 && size.y > 0) {
        frame.pixels_per_mm = {device.x / size.x, device.y / size.y};
    }
    RectD box = rect_in(*header, "Frame");  // hundredths of a millimeter
    if (!(box.width > 0 && box.height > 0)) {
        const RectD bounds = rect_in(*header, "Bounds");
        const PointD scale{100 / frame.pixels_per_mm.x, 100 / frame.pixels_per_mm.y};
        box = {bounds.x * scale.x, bounds.y * scale.y, (bounds.width + 1) * scale.x, (bounds.height + 1) * scale.y};
    }
    const PointD device_pixels = frame.pixels_per_mm;
    frame.bounds = {frame_pixels(box.x, device_pixels.x), frame_pixels(box.y, device_pixels.y),
                    frame_pixels(box.width, device_pixels.x), frame_pixels(box.height, device_pixels.y)};
    frame.width = frame_pixels(box.width, kPixelsPerInch / kMillimetersPerInch);
    frame.height = frame_pixels(box.height, kPixelsPerInch / kMillimetersPerInch);
    return frame;
}

RectD window_of(const Records& records) {
    RectD window;
    for (const Ref<ManagedObject>& record : records) {
        if (is_class(*record, "WmfSetWindowOrg") && window.width == 0) {
            const PointD origin = point_in(*record, "Point");
            window.x = origin.x;
            window.y = origin.y;
        } else if (is_class(*record, "WmfSetWindowExt") && window.width == 0) {
            const PointD extent = point_in(*record, "Point");
            window.width = extent.x;
            window.height = extent.y;
        }
    }
    return window;
}

void play_emf(Canvas& canvas, const Records& records, const EmfFrame& frame, const Playing& playing) {
    EmfRun(canvas, records, frame, playing).play(records);
}

FileBytes embedded_emf(const Records& records) {
    FileBytes bytes;
    int64_t wanted = 0;
    for (const Ref<ManagedObject>& record : records) {
        if (is_class(*record, "WmfEscapeEnhancedMetafile")) {
            const FileBytes part = bytes_in(*record, "EnhancedMetafileData");
            bytes.insert(bytes.end(), part.begin(), part.end());
            wanted = whole_in(*record, "EnhancedMetafileDataSize");
        }
    }
    return wanted > 0 && static_cast<int64_t>(bytes.size()) >= wanted && is_emf(bytes) ? bytes : FileBytes();
}

void play_wmf(Canvas& canvas, const Records& records, const WmfFrame& frame, const Playing& playing) {
    const RectD shown{0, 0, frame.width(), frame.height()};
    const FileBytes embedded = playing.wmf == WmfMode::kRecords ? FileBytes() : embedded_emf(records);
    if (!embedded.empty() && playing.depth < kDeepestMetafile) {
        const EmfFile file = read_emf(embedded);
        const EmfFrame inner = emf_frame(file.records.front().get());
        if (inner.bounds.width > 0 && inner.bounds.height > 0) {
            Playing nested = playing;
            nested.depth = playing.depth + 1;
            nested.placing =
                Affine::translation(-inner.bounds.x, -inner.bounds.y)
                    .then(Affine::scaling(shown.width / inner.bounds.width, shown.height / inner.bounds.height))
                    .then(playing.placing);
            play_emf(canvas, file.records, inner, nested);
        }
    }
    if (playing.wmf == WmfMode::kEmbedded || (playing.wmf == WmfMode::kAuto && !embedded.empty())) {
        return;
    }
    const DeviceSpace space{
        shown, {kPixelsPerInch / kMillimetersPerInch, kPixelsPerInch / kMillimetersPerInch}, playing.placing};
    const std::unique_ptr<FloodPaper> paper = paper_for(records, canvas, space);
    Canvas& shown_on = paper != nullptr ? *paper : canvas;
    CanvasClip clip(shown_on, space, playing.rendering.smooth);
    Device device(shown_on, clip, space, playing.rendering, paper.get());
    DeviceState& state = device.state;
    state.map_mode = MapMode::kAnisotropic;
    state.window_origin = {frame.window.x, frame.window.y};
    state.window_extent = {frame.window.width, frame.window.height};
    state.viewport_extent = {shown.width, shown.height};
    WmfPlayer player(device);
    for (const Ref<ManagedObject>& record : records) {
        player.play(*record);
    }
}

}  // namespace zelmor::embed::metafile

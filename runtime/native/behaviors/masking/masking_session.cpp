// The runs of a session; see masking_session.h. Its file is in session_file.cpp.
#include "runtime/native/behaviors/masking/masking_session.h"

#include <algorithm>
#include <cassert>

#include "runtime/native/behaviors/masking/masked_pixels.h"
#include "runtime/native/behaviors/masking/masking_result.h"
#include "runtime/native/behaviors/masking/parts.h"
#include "runtime/native/behaviors/settings/memory_limit.h"
#include "runtime/native/behaviors/values/struct_arrays.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/references.h"
#include "runtime/native/drawwork/loader.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/maskwork/loader.h"

namespace zelmor::embed {

using imagework::Argb;

MaskingSession::MaskingSession(Ref<ImageObject> image, Ref<Record> options, MaskingSettings settings)
    : ManagedObject(require_type(kManagedName)),
      m_image(std::move(image)),
      m_options(std::move(options)),
      m_settings(std::move(settings)) {
    track();
}

MaskingSession::MaskingSession(Ref<ImageObject> image, Ref<Record> options)
    : MaskingSession(image, options,
                     read_masking_settings(*options, {image->picture().width(), image->picture().height()})) {}

void MaskingSession::on_dispose() {
    m_labels = {};
    m_picture.reset();
}

void MaskingSession::references(ReferenceVisitor& visitor) {
    visitor(m_image);
    visitor(m_options);
    visitor(m_settings.mask);
}

void MaskingSession::require_memory() const {
    using imagework::limits::kMebibyte;
    const Ref<ManagedObject> export_options = property_object(*m_options, "ExportOptions");
    const uint64_t pixels =
        static_cast<uint64_t>(m_settings.area.width) * static_cast<uint64_t>(m_settings.area.height);
    const uint64_t bytes = pixels * segmentation_bytes(m_settings.method);
    const uint64_t limit = decoded_memory_limit(export_options.get());
    if (bytes > limit) {
        throw ManagedException("OutOfMemoryException",
                               "Separating an area of " + size_text(m_settings.area.width, m_settings.area.height) +
                                   " pixels takes " + std::to_string(bytes / kMebibyte + 1) +
                                   " megabytes, and BufferSizeHint allows " + std::to_string(limit / kMebibyte) + ".");
    }
}

std::shared_ptr<AreaPixels> MaskingSession::read_pixels() {
    const RectangleValue& area = m_settings.area;
    auto pixels = std::make_shared<AreaPixels>();
    pixels->width = area.width;
    pixels->height = area.height;
    pixels->argb.resize(pixels->size());
    m_picture->read_argb({area.x, area.y, area.width, area.height}, pixels->argb);
    for (uint32_t& color : pixels->argb) {
        color = MaskedArgb::over(color, imagework::kWhite);
    }
    return pixels;
}

void MaskingSession::draw_mask() {
    const RectangleValue& area = m_settings.area;
    const std::vector<Argb> empty(static_cast<size_t>(area.width) * static_cast<size_t>(area.height), 0);
    const auto canvas = drawing_backend().canvas({area.x, area.y, area.width, area.height}, empty);
    drawwork::Paint paint;
    paint.color = imagework::kWhite;
    canvas->fill(m_settings.mask->outline(), m_settings.mask->fill_rule(), paint, false);
    const std::vector<Argb> drawn = canvas->pixels();
    m_labels.assign(drawn.size(), 0);
    std::transform(drawn.begin(), drawn.end(), m_labels.begin(), [](Argb color) { return color != 0 ? 1 : 0; });
}

void MaskingSession::take_picture() {
    m_image->put_drawings();
    const imagework::Picture& picture = m_image->picture();
    const RectangleValue& area = m_settings.area;
    if (area.x > picture.width() - area.width || area.y > picture.height() - area.height) {
        throw_invalid_operation("The image was made smaller than the masking area.");
    }
    m_picture = picture.copy();
}

bool MaskingSession::is_done() {
    if (m_labels.empty()) {
        return false;
    }
    if (m_picture == nullptr) {  // loaded with what was found
        take_picture();
        return true;
    }
    m_image->put_drawings();
    return m_picture->changed_at() == m_image->picture().changed_at() &&
           m_picture->width() == m_image->picture().width() && m_picture->height() == m_image->picture().height();
}

SegmentationTask MaskingSession::begin(const Record* improvement) {
    require_live();
    require_uninterrupted(*m_image);
    if (improvement != nullptr) {
        MaskingSettings changed = m_settings;
        read_masking_arguments(*improvement, changed);
        changed.find_strokes = false;
        if (m_labels.empty()) {
            changed.find_strokes = m_settings.find_strokes && changed.hints.empty();
        }
        m_settings = std::move(changed);
    }
    require_memory();
    take_picture();
    SegmentationTask task;
    task.method = m_settings.method;
    if (m_settings.method == SegmentationMethod::kManual) {
        // One that was loaded without its path has been drawn.
        if (m_settings.mask) {
            draw_mask();
        }
        return task;
    }
    if (m_settings.method == SegmentationMethod::kGraphCut || m_settings.method == SegmentationMethod::kWatershed) {
        task.backend = &segmentation_backend();
    }
    task.pixels = read_pixels();
    task.hints = m_settings.hints;
    if (improvement != nullptr) {
        task.before = m_labels;
    }
    task.find_strokes = m_settings.find_strokes;
    task.assumed = m_settings.assumed;
    task.objects = m_settings.objects;
    task.precision = m_settings.precision;
    task.iterations = m_settings.iterations;
    return task;
}

void MaskingSession::publish(const DefaultStrokes& strokes) {
    const RectangleValue& area = m_settings.area;
    const auto points_in_image = [&](const std::vector<PointValue>& points) {
        std::vector<Value> items;
        for (const PointValue point : points) {
            items.emplace_back(Ref<ManagedObject>(box(PointValue{point.x + area.x, point.y + area.y})));
        }
        return Ref<ManagedObject>(struct_array<PointValue>(std::move(items)));
    };
    std::vector<Value> rectangles;
    for (const RectangleValue& r : strokes.rectangles) {
        rectangles.emplace_back(Ref<ManagedObject>(box(RectangleValue{r.x + area.x, r.y + area.y, r.width, r.height})));
    }
    set_property(*m_options, "DefaultForegroundStrokes", points_in_image(strokes.foreground));
    set_property(*m_options, "DefaultBackgroundStrokes", points_in_image(strokes.background));
    set_property(*m_options, "DefaultObjectsRectangles",
                 Ref<ManagedObject>(struct_array<RectangleValue>(std::move(rectangles))));
}

Ref<ManagedObject> MaskingSession::finish(Segmentation segmentation) {
    require_live();
    if (m_settings.method != SegmentationMethod::kManual) {
        m_labels = std::move(segmentation.labels);
        if (!segmentation.strokes.empty()) {
            m_strokes = std::move(segmentation.strokes);
            if (m_settings.publish_strokes) {
                publish(m_strokes);
            }
        }
    }
    return result();
}

Ref<ManagedObject> MaskingSession::result() const {
    auto separation = std::make_shared<Separation>();
    separation->picture = m_picture;
    separation->area = m_settings.area;
    separation->labels = m_labels;
    separation->feathering = m_settings.feathering;
    const bool one_side =
        m_settings.method == SegmentationMethod::kManual || m_settings.method == SegmentationMethod::kGraphCut;
    Labels& labels = separation->labels;
    if (one_side && m_settings.decompose) {
        number_parts(labels, m_settings.area.width, m_settings.area.height);
    } else if (!m_settings.decompose) {
        std::transform(labels.begin(), labels.end(), labels.begin(), [](int32_t label) { return label != 0 ? 1 : 0; });
    }
    separation->objects = labels.empty() ? 0 : *std::max_element(labels.begin(), labels.end());
    return make_masking_result(std::move(separation), m_options);
}

Ref<ManagedObject> MaskingSession::run(const Record* improvement) {
    require_live();
    if (improvement == nullptr && is_done()) {
        return result();
    }
    const SegmentationTask task = begin(improvement);
    Segmentation found;
    if (task.pixels != nullptr) {
        found = segment(task, [this] { require_uninterrupted(*m_image); });
    }
    return finish(std::move(found));
}

}  // namespace zelmor::embed

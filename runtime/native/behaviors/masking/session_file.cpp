// The file of a masking session: the settings, the places that were named, and the object of each pixel.
//
// A session is saved as a mark, numbers of little-endian order and a checksum of all that stands before it. Labels are
// runs: an object and the number of its pixels in the order of reading. The export options and the path of a mask by
// hand are no part of it: the mask is drawn before it is saved, and how layers are written is said where they are.
#include <bit>
#include <cstring>
#include <limits>

#include "runtime/native/behaviors/masking/masking_session.h"
#include "runtime/native/behaviors/values/struct_arrays.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

using api::Masking::Options::AutoMaskingGraphCutOptions;
using api::Masking::Options::GraphCutMaskingOptions;
using api::Masking::Options::MaskingOptions;

constexpr char kMark[] = "masking session 1\n";
constexpr const TypeName* kOptionTypes[] = {&MaskingOptions::kType, &GraphCutMaskingOptions::kType,
                                            &AutoMaskingGraphCutOptions::kType};

[[noreturn]] void throw_no_session(const char* reason) {
    throw ManagedException("InvalidDataException", std::string("The data is not a masking session: ") + reason + ".");
}

// CRC-32 as in PNG and ZIP files.
uint32_t checksum(std::span<const std::byte> bytes) {
    uint32_t crc = 0xFFFFFFFF;
    for (const std::byte byte : bytes) {
        crc ^= static_cast<uint32_t>(byte);
        for (int i = 0; i < 8; ++i) {
            crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320 : 0);
        }
    }
    return ~crc;
}

class Writer {
 public:
    void raw(std::span<const std::byte> data) { m_bytes.insert(m_bytes.end(), data.begin(), data.end()); }
    void number(int64_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) {
            m_bytes.push_back(static_cast<std::byte>(value >> 8 * i));
        }
    }
    void int32(int32_t value) { number(value, 4); }
    void count(size_t value) { number(static_cast<int64_t>(value), 4); }
    void point(PointValue value) { int32(value.x), int32(value.y); }
    void rectangle(const RectangleValue& value) {
        point({value.x, value.y});
        point({value.width, value.height});
    }
    void points(const std::vector<PointValue>& values) {
        count(values.size());
        for (const PointValue value : values) {
            point(value);
        }
    }
    std::vector<std::byte> take() {
        number(checksum(m_bytes), 4);
        return std::move(m_bytes);
    }

 private:
    std::vector<std::byte> m_bytes;
};

class Reader {
 public:
    explicit Reader(std::span<const std::byte> bytes) : m_rest(bytes) {}
    uint64_t number(size_t bytes) {
        uint64_t value = 0;
        const std::span<const std::byte> taken = take(bytes);
        for (size_t i = 0; i < bytes; ++i) {
            value |= static_cast<uint64_t>(taken[i]) << 8 * i;
        }
        return value;
    }
    std::span<const std::byte> take(size_t bytes) {
        if (bytes > m_rest.size()) {
            throw_no_session("it ends too early");
        }
        const auto taken = m_rest.first(bytes);
        m_rest = m_rest.subspan(bytes);
        return taken;
    }
    int32_t int32() { return static_cast<int32_t>(number(4)); }
    bool flag() { return number(1) != 0; }
    // Of elements that take so many bytes each: no more than the data can have.
    size_t count(size_t element_bytes) {
        const uint64_t value = number(4);
        if (value > m_rest.size() / element_bytes) {
            throw_no_session("it ends too early");
        }
        return value;
    }
    PointValue point(const RectangleValue& inside) {
        const PointValue value{int32(), int32()};
        if (value.x < 0 || value.y < 0 || value.x >= inside.width || value.y >= inside.height) {
            throw_no_session("a point is outside of its area");
        }
        return value;
    }
    RectangleValue rectangle(int32_t width, int32_t height) {
        const RectangleValue value{int32(), int32(), int32(), int32()};
        if (value.x < 0 || value.y < 0 || value.width <= 0 || value.height <= 0 || value.width > width - value.x ||
            value.height > height - value.y) {
            throw_no_session("an area is outside of its picture");
        }
        return value;
    }
    std::vector<PointValue> points(const RectangleValue& inside) {
        std::vector<PointValue> values(count(8));
        for (PointValue& value : values) {
            value = point(inside);
        }
        return values;
    }
    bool at_end() const { return m_rest.empty(); }

 private:
    std::span<const std::byte> m_rest;
};

void write_labels(Writer& to, const Labels& labels) {
    to.number(labels.empty() ? 0 : 1, 1);
    for (size_t i = 0; i < labels.size();) {
        size_t end = i + 1;
        while (end < labels.size() && labels[end] == labels[i] && end - i < 0xFFFFFFFF) {
            ++end;
        }
        to.number(labels[i], 1);
        to.count(end - i);
        i = end;
    }
}

Labels read_labels(Reader& from, size_t size, int32_t objects) {
    Labels labels;
    if (!from.flag()) {
        return labels;
    }
    while (labels.size() < size) {
        const auto label = static_cast<int32_t>(from.number(1));
        const uint64_t run = from.number(4);
        if (label >= objects || run == 0 || run > size - labels.size()) {
            throw_no_session("its labels do not fit its area");
        }
        labels.insert(labels.end(), run, label);
    }
    return labels;
}

}  // namespace

std::vector<std::byte> MaskingSession::saved() {
    require_live();
    if (m_settings.method == SegmentationMethod::kManual && m_labels.empty()) {
        begin(nullptr);
    }
    size_t type = 0;
    while (m_options->type().full_name != std::string_view(kOptionTypes[type]->name)) {
        ++type;
        if (type == std::size(kOptionTypes)) {
            throw_invalid_operation("The options are of an unknown class.");
        }
    }
    Writer to;
    to.raw(std::as_bytes(std::span(kMark, sizeof(kMark) - 1)));
    to.number(static_cast<int64_t>(type), 1);
    to.int32(m_image->image_width());
    to.int32(m_image->image_height());
    to.number(number_of(m_settings.method), 1);
    to.rectangle(m_settings.area);
    to.number(m_settings.decompose ? 1 : 0, 1);
    to.int32(m_settings.feathering);
    to.number(static_cast<int64_t>(color_property(*m_options, "BackgroundReplacementColor")), 4);
    to.number(m_settings.find_strokes ? 1 : 0, 1);
    to.number(m_settings.publish_strokes ? 1 : 0, 1);
    to.int32(m_settings.objects);
    to.number(std::bit_cast<int64_t>(m_settings.precision), 8);
    to.int32(m_settings.iterations);
    to.count(m_settings.assumed.size());
    for (const AssumedObject& assumed : m_settings.assumed) {
        to.number(number_of(assumed.type), 1);
        to.rectangle(assumed.bounds);
    }
    to.count(m_settings.hints.points.size());
    for (const std::vector<PointValue>& points : m_settings.hints.points) {
        to.points(points);
    }
    const auto rectangles = [&](const std::vector<RectangleValue>& values) {
        to.count(values.size());
        for (const RectangleValue& value : values) {
            to.rectangle(value);
        }
    };
    rectangles(m_settings.hints.rectangles);
    to.points(m_settings.hints.orphans);
    to.points(m_strokes.foreground);
    to.points(m_strokes.background);
    rectangles(m_strokes.rectangles);
    write_labels(to, m_labels);
    return to.take();
}

Ref<MaskingSession> MaskingSession::load(Ref<ImageObject> image, std::span<const std::byte> bytes) {
    constexpr size_t kMarkSize = sizeof(kMark) - 1;
    if (bytes.size() < kMarkSize + 4 || std::memcmp(bytes.data(), kMark, kMarkSize) != 0) {
        throw_no_session("its first bytes are others");
    }
    if (Reader(bytes.last(4)).number(4) != checksum(bytes.first(bytes.size() - 4))) {
        throw_no_session("its checksum is another one");
    }
    Reader from(bytes.subspan(kMarkSize).first(bytes.size() - kMarkSize - 4));
    const uint64_t type = from.number(1);
    if (type >= std::size(kOptionTypes)) {
        throw_no_session("its options are of an unknown class");
    }
    const int32_t width = from.int32(), height = from.int32();
    if (width != image->image_width() || height != image->image_height()) {
        throw_argument("The session belongs to an image of " + size_text(width, height) + " pixels, and this one is " +
                       size_text(image->image_width(), image->image_height()) + ".");
    }
    MaskingSettings settings;
    settings.method = static_cast<SegmentationMethod>(from.number(1));
    if (settings.method > SegmentationMethod::kGraphCut) {
        throw_no_session("its method is unknown");
    }
    settings.area = from.rectangle(width, height);
    const RectangleValue area{0, 0, settings.area.width, settings.area.height};
    settings.decompose = from.flag();
    settings.feathering = from.int32();
    const auto replacement = static_cast<uint32_t>(from.number(4));
    settings.find_strokes = from.flag();
    settings.publish_strokes = from.flag();
    settings.objects = from.int32();
    settings.precision = std::bit_cast<double>(from.number(8));
    settings.iterations = from.int32();
    settings.assumed.resize(from.count(17));
    for (AssumedObject& assumed : settings.assumed) {
        assumed.type = from.flag() ? DetectedObjectType::kOther : DetectedObjectType::kHuman;
        assumed.bounds = from.rectangle(area.width, area.height);
    }
    settings.hints.points.resize(from.count(4));
    for (std::vector<PointValue>& points : settings.hints.points) {
        points = from.points(area);
    }
    const auto rectangles = [&] {
        std::vector<RectangleValue> values(from.count(16));
        for (RectangleValue& value : values) {
            value = from.rectangle(area.width, area.height);
        }
        return values;
    };
    settings.hints.rectangles = rectangles();
    settings.hints.orphans = from.points(area);
    DefaultStrokes strokes;
    strokes.foreground = from.points(area);
    strokes.background = from.points(area);
    strokes.rectangles = rectangles();
    if (settings.publish_strokes && kOptionTypes[type] != &AutoMaskingGraphCutOptions::kType) {
        throw_no_session("its options have no default strokes");
    }
    require_fitting(settings);
    Labels labels =
        read_labels(from, static_cast<size_t>(area.width) * static_cast<size_t>(area.height), settings.objects);
    if (!from.at_end()) {
        throw_no_session("more bytes stand at its end");
    }
    if (settings.method == SegmentationMethod::kManual && labels.empty()) {
        throw_no_session("its mask is missing");
    }

    const Ref<ManagedObject> options = make_instance(kOptionTypes[type]->name);
    set_property(*options, "Method", settings.method);
    set_property(*options, "MaskingArea", box(settings.area));
    set_property(*options, "Decompose", settings.decompose);
    if (has_property(*options, "FeatheringRadius")) {
        set_property(*options, "FeatheringRadius", settings.feathering);
        feathering_of(cast_object<Record>(*options));
    } else if (settings.feathering != 0) {
        throw_no_session("its options have no feathering");
    }
    if (replacement != 0) {
        set_property(*options, "BackgroundReplacementColor", box(ColorValue::from_argb(replacement)));
    }
    if (has_property(*options, "CalculateDefaultStrokes")) {
        set_property(*options, "CalculateDefaultStrokes", settings.publish_strokes);
    }
    auto session = Ref<MaskingSession>(
        new MaskingSession(std::move(image), Ref<Record>(&cast_object<Record>(*options)), std::move(settings)));
    session->m_labels = std::move(labels);
    session->m_strokes = std::move(strokes);
    if (session->m_settings.publish_strokes && !session->m_strokes.empty()) {
        session->publish(session->m_strokes);
    }
    return session;
}

}  // namespace zelmor::embed

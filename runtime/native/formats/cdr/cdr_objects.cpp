// Objects from chunks; see cdr_objects.h.
#include "runtime/native/formats/cdr/cdr_objects.h"

#include <algorithm>
#include <string>
#include <vector>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.Const.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.Enum.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.Objects.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.Types.h"
#include "runtime/native/behaviors/formats/cdr_texts.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/text.h"
#include "runtime/native/formats/cdr/cdr_numbers.h"
#include "runtime/native/formats/cdr/cdr_paragraphs.h"
#include "runtime/native/formats/cdr/cdr_resources.h"
#include "runtime/native/formats/cdr/cdr_styles.h"
#include "runtime/native/formats/cdr/riff_tree.h"
#include "runtime/native/formats/opendocument/zip_archive.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::embed {

using namespace imagework;
namespace objects = api::FileFormats::Cdr::Objects;
namespace cdr_types = api::FileFormats::Cdr::Types;

namespace {

Value bytes_value(std::span<const uint8_t> bytes) {
    const auto* first = reinterpret_cast<const std::byte*>(bytes.data());
    return Bytes(first, first + bytes.size());
}

class ObjectMaker {
 public:
    explicit ObjectMaker(Ref<ManagedObject> document) : m_document(std::move(document)) {}

    void take(const RiffChunk& root) {
        if (const RiffChunk* version = root.child("vrsn")) {
            m_version = CdrNumbers(version->data, 0).u16();
        }
        set_property(*m_document, "Version", static_cast<int32_t>(m_version));
        children(root, m_document);
    }

 private:
    Ref<ManagedObject> add(const Ref<ManagedObject>& parent, const TypeName& type) {
        return adopt(parent, make_instance(type.name));
    }

    Ref<ManagedObject> adopt(const Ref<ManagedObject>& parent, Ref<ManagedObject> object) {
        set_property(*object, "Parent", Ref<ManagedObject>(parent));
        set_property(*object, "Document", Ref<ManagedObject>(m_document));
        cast_object<ManagedList>(*property_object(*parent, "Items")).append(Ref<ManagedObject>(object));
        return object;
    }

    CdrNumbers numbers(const RiffChunk& chunk) const { return {chunk.data, m_version}; }

    void children(const RiffChunk& chunk, const Ref<ManagedObject>& parent) {
        for (const RiffChunk& each : chunk.children) {
            if (each.is_list()) {
                list(each, parent);
            } else {
                leaf(each, parent);
            }
        }
    }

    void list(const RiffChunk& chunk, const Ref<ManagedObject>& parent) {
        if (chunk.kind == "cmpr") {
            children(chunk, parent);
        } else if (chunk.kind == "page") {
            auto page = add(parent, objects::CdrPage::kType);
            set_property(*page, "PageNumber", ++m_pages);
            set_property(*page, "Width", m_width);
            set_property(*page, "Height", m_height);
            children(chunk, page);
        } else {
            auto made = add(parent, objects::CdrListObjects::kType);
            set_property(*made, "Type", to_utf16(chunk.kind));
            children(chunk, made);
            if (chunk.kind == "stlt" && m_version >= kStyleTables && has_known_styles()) {
                for (Ref<ManagedObject>& style : m_styles.table(numbers(chunk), m_version)) {
                    adopt(made, std::move(style));
                }
            }
        }
    }

    void leaf(const RiffChunk& chunk, const Ref<ManagedObject>& parent) {
        CdrNumbers in = numbers(chunk);
        const auto set_data = [&](const TypeName& type) {
            set_property(*add(parent, type), "Data", bytes_value(chunk.data));
        };
        if (chunk.id == "vrsn") {
            set_property(*add(parent, objects::CdrVersion::kType), "Version", static_cast<int32_t>(in.u16()));
        } else if (chunk.id == "DISP") {
            auto object = add(parent, objects::CdrDisp::kType);
            set_property(*object, "Type", static_cast<int64_t>(in.u32()));
            set_property(*object, "Data", bytes_value(in.piece(chunk.data.size())));
        } else if (chunk.id == "flgs") {
            set_property(*add(parent, objects::CdrFlgs::kType), "Flags", static_cast<int64_t>(in.u32()));
        } else if (chunk.id == "mcfg") {
            page_size(in, parent);
        } else if (chunk.id == "iccp") {
            set_data(objects::CdrIcc::kType);
        } else if (chunk.id == "udta") {
            set_data(objects::CdrUdta::kType);
        } else if (chunk.id == "font") {
            font(in, parent);
        } else if (chunk.id == "bbox") {
            auto box = add(parent, objects::CdrBbox::kType);
            set_property(*box, "LeftTop", point(in));
            set_property(*box, "RightBottom", point(in));
        } else if (chunk.id == "trfd") {
            transforms(chunk, parent);
        } else if (chunk.id == "loda") {
            graphic(chunk, parent);
        } else if (chunk.id == "styd" && m_version < kStyleTables) {
            const uint16_t id = in.u16();
            auto object = add(parent, objects::CdrStyd::kType);
            set_property(*object, "StyleId", static_cast<int32_t>(id));
            adopt(object, m_styles.record(id, {in.rest(), m_version}, m_version));
        } else if (chunk.id == "txsm" && has_known_styles()) {
            text(in, parent);
        } else if (has_known_styles()) {
            resource(chunk, parent);
        }
        // Others have no object, or only a list around them that holds what is known.
    }

    Value point(CdrNumbers& in) const {
        auto made = make_instance(cdr_types::PointD::kType.name);
        set_property(*made, "X", in.length());
        set_property(*made, "Y", in.length());
        return made;
    }

    void page_size(CdrNumbers& in, const Ref<ManagedObject>& parent) {
        // Where the size stands depends on the version.
        if (m_version >= 1300) {
            in.skip(12);
        } else if (m_version >= 900) {
            in.skip(4);
        } else if (m_version < 700 && m_version >= kCdrLongNumbers) {
            in.skip(0x1C);
        }
        m_width = in.length();
        m_height = in.length();
        auto object = add(parent, objects::CdrMcfg::kType);
        set_property(*object, "Width", m_width);
        set_property(*object, "Height", m_height);
    }

    // Whether fills and lines have the form that is read here.
    bool has_known_styles() const { return m_version >= kCdrLongNumbers && m_version < 1600; }

    void font(CdrNumbers& in, const Ref<ManagedObject>& parent) {
        auto object = add(parent, objects::CdrFont::kType);
        const uint16_t id = in.u16(), charset = in.u16();
        set_property(*object, "Id", static_cast<int32_t>(id));
        set_property(*object, "Encoding", static_cast<int32_t>(charset));
        in.skip(14);
        std::u16string name;
        constexpr size_t kMostName = 256;
        const bool wide = m_version >= 1200;
        while (in.has(wide ? 2 : 1) && name.size() < kMostName) {
            const char16_t letter = wide ? in.u16() : in.u8();
            if (letter == 0) {
                break;
            }
            name += letter;
        }
        m_styles.add_font(id, charset, name);
        set_property(*object, "FontName", std::move(name));
    }

    void resource(const RiffChunk& chunk, const Ref<ManagedObject>& parent) {
        const TypeName* type = cdr_resource_type(chunk.id);
        if (type == nullptr) {
            return;
        }
        const Ref<ManagedObject> object = add(parent, *type);
        take_cdr_resource(*object, chunk.id, numbers(chunk), m_version);
        if (chunk.id == "fild") {
            m_styles.add_fill(static_cast<int32_t>(property_int(*object, "Id")), object);
        } else if (chunk.id == "outl") {
            m_styles.add_outline(static_cast<int32_t>(property_int(*object, "Id")), object);
        }
    }

    // An object for each paragraph, all of them under the number of the text.
    void text(const CdrNumbers& in, const Ref<ManagedObject>& parent) {
        std::vector<Ref<ManagedObject>> made;
        const int32_t id = take_cdr_paragraphs(in, m_version, m_styles,
                                               [&] { return made.emplace_back(add(parent, objects::CdrText::kType)); });
        const Ref<ManagedObject> collection = property_object(*m_document, "TextCollection");
        for (Ref<ManagedObject>& each : made) {
            add_cdr_text(*collection, id, std::move(each));
        }
    }

    // The parts of a graphic object or a transform: their places, and what each is.
    struct Part {
        uint32_t kind;
        uint64_t at;
    };
    std::vector<Part> parts(const RiffChunk& chunk, uint32_t& type) const {
        CdrNumbers in = numbers(chunk);
        in.count();  // the size again
        const uint32_t count = in.count();
        const uint32_t places = in.count();
        const uint32_t kinds = in.count();
        type = in.count();
        std::vector<Part> result;
        const uint64_t width = in.is_long() ? 4 : 2;
        if (!in.ok() || count > chunk.data.size() / width) {
            return result;
        }
        CdrNumbers place(chunk.data, m_version, places);
        for (uint32_t i = 0; i < count; i++) {
            // Kinds stand in the opposite order.
            CdrNumbers kind(chunk.data, m_version, kinds + (count - 1 - i) * width);
            result.push_back({kind.count(), place.count()});
        }
        return result;
    }

    void transforms(const RiffChunk& chunk, const Ref<ManagedObject>& parent) {
        uint32_t type = 0;
        std::vector<double> values;
        for (const Part& part : parts(chunk, type)) {
            CdrNumbers in(chunk.data, m_version, part.at);
            if (m_version >= 1300) {
                in.skip(8);
            }
            constexpr uint16_t kMatrix = 8;
            if (in.u16() != kMatrix) {
                continue;
            }
            if (m_version >= kCdrLongNumbers) {
                in.skip(6);
            }
            for (int i = 0; i < 6; i++) {
                // Moves are in the unit of lengths, but always as long as the other numbers.
                const bool moves = i % 3 == 2;
                const bool floats = m_version >= 500;
                const double number = floats ? in.real() : static_cast<int32_t>(in.u32());
                const double unit = m_version < kCdrLongNumbers ? 1000.0 : 254000.0;
                values.push_back(number / (moves ? unit : floats ? 1 : 65536.0));
            }
            if (!in.ok()) {
                return;
            }
        }
        auto object = add(parent, objects::CdrTransforms::kType);
        set_property(*object, "Transforms", Ref<ManagedObject>(make_array<double>(std::move(values))));
    }

    void graphic(const RiffChunk& chunk, const Ref<ManagedObject>& parent) {
        uint32_t type = 0;
        const std::vector<Part> found = parts(chunk, type);
        constexpr uint32_t kCoordinates = 0x1E;
        const auto coordinates =
            std::find_if(found.begin(), found.end(), [](const Part& part) { return part.kind == kCoordinates; });
        if (coordinates == found.end()) {
            return;
        }
        CdrNumbers in(chunk.data, m_version, coordinates->at);
        Ref<ManagedObject> object;
        switch (type) {
            case 0x01:
                object = rectangle(in, parent);
                break;
            case 0x02:
                object = ellipse(in, parent);
                break;
            case 0x03:
                object = curve(in, parent, objects::CdrCurve::kType);
                break;
            case 0x04:
                object = add(parent, objects::CdrArtisticText::kType);
                set_property(*object, "Origin", point(in));
                break;
            case 0x06: {
                object = add(parent, objects::CdrParagraph::kType);
                in.length();
                in.length();
                set_property(*object, "Width", in.length());
                set_property(*object, "Height", in.length());
                break;
            }
            case 0x14:
                object = curve(in, parent, objects::CdrPolygon::kType);
                break;
            case 0x25:
                in.skip(4);
                object = curve(in, parent, objects::CdrPathObject::kType);
                break;
            default:
                return;  // of a kind that the API has no class for
        }
        for (const Part& part : found) {
            CdrNumbers number(chunk.data, m_version, part.at);
            const char* property = part.kind == 0x14   ? "FillId"
                                   : part.kind == 0x0A ? "OutlineId"
                                   : part.kind == 0xC8 ? "StyleId"
                                                       : nullptr;
            if (property != nullptr) {
                set_property(*object, property, static_cast<int32_t>(number.u32()));
            }
            constexpr uint32_t kPolygonTransform = 0x2AF8;
            if (part.kind == kPolygonTransform && has_known_styles()) {
                polygon_transform(number, parent);
            }
        }
    }

    // How the side of a polygon is repeated.
    void polygon_transform(CdrNumbers& in, const Ref<ManagedObject>& parent) {
        auto object = add(parent, objects::CdrPolygonTransform::kType);
        const bool is_long = m_version >= 1300;
        in.skip(is_long ? 0 : 4);
        set_property(*object, "NumAngles", static_cast<int64_t>(in.u32()));
        const uint32_t first = in.u32(), second = in.u32();
        in.skip(is_long ? 4 : 0);
        set_property(*object, "NextPoint", static_cast<int64_t>(first <= 1 ? second : first));
        set_property(*object, "Rx", in.real());
        set_property(*object, "Ry", in.real());
        set_property(*object, "Cx", in.length());
        set_property(*object, "Cy", in.length());
    }

    Ref<ManagedObject> rectangle(CdrNumbers& in, const Ref<ManagedObject>& parent) {
        auto object = add(parent, objects::CdrRectangle::kType);
        set_property(*object, "Width", in.length());
        set_property(*object, "Height", in.length());
        double corners[4] = {};
        double scale_x = 1, scale_y = 1;
        uint8_t corner_type = 0;
        if (m_version < 1500) {
            corners[3] = in.length();
            for (int i = 2; i >= 0; i--) {
                corners[i] = m_version < 900 ? corners[3] : in.length();
            }
        } else {
            scale_x = in.real();
            scale_y = in.real();
            const bool with_scale = in.u8() != 0;
            in.skip(7);
            for (int i = 3; i >= 0; i--) {
                corners[i] = with_scale ? in.real() : in.real() / 254000;
                corner_type = in.u8();
                in.skip(7 + 8);
            }
        }
        const char* const kNames[] = {"R0", "R1", "R2", "R3"};
        for (int i = 0; i < 4; i++) {
            set_property(*object, kNames[i], corners[i]);
        }
        set_property(*object, "CornerType", static_cast<int32_t>(corner_type));
        set_property(*object, "ScaleX", scale_x);
        set_property(*object, "ScaleY", scale_y);
        return object;
    }

    Ref<ManagedObject> ellipse(CdrNumbers& in, const Ref<ManagedObject>& parent) {
        auto object = add(parent, objects::CdrEllipse::kType);
        const double width = in.length();
        const double height = in.length();
        set_property(*object, "CenterX", width / 2);
        set_property(*object, "CenterY", height / 2);
        set_property(*object, "Rx", std::abs(width / 2));
        set_property(*object, "Ry", std::abs(height / 2));
        set_property(*object, "Angle1", in.angle());
        set_property(*object, "Angle2", in.angle());
        set_property(*object, "Pie", in.count() != 0);
        return object;
    }

    Ref<ManagedObject> curve(CdrNumbers& in, const Ref<ManagedObject>& parent, const TypeName& type) {
        auto object = add(parent, type);
        const uint64_t count = in.is_long() ? in.u32() : in.u16();
        const uint64_t width = in.is_long() ? 9 : 5;  // of two coordinates and a type
        if (!in.has(count * width)) {
            return object;
        }
        std::vector<Value> points;
        for (uint64_t i = 0; i < count; i++) {
            points.push_back(point(in));
        }
        set_property(
            *object, "Points",
            Ref<ManagedObject>(make_ref<ValueList>(
                ListShape::kArray, element_of(Wire::kStruct, cdr_types::PointD::kType.name), std::move(points))));
        set_property(*object, "PointTypes", bytes_value(in.piece(count)));
        return object;
    }

    static constexpr uint32_t kStyleTables = 700;  // all styles in one piece from here on, chunks of their own before

    CdrStyles m_styles;
    Ref<ManagedObject> m_document;
    uint32_t m_version = 0;
    int32_t m_pages = 0;
    double m_width = 0, m_height = 0;
};

}  // namespace

Ref<ManagedObject> cdr_document(std::span<const uint8_t> file) {
    auto document = make_instance(objects::CdrDocument::kType.name);
    std::vector<uint8_t> part;
    if (ByteReader(file).starts_with(0, "PK")) {
        const ZipArchive archive(file);
        for (const char* name : {"content/riffData.cdr", "content/root.dat"}) {
            if (auto found = archive.read(name)) {
                part = std::move(*found);
                break;
            }
        }
        if (part.empty()) {
            return document;  // of a version that keeps its chunks elsewhere
        }
        file = part;
    }
    const RiffTree tree = riff_tree(file);
    ObjectMaker(document).take(tree.root);
    return document;
}

}  // namespace zelmor::embed

// Objects from commands; see cmx_objects.h.
#include "runtime/native/formats/cmx/cmx_objects.h"

#include <cmath>
#include <optional>
#include <string>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Cmx.ObjectModel.Enums.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cmx.ObjectModel.Specs.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cmx.ObjectModel.Styles.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cmx.ObjectModel.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/values.h"
#include "runtime/native/formats/cdr/riff_tree.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::embed {

using namespace imagework;
namespace model = api::FileFormats::Cmx::ObjectModel;
namespace enums = model::Enums;
namespace specs = model::Specs;
namespace styles = model::Styles;
using Command = enums::CmxCommandCodes;

namespace {

// A place in the data, in the order and width of the file's numbers.
class CmxNumbers {
 public:
    CmxNumbers(std::span<const uint8_t> data, bool big_endian, bool is_long)
        : m_in(data, big_endian), m_size(data.size()), m_long(is_long) {}

    bool is_long() const { return m_long; }
    bool ok() const { return m_in.ok(); }
    uint64_t at() const { return m_at; }
    void go_to(uint64_t at) { m_at = at; }
    bool has(uint64_t count) const { return m_in.has(m_at, count); }
    uint8_t u8() { return m_in.u8(step(1)); }
    uint16_t u16() { return m_in.u16(step(2)); }
    int16_t s16() { return static_cast<int16_t>(u16()); }
    uint32_t u32() { return m_in.u32(step(4)); }
    int32_t s32() { return static_cast<int32_t>(u32()); }
    double length() {
        constexpr double kTenthsOfMicrometer = 254000;
        return m_long ? s32() / kTenthsOfMicrometer : s16() / 1000.0;
    }
    double angle() { return m_long ? s32() / 1e6 : s16() / 10.0; }
    std::span<const uint8_t> piece(uint64_t count) { return m_in.piece(step(count), count); }

    // Long files have tagged parts: calls `take` with the number of each, until the last.
    template <class Take>
    void tags(Take&& take) {
        constexpr uint8_t kEnd = 255;
        while (has(1)) {
            const uint64_t start = m_at;
            const uint8_t tag = u8();
            if (tag == kEnd) {
                return;
            }
            const uint16_t size = u16();
            constexpr uint16_t kHead = 3;
            if (size < kHead || !m_in.has(start, size)) {
                go_to(m_size);
                return;
            }
            take(tag);
            go_to(start + size);
        }
    }
    // Short files have the parts one after the other; each is numbered as in long ones.
    template <class Take>
    void parts(std::initializer_list<uint8_t> in_order, Take&& take) {
        if (m_long) {
            tags(take);
        } else {
            for (const uint8_t part : in_order) {
                take(part);
            }
        }
    }

 private:
    uint64_t step(uint64_t count) {
        const uint64_t at = m_at;
        m_at += count;
        return at;
    }
    ByteReader m_in;
    uint64_t m_size;
    bool m_long;
    uint64_t m_at = 0;
};

struct CmxColorEntry {
    uint8_t color_model = 0;
    uint32_t value = 0;
};

// How many bytes a color of each model takes.
uint32_t color_bytes(uint8_t color_model) {
    constexpr uint32_t kBytes[] = {0, 4, 4, 4, 4, 3, 4, 4, 1, 1, 3, 4};
    return color_model < std::size(kBytes) ? kBytes[color_model] : 0;
}

Value float_box(double x0, double y0, double x1, double y1) {
    return box(RectangleFValue{static_cast<float>(std::min(x0, x1)), static_cast<float>(std::min(y0, y1)),
                               static_cast<float>(std::abs(x1 - x0)), static_cast<float>(std::abs(y1 - y0))});
}
Value read_box(CmxNumbers& in) {
    const double x0 = in.length(), y0 = in.length(), x1 = in.length(), y1 = in.length();
    return float_box(x0, y0, x1, y1);
}

class CmxReader {
 public:
    CmxReader(const RiffTree& tree, const Ref<ManagedObject>& document) : m_tree(tree), m_document(document) {
        const RiffChunk* header = tree.root.child("cont");
        constexpr uint64_t kOrderAt = 48, kWidthAt = 52;
        if (header == nullptr || header->data.size() < kWidthAt + 2) {
            throw PictureError(Failure::kDamaged, "the CMX file has no header");
        }
        m_big_endian = tree.big_endian || header->data[kOrderAt] == '4';
        m_long = header->data[kWidthAt] == '4';
    }

    void read() {
        if (const RiffChunk* colors = m_tree.root.child("rclr")) {
            read_colors(*colors);
        }
        if (const RiffChunk* outlines = m_tree.root.child("rotl")) {
            read_outlines(*outlines);
        }
        for (const RiffChunk& chunk : m_tree.root.children) {
            if (chunk.id == "page") {
                read_commands(chunk);
            }
        }
    }

 private:
    CmxNumbers numbers(const RiffChunk& chunk) const { return {chunk.data, m_big_endian, m_long}; }

    void read_colors(const RiffChunk& chunk) {
        CmxNumbers in = numbers(chunk);
        const uint16_t count = in.u16();
        for (uint16_t i = 0; i < count && in.ok(); i++) {
            CmxColorEntry entry;
            in.parts({1, 2}, [&](uint8_t part) {
                if (part == 1) {
                    entry.color_model = in.u8();
                    in.u8();  // the palette
                } else if (part == 2) {
                    for (uint32_t byte = 0; byte < color_bytes(entry.color_model); byte++) {
                        entry.value = entry.value << 8 | in.u8();
                    }
                }
            });
            m_colors.push_back(entry);
        }
    }

    // The color of each outline.
    void read_outlines(const RiffChunk& chunk) {
        CmxNumbers in = numbers(chunk);
        const uint16_t count = in.u16();
        for (uint16_t i = 0; i < count && in.ok(); i++) {
            uint16_t color = 0;
            in.parts({1}, [&](uint8_t part) {
                if (part == 1) {
                    in.u16();  // style of the line
                    in.u16();  // screen
                    color = in.u16();
                    in.u16();  // arrows
                    in.u16();  // pen
                    in.u16();  // dashes
                }
            });
            m_outlines.push_back(color);
        }
    }

    // Colors are counted from 1.
    Ref<ManagedObject> color(uint16_t reference) const {
        auto made = make_instance(styles::CmxColor::kType.name);
        if (reference > 0 && reference <= m_colors.size()) {
            const CmxColorEntry& entry = m_colors[reference - 1U];
            set_property(*made, "ColorModel", static_cast<int32_t>(entry.color_model));
            set_property(*made, "Value", static_cast<int32_t>(entry.value));
        }
        return made;
    }

    static void append(ManagedObject& parent, const char* list, const Ref<ManagedObject>& item) {
        cast_object<ManagedList>(*property_object(parent, list)).append(Ref<ManagedObject>(item));
    }

    void read_commands(const RiffChunk& chunk) {
        CmxNumbers in = numbers(chunk);
        m_open.clear();
        m_page = nullptr;
        while (in.has(4)) {
            const uint64_t start = in.at();
            int64_t size = in.s16();
            int64_t least = 4;
            if (size < 0) {
                size = in.s32();
                least = 8;
            }
            size = std::max(size, least);
            const int code = std::abs(int{in.s16()});
            const uint64_t here = in.at();
            const uint64_t end = std::min<uint64_t>(start + static_cast<uint64_t>(size), chunk.data.size());
            if (here > end) {
                return;
            }
            if (++m_count > limits::kDrawingNodes) {
                throw PictureError(Failure::kTooLarge, "the CMX file has too many commands");
            }
            CmxNumbers inside(chunk.data.subspan(here, end - here), m_big_endian, m_long);
            command(static_cast<Command>(code), inside);
            in.go_to(start + static_cast<uint64_t>(size));
        }
    }

    void command(Command code, CmxNumbers& in) {
        switch (code) {
            case Command::kBeginPage:
                begin_page(in);
                break;
            case Command::kBeginLayer:
                begin_layer(in);
                break;
            case Command::kBeginGroup:
                begin_group(in);
                break;
            case Command::kEndGroup:
            case Command::kEndLayer:
                if (!m_open.empty()) {
                    m_open.pop_back();
                }
                break;
            case Command::kEllipse:
                ellipse(in);
                break;
            case Command::kRectangle:
                rectangle(in);
                break;
            case Command::kPolyCurve:
                curve(in);
                break;
            default:
                break;  // commands without an object, and those whose fields are not public
        }
    }

    void begin_page(CmxNumbers& in) {
        m_page = make_instance(model::CmxPage::kType.name);
        in.parts({1}, [&](uint8_t part) {
            if (part == 1) {
                set_property(*m_page, "PageNumber", static_cast<int32_t>(in.u16()));
                set_property(*m_page, "Flags", static_cast<int32_t>(in.u32()));
                const double x0 = in.length(), y0 = in.length(), x1 = in.length(), y1 = in.length();
                set_property(*m_page, "BoundBox", float_box(x0, y0, x1, y1));
                set_property(*m_page, "Width", std::abs(x1 - x0));
                set_property(*m_page, "Height", std::abs(y1 - y0));
            }
        });
        append(*m_document, "Pages", m_page);
    }

    void begin_layer(CmxNumbers& in) {
        if (!m_page) {
            return;
        }
        auto layer = make_instance(model::CmxLayer::kType.name);
        set_property(*layer, "IsVisible", true);
        in.parts({1}, [&](uint8_t part) {
            if (part == 1) {
                in.u16();  // the page
                set_property(*layer, "Number", static_cast<int32_t>(in.u16()));
                set_property(*layer, "Flags", static_cast<int32_t>(in.u32()));
                in.u32();  // how many commands
                const auto name = in.piece(in.u16());
                set_property(*layer, "Name", std::u16string(name.begin(), name.end()));
            }
        });
        append(*m_page, "Layers", layer);
        m_open = {layer};
    }

    void begin_group(CmxNumbers& in) {
        auto group = make_instance(model::CmxGroup::kType.name);
        in.parts({1}, [&](uint8_t part) {
            if (part == 1) {
                set_property(*group, "BoundBox", read_box(in));
            }
        });
        if (!m_open.empty() && m_open.size() < limits::kDrawingDepth) {
            append(*m_open.back(), "Elements", group);
            m_open.push_back(group);
        }
    }

    void add_object(const Ref<ManagedObject>& object, const Ref<ManagedObject>& spec) {
        set_property(*object, "ObjectSpec", Ref<ManagedObject>(spec));
        if (!m_open.empty()) {
            append(*m_open.back(), "Elements", object);
        }
    }

    // What an object is filled and stroked with. False where the length of the attributes is not known.
    bool attributes(CmxNumbers& in, ManagedObject& object) {
        const uint8_t which = in.u8();
        bool known = true;
        if ((which & 1) != 0) {
            known = fill(in, object);
        }
        if (known && (which & 2) != 0) {
            uint16_t index = 0;
            in.parts({1}, [&](uint8_t part) {
                if (part == 1) {
                    index = in.u16();
                }
            });
            auto outline = make_instance(styles::CmxOutline::kType.name);
            set_property(*outline, "LineType", static_cast<int64_t>(enums::LineTypes::kSolid));
            if (index > 0 && index <= m_outlines.size()) {
                set_property(*outline, "Color", color(m_outlines[index - 1U]));
            }
            set_property(object, "Outline", std::move(outline));
        }
        return known && (which & 0xFC) == 0;
    }

    bool fill(CmxNumbers& in, ManagedObject& object) {
        auto style = make_instance(styles::CmxFillStyle::kType.name);
        const uint16_t kind = in.u16();
        constexpr uint16_t kMostKinds = 8;
        const auto type = kind == 0                ? enums::FillTypes::kNoFill
                          : kind + 1 <= kMostKinds ? static_cast<enums::FillTypes>(kind + 1)
                                                   : enums::FillTypes::kUnknown;
        set_property(*style, "FillType", static_cast<int64_t>(type));
        bool known = kind <= 1 || m_long;
        if (kind == 1) {
            in.parts({1}, [&](uint8_t part) {
                if (part == 1) {
                    set_property(*style, "Color1", color(in.u16()));
                    in.u16();  // screen
                }
            });
        } else if (m_long && kind != 0) {
            in.tags([](uint8_t) {});
        }
        set_property(object, "FillStyle", std::move(style));
        return known;
    }

    template <class Take>
    void object(CmxNumbers& in, const TypeName& spec_type, Take&& take) {
        auto made = make_instance(model::CmxObject::kType.name);
        auto spec = make_instance(spec_type.name);
        bool known = true;
        in.parts({1, 2}, [&](uint8_t part) {
            if (part == 1) {
                known = attributes(in, *made);
            } else if (part == 2 && (known || m_long)) {
                take(*spec);
            }
        });
        add_object(made, spec);
    }

    void ellipse(CmxNumbers& in) {
        object(in, specs::CmxEllipseSpec::kType, [&](ManagedObject& spec) {
            for (const char* property : {"CenterX", "CenterY", "DiameterX", "DiameterY"}) {
                set_property(spec, property, in.length());
            }
            for (const char* property : {"Angle1", "Angle2", "Rotation"}) {
                set_property(spec, property, in.angle());
            }
            set_property(spec, "Pie", in.u16() != 0);
        });
    }

    void rectangle(CmxNumbers& in) {
        object(in, specs::CmxRectangleSpec::kType, [&](ManagedObject& spec) {
            for (const char* property : {"CenterX", "CenterY", "Width", "Height", "Radius"}) {
                set_property(spec, property, in.length());
            }
            set_property(spec, "Angle", in.angle());
        });
    }

    void curve(CmxNumbers& in) {
        object(in, specs::CmxPathSpec::kType, [&](ManagedObject& spec) {
            const uint16_t count = in.u16();
            const uint64_t width = m_long ? 9 : 5;  // of two coordinates and a type
            if (!in.has(count * width)) {
                return;
            }
            std::vector<PointFValue> places;
            for (uint16_t i = 0; i < count; i++) {
                const double x = in.length();
                places.push_back({static_cast<float>(x), static_cast<float>(in.length())});
            }
            std::vector<Value> points;
            for (uint16_t i = 0; i < count; i++) {
                // The upper two bits say how the path comes to the point, and one whether it closes there.
                const uint8_t type = in.u8();
                auto point = make_instance(specs::CmxPathPointSpec::kType.name);
                set_property(*point, "X", places[i].x);
                set_property(*point, "Y", places[i].y);
                set_property(*point, "JumpType", static_cast<int64_t>(type >> 6));
                set_property(*point, "IsClosedPath", (type & 0x08) != 0);
                points.emplace_back(std::move(point));
            }
            set_property(spec, "Points",
                         Ref<ManagedObject>(make_ref<ValueList>(
                             ListShape::kArray, element_of(Wire::kClass, specs::CmxPathPointSpec::kType.name),
                             std::move(points))));
        });
    }

    const RiffTree& m_tree;
    const Ref<ManagedObject>& m_document;
    bool m_big_endian = false;
    bool m_long = false;
    std::vector<CmxColorEntry> m_colors;
    std::vector<uint16_t> m_outlines;
    Ref<ManagedObject> m_page;
    std::vector<Ref<ManagedObject>> m_open;  // the layer and the groups
    uint64_t m_count = 0;
};

}  // namespace

Ref<ManagedObject> cmx_document(std::span<const uint8_t> file) {
    auto document = make_instance(model::CmxDocument::kType.name);
    const RiffTree tree = riff_tree(file);
    CmxReader(tree, document).read();
    return document;
}

}  // namespace zelmor::embed

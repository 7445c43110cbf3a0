// Objects from commands; see cmx_objects.h.
#include "runtime/native/formats/cmx/cmx_objects.h"

#include <cmath>
#include <optional>
#include <string>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Cmx.ObjectModel.Enums.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cmx.ObjectModel.Specs.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cmx.ObjectModel.h"
#include "runtime/native/behaviors/drawing/matrix.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/values.h"
#include "runtime/native/formats/cdr/riff_tree.h"
#include "runtime/native/formats/cmx/cmx_numbers.h"
#include "runtime/native/formats/cmx/cmx_pictures.h"
#include "runtime/native/formats/cmx/cmx_styles.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {

using namespace imagework;
namespace model = api::FileFormats::Cmx::ObjectModel;
namespace enums = model::Enums;
namespace specs = model::Specs;
using Command = enums::CmxCommandCodes;

namespace {

Value float_box(const drawwork::RectD& bounds) {
    return box(RectangleFValue{static_cast<float>(bounds.x), static_cast<float>(bounds.y),
                               static_cast<float>(bounds.width), static_cast<float>(bounds.height)});
}

class CmxReader {
 public:
    CmxReader(const RiffTree& tree, std::span<const uint8_t> file, const Ref<ManagedObject>& document)
        : m_tree(tree), m_file(file), m_document(document) {
        const RiffChunk* header = tree.root.child("cont");
        constexpr uint64_t kOrderAt = 48, kWidthAt = 52;
        if (header == nullptr || header->data.size() < kWidthAt + 2) {
            throw PictureError(Failure::kDamaged, "the CMX file has no header");
        }
        m_form = {tree.big_endian || header->data[kOrderAt] == '4', header->data[kWidthAt] == '4'};
    }

    void read() {
        m_pictures.emplace(m_tree, m_file, m_form);
        m_styles.emplace(m_tree, *m_pictures, m_form);
        for (const RiffChunk& chunk : m_tree.root.children) {
            if (chunk.id == "page") {
                read_commands(chunk);
            }
        }
    }

 private:
    static void append(ManagedObject& parent, const char* list, const Ref<ManagedObject>& item) {
        cast_object<ManagedList>(*property_object(parent, list)).append(Ref<ManagedObject>(item));
    }

    void read_commands(const RiffChunk& chunk) {
        CmxNumbers in(chunk.data, m_form);
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
            CmxNumbers inside(chunk.data.subspan(here, end - here), m_form);
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
            case Command::kDrawImage:
                picture(in);
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
                const drawwork::RectD bounds = in.bounds();
                set_property(*m_page, "BoundBox", float_box(bounds));
                set_property(*m_page, "Width", bounds.width);
                set_property(*m_page, "Height", bounds.height);
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
                set_property(*group, "BoundBox", float_box(in.bounds()));
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

    template <class Take>
    void object(CmxNumbers& in, const TypeName& spec_type, Take&& take) {
        auto made = make_instance(model::CmxObject::kType.name);
        auto spec = make_instance(spec_type.name);
        bool known = true;
        in.parts({1, 2}, [&](uint8_t part) {
            if (part == 1) {
                known = m_styles->apply(in, *made);
            } else if (part == 2 && (known || m_form.is_long)) {
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
            const uint64_t width = m_form.is_long ? 9 : 5;  // of two coordinates and a type
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

    void picture(CmxNumbers& in) {
        object(in, specs::CmxImageSpec::kType, [&](ManagedObject& spec) {
            set_property(spec, "BoundBox", float_box(in.bounds()));
            set_property(spec, "CropBox", float_box(in.bounds()));
            set_property(spec, "Matrix", Ref<ManagedObject>(make_ref<MatrixObject>(in.matrix())));
            set_property(spec, "ImageType", static_cast<int32_t>(in.u16()));
            set_property(spec, "Images", m_pictures->embedded(in.u16()));
        });
    }

    const RiffTree& m_tree;
    std::span<const uint8_t> m_file;
    const Ref<ManagedObject>& m_document;
    CmxForm m_form;
    std::optional<CmxPictures> m_pictures;
    std::optional<CmxStyles> m_styles;
    Ref<ManagedObject> m_page;
    std::vector<Ref<ManagedObject>> m_open;  // the layer and the groups
    uint64_t m_count = 0;
};

}  // namespace

Ref<ManagedObject> cmx_document(std::span<const uint8_t> file) {
    auto document = make_instance(model::CmxDocument::kType.name);
    const RiffTree tree = riff_tree(file);
    CmxReader(tree, file, document).read();
    return document;
}

}  // namespace zelmor::embed

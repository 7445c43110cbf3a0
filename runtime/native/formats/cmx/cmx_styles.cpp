// Tables of styles, fills and outlines; see cmx_styles.h.
#include "runtime/native/formats/cmx/cmx_styles.h"

#include <string>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Cmx.ObjectModel.Enums.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cmx.ObjectModel.Styles.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {

using imagework::RiffChunk;
namespace cmx_styles = api::FileFormats::Cmx::ObjectModel::Styles;
namespace cmx_enums = api::FileFormats::Cmx::ObjectModel::Enums;

namespace {

// By the numbers that files have.
enum class Kind : uint16_t {
    kNone = 0,
    kUniform = 1,
    kFountain = 2,
    kPostscript = 6,
    kTwoColors = 7,
    kTransparentBitmap = 8,
    kImportedBitmap = 9,
    kFullColors = 10,
    kTexture = 11,
};

cmx_enums::FillTypes type_of(Kind kind) {
    switch (kind) {
        case Kind::kNone:
            return cmx_enums::FillTypes::kNoFill;
        case Kind::kUniform:
            return cmx_enums::FillTypes::kUniform;
        case Kind::kFountain:
            return cmx_enums::FillTypes::kFountain;
        case Kind::kPostscript:
            return cmx_enums::FillTypes::kPostscript;
        case Kind::kTwoColors:
        case Kind::kTransparentBitmap:
            return cmx_enums::FillTypes::kTwoColorPattern;
        case Kind::kImportedBitmap:
            return cmx_enums::FillTypes::kImportedBitmap;
        case Kind::kFullColors:
            return cmx_enums::FillTypes::kFullColorPattern;
        case Kind::kTexture:
            return cmx_enums::FillTypes::kTexture;
    }
    return cmx_enums::FillTypes::kUnknown;
}

// How many bytes a color of each model takes.
uint32_t color_bytes(uint8_t color_model) {
    constexpr uint32_t kBytes[] = {0, 4, 4, 4, 4, 3, 4, 4, 1, 1, 3, 4};
    return color_model < std::size(kBytes) ? kBytes[color_model] : 0;
}

template <class Entry>
const Entry* numbered(const std::vector<Entry>& entries, uint16_t number) {
    return number > 0 && number <= entries.size() ? &entries[number - 1U] : nullptr;
}

}  // namespace

template <class Entry, class Take>
std::vector<Entry> CmxStyles::table(const imagework::RiffTree& tree, const char* id,
                                    std::initializer_list<uint8_t> parts, Take&& take) const {
    std::vector<Entry> entries;
    const RiffChunk* chunk = tree.root.child(id);
    if (chunk == nullptr) {
        return entries;
    }
    CmxNumbers in(chunk->data, m_form);
    const uint16_t count = in.u16();
    for (uint16_t i = 0; i < count && in.ok(); ++i) {
        Entry entry;
        in.parts(parts, [&](uint8_t part) { take(in, part, entry); });
        entries.push_back(std::move(entry));
    }
    return entries;
}

CmxStyles::CmxStyles(const imagework::RiffTree& tree, const CmxPictures& pictures, const CmxForm& form)
    : m_pictures(pictures), m_form(form) {
    m_colors = table<Color>(tree, "rclr", {1, 2}, [](CmxNumbers& in, uint8_t part, Color& color) {
        if (part == 1) {
            color.color_model = in.u8();
            in.u8();  // the palette
        } else if (part == 2) {
            for (uint32_t byte = 0; byte < color_bytes(color.color_model); ++byte) {
                color.value = color.value << 8 | in.u8();
            }
        }
    });
    m_outlines = table<Outline>(tree, "rotl", {1}, [](CmxNumbers& in, uint8_t part, Outline& outline) {
        if (part == 1) {
            outline.line_style = in.u16();
            in.u16();  // screen
            outline.color = in.u16();
            in.u16();  // arrows
            outline.pen = in.u16();
            outline.dashes = in.u16();
        }
    });
    m_line_styles = table<LineStyle>(tree, "rott", {1}, [](CmxNumbers& in, uint8_t part, LineStyle& style) {
        if (part == 1) {
            style.kind = in.u8();
            style.cap_and_join = in.u8();
        }
    });
    m_pens = table<Pen>(tree, "rpen", {1}, [](CmxNumbers& in, uint8_t part, Pen& pen) {
        if (part == 1) {
            const double width = in.length(), aspect = in.hundredth();
            pen.angle = in.angle();
            if (!in.is_long()) {
                in.u16();
            }
            const drawwork::Affine map = in.matrix();
            const double across = std::hypot(map.m11, map.m12), down = std::hypot(map.m21, map.m22);
            pen.width = width * (across + down) / 2;
            pen.stretch = aspect * (down != 0 ? across / down : 1);
        }
    });
    using Dashes = std::vector<int16_t>;
    m_dashes = table<Dashes>(tree, "rdot", {1}, [](CmxNumbers& in, uint8_t part, Dashes& dashes) {
        if (part == 1) {
            const uint16_t count = in.u16();
            for (uint16_t i = 0; i < count && in.has(2); ++i) {
                dashes.push_back(in.s16());
            }
        }
    });
}

Ref<ManagedObject> CmxStyles::color(uint16_t number) const {
    auto made = make_instance(cmx_styles::CmxColor::kType.name);
    if (const Color* color = numbered(m_colors, number)) {
        set_property(*made, "ColorModel", static_cast<int32_t>(color->color_model));
        set_property(*made, "Value", static_cast<int32_t>(color->value));
    }
    return made;
}

Ref<ManagedObject> CmxStyles::outline(uint16_t number) const {
    auto made = make_instance(cmx_styles::CmxOutline::kType.name);
    set_property(*made, "LineType", static_cast<int64_t>(cmx_enums::LineTypes::kSolid));
    const Outline* outline = numbered(m_outlines, number);
    if (outline == nullptr) {
        return made;
    }
    set_property(*made, "Color", color(outline->color));
    if (const LineStyle* style = numbered(m_line_styles, outline->line_style)) {
        set_property(*made, "LineType", static_cast<int64_t>(style->kind));
        set_property(*made, "CapsType", static_cast<int64_t>(style->cap_and_join & 0xF));
        set_property(*made, "JoinType", static_cast<int64_t>(style->cap_and_join >> 4));
    }
    if (const Pen* pen = numbered(m_pens, outline->pen)) {
        set_property(*made, "LineWidth", pen->width);
        set_property(*made, "Stretch", pen->stretch);
        set_property(*made, "Angle", pen->angle);
    }
    if (const std::vector<int16_t>* dashes = numbered(m_dashes, outline->dashes)) {
        const auto stroke = make_list(ListShape::kList, element_of(Wire::kInt16));
        for (const int16_t length : *dashes) {
            stroke->append(static_cast<int64_t>(length));
        }
        set_property(*made, "Stroke", Ref<ManagedObject>(stroke));
    }
    return made;
}

Ref<ManagedObject> CmxStyles::gradient(CmxNumbers& in) const {
    auto made = make_instance(cmx_styles::CmxGradient::kType.name);
    const auto set = [&](const char* property, int32_t value) {
        set_property(*made, property, static_cast<int64_t>(value));
    };
    std::vector<Value> colors;
    std::vector<float> offsets;
    in.parts({1, 2}, [&](uint8_t part) {
        if (part == 1) {
            set("Type", std::max((in.u16() & 0xFF) - 1, 0));  // counted from 1 in files
            set("Screen", in.u16());
            set("EdgeOffset", in.u16());
            set_property(*made, "Angle", in.angle());
            if (!m_form.is_long) {
                in.u16();
            }
            set("CenterXOffset", m_form.is_long ? in.s32() : in.s16());
            set("CenterYOffset", m_form.is_long ? in.s32() : in.s16());
            set("Steps", in.u16());
            set("Mode", in.u16());
            if (m_form.is_long) {
                set("RateMethod", in.u16());
                set("RateValue", in.u16());
            }
        } else if (part == 2) {
            constexpr uint64_t kStop = 4;
            const uint16_t count = in.u16();
            for (uint16_t i = 0; i < count && in.has(kStop); ++i) {
                colors.emplace_back(color(in.u16()));
                offsets.push_back(static_cast<float>(in.hundredth()));
            }
        }
    });
    set_property(
        *made, "Colors",
        Ref<ManagedObject>(make_ref<ValueList>(
            ListShape::kArray, element_of(Wire::kClass, cmx_styles::CmxColor::kType.name), std::move(colors))));
    set_property(*made, "Offsets", Ref<ManagedObject>(make_array<float>(std::move(offsets))));
    return made;
}

// Bitmaps that are repeated. In long files their fields stand in a part of their own.
Ref<ManagedObject> CmxStyles::tiles(CmxNumbers& in) const {
    auto made = make_instance(cmx_styles::CmxImageFill::kType.name);
    set_property(*made, "Images", m_pictures.pattern(in.u16()));
    constexpr uint64_t kPartHead = 3;
    if (m_form.is_long) {
        in.skip(kPartHead);
    }
    const auto width = m_form.is_long ? in.s32() : int32_t{in.u16()};
    const auto height = m_form.is_long ? in.s32() : int32_t{in.u16()};
    set_property(*made, "TileOffsetX", in.hundredth());
    set_property(*made, "TileOffsetY", in.hundredth());
    set_property(*made, "RcpOffset", in.hundredth());
    const bool relative = (in.u16() & 4) != 0;
    if (m_form.is_long) {
        in.u8();  // the end of the part
    }
    const double unit = relative ? 0.01 : 1 / in.units_of_inch();
    set_property(*made, "IsRelative", relative);
    set_property(*made, "PatternWidth", width * unit);
    set_property(*made, "PatternHeight", height * unit);
    return made;
}

bool CmxStyles::fill(CmxNumbers& in, ManagedObject& object) const {
    auto style = make_instance(cmx_styles::CmxFillStyle::kType.name);
    const auto kind = static_cast<Kind>(in.u16());
    set_property(*style, "FillType", static_cast<int64_t>(type_of(kind)));
    bool known = true;
    const auto first_part = [&](auto&& take) {
        in.parts({1}, [&](uint8_t part) {
            if (part == 1) {
                take();
            }
        });
    };
    switch (kind) {
        case Kind::kNone:
            break;
        case Kind::kUniform:
            first_part([&] {
                set_property(*style, "Color1", color(in.u16()));
                in.u16();  // screen
            });
            break;
        case Kind::kFountain: {
            const Ref<ManagedObject> made = gradient(in);
            const auto& colors = cast_object<ManagedList>(*property_object(*made, "Colors"));
            if (colors.size() > 0) {
                set_property(*style, "Color1", colors.get(0));
                set_property(*style, "Color2", colors.get(colors.size() - 1));
            }
            set_property(*style, "Gradient", Ref<ManagedObject>(made));
            break;
        }
        case Kind::kPostscript:
            if (m_form.is_long) {
                in.tags([](uint8_t) {});
            } else {
                in.u32();
                in.skip(uint64_t{in.u16()} * 2);
                in.skip(in.u16());  // the name
            }
            break;
        case Kind::kTwoColors:
        case Kind::kTransparentBitmap:
            first_part([&] {
                set_property(*style, "ImageFill", tiles(in));
                set_property(*style, "Color1", color(in.u16()));
                set_property(*style, "Color2", color(in.u16()));
                in.u16();  // screen
            });
            break;
        case Kind::kImportedBitmap:
        case Kind::kFullColors:
            first_part([&] {
                set_property(*style, "ImageFill", tiles(in));
                in.bounds();
            });
            break;
        case Kind::kTexture:
            first_part([&] {
                if (m_form.is_long) {
                    in.tags([&](uint8_t part) {
                        if (part == 1) {
                            set_property(*style, "ImageFill", tiles(in));
                        }
                    });
                    return;
                }
                set_property(*style, "ImageFill", tiles(in));
                in.bounds();
                in.skip(7);
                for (int text = 0; text < 3; ++text) {  // library, name, style
                    in.skip(in.u16());
                }
                in.skip(uint64_t{in.u16()} * 8);
            });
            break;
        default:
            known = m_form.is_long;
            if (known) {
                in.tags([](uint8_t) {});
            }
            break;
    }
    set_property(object, "FillStyle", std::move(style));
    return known;
}

// Objects have no property for a lens.
bool CmxStyles::lens(CmxNumbers& in) const {
    if (m_form.is_long) {
        in.tags([](uint8_t) {});
        return true;
    }
    constexpr uint64_t kSizes[] = {0, 7, 4, 4, 8};  // glass, magnifying, fisheye, wireframe
    const uint8_t kind = in.u8();
    if (kind == 0 || kind >= std::size(kSizes)) {
        return false;
    }
    in.skip(kSizes[kind]);
    return true;
}

bool CmxStyles::apply(CmxNumbers& in, ManagedObject& object) const {
    enum : uint8_t { kFill = 1, kOutline = 2, kLens = 4, kCanvas = 8, kContainer = 16 };
    const uint8_t which = in.u8();
    if ((which & kFill) != 0) {
        // In long files the fill is a part of its own.
        bool known = true;
        in.parts({1}, [&](uint8_t part) { known = part != 1 || fill(in, object); });
        if (!known) {
            return false;
        }
    }
    if ((which & kOutline) != 0) {
        in.parts({1}, [&](uint8_t part) {
            if (part == 1) {
                set_property(object, "Outline", outline(in.u16()));
            }
        });
    }
    if ((which & kLens) != 0 && !lens(in)) {
        return false;
    }
    return (which & (kCanvas | kContainer)) == 0;
}

}  // namespace zelmor::embed

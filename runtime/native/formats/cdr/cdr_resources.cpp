// Reading chunks by their published layouts; see cdr_resources.h.
#include "runtime/native/formats/cdr/cdr_resources.h"

#include <string>
#include <utility>
#include <vector>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.Enum.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.Objects.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.Types.h"
#include "runtime/native/behaviors/drawing/matrix.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace cdr_resource_types = api::FileFormats::Cdr::Types;
namespace cdr_resource_objects = api::FileFormats::Cdr::Objects;

extern template Ref<ManagedList> make_array<uint64_t>(std::vector<uint64_t>);

namespace {

constexpr double kUnitsOfInch = 254000;
constexpr double kHundredth = 0.01;

Value raw_value(std::span<const uint8_t> bytes) {
    const auto* first = reinterpret_cast<const std::byte*>(bytes.data());
    return Bytes(first, first + bytes.size());
}

Value point_list(std::vector<Value> points) {
    return Ref<ManagedObject>(make_ref<ValueList>(
        ListShape::kArray, element_of(Wire::kStruct, cdr_resource_types::PointD::kType.name), std::move(points)));
}

Value next_point(CdrNumbers& in) {
    auto made = make_instance(cdr_resource_types::PointD::kType.name);
    set_property(*made, "X", in.length());
    set_property(*made, "Y", in.length());
    return made;
}

Ref<ManagedObject> next_color(CdrNumbers& in) {
    auto made = make_instance(cdr_resource_types::CdrColor::kType.name);
    set_property(*made, "ColorModel", static_cast<int32_t>(in.u16()));
    in.skip(6);
    set_property(*made, "ColorValue", static_cast<int32_t>(in.u32()));
    return made;
}

// ---- Fills and lines

void take_gradient(ManagedObject& fill, CdrNumbers& in) {
    auto gradient = make_instance(cdr_resource_types::CdrGradient::kType.name);
    in.skip(2);
    set_property(*gradient, "Type", static_cast<int32_t>(in.u8()));
    in.skip(19);
    set_property(*gradient, "EdgeOffset", static_cast<int32_t>(in.u32()));
    set_property(*gradient, "Angle", in.angle());
    set_property(*gradient, "CenterXOffset", static_cast<int32_t>(in.u32()));
    set_property(*gradient, "CenterYOffset", static_cast<int32_t>(in.u32()));
    in.skip(2);
    set_property(*gradient, "Mode", static_cast<int32_t>(in.u32() & 0xFF));
    set_property(*gradient, "MidPoint", in.u8() * kHundredth);
    in.skip(1);
    const uint32_t count = in.u32() & 0xFFFF;
    constexpr uint64_t kStop = 16;  // a color and a place
    const auto stops =
        make_list(ListShape::kList, element_of(Wire::kClass, cdr_resource_types::CdrGradientStop::kType.name));
    Ref<ManagedObject> first, last;
    for (uint32_t i = 0; i < count && in.has(kStop); i++) {
        auto stop = make_instance(cdr_resource_types::CdrGradientStop::kType.name);
        last = next_color(in);
        first = first ? first : last;
        set_property(*stop, "Color", Ref<ManagedObject>(last));
        set_property(*stop, "Offset", (in.u32() & 0xFFFF) * kHundredth);
        stops->append(std::move(stop));
    }
    set_property(*gradient, "Stops", Ref<ManagedObject>(stops));
    set_property(fill, "Color1", std::move(first));
    set_property(fill, "Color2", std::move(last));
    set_property(fill, "Gradient", std::move(gradient));
}

// A fill with tiles of a picture or a pattern.
void take_tiles(ManagedObject& fill, CdrNumbers& in, uint32_t version, bool two_colors) {
    auto image = make_instance(cdr_resource_types::CdrImageFill::kType.name);
    in.skip(2);
    auto id = static_cast<int32_t>(in.u32());
    const auto width = static_cast<int32_t>(in.u32());
    const auto height = static_cast<int32_t>(in.u32());
    constexpr uint32_t kNoOffsets = 900;
    if (version < kNoOffsets) {
        set_property(*image, "XOffset", in.u16() * kHundredth);
        set_property(*image, "YOffset", in.u16() * kHundredth);
    } else {
        in.skip(4);
    }
    set_property(*image, "RcpOffset", in.u16() * kHundredth);
    const uint8_t flags = in.u8();
    const bool relative = (flags & 4) != 0 && version < kNoOffsets;
    const double unit = relative ? kHundredth : 1 / kUnitsOfInch;
    set_property(*image, "Flags", static_cast<int32_t>(flags));
    set_property(*image, "IsRelative", relative);
    set_property(*image, "Width", width * unit);
    set_property(*image, "Height", height * unit);
    if (two_colors) {
        in.skip(1);
        set_property(fill, "Color1", next_color(in));
        set_property(fill, "Color2", next_color(in));
    } else {
        in.skip(21);
        id = static_cast<int32_t>(in.u32());
    }
    set_property(*image, "Id", id);
    set_property(fill, "ImageFill", std::move(image));
}

void take_fill(ManagedObject& object, CdrNumbers& in, uint32_t version) {
    using Fill = api::FileFormats::Cdr::Enum::CdrFillType;
    set_property(object, "Id", static_cast<int32_t>(in.u32()));
    const uint16_t kind = in.u16();
    set_property(object, "FillType", static_cast<int32_t>(kind));
    switch (static_cast<Fill>(kind)) {
        case Fill::kSolid:
            in.skip(2);
            set_property(object, "Color1", next_color(in));
            break;
        case Fill::kGradient:
            take_gradient(object, in);
            break;
        case Fill::kPattern:
            take_tiles(object, in, version, true);
            break;
        case Fill::kBitmap:
        case Fill::kFullColor:
        case Fill::kTexture:
            take_tiles(object, in, version, false);
            break;
        default:
            break;
    }
}

void take_outline(ManagedObject& object, CdrNumbers& in) {
    set_property(object, "Id", static_cast<int32_t>(in.u32()));
    set_property(object, "LineType", static_cast<int32_t>(in.u16()));
    set_property(object, "CapsType", static_cast<int32_t>(in.u16()));
    set_property(object, "JoinType", static_cast<int32_t>(in.u16()));
    in.skip(2);
    set_property(object, "LineWidth", in.length());
    set_property(object, "Stretch", in.u16() * kHundredth);
    in.skip(2);
    set_property(object, "Aangle", in.angle());
    in.skip(52);
    set_property(object, "Color", next_color(in));
    in.skip(16);
    const uint16_t count = in.u16();
    constexpr uint16_t kMostDashes = 11;  // what there is room for
    const auto dashes = make_list(ListShape::kList, element_of(Wire::kInt32));
    for (uint16_t i = 0; i < kMostDashes; i++) {
        const uint16_t length = in.u16();
        if (i < count) {
            dashes->append(static_cast<int32_t>(length));
        }
    }
    set_property(object, "DashArray", Ref<ManagedObject>(dashes));
    set_property(object, "StartMarkerId", static_cast<int32_t>(in.u32()));
    set_property(object, "EndMarkerId", static_cast<int32_t>(in.u32()));
}

// ---- Shapes and pictures that others use

void take_arrow(ManagedObject& object, CdrNumbers& in) {
    set_property(object, "Id", static_cast<int32_t>(in.u32()));
    in.skip(4);
    const uint16_t count = in.u16();
    in.skip(4);
    constexpr uint64_t kPoint = 9;  // two coordinates and a type
    if (!in.has(count * kPoint + 1)) {
        return;
    }
    set_property(object, "PointTypes", raw_value(in.piece(count)));
    in.skip(1);
    std::vector<Value> points;
    for (uint16_t i = 0; i < count; i++) {
        points.push_back(next_point(in));
    }
    set_property(object, "Points", point_list(std::move(points)));
}

void take_spline(ManagedObject& object, CdrNumbers& in) {
    const uint16_t count = in.u16();
    in.skip(4);
    constexpr uint64_t kPoint = 12;  // two coordinates and a knot
    if (!in.has(count * kPoint)) {
        return;
    }
    std::vector<Value> points;
    for (uint16_t i = 0; i < count; i++) {
        points.push_back(next_point(in));
    }
    std::vector<uint32_t> knots;
    for (uint16_t i = 0; i < count; i++) {
        knots.push_back(in.u32());
    }
    set_property(object, "Points", point_list(std::move(points)));
    set_property(object, "KnotVector", Ref<ManagedObject>(make_array<uint32_t>(std::move(knots))));
}

void take_bitmap(ManagedObject& object, CdrNumbers& in, uint32_t version) {
    const auto set = [&](const char* property, uint32_t value) {
        set_property(object, property, static_cast<int64_t>(value));
    };
    set_property(object, "Id", static_cast<int32_t>(in.u32()));
    in.skip(version < 700 ? 46 : 50);
    const uint32_t model = in.u32();
    in.skip(4);
    set("ColorModel", model);
    set("Width", in.u32());
    set("Height", in.u32());
    in.skip(4);
    const uint32_t bits = in.u32();
    set("BitsPerPixel", bits);
    set("BytesPerLine", in.u32());
    const uint32_t size = in.u32();
    set("ImageSize", size);
    in.skip(32);
    constexpr uint32_t kGray = 5, kBlackAndWhite = 6;
    if (bits < 24 && model != kGray && model != kBlackAndWhite) {
        in.skip(2);
        set_property(object, "ColorPalette", raw_value(in.piece(uint64_t{in.u16()} * 3)));
    }
    set_property(object, "Data", raw_value(in.piece(size)));
}

// A bitmap of two colors, with the header that such bitmaps have in files of their own.
void take_pattern(ManagedObject& object, CdrNumbers& in) {
    set_property(object, "Id", static_cast<int32_t>(in.u32()));
    constexpr uint32_t kHeader = 40, kColors = 8;
    if (in.u32() != kHeader) {
        return;
    }
    set_property(object, "Width", static_cast<int32_t>(in.u32()));
    set_property(object, "Height", static_cast<int32_t>(in.u32()));
    in.skip(2);
    set_property(object, "BitsPerPixel", static_cast<int32_t>(in.u16()));
    in.skip(4);
    const uint32_t size = in.u32();
    set_property(object, "DataSize", static_cast<int64_t>(size));
    in.skip(16 + kColors);
    set_property(object, "Data", raw_value(in.piece(size)));
}

void take_fill_transform(ManagedObject& object, CdrNumbers& in) {
    Affine map;
    map.m11 = in.real();
    map.m21 = in.real();
    map.dx = in.real() / kUnitsOfInch;
    map.m12 = in.real();
    map.m22 = in.real();
    map.dy = in.real() / kUnitsOfInch;
    set_property(object, "Transform", Ref<ManagedObject>(make_ref<MatrixObject>(map)));
}

// ---- Texts

// The style of some characters: what it has a flag for.
Ref<ManagedObject> character_style(CdrNumbers& in, uint32_t version) {
    auto style = make_instance(cdr_resource_objects::CdrStyle::kType.name);
    in.skip(2);
    const uint8_t flags = in.u8();
    const uint8_t more = version >= 800 ? in.u8() : 0;
    if ((flags & 1) != 0) {
        set_property(*style, "Id", static_cast<int32_t>(in.u16()));
        set_property(*style, "Charset", static_cast<int32_t>(in.u16()));
    }
    if ((flags & 2) != 0) {
        in.skip(4);
    }
    if ((flags & 4) != 0) {
        set_property(*style, "FontSize", in.length());
    }
    for (const uint8_t skipped : {0x08, 0x10, 0x20, 0x40, 0x80}) {
        in.skip((flags & skipped) != 0 ? 4 : 0);
    }
    in.skip((more & 8) != 0 ? 4 : 0);
    if ((more & 0x20) != 0 && in.u8() != 0) {
        in.skip(52);
    }
    return style;
}

// Bytes are characters of the same numbers; from version 12 on a bit tells which have two bytes.
std::u16string characters(std::span<const uint8_t> bytes, const std::vector<uint64_t>& descriptions, bool mixed) {
    std::u16string text;
    size_t at = 0;
    for (const uint64_t description : descriptions) {
        const bool wide = mixed && (description & 1) != 0;
        if (at + (wide ? 2 : 1) > bytes.size()) {
            break;
        }
        text += static_cast<char16_t>(wide ? bytes[at] | bytes[at + 1] << 8 : bytes[at]);
        at += wide ? 2 : 1;
    }
    return text;
}

void set_text(ManagedObject& object, std::vector<Value> styles, std::vector<uint64_t> descriptions,
              std::u16string text) {
    set_property(object, "Styles",
                 Ref<ManagedObject>(make_ref<ValueList>(
                     ListShape::kArray, element_of(Wire::kClass, cdr_resource_objects::CdrStyle::kType.name),
                     std::move(styles))));
    set_property(object, "CharDescriptions", Ref<ManagedObject>(make_array<uint64_t>(std::move(descriptions))));
    set_property(object, "Text", std::move(text));
}

// Version 6 has records of a fixed size.
int32_t take_text_6(ManagedObject& object, CdrNumbers& in) {
    const uint32_t kind = in.u32();
    in.skip(0x20);
    const auto id = static_cast<int32_t>(in.u32());
    set_property(object, "Id", id);
    in.skip(48 + 4 + (kind == 0 ? 8 : 0));
    set_property(object, "StyleId", static_cast<int32_t>(in.u32()));
    const uint32_t count = in.u32();
    std::vector<Value> styles;
    for (uint32_t i = 0; i < count && in.has(60); i++) {
        auto style = make_instance(cdr_resource_objects::CdrStyle::kType.name);
        const uint8_t flags = in.u8();
        in.skip(3);
        const uint16_t font = in.u16(), charset = in.u16();
        if ((flags & 1) != 0) {
            set_property(*style, "Id", static_cast<int32_t>(font));
            set_property(*style, "Charset", static_cast<int32_t>(charset));
        }
        in.skip(4);
        const double size = in.length();
        set_property(*style, "FontSize", (flags & 4) != 0 ? size : 0.0);
        in.skip(44 + ((flags & 0x10) != 0 ? 4 : 0) + ((flags & 0x20) != 0 ? 4 : 0));
        styles.emplace_back(std::move(style));
    }
    const uint32_t length = in.u32();
    std::vector<uint64_t> descriptions;
    std::u16string text;
    for (uint32_t i = 0; i < length && in.has(12); i++) {
        in.skip(4);
        text += static_cast<char16_t>(in.u8());
        in.skip(5);
        descriptions.push_back(uint64_t{in.u8()} << 1);
        in.skip(1);
    }
    set_text(object, std::move(styles), std::move(descriptions), std::move(text));
    return id;
}

// Versions 7 to 12: of a frame the first paragraph.
int32_t take_text(ManagedObject& object, CdrNumbers& in, uint32_t version) {
    constexpr uint32_t kMixed = 1200;
    in.skip(0x24);
    if (in.u32() != 0 && version < 800) {
        in.skip(32);
    }
    in.skip(version < 800 ? 4 : 0);
    const auto id = static_cast<int32_t>(in.u32());
    set_property(object, "Id", id);
    in.skip(48);
    if (version >= 800 && in.u32() != 0) {
        in.skip(32);
    }
    if (in.u32() == 0) {
        in.skip((version >= 800 ? 4 : 0) + (version > 800 ? 2 : 0) + 24 + (version < 800 ? 8 : 0));
        in.skip(4);  // the number of paragraphs
    }
    set_property(object, "StyleId", static_cast<int32_t>(in.u32()));
    in.skip(1);
    const uint32_t count = in.u32();
    std::vector<Value> styles;
    for (uint32_t i = 0; i < count && in.has(3); i++) {
        styles.emplace_back(character_style(in, version));
    }
    const uint32_t length = in.u32();
    std::vector<uint64_t> descriptions;
    const uint64_t width = version >= kMixed ? 8 : 4;
    for (uint32_t i = 0; i < length && in.has(width); i++) {
        descriptions.push_back(in.u32());
        if (version >= kMixed) {
            descriptions.back() |= uint64_t{in.u32()} << 32;
        }
    }
    const uint32_t size = version >= kMixed ? in.u32() : length;
    std::u16string text = characters(in.piece(size), descriptions, version >= kMixed);
    set_text(object, std::move(styles), std::move(descriptions), std::move(text));
    return id;
}

}  // namespace

const TypeName* cdr_resource_type(std::string_view chunk) {
    namespace o = cdr_resource_objects;
    constexpr std::pair<std::string_view, const TypeName*> kTypes[] = {
        {"fild", &o::CdrFill::kType},          {"outl", &o::CdrOutline::kType}, {"arrw", &o::CdrArrow::kType},
        {"ppdt", &o::CdrPpdt::kType},          {"bmp ", &o::CdrBmp::kType},     {"bmpf", &o::CdrPattern::kType},
        {"ftil", &o::CdrFillTransform::kType}, {"spnd", &o::CdrSpnd::kType},    {"uidr", &o::CdrUserPalette::kType},
        {"vpat", &o::CdrVectorPattern::kType}, {"txsm", &o::CdrText::kType}};
    for (const auto& [id, type] : kTypes) {
        if (id == chunk) {
            return type;
        }
    }
    return nullptr;
}

std::optional<int32_t> take_cdr_resource(ManagedObject& object, std::string_view chunk, CdrNumbers in,
                                         uint32_t version) {
    if (chunk == "fild") {
        take_fill(object, in, version);
    } else if (chunk == "outl") {
        take_outline(object, in);
    } else if (chunk == "arrw") {
        take_arrow(object, in);
    } else if (chunk == "ppdt") {
        take_spline(object, in);
    } else if (chunk == "bmp ") {
        take_bitmap(object, in, version);
    } else if (chunk == "bmpf") {
        take_pattern(object, in);
    } else if (chunk == "ftil") {
        take_fill_transform(object, in);
    } else if (chunk == "spnd") {
        set_property(object, "Id", static_cast<int32_t>(in.u32()));
    } else if (chunk == "uidr") {
        set_property(object, "ColorId", static_cast<int32_t>(in.u32()));
        set_property(object, "UserId", static_cast<int32_t>(in.u32()));
        in.skip(36);
        set_property(object, "Color", next_color(in));
    } else if (chunk == "vpat") {
        set_property(object, "Id", static_cast<int32_t>(in.u32()));
        set_property(object, "Data", raw_value(in.rest()));
    } else if (chunk == "txsm") {
        return version < 700 ? take_text_6(object, in) : take_text(object, in, version);
    }
    return std::nullopt;
}

}  // namespace zelmor::embed

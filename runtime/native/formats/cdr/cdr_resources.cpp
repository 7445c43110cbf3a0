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

// Fills and lines are longer from here on.
constexpr uint32_t kCdrLongStyles = 1300;

Ref<ManagedObject> next_color(CdrNumbers& in) {
    auto made = make_instance(cdr_resource_types::CdrColor::kType.name);
    const uint16_t model = in.u16();
    set_property(*made, "ColorModel", static_cast<int32_t>(model));
    constexpr uint16_t kNoPalette = 0x1E;  // stands for the number of a palette and what is behind it
    in.skip(model == kNoPalette ? 0 : 6);
    set_property(*made, "ColorValue", static_cast<int32_t>(in.u32()));
    return made;
}

// ---- Fills and lines

void take_gradient(ManagedObject& fill, CdrNumbers& in, uint32_t version) {
    auto gradient = make_instance(cdr_resource_types::CdrGradient::kType.name);
    const bool is_long = version >= kCdrLongStyles;
    in.skip(is_long ? 8 : 2);
    set_property(*gradient, "Type", static_cast<int32_t>(in.u8()));
    in.skip(is_long ? 17 : 19);
    const int32_t edge = is_long ? static_cast<int16_t>(in.u16()) : static_cast<int32_t>(in.u32());
    set_property(*gradient, "EdgeOffset", edge);
    set_property(*gradient, "Angle", in.angle());
    set_property(*gradient, "CenterXOffset", static_cast<int32_t>(in.u32()));
    set_property(*gradient, "CenterYOffset", static_cast<int32_t>(in.u32()));
    in.skip(2);
    set_property(*gradient, "Mode", static_cast<int32_t>(in.u32() & 0xFF));
    set_property(*gradient, "MidPoint", in.u8() * kHundredth);
    in.skip(1);
    const uint32_t count = in.u32() & 0xFFFF;
    in.skip(is_long ? 3 : 0);
    const uint64_t between = version >= 1500 ? 26 : is_long ? 5 : 0;
    const auto stops =
        make_list(ListShape::kList, element_of(Wire::kClass, cdr_resource_types::CdrGradientStop::kType.name));
    Ref<ManagedObject> first, last;
    for (uint32_t i = 0; i < count; i++) {
        auto color = next_color(in);
        in.skip(between);
        const uint32_t offset = in.u32() & 0xFFFF;
        in.skip(is_long ? 3 : 0);
        if (!in.ok()) {
            break;
        }
        last = std::move(color);
        first = first ? first : last;
        auto stop = make_instance(cdr_resource_types::CdrGradientStop::kType.name);
        set_property(*stop, "Color", Ref<ManagedObject>(last));
        set_property(*stop, "Offset", offset * kHundredth);
        stops->append(std::move(stop));
    }
    set_property(*gradient, "Stops", Ref<ManagedObject>(stops));
    set_property(fill, "Color1", std::move(first));
    set_property(fill, "Color2", std::move(last));
    set_property(fill, "Gradient", std::move(gradient));
}

// Parts that a fill may have before its own fields.
void skip_optional_parts(CdrNumbers& in) {
    constexpr uint32_t kSized = 0x640, kShort = 0x514;
    for (CdrNumbers next = in; in.has(4); next = in) {
        const uint32_t kind = next.u32();
        if (kind != kSized && kind != kShort) {
            return;
        }
        const uint32_t size = kind == kSized ? next.u32() : 4;
        next.skip(size);
        in = next;
    }
}

// A fill with tiles of a picture or a pattern.
void take_tiles(ManagedObject& fill, CdrNumbers& in, uint32_t version, bool two_colors) {
    auto image = make_instance(cdr_resource_types::CdrImageFill::kType.name);
    const bool is_long = version >= kCdrLongStyles;
    int32_t id = 0;
    if (is_long && !two_colors) {
        skip_optional_parts(in);
    } else {
        in.skip(is_long ? 8 : 2);
        id = static_cast<int32_t>(in.u32());
    }
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
        in.skip(is_long ? 6 : 1);
        set_property(fill, "Color1", next_color(in));
        in.skip(is_long ? 10 : 0);
        set_property(fill, "Color2", next_color(in));
    } else {
        in.skip(is_long ? 17 : 21);
        id = static_cast<int32_t>(in.u32());
    }
    set_property(*image, "Id", id);
    set_property(fill, "ImageFill", std::move(image));
}

void take_fill(ManagedObject& object, CdrNumbers& in, uint32_t version) {
    using Fill = api::FileFormats::Cdr::Enum::CdrFillType;
    set_property(object, "Id", static_cast<int32_t>(in.u32()));
    in.skip(version >= kCdrLongStyles ? 8 : 0);
    const uint16_t kind = in.u16();
    set_property(object, "FillType", static_cast<int32_t>(kind));
    switch (static_cast<Fill>(kind)) {
        case Fill::kSolid:
            in.skip(version >= kCdrLongStyles ? 13 : 2);
            set_property(object, "Color1", next_color(in));
            break;
        case Fill::kGradient:
            take_gradient(object, in, version);
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

void take_outline(ManagedObject& object, CdrNumbers& in, uint32_t version) {
    set_property(object, "Id", static_cast<int32_t>(in.u32()));
    const bool is_long = version >= kCdrLongStyles;
    constexpr uint32_t kLine = 1;  // of the parts the one with the fields
    for (uint32_t part = 0, size = 0; is_long && part != kLine && in.has(8);) {
        in.skip(size);
        part = in.u32();
        size = in.u32();
    }
    set_property(object, "LineType", static_cast<int32_t>(in.u16()));
    set_property(object, "CapsType", static_cast<int32_t>(in.u16()));
    set_property(object, "JoinType", static_cast<int32_t>(in.u16()));
    in.skip(is_long ? 0 : 2);
    set_property(object, "LineWidth", in.length());
    set_property(object, "Stretch", in.u16() * kHundredth);
    in.skip(2);
    set_property(object, "Aangle", in.angle());
    in.skip(is_long ? 46 : 52);
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

}  // namespace

const TypeName* cdr_resource_type(std::string_view chunk) {
    namespace o = api::FileFormats::Cdr::Objects;
    constexpr std::pair<std::string_view, const TypeName*> kTypes[] = {
        {"fild", &o::CdrFill::kType},          {"outl", &o::CdrOutline::kType}, {"arrw", &o::CdrArrow::kType},
        {"ppdt", &o::CdrPpdt::kType},          {"bmp ", &o::CdrBmp::kType},     {"bmpf", &o::CdrPattern::kType},
        {"ftil", &o::CdrFillTransform::kType}, {"spnd", &o::CdrSpnd::kType},    {"uidr", &o::CdrUserPalette::kType},
        {"vpat", &o::CdrVectorPattern::kType}};
    for (const auto& [id, type] : kTypes) {
        if (id == chunk) {
            return type;
        }
    }
    return nullptr;
}

void take_cdr_resource(ManagedObject& object, std::string_view chunk, CdrNumbers in, uint32_t version) {
    if (chunk == "fild") {
        take_fill(object, in, version);
    } else if (chunk == "outl") {
        take_outline(object, in, version);
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
    }
}

}  // namespace zelmor::embed

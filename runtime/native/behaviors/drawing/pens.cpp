// Pens and the custom caps of their lines.
#include "runtime/native/behaviors/drawing/pens.h"

#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.Brushes.h"
#include "runtime/native/behaviors/drawing/matrix.h"
#include "runtime/native/behaviors/values/known_colors.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

using api::DashStyle;
using api::PenType;
using api::Brushes::SolidBrush;

namespace {

// ---- Making pens. A pen of a color has a solid brush of that color, and the other way round.

Ref<ManagedObject> solid_brush(const ColorValue& color) {
    auto brush = make_instance(SolidBrush::kType.name);
    set_property(*brush, "Color", box(color));
    return brush;
}

ColorValue black() {
    return ColorValue::from_argb(argb_of(api::KnownColor::kBlack));
}

Ref<ManagedObject> new_pen(const TypeInfo& type) {
    auto pen = make_ref<Record>(type);
    set_property(*pen, "Width", 1.0);
    set_property(*pen, "MiterLimit", 10.0);
    set_property(*pen, "Opacity", 1.0);
    set_property(*pen, "Color", box(black()));
    set_property(*pen, "Brush", solid_brush(black()));
    set_property(*pen, "Transform", Value(Ref<ManagedObject>(make_ref<MatrixObject>())));
    return pen;
}

void set_color(Record& self, const ColorValue& color) {
    set_property(self, "Color", box(color));
    set_property(self, "Brush", solid_brush(color));
}
void set_brush(Record& self, Record* brush) {
    set_property(self, "Brush", Value(Ref<ManagedObject>(brush)));
    if (brush != nullptr && &brush->type() == &require_type(SolidBrush::kType.name)) {
        set_property(self, "Color", property_object(*brush, "Color")->copy());
    }
}

Ref<ManagedObject> pen_of_color_and_width(const ColorValue& color, float width) {
    auto pen = make_instance(api::Pen::kType.name);
    set_color(cast_object<Record>(*pen), color);
    set_property(*pen, "Width", double{width});
    return pen;
}
Ref<ManagedObject> pen_of_color(const ColorValue& color) {
    return pen_of_color_and_width(color, 1);
}
Ref<ManagedObject> pen_of_brush_and_width(Record* brush, float width) {
    auto pen = make_instance(api::Pen::kType.name);
    set_brush(cast_object<Record>(*pen), &required(brush, "brush"));
    set_property(*pen, "Width", double{width});
    return pen;
}
Ref<ManagedObject> pen_of_brush(Record* brush) {
    return pen_of_brush_and_width(brush, 1);
}

void set_line_cap(Record& self, LineCap start, LineCap end, api::DashCap dash) {
    set_property(self, "StartCap", start);
    set_property(self, "EndCap", end);
    set_property(self, "DashCap", dash);
}

PenType pen_type(Record& self) {
    const auto brush = property_object(self, "Brush");
    const struct {
        const TypeName& base;
        PenType type;
    } kinds[] = {{api::Brushes::HatchBrush::kType, PenType::kHatchFill},
                 {api::Brushes::TextureBrush::kType, PenType::kTextureFill},
                 {api::Brushes::PathGradientBrushBase::kType, PenType::kPathGradient},
                 {api::Brushes::LinearGradientBrushBase::kType, PenType::kLinearGradient}};
    for (const auto& kind : kinds) {
        if (brush && is_a(brush->type(), kind.base)) {
            return kind.type;
        }
    }
    return PenType::kSolidColor;
}

// A pen with a pattern of dashes has the style for custom patterns.
void set_dash_pattern(Record& self, const VariantArg* value) {
    const Value pattern = Ref<ManagedObject>(read_list(value, element_of(Wire::kSingle)));
    for (const double length : numbers_of(pattern)) {
        if (!(length > 0)) {
            throw_argument("Dashes and gaps are longer than zero. (Parameter 'value')");
        }
    }
    set_property(self, "DashPattern", pattern);
    if (!is_null(pattern)) {
        set_property(self, "DashStyle", DashStyle::kCustom);
    }
}

// ---- Custom caps

class CustomCap final : public Record {
 public:
    static constexpr const char* kManagedName = api::CustomLineCap::kType.name;
    explicit CustomCap(const TypeInfo& type) : Record(type) { set_property(*this, "WidthScale", 1.0); }
    LineCap start = LineCap::kFlat, end = LineCap::kFlat;
    double miter_limit = PenShape().miter_limit;  // has no property
    Ref<ManagedObject> copy() const override {
        auto twin = make_ref<CustomCap>(type());
        twin->assign_from(*this);
        twin->start = start;
        twin->end = end;
        twin->miter_limit = miter_limit;
        return twin;
    }
};

void set_caps(CustomCap& self, LineCap start, LineCap end) {
    self.start = start;
    self.end = end;
}
LineCap get_caps(CustomCap& self, LineCap, int32_t* start, LineCap, int32_t* end) {
    *start = static_cast<int32_t>(self.start);
    *end = static_cast<int32_t>(self.end);
    return self.start;
}

using CustomLineCapApi = api::CustomLineCap;
using PenApi = api::Pen;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&pen_of_color, PenApi::ctor_000_Pen, PenApi::call_000_CreateWithColor>(),
    behavior<&pen_of_color_and_width, PenApi::ctor_001_Pen, PenApi::call_000_CreateWithColorWidth>(),
    behavior<&pen_of_brush, PenApi::ctor_002_Pen, PenApi::call_000_CreateWithBrush>(),
    behavior<&pen_of_brush_and_width, PenApi::ctor_003_Pen, PenApi::call_000_CreateWithBrushWidth>(),
    behavior<&set_line_cap, PenApi::call_000_SetLineCap>(),
    behavior<&set_color, PenApi::set_Color>(),
    behavior<&set_brush, PenApi::set_Brush>(),
    behavior<&set_dash_pattern, PenApi::set_DashPattern>(),
    behavior<&pen_type, PenApi::get_PenType>(),
    behavior<&set_caps, CustomLineCapApi::call_000_SetStrokeCaps>(),
    behavior<&get_caps, CustomLineCapApi::call_000_GetStrokeCaps>(),
});

const FactoryRegistration ZELMOR_UNNAMED(api::Pen::kType.name, new_pen);
const FactoryRegistration ZELMOR_UNNAMED(CustomCap::kManagedName, [](const TypeInfo& type) -> Ref<ManagedObject> {
    return make_ref<CustomCap>(type);
});

}  // namespace

EndCap end_cap_of(LineCap line_cap) {
    switch (line_cap) {
        case LineCap::kSquare:
            return EndCap::kSquare;
        case LineCap::kRound:
            return EndCap::kRound;
        case LineCap::kTriangle:
            return EndCap::kTriangle;
        default:
            return EndCap::kFlat;
    }
}

PenShape stroke_shape_of(const ManagedObject& custom_cap) {
    const auto& cap = dynamic_cast<const CustomCap&>(custom_cap);
    PenShape shape;
    shape.join = join_of(property_enum<api::LineJoin>(cap, "StrokeJoin"));
    shape.start_cap = end_cap_of(cap.start);
    shape.end_cap = end_cap_of(cap.end);
    shape.miter_limit = cap.miter_limit;
    return shape;
}

void set_stroke(ManagedObject& cap, LineCap start, LineCap end, double miter_limit) {
    auto& custom = cast_object<CustomCap>(cap);
    set_caps(custom, start, end);
    custom.miter_limit = miter_limit;
}

Join join_of(api::LineJoin join) {
    switch (join) {
        case api::LineJoin::kMiter:
            return Join::kMiter;
        case api::LineJoin::kBevel:
            return Join::kBevel;
        case api::LineJoin::kRound:
            return Join::kRound;
        case api::LineJoin::kMiterClipped:
            return Join::kMiterClipped;
    }
    return Join::kMiter;
}

PenShape pen_shape(const ManagedObject& pen) {
    PenShape shape;
    shape.width = property_double(pen, "Width");
    shape.start_cap = end_cap_of(property_enum<LineCap>(pen, "StartCap"));
    shape.end_cap = end_cap_of(property_enum<LineCap>(pen, "EndCap"));
    shape.join = join_of(property_enum<api::LineJoin>(pen, "LineJoin"));
    shape.miter_limit = property_double(pen, "MiterLimit");
    shape.nib = transform_of(pen);
    return shape;
}

std::vector<double> dashes_of(const ManagedObject& pen) {
    switch (property_enum<DashStyle>(pen, "DashStyle")) {
        case DashStyle::kSolid:
            return {};
        case DashStyle::kDash:
            return {3, 1};
        case DashStyle::kDot:
            return {1, 1};
        case DashStyle::kDashDot:
            return {3, 1, 1, 1};
        case DashStyle::kDashDotDot:
            return {3, 1, 1, 1, 1, 1};
        case DashStyle::kCustom:
            return numbers_of(property(pen, "DashPattern"));
    }
    return {};
}

}  // namespace zelmor::embed

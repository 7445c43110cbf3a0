// Pens and the custom caps of their lines.
#include "runtime/native/behaviors/drawing/pens.h"
#include "generated/runtime/Zelmor.Imaging.h"

#include <algorithm>

#include "runtime/native/behaviors/drawing/matrix.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

namespace {

constexpr const char* kPen = "Zelmor.Imaging.Pen";
constexpr const char* kSolid = "Zelmor.Imaging.Brushes.SolidBrush";
constexpr const char* kCap = "Zelmor.Imaging.CustomLineCap";
constexpr uint32_t kBlack = 0xFF000000;

// ---- Making pens. A pen of a color has a solid brush of that color, and the other way round.

Ref<ManagedObject> solid_brush(const ColorValue& color) {
    auto brush = make_instance(kSolid);
    set_property(*brush, "Color", box(color));
    return brush;
}

Ref<ManagedObject> new_pen(const TypeInfo& type) {
    auto pen = make_ref<Record>(type);
    set_property(*pen, "Width", 1.0);
    set_property(*pen, "MiterLimit", 10.0);
    set_property(*pen, "Opacity", 1.0);
    set_property(*pen, "Color", box(ColorValue::from_argb(kBlack)));
    set_property(*pen, "Brush", solid_brush(ColorValue::from_argb(kBlack)));
    set_property(*pen, "Transform", Value(Ref<ManagedObject>(make_ref<MatrixObject>())));
    return pen;
}

void set_color(Record& self, const ColorValue& color) {
    set_property(self, "Color", box(color));
    set_property(self, "Brush", solid_brush(color));
}
void set_brush(Record& self, Record* brush) {
    set_property(self, "Brush", Value(Ref<ManagedObject>(brush)));
    if (brush && &brush->type() == &require_type(kSolid)) {
        set_property(self, "Color", property_object(*brush, "Color")->copy());
    }
}

Ref<ManagedObject> pen_of_color_and_width(const ColorValue& color, float width) {
    auto pen = make_instance(kPen);
    set_color(cast_object<Record>(*pen), color);
    set_property(*pen, "Width", double{width});
    return pen;
}
Ref<ManagedObject> pen_of_color(const ColorValue& color) {
    return pen_of_color_and_width(color, 1);
}
Ref<ManagedObject> pen_of_brush_and_width(Record* brush, float width) {
    if (!brush) {
        throw_argument_null("brush");
    }
    auto pen = make_instance(kPen);
    set_brush(cast_object<Record>(*pen), brush);
    set_property(*pen, "Width", double{width});
    return pen;
}
Ref<ManagedObject> pen_of_brush(Record* brush) {
    return pen_of_brush_and_width(brush, 1);
}

void set_line_cap(Record& self, int32_t start, int32_t end, int32_t dash) {
    set_property(self, "StartCap", int64_t{start});
    set_property(self, "EndCap", int64_t{end});
    set_property(self, "DashCap", int64_t{dash});
}

// Values of the enumeration PenType.
int32_t pen_type(Record& self) {
    const auto brush = property_object(self, "Brush");
    const struct {
        const char* base;
        int32_t type;
    } kinds[] = {{"Zelmor.Imaging.Brushes.HatchBrush", 1},
                 {"Zelmor.Imaging.Brushes.TextureBrush", 2},
                 {"Zelmor.Imaging.Brushes.PathGradientBrushBase", 3},
                 {"Zelmor.Imaging.Brushes.LinearGradientBrushBase", 4}};
    for (const auto& kind : kinds) {
        if (brush && is_assignable(require_type(kind.base), brush->type())) {
            return kind.type;
        }
    }
    return 0;
}

// Setting a pattern of dashes is what makes a pen's style a custom one.
void set_dash_pattern(Record& self, const VariantArg* value) {
    const Value pattern = Ref<ManagedObject>(read_list(value, element_of(Wire::kSingle)));
    for (const double length : numbers_of(pattern)) {
        if (!(length > 0)) {
            throw_argument("Dashes and gaps are longer than zero. (Parameter 'value')");
        }
    }
    set_property(self, "DashPattern", pattern);
    if (!is_null(pattern)) {
        set_property(self, "DashStyle", int64_t{5});
    }
}

// ---- Custom caps

class CustomCap final : public Record {
 public:
    static constexpr const char* kManagedName = kCap;
    explicit CustomCap(const TypeInfo& type) : Record(type) { set_property(*this, "WidthScale", 1.0); }
    int32_t start = 0, end = 0;
    Ref<ManagedObject> copy() const override {
        auto twin = make_ref<CustomCap>(type());
        twin->assign_from(*this);
        twin->start = start;
        twin->end = end;
        return twin;
    }
};

void set_caps(CustomCap& self, int32_t start, int32_t end) {
    self.start = start;
    self.end = end;
}
int32_t get_caps(CustomCap& self, int32_t, int32_t* start, int32_t, int32_t* end) {
    *start = self.start;
    *end = self.end;
    return self.start;
}

using CustomLineCapApi = api::CustomLineCap;
using PenApi = api::Pen;

const BehaviorTable table({
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

const FactoryRegistration pen_factory(kPen, new_pen);
const FactoryRegistration cap_factory(kCap, [](const TypeInfo& type) -> Ref<ManagedObject> {
    return make_ref<CustomCap>(type);
});

}  // namespace

EndCap end_cap_of(int64_t line_cap) {
    switch (static_cast<LineCap>(line_cap)) {
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

PenShape pen_shape(const ManagedObject& pen) {
    PenShape shape;
    shape.width = property_double(pen, "Width");
    shape.start_cap = end_cap_of(property_int(pen, "StartCap"));
    shape.end_cap = end_cap_of(property_int(pen, "EndCap"));
    const int64_t join = property_int(pen, "LineJoin");
    shape.join = join >= 0 && join <= 3 ? static_cast<Join>(join) : Join::kMiter;
    shape.miter_limit = property_double(pen, "MiterLimit");
    if (const auto matrix = property_object(pen, "Transform")) {
        shape.nib = cast_object<MatrixObject>(*matrix).map;
    }
    return shape;
}

std::vector<double> dashes_of(const ManagedObject& pen) {
    switch (property_int(pen, "DashStyle")) {
        case 1:
            return {3, 1};
        case 2:
            return {1, 1};
        case 3:
            return {3, 1, 1, 1};
        case 4:
            return {3, 1, 1, 1, 1, 1};
        case 5:
            return numbers_of(property(pen, "DashPattern"));
        default:
            return {};
    }
}

}  // namespace zelmor::embed

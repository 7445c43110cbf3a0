// Brushes and pens of EMF+ as those of the API.
#include <algorithm>
#include <string>
#include <string_view>

#include "generated/runtime/Zelmor.Imaging.Brushes.h"
#include "runtime/native/behaviors/drawing/matrix.h"
#include "runtime/native/behaviors/drawing/pens.h"
#include "runtime/native/behaviors/drawing/shapes.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/values.h"
#include "runtime/native/formats/metafile/player/plus_objects.h"

namespace zelmor::embed::metafile {

namespace {

using std::string_view;

// Of the data of brushes.
constexpr int64_t kGammaCorrected = 0x80;

Value color_value(Argb color) {
    return Value(box(ColorValue::from_argb(color)));
}

Value floats(const std::vector<double>& numbers) {
    std::vector<float> narrow(numbers.begin(), numbers.end());
    return Value(Ref<ManagedObject>(make_array(std::move(narrow))));
}

Value matrix(const Affine& map) {
    return Value(Ref<ManagedObject>(make_ref<MatrixObject>(map)));
}

Value color_array(const std::vector<Argb>& colors) {
    std::vector<Value> values;
    for (const Argb color : colors) {
        values.push_back(color_value(color));
    }
    return Value(Ref<ManagedObject>(object_array(api::Color::kType, std::move(values))));
}

bool is_brush_class(const ManagedObject& object, string_view name) {
    return name == object.type().name;
}

Ref<ManagedObject> solid(Argb color) {
    auto brush = make_instance(api::Brushes::SolidBrush::kType.name);
    set_property(*brush, "Color", color_value(color));
    return brush;
}

// The colors or factors between the ends of a gradient. `whole` is a gradient of many colors, `plain` one of two.
struct Pattern {
    std::vector<double> positions, factors;
    std::vector<Argb> colors;
};
Pattern pattern_in(const ManagedObject& optional) {
    const Value& value = property(optional, "BlendPattern");
    Pattern pattern;
    const auto* held = std::get_if<Ref<ManagedObject>>(&value);
    if (held == nullptr || !*held) {
        return pattern;
    }
    // One of them, or a list of one or two.
    Ref<ManagedObject> first = *held;
    if (dynamic_cast<const ManagedList*>(first.get()) != nullptr) {
        const auto all = objects_in(optional, "BlendPattern");
        first = all.empty() ? Ref<ManagedObject>() : all.front();
    }
    if (!first) {
        return pattern;
    }
    pattern.positions = numbers_in(*first, "BlendPositions");
    if (is_brush_class(*first, "EmfPlusBlendColors")) {
        pattern.colors = colors_in(*first, "Argb32BlendColors");
        const size_t count = std::min(pattern.colors.size(), pattern.positions.size());
        pattern.colors.resize(count);
        pattern.positions.resize(count);
    } else {
        pattern.factors = numbers_in(*first, "BlendFactors");
        const size_t count = std::min(pattern.factors.size(), pattern.positions.size());
        pattern.factors.resize(count);
        pattern.positions.resize(count);
    }
    return pattern;
}

// A gradient of two colors, or of many where the pattern has colors.
Ref<ManagedObject> gradient(const Pattern& pattern, const char* plain, const char* many) {
    auto brush = make_instance(pattern.colors.size() >= 2 ? many : plain);
    if (pattern.colors.size() >= 2) {
        auto blend = make_instance(api::ColorBlend::kType.name);
        set_property(*blend, "Positions", floats(pattern.positions));
        set_property(*blend, "Colors", color_array(pattern.colors));
        set_property(*brush, "InterpolationColors", Value(blend));
    } else if (pattern.factors.size() >= 2) {
        auto blend = make_instance(api::Blend::kType.name);
        set_property(*blend, "Positions", floats(pattern.positions));
        set_property(*blend, "Factors", floats(pattern.factors));
        set_property(*brush, "Blend", Value(blend));
    }
    return brush;
}

Pattern pattern_of(const Ref<ManagedObject>& optional) {
    return optional ? pattern_in(*optional) : Pattern();
}
Affine map_of(const Ref<ManagedObject>& optional) {
    return optional ? map_in(*optional, "TransformMatrix") : Affine();
}

Ref<ManagedObject> linear(const ManagedObject& data) {
    using namespace api::Brushes;
    const auto optional = object_in(data, "OptionalData");
    const Pattern pattern = pattern_of(optional);
    auto brush = gradient(pattern, LinearGradientBrush::kType.name, LinearMulticolorGradientBrush::kType.name);
    set_property(*brush, "Rectangle", Value(box(to_rectangle_f(rect_in(data, "Rectangle")))));
    set_property(*brush, "Angle", 0.0);
    set_property(*brush, "Transform", matrix(map_of(optional)));
    set_property(*brush, "WrapMode", whole_in(data, "WrapMode"));
    set_property(*brush, "GammaCorrection", (whole_in(data, "BrushDataFlags") & kGammaCorrected) != 0);
    if (has_property(*brush, "StartColor")) {
        set_property(*brush, "StartColor", color_value(color_in(data, "Argb32StartColor")));
        set_property(*brush, "EndColor", color_value(color_in(data, "Argb32EndColor")));
    }
    return brush;
}

Ref<ManagedObject> path_gradient(const ManagedObject& data) {
    using namespace api::Brushes;
    const auto optional = object_in(data, "OptionalData");
    Pattern pattern = pattern_of(optional);
    std::vector<PointD> points;
    if (const auto boundary = object_in(data, "BoundaryData")) {
        if (is_brush_class(*boundary, "EmfPlusBoundaryPointData")) {
            points = points_in(*boundary, "BoundaryPointData");
        } else if (const auto path = object_in(*boundary, "BoundaryPathData")) {
            constexpr double kFlatness = 0.25;
            const Outline outline = plus_path(*path);
            points = outline.empty() ? points : flattened(outline.front(), kFlatness);
        }
    }
    auto brush = gradient(pattern, PathGradientBrush::kType.name, PathMulticolorGradientBrush::kType.name);
    set_property(*brush, "PathPoints", Value(Ref<ManagedObject>(point_array(points))));
    set_property(*brush, "CenterPoint", Value(box(to_point_f(point_in(data, "CenterPoint")))));
    PointD focus;
    if (const auto scales = optional ? object_in(*optional, "FocusScaleData") : Ref<ManagedObject>()) {
        focus = {number_in(*scales, "FocusScaleX"), number_in(*scales, "FocusScaleY")};
    }
    set_property(*brush, "FocusScales", Value(box(to_point_f(focus))));
    set_property(*brush, "Transform", matrix(map_of(optional)));
    set_property(*brush, "WrapMode", whole_in(data, "WrapMode"));
    if (has_property(*brush, "CenterColor")) {
        set_property(*brush, "CenterColor", color_value(color_in(data, "Argb32CenterColor")));
        set_property(*brush, "SurroundColors", color_array(colors_in(data, "Argb32SurroundingColor")));
    }
    return brush;
}

// ---- Pens

Ref<ManagedObject> path_object(const Ref<ManagedObject>& holder, const char* name) {
    const auto path = holder ? object_in(*holder, name) : Ref<ManagedObject>();
    if (!path) {
        return {};
    }
    auto made = make_ref<PathObject>();
    constexpr double kFlatness = 0.01;
    made->become(flattened(plus_path(*path), kFlatness));
    return made;
}

api::LineCap usual_cap(int64_t cap) {
    for (const auto each :
         {api::LineCap::kSquare, api::LineCap::kRound, api::LineCap::kTriangle, api::LineCap::kSquareAnchor,
          api::LineCap::kRoundAnchor, api::LineCap::kDiamondAnchor, api::LineCap::kArrowAnchor}) {
        if (static_cast<int64_t>(each) == cap) {
            return each;
        }
    }
    return api::LineCap::kFlat;
}

int64_t usual_join(int64_t join) {
    return std::clamp<int64_t>(join, 0, 3);
}

double usual_limit(double limit) {
    return std::max(limit, 1.0);
}

// How the lines of a custom cap are drawn; the names of the properties have this beginning.
void set_stroke_of(ManagedObject& cap, const ManagedObject& data, const std::string& names) {
    const auto named = [&](const char* name) { return names + name; };
    set_property(cap, "StrokeJoin", usual_join(whole_in(data, named("Join").c_str())));
    set_stroke(cap, usual_cap(whole_in(data, named("StartCap").c_str())),
               usual_cap(whole_in(data, named("EndCap").c_str())),
               usual_limit(number_in(data, named("MiterLimit").c_str())));
}

// A cap as the API has it: the line ends at the origin and comes from below in both.
Ref<ManagedObject> custom_cap(const ManagedObject& cap) {
    const auto data = object_in(cap, "CustomLineCapData");
    if (!data) {
        return {};
    }
    auto made = make_instance(api::CustomLineCap::kType.name);
    if (is_brush_class(*data, "EmfPlusCustomLineCapArrowData")) {
        const double width = number_in(*data, "Width"), height = number_in(*data, "Height");
        const double inset = number_in(*data, "MiddleInset");
        const std::vector<PointD> corners{{0, 0}, {-width / 2, -height}, {0, -height + inset}, {width / 2, -height}};
        auto path = make_ref<PathObject>();
        path->become({polygon_contour(corners, true)});
        const bool filled = whole_in(*data, "FillState") != 0;
        set_property(*made, filled ? "FillPath" : "StrokePath", Value(Ref<ManagedObject>(path)));
        set_stroke_of(*made, *data, "Line");
    } else {
        const auto optional = object_in(*data, "OptionalData");
        const auto fill = optional ? object_in(*optional, "FillData") : Ref<ManagedObject>();
        const auto line = optional ? object_in(*optional, "OutlineData") : Ref<ManagedObject>();
        if (const auto path = path_object(fill, "FillPath")) {
            set_property(*made, "FillPath", Value(path));
        }
        if (const auto path = path_object(line, "LinePath")) {
            set_property(*made, "StrokePath", Value(path));
        }
        set_stroke_of(*made, *data, "Stroke");
        set_property(*made, "BaseCap", usual_cap(whole_in(*data, "BaseCap")));
        set_property(*made, "BaseInset", number_in(*data, "BaseInset"));
    }
    const double scale = number_in(*data, "WidthScale");
    set_property(*made, "WidthScale", scale > 0 ? scale : 1.0);
    return made;
}

void set_cap(ManagedObject& pen, const ManagedObject& optional, const char* holder, const char* held,
             const char* line_cap, const char* custom) {
    const auto data = object_in(optional, holder);
    const auto cap = data ? object_in(*data, held) : Ref<ManagedObject>();
    if (const auto made = cap ? custom_cap(*cap) : Ref<ManagedObject>()) {
        set_property(pen, custom, Value(made));
        set_property(pen, line_cap, api::LineCap::kCustom);
    }
}

void set_pen_details(ManagedObject& pen, const ManagedObject& optional, int64_t flags) {
    enum : int64_t {
        kTransform = 1,
        kStartCap = 2,
        kEndCap = 4,
        kJoin = 8,
        kMiter = 0x10,
        kStyle = 0x20,
        kDashCap = 0x40,
        kDashOffset = 0x80,
        kDashes = 0x100,
        kAlignment = 0x200,
        kCompound = 0x400
    };
    const auto has = [&](int64_t flag) { return (flags & flag) != 0; };
    if (has(kTransform)) {
        set_property(pen, "Transform", matrix(map_in(optional, "TransformMatrix")));
    }
    if (has(kStartCap)) {
        set_property(pen, "StartCap", usual_cap(whole_in(optional, "StartCap")));
    }
    if (has(kEndCap)) {
        set_property(pen, "EndCap", usual_cap(whole_in(optional, "EndCap")));
    }
    if (has(kJoin)) {
        set_property(pen, "LineJoin", usual_join(whole_in(optional, "Join")));
    }
    if (has(kMiter)) {
        set_property(pen, "MiterLimit", usual_limit(number_in(optional, "MiterLimit")));
    }
    if (has(kStyle)) {
        const int64_t style = whole_in(optional, "LineStyle");
        set_property(pen, "DashStyle", style >= 0 && style <= 4 ? style : int64_t{0});
    }
    if (has(kDashCap)) {
        set_property(pen, "DashCap", whole_in(optional, "DashedLineCapType"));
    }
    if (has(kDashOffset)) {
        set_property(pen, "DashOffset", number_in(optional, "DashOffset"));
    }
    if (const auto dashes = has(kDashes) ? object_in(optional, "DashedLineData") : Ref<ManagedObject>()) {
        std::vector<double> lengths = numbers_in(*dashes, "DashedLineData");
        double sum = 0;
        for (double& length : lengths) {
            sum += length = std::max(length, 0.0);
        }
        if (sum > 0) {
            set_property(pen, "DashPattern", floats(lengths));
            set_property(pen, "DashStyle", api::DashStyle::kCustom);
        }
    }
    if (has(kAlignment)) {
        const bool inset = whole_in(optional, "PenAlignment") == static_cast<int64_t>(api::PenAlignment::kInset);
        set_property(pen, "Alignment", inset ? api::PenAlignment::kInset : api::PenAlignment::kCenter);
    }
    if (const auto compound = has(kCompound) ? object_in(optional, "CompoundLineData") : Ref<ManagedObject>()) {
        const std::vector<double> parts = numbers_in(*compound, "CompoundLineData");
        if (!parts.empty() && parts.front() >= 0 && std::is_sorted(parts.begin(), parts.end()) && parts.back() <= 1) {
            set_property(pen, "CompoundArray", floats(parts));
        }
    }
    set_cap(pen, optional, "CustomStartCapData", "CustomStartCap", "StartCap", "CustomStartCap");
    set_cap(pen, optional, "CustomEndCapData", "CustomEndCap", "EndCap", "CustomEndCap");
}

}  // namespace

PlusBrush plus_color(Argb color) {
    return {solid(color), {}, {}, {}};
}

PlusBrush plus_brush(const ManagedObject& object) {
    PlusBrush made;
    const auto data = object_in(object, "BrushData");
    if (!data) {
        return made;
    }
    if (is_brush_class(*data, "EmfPlusSolidBrushData")) {
        made.brush = solid(color_in(*data, "Argb32SolidColor"));
    } else if (is_brush_class(*data, "EmfPlusHatchBrushData")) {
        made.brush = make_instance(api::Brushes::HatchBrush::kType.name);
        const int64_t last = static_cast<int64_t>(api::HatchStyle::kSolidDiamond);
        set_property(*made.brush, "HatchStyle", std::clamp<int64_t>(whole_in(*data, "HatchStyle"), 0, last));
        set_property(*made.brush, "ForegroundColor", color_value(color_in(*data, "Argb32ForeColor")));
        set_property(*made.brush, "BackgroundColor", color_value(color_in(*data, "Argb32BackColor")));
    } else if (is_brush_class(*data, "EmfPlusLinearGradientBrushData")) {
        made.brush = linear(*data);
    } else if (is_brush_class(*data, "EmfPlusPathGradientBrushData")) {
        made.brush = path_gradient(*data);
    } else if (is_brush_class(*data, "EmfPlusTextureBrushData")) {
        const auto optional = object_in(*data, "OptionalData");
        made.wrap = static_cast<api::WrapMode>(whole_in(*data, "WrapMode"));
        made.transform = map_of(optional);
        if (const auto image = optional ? object_in(*optional, "ImageObject") : Ref<ManagedObject>()) {
            made.texture = plus_image(*image).pixels;
        }
    }
    return made;
}

PlusPen plus_pen(const ManagedObject& object) {
    PlusPen made;
    made.pen = make_instance(api::Pen::kType.name);
    if (const auto brush = object_in(object, "BrushObject")) {
        made.brush = plus_brush(*brush);
    }
    const auto data = object_in(object, "PenData");
    if (!data) {
        return made;
    }
    made.unit = whole_in(*data, "PenUnit");
    made.width = number_in(*data, "PenWidth");
    if (const auto optional = object_in(*data, "OptionalData")) {
        set_pen_details(*made.pen, *optional, whole_in(*data, "PenDataFlags"));
    }
    return made;
}

std::optional<Paint> plus_paint(const PlusBrush& brush, const PaintPlace& place) {
    if (brush.brush) {
        return embed::paint_of(brush.brush.get(), place);
    }
    if (brush.texture.empty()) {
        return std::nullopt;
    }
    Paint paint;
    paint.kind = Paint::Kind::kTexture;
    paint.width = brush.texture.width;
    paint.height = brush.texture.height;
    paint.pixels = brush.texture.colors;
    paint.extend = brush.wrap == api::WrapMode::kClamp ? drawwork::Extend::kNone : drawwork::Extend::kRepeat;
    add_mirrored(paint, flips_sideways(brush.wrap), flips_upright(brush.wrap));
    paint.placing = brush.transform.then(place.map);
    return paint;
}

}  // namespace zelmor::embed::metafile

// Making objects from elements, by tables of classes and their properties; see od_objects.h.
#include "runtime/native/formats/opendocument/od_objects.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "generated/runtime/Zelmor.Imaging.FileFormats.OpenDocument.Enums.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.OpenDocument.Objects.Brush.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.OpenDocument.Objects.Font.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.OpenDocument.Objects.Graphic.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.OpenDocument.Objects.Pen.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.OpenDocument.Objects.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.OpenDocument.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/values.h"
#include "runtime/native/formats/opendocument/od_drawing.h"
#include "runtime/native/formats/opendocument/od_geometry.h"
#include "runtime/native/formats/opendocument/od_patterns.h"
#include "runtime/native/formats/opendocument/od_text.h"
#include "runtime/native/formats/opendocument/od_values.h"

namespace zelmor::embed {

namespace objects = api::FileFormats::OpenDocument::Objects;
namespace graphic = api::FileFormats::OpenDocument::Objects::Graphic;
namespace enums = api::FileFormats::OpenDocument::Enums;
using drawwork::Affine;
using drawwork::PointD;

namespace {

constexpr const char* kObject = api::FileFormats::OpenDocument::OdObject::kType.name;
constexpr const char* kGraphicObject = graphic::OdGraphicObject::kType.name;
constexpr const char* kGraphic = "style:graphic-properties";

enum class Kind { kText, kLength, kNumber, kInt, kBool, kPercent, kViewBox, kPoints, kPoint, kEllipse };

// A property and the attribute that it comes from.
struct Field {
    const char* property;
    const char* attribute;  // of a point the first of two
    Kind kind = Kind::kText;
    const char* second = nullptr;
};

struct ElementClass {
    std::string_view element;
    const TypeName& type;
    std::span<const Field> fields;
};

constexpr Field kPage[] = {{"Name", "draw:name"},
                           {"StyleName", "draw:style-name"},
                           {"MasterPageName", "draw:master-page-name"},
                           {"Id", "draw:id"},
                           {"NavOrder", "draw:nav-order"}};
#define ZELMOR_OD_SHAPE                                                            \
    {"StyleName", "draw:style-name"}, {"TextStyleName", "draw:text-style-name"}, { \
        "Layer", "draw:layer"                                                      \
    }
#define ZELMOR_OD_BOX                                                                                      \
    {"X", "svg:x", Kind::kLength}, {"Y", "svg:y", Kind::kLength}, {"Width", "svg:width", Kind::kLength}, { \
        "Height", "svg:height", Kind::kLength                                                              \
    }
constexpr Field kRectangle[] = {ZELMOR_OD_SHAPE,
                                ZELMOR_OD_BOX,
                                {"CornerRadius", "draw:corner-radius", Kind::kLength},
                                {"Rx", "svg:rx", Kind::kLength},
                                {"Ry", "svg:ry", Kind::kLength}};
constexpr Field kEllipse[] = {ZELMOR_OD_SHAPE, {nullptr, nullptr, Kind::kEllipse}};
constexpr Field kLine[] = {
    ZELMOR_OD_SHAPE, {"Point1", "svg:x1", Kind::kPoint, "svg:y1"}, {"Point2", "svg:x2", Kind::kPoint, "svg:y2"}};
constexpr Field kConnector[] = {ZELMOR_OD_SHAPE,
                                {"Point1", "svg:x1", Kind::kPoint, "svg:y1"},
                                {"Point2", "svg:x2", Kind::kPoint, "svg:y2"},
                                {"Type", "draw:type"},
                                {"StartShape", "draw:start-shape"},
                                {"StartGluePoint", "draw:start-glue-point", Kind::kInt},
                                {"EndShape", "draw:end-shape"},
                                {"EndGluePoint", "draw:end-glue-point", Kind::kInt},
                                {"LineSkew", "draw:line-skew"},
                                {"Data", "svg:d"}};
constexpr Field kPolygon[] = {ZELMOR_OD_SHAPE,
                              ZELMOR_OD_BOX,
                              {"ViewBox", "svg:viewBox", Kind::kViewBox},
                              {"Points", "draw:points", Kind::kPoints}};
constexpr Field kPath[] = {ZELMOR_OD_SHAPE, {"Data", "svg:d"}};
constexpr Field kFrame[] = {ZELMOR_OD_SHAPE, ZELMOR_OD_BOX, {"CopyOf", "draw:copy-of"}};
constexpr Field kCustomShape[] = {ZELMOR_OD_SHAPE, ZELMOR_OD_BOX, {"Engine", "draw:engine"}, {"Data", "draw:data"}};
constexpr Field kContainer[] = {
    {"StyleName", "draw:style-name"}, {"Id", "draw:id"}, {"Name", "draw:name"}, {"ZIndex", "draw:z-index", Kind::kInt}};
constexpr Field kImage[] = {{"Href", "xlink:href"},
                            {"Type", "xlink:type"},
                            {"Show", "xlink:show"},
                            {"Actuate", "xlink:actuate"},
                            {"FilterName", "draw:filter-name"}};
constexpr Field kTextBox[] = {
    {"ChainNextName", "draw:chain-next-name"},   {"CornerRadius", "draw:corner-radius", Kind::kLength},
    {"MinWidth", "fo:min-width", Kind::kLength}, {"MinHeight", "fo:min-height", Kind::kLength},
    {"MaxWidth", "fo:max-width", Kind::kLength}, {"MaxHeight", "fo:max-height", Kind::kLength}};
constexpr Field kParagraph[] = {{"StyleName", "text:style-name"},
                                {"CondStyleName", "text:cond-style-name"},
                                {"ClassNames", "text:class-names"},
                                {"Id", "text:id"}};
constexpr Field kSpan[] = {{"StyleName", "text:style-name"}, {"ClassNames", "text:class-names"}};
constexpr Field kList[] = {{"StyleName", "text:style-name"},
                           {"ContinueNumbering", "text:continue-numbering", Kind::kBool},
                           {"ContinueList", "text:continue-list"}};
constexpr Field kListItem[] = {{"StartValue", "text:start-value", Kind::kInt},
                               {"StyleOverride", "text:style-override"}};
constexpr Field kEquation[] = {{"Name", "draw:name"}, {"Formula", "draw:formula"}};
constexpr Field kGeometry[] = {{"Type", "draw:type"},
                               {"ViewBox", "svg:viewBox", Kind::kViewBox},
                               {"MirrorHorizontal", "draw:mirror-horizontal", Kind::kBool},
                               {"MirrorVertical", "draw:mirror-vertical", Kind::kBool},
                               {"TextRotateAngle", "draw:text-rotate-angle", Kind::kNumber},
                               {"ExtrusionAllowed", "draw:extrusion-allowed", Kind::kBool},
                               {"TextPathAllowed", "draw:text-path-allowed", Kind::kBool},
                               {"ConcentricGradientFillAllowed", "draw:concentric-gradient-fill-allowed", Kind::kBool},
                               {"Extrusion", "draw:extrusion", Kind::kBool},
                               {"ExtrusionBrightness", "draw:extrusion-brightness", Kind::kPercent},
                               {"ExtrusionDepth", "draw:extrusion-depth"},
                               {"ExtrusionDiffusion", "draw:extrusion-diffusion", Kind::kPercent},
                               {"ExtrusionNumberOfLineSegments", "draw:extrusion-number-of-line-segments", Kind::kInt},
                               {"ExtrusionLightFace", "draw:extrusion-light-face", Kind::kBool},
                               {"ExtrusionFirstLightHarsh", "draw:extrusion-first-light-harsh", Kind::kBool},
                               {"ExtrusionSecondLightHarsh", "draw:extrusion-second-light-harsh", Kind::kBool},
                               {"ExtrusionFirstLightLevel", "draw:extrusion-first-light-level", Kind::kPercent},
                               {"ExtrusionSecondLightLevel", "draw:extrusion-second-light-level", Kind::kPercent},
                               {"ExtrusionFirstLightDirection", "draw:extrusion-first-light-direction"},
                               {"ExtrusionSecondLightDirection", "draw:extrusion-second-light-direction"},
                               {"ExtrusionMetal", "draw:extrusion-metal", Kind::kBool},
                               {"ShadeMode", "dr3d:shade-mode"},
                               {"ExtrusionRotationAngle", "draw:extrusion-rotation-angle"},
                               {"ExtrusionRotationCenter", "draw:extrusion-rotation-center"},
                               {"ExtrusionShininess", "draw:extrusion-shininess", Kind::kPercent},
                               {"ExtrusionSkew", "draw:extrusion-skew"},
                               {"ExtrusionSpecularity", "draw:extrusion-specularity", Kind::kPercent},
                               {"Projection", "dr3d:projection"},
                               {"ExtrusionViewpoint", "draw:extrusion-viewpoint"},
                               {"ExtrusionOrigin", "draw:extrusion-origin"},
                               {"ExtrusionColor", "draw:extrusion-color", Kind::kBool},
                               {"PathStretchpointX", "draw:path-stretchpoint-x", Kind::kNumber},
                               {"PathStretchpointY", "draw:path-stretchpoint-y", Kind::kNumber},
                               {"TextAreas", "draw:text-areas"},
                               {"GluePoints", "draw:glue-points"},
                               {"GluePointType", "draw:glue-point-type"},
                               {"GluePointLeavingDirections", "draw:glue-point-leaving-directions"},
                               {"TextPath", "draw:text-path", Kind::kBool},
                               {"TextPathMode", "draw:text-path-mode"},
                               {"TextPathScale", "draw:text-path-scale"},
                               {"TextPathSameLetterHeights", "draw:text-path-same-letter-heights", Kind::kBool},
                               {"Modifiers", "draw:modifiers"}};
constexpr Field kMarker[] = {{"Name", "draw:name"},
                             {"DisplayName", "draw:display-name"},
                             {"ViewBox", "svg:viewBox", Kind::kViewBox},
                             {"Data", "svg:d"}};
constexpr Field kMetadata[] = {{"Generator", "meta:generator"},
                               {"Title", "dc:title"},
                               {"Description", "dc:description"},
                               {"Subject", "dc:subject"},
                               {"InitialCreator", "meta:initial-creator"},
                               {"Creator", "dc:creator"},
                               {"PrintedBy", "meta:printed-by"},
                               {"CreationDateTime", "meta:creation-date"},
                               {"ModificationDateTime", "dc:date"},
                               {"PrintDateTime", "meta:print-date"},
                               {"Language", "dc:language"},
                               {"EditingCycles", "meta:editing-cycles"},
                               {"EditingDuration", "meta:editing-duration"}};
#undef ZELMOR_OD_SHAPE
#undef ZELMOR_OD_BOX

const ElementClass kElementClasses[] = {
    {"draw:page", graphic::OdPage::kType, kPage},
    {"draw:rect", graphic::OdRectangle::kType, kRectangle},
    {"draw:circle", graphic::OdCircle::kType, kEllipse},
    {"draw:ellipse", graphic::OdAngleEllipse::kType, kEllipse},
    {"draw:line", graphic::OdLine::kType, kLine},
    {"draw:measure", graphic::OdMeasure::kType, kLine},
    {"draw:connector", graphic::OdConnector::kType, kConnector},
    {"draw:polygon", graphic::OdPolygon::kType, kPolygon},
    {"draw:polyline", graphic::OdPolyLine::kType, kPolygon},
    {"draw:path", graphic::OdPath::kType, kPath},
    {"draw:frame", graphic::OdFrame::kType, kFrame},
    {"draw:image", graphic::OdImageObject::kType, kImage},
    {"draw:text-box", graphic::OdTextBox::kType, kTextBox},
    {"draw:g", graphic::OdContainer::kType, kContainer},
    {"draw:custom-shape", graphic::OdCustomShape::kType, kCustomShape},
    {"draw:enhanced-geometry", graphic::OdEnhancedGeometry::kType, kGeometry},
    {"draw:equation", graphic::OdEquation::kType, kEquation},
    {"text:p", graphic::OdTextParagraph::kType, kParagraph},
    {"text:h", graphic::OdTextParagraph::kType, kParagraph},
    {"text:span", graphic::OdTextSpan::kType, kSpan},
    {"text:list", graphic::OdList::kType, kList},
    {"text:list-item", graphic::OdListItem::kType, kListItem},
    {"text:measure", graphic::OdTextMeasure::kType, {}},
};

PointFValue to_point(PointD p) {
    return {static_cast<float>(p.x), static_cast<float>(p.y)};
}

int32_t rounded(double value) {
    return static_cast<int32_t>(std::lround(std::clamp(value, -2e9, 2e9)));
}

Value text_value(std::string_view text) {
    return to_utf16(text);
}

Value array_of(Wire wire, const char* type, std::vector<Value> items) {
    return Ref<ManagedObject>(make_ref<ValueList>(ListShape::kArray, element_of(wire, type), std::move(items)));
}

Ref<ManagedObject> child_of(const Ref<ManagedObject>& parent, const TypeName& type) {
    Ref<ManagedObject> object = make_instance(type.name);
    if (parent) {
        set_property(*object, "Parent", Ref<ManagedObject>(parent));
    }
    return object;
}

void append_item(const Ref<ManagedObject>& parent, const Ref<ManagedObject>& item) {
    const auto items = property_object(*parent, "Items");
    cast_object<ManagedList>(*items).append(Ref<ManagedObject>(item));
}

void take_field(ManagedObject& object, const Field& field, const OdNode& element) {
    if (field.kind == Kind::kEllipse) {
        const OdShapePlace place = od_shape_place(element);
        const PointD at{place.placing.dx, place.placing.dy};
        const auto set = [&](const char* property, double value) { set_property(object, property, value); };
        set("X", at.x);
        set("Y", at.y);
        set("Width", place.width);
        set("Height", place.height);
        set("Cx", at.x + place.width / 2);
        set("Cy", at.y + place.height / 2);
        set("Rx", place.width / 2);
        set("Ry", place.height / 2);
        set("StartAngle", od_angle(element.get("draw:start-angle"), 1));
        set("EndAngle", od_angle(element.get("draw:end-angle"), 1));
        if (has_property(object, "R")) {
            set("R", place.width / 2);
        }
        const std::string_view kind = element.get("draw:kind");
        const enums::OdObjectKind value = kind == "section" ? enums::OdObjectKind::kSection
                                          : kind == "cut"   ? enums::OdObjectKind::kCut
                                          : kind == "arc"   ? enums::OdObjectKind::kArc
                                                            : enums::OdObjectKind::kNone;
        set_property(object, "Kind", static_cast<int64_t>(value));
        return;
    }
    const std::string* found = element.find(field.attribute);
    if (found == nullptr) {
        return;
    }
    const std::string_view text = *found;
    switch (field.kind) {
        case Kind::kText:
            set_property(object, field.property, text_value(text));
            break;
        case Kind::kLength:
            set_property(object, field.property, od_length(text, 0));
            break;
        case Kind::kNumber:
            set_property(object, field.property, od_number(text, 0));
            break;
        case Kind::kInt:
            set_property(object, field.property, rounded(od_number(text, 0)));
            break;
        case Kind::kBool:
            set_property(object, field.property, od_bool(text, false));
            break;
        case Kind::kPercent:
            set_property(object, field.property, od_percent(text).value_or(0) * 100);
            break;
        case Kind::kViewBox:
            if (const auto box = od_view_box(text)) {
                const RectangleValue area{rounded(box->x), rounded(box->y), rounded(box->width), rounded(box->height)};
                set_property(object, field.property, embed::box(area));
            }
            break;
        case Kind::kPoints: {
            std::vector<Value> points;
            for (const PointD& point : od_points(text)) {
                points.emplace_back(box(to_point(point)));
            }
            set_property(object, field.property,
                         array_of(Wire::kStruct, StructTraits<PointFValue>::kName, std::move(points)));
            break;
        }
        case Kind::kPoint:
            set_property(object, field.property,
                         box(to_point({od_length(text, 0), od_length(element.get(field.second), 0)})));
            break;
        case Kind::kEllipse:
            break;
    }
}

// ---- Styles

Ref<ManagedObject> brush_of(const OdDocument& document, OdPatterns& patterns, const OdStyle& style) {
    namespace brush = objects::Brush;
    const std::string_view fill = style.get(kGraphic, "draw:fill");
    const auto color = static_cast<int32_t>(od_color(style.get(kGraphic, "draw:fill-color")).value_or(0));
    if (fill == "solid") {
        auto made = make_instance(brush::OdSolidBrush::kType.name);
        set_property(*made, "Argb32Color", color);
        return made;
    }
    if (fill == "hatch") {
        auto made = make_instance(brush::OdHatchedBrush::kType.name);
        const OdNode* hatch = document.named("draw:hatch", style.get(kGraphic, "draw:fill-hatch-name"));
        const auto line = hatch != nullptr ? od_color(hatch->get("draw:color")) : std::nullopt;
        set_property(*made, "Argb32Color", static_cast<int32_t>(line.value_or(0xFF000000)));
        return made;
    }
    if (fill == "bitmap") {
        auto made = make_instance(brush::OdPatternBrush::kType.name);
        set_property(*made, "Pattern", patterns.rows(style.get(kGraphic, "draw:fill-image-name")));
        return made;
    }
    const OdNode* gradient = document.named("draw:gradient", style.get(kGraphic, "draw:fill-gradient-name"));
    if (fill != "gradient" || gradient == nullptr) {
        return nullptr;
    }
    auto made = make_instance(brush::OdGradientBrush::kType.name);
    using Style = enums::OdGradientStyle;
    const std::string_view kind = gradient->get("draw:style");
    const Style value = kind == "axial"         ? Style::kAxial
                        : kind == "ellipsoid"   ? Style::kEllipsoid
                        : kind == "linear"      ? Style::kLinear
                        : kind == "radial"      ? Style::kRadial
                        : kind == "rectangular" ? Style::kRectangle
                        : kind == "square"      ? Style::kSquare
                                                : Style::kNone;
    set_property(*made, "GradientStyle", static_cast<int64_t>(value));
    const auto end = [&](const char* attribute) {
        return static_cast<int32_t>(od_color(gradient->get(attribute)).value_or(0xFF000000));
    };
    set_property(*made, "StartColor", end("draw:start-color"));
    set_property(*made, "EndColor", end("draw:end-color"));
    set_property(*made, "Angle", od_angle(gradient->get("draw:angle"), 0.1));
    return made;
}

Ref<ManagedObject> pen_of(const OdStyle& style) {
    auto pen = make_instance(objects::Pen::OdPen::kType.name);
    const std::string_view stroke = style.get(kGraphic, "draw:stroke");
    using Style = objects::Pen::OdPenStyle;
    const Style kind = stroke == "none" ? Style::kNone : stroke == "dash" ? Style::kDash : Style::kSolid;
    set_property(*pen, "PenStyle", static_cast<int64_t>(kind));
    set_property(*pen, "Width", rounded(od_length(style.get(kGraphic, "svg:stroke-width"), 0)));
    auto brush = make_instance(objects::Brush::OdSolidBrush::kType.name);
    set_property(*brush, "Argb32Color",
                 static_cast<int32_t>(od_color(style.get(kGraphic, "svg:stroke-color")).value_or(0xFF000000)));
    set_property(*pen, "Brush", std::move(brush));
    return pen;
}

Ref<ManagedObject> marker_of(const OdDocument& document, std::string_view name) {
    const OdNode* element = name.empty() ? nullptr : document.named("draw:marker", name);
    if (element == nullptr) {
        return nullptr;
    }
    auto marker = make_instance(graphic::OdMarker::kType.name);
    for (const Field& field : kMarker) {
        take_field(*marker, field, *element);
    }
    return marker;
}

Ref<ManagedObject> transform_of(const OdNode& element) {
    auto info = make_instance(objects::OdTransformInfo::kType.name);
    const Affine map = od_transform(element.get("draw:transform"));
    const double angle = std::atan2(-map.m12, map.m11) * 180 / M_PI;  // counterclockwise
    set_property(*info, "RotateAngle", angle == 0 ? 0.0 : angle);
    set_property(*info, "TranslateX", map.dx);
    set_property(*info, "TranslateY", map.dy);
    // What a turn alone leaves of the map.
    const Affine rest = map.then(Affine::rotation(angle));
    const bool flat = rest.m22 == 0;
    set_property(*info, "SkewX", flat ? 0.0 : std::atan(rest.m21 / rest.m22) * 180 / M_PI);
    set_property(*info, "SkewY", 0.0);
    return info;
}

Ref<ManagedObject> style_object(const OdDocument& document, OdPatterns& patterns, const OdStyle& style,
                                const OdNode& element) {
    auto object = make_instance(objects::OdGraphicStyle::kType.name);
    const auto set = [&](const char* property, Value value) { set_property(*object, property, std::move(value)); };
    const auto length = [&](const char* properties, const char* attribute) {
        return od_length(style.get(properties, attribute), 0);
    };
    set("Brush", brush_of(document, patterns, style));
    set("Pen", pen_of(style));
    const OdTextStyle text = od_text_style(document, style);
    auto font = make_instance(objects::Font::OdFont::kType.name);
    set_property(*font, "Facename", text_value(text.family));
    set_property(*font, "Height", rounded(text.size));
    set_property(*font, "Bold", text.bold);
    set_property(*font, "Italic", text.italic);
    set_property(*font, "Strikeout", text.strikeout);
    set("Font", std::move(font));
    set("TextColor", static_cast<int32_t>(text.color));
    const std::string_view align = style.get("style:paragraph-properties", "fo:text-align");
    using Align = enums::OdTextAlignModeFlags;
    const Align mode = align == "center"                    ? Align::kCenter
                       : align == "end" || align == "right" ? Align::kRight
                       : align == "justify"                 ? Align::kJustify
                                                            : Align::kLeft;
    set("TextAlign", static_cast<int64_t>(mode));
    const std::string_view height = style.get("style:paragraph-properties", "fo:line-height");
    set("LineHeight", rounded(od_percent(height) ? *od_percent(height) * text.size : od_length(height, 0)));
    set("TransformInfo", transform_of(element));
    set("StartMarker", marker_of(document, style.get(kGraphic, "draw:marker-start")));
    set("EndMarker", marker_of(document, style.get(kGraphic, "draw:marker-end")));
    set("StartMarkerWidth", length(kGraphic, "draw:marker-start-width"));
    set("EndMarkerWidth", length(kGraphic, "draw:marker-end-width"));
    set("Opacity", rounded(od_percent(style.get(kGraphic, "draw:opacity")).value_or(1) * 100));
    const double padding = length(kGraphic, "fo:padding");
    const auto side = [&](const char* attribute) { return od_length(style.get(kGraphic, attribute), padding); };
    set("PaddingTop", side("fo:padding-top"));
    set("PaddingLeft", side("fo:padding-left"));
    set("PaddingRight", side("fo:padding-right"));
    set("PaddingBottom", side("fo:padding-bottom"));
    set("MarginTop", length("style:paragraph-properties", "fo:margin-top"));
    set("MarginBottom", length("style:paragraph-properties", "fo:margin-bottom"));
    set("StartGuide", length(kGraphic, "draw:start-guide"));
    set("EndGuide", length(kGraphic, "draw:end-guide"));
    set("MeasureLineDistance", length(kGraphic, "draw:line-distance"));
    return object;
}

// ---- Paths

class PathObjects {
 public:
    PathObjects(const Ref<ManagedObject>& parent, bool absolute) : m_parent(parent), m_absolute(absolute) {}

    void add(const TypeName& type, std::initializer_list<std::pair<const char*, PointD>> points) {
        auto object = child_of(m_parent, type);
        set_property(*object, "AbsoluteCoordinates", m_absolute);
        for (const auto& [property, point] : points) {
            set_property(*object, property, box(to_point(point)));
        }
        items.emplace_back(std::move(object));
    }
    ManagedObject& last() { return *std::get<Ref<ManagedObject>>(items.back()); }
    Value take() { return array_of(Wire::kClass, kGraphicObject, std::move(items)); }
    std::vector<Value> items;

 private:
    const Ref<ManagedObject>& m_parent;
    bool m_absolute;
};

Value path_objects(const Ref<ManagedObject>& parent, std::string_view path) {
    PathObjects made(parent, true);
    for (const OdPathStep& step : od_path_steps(path)) {
        switch (step.kind) {
            case OdPathStep::Kind::kMove:
                made.add(graphic::OdMoveTo::kType, {{"Point", step.points[0]}});
                break;
            case OdPathStep::Kind::kLine:
                made.add(graphic::OdLineTo::kType, {{"Point", step.points[0]}});
                break;
            case OdPathStep::Kind::kCurve:
                made.add(step.is_short ? graphic::OdShortCurveTo::kType : graphic::OdCurveTo::kType,
                         {{"Point1", step.points[0]}, {"Point2", step.points[1]}, {"Point3", step.points[2]}});
                break;
            case OdPathStep::Kind::kClose:
                made.add(graphic::OdClosePath::kType, {});
                break;
        }
    }
    return made.take();
}

Value enhanced_path(const Ref<ManagedObject>& parent, const OdGeometry& geometry) {
    PathObjects made(parent, true);
    for (const OdCommand& command : geometry.commands()) {
        const std::vector<double>& a = command.arguments;
        const auto point = [&](size_t i) { return PointD{a[i], a[i + 1]}; };
        switch (command.name) {
            case 'M':
            case 'L':
                for (size_t i = 0; i + 2 <= a.size(); i += 2) {
                    const bool moves = command.name == 'M' && i == 0;
                    made.add(moves ? graphic::OdMoveTo::kType : graphic::OdLineTo::kType, {{"Point", point(i)}});
                }
                break;
            case 'C':
                for (size_t i = 0; i + 6 <= a.size(); i += 6) {
                    made.add(graphic::OdCurveTo::kType,
                             {{"Point1", point(i)}, {"Point2", point(i + 2)}, {"Point3", point(i + 4)}});
                }
                break;
            case 'A':
            case 'B':
            case 'W':
            case 'V':
                for (size_t i = 0; i + 8 <= a.size(); i += 8) {
                    made.add(graphic::OdArc::kType, {{"Point1", point(i)},
                                                     {"Point2", point(i + 2)},
                                                     {"Point3", point(i + 4)},
                                                     {"Point4", point(i + 6)}});
                    set_property(made.last(), "IsArcTo", command.name == 'A' || command.name == 'W');
                    set_property(made.last(), "ClockWise", command.name == 'W' || command.name == 'V');
                }
                break;
            case 'X':
            case 'Y':
                for (size_t i = 0; i + 2 <= a.size(); i += 2) {
                    made.add(graphic::OdEllipticalQundrant::kType, {{"Point", point(i)}});
                    set_property(made.last(), "IsAxisX", (command.name == 'X') == (i / 2 % 2 == 0));
                }
                break;
            case 'T':
            case 'U':
                for (size_t i = 0; i + 6 <= a.size(); i += 6) {
                    made.add(graphic::OdAngleEllipse::kType, {});
                    constexpr const char* kNames[] = {"Cx", "Cy", "Rx", "Ry", "StartAngle", "EndAngle"};
                    for (size_t n = 0; n < 6; n++) {
                        set_property(made.last(), kNames[n], a[i + n]);
                    }
                }
                break;
            case 'Z':
                made.add(graphic::OdClosePath::kType, {});
                break;
            case 'N':
                made.add(graphic::OdEndPath::kType, {});
                break;
            case 'F':
                made.add(graphic::OdNoFillPath::kType, {});
                break;
            case 'S':
                made.add(graphic::OdNoStrokePath::kType, {});
                break;
            default:
                break;  // the API has no class for it
        }
    }
    return made.take();
}

// ---- Elements

void add_children(const OdDocument& document, OdPatterns& patterns, const OdNode& element,
                  const Ref<ManagedObject>& parent, const OdShapePlace& place);

void take_measure(ManagedObject& object, const OdNode& element) {
    using Measure = enums::OdMeasureTextKind;
    const std::string_view kind = element.get("text:kind");
    const Measure value = kind == "gap"     ? Measure::kGap
                          : kind == "value" ? Measure::kValue
                          : kind == "unit"  ? Measure::kUnit
                                            : Measure::kNone;
    set_property(object, "Kind", static_cast<int64_t>(value));
}

Ref<ManagedObject> object_of(const OdDocument& document, OdPatterns& patterns, const OdNode& element,
                             const ElementClass& described, const Ref<ManagedObject>& parent, OdShapePlace place) {
    Ref<ManagedObject> object = child_of(parent, described.type);
    for (const Field& field : described.fields) {
        take_field(*object, field, element);
    }
    if (has_property(*object, "Style")) {
        const bool is_text = element.name.starts_with("text:");
        const OdStyle style = document.style(OdScope::kContent,
                                             element.is("text:span") ? "text"
                                             : is_text               ? "paragraph"
                                                                     : "graphic",
                                             element.get(is_text ? "text:style-name" : "draw:style-name"));
        set_property(*object, "Style", style_object(document, patterns, style, element));
    }
    if (element.find("svg:width") != nullptr) {
        place = od_shape_place(element);
    }
    if (element.is("draw:path")) {
        set_property(*object, "EnhancedPath", path_objects(object, element.get("svg:d")));
    } else if (element.is("draw:enhanced-geometry")) {
        const OdGeometry geometry(element, place.width, place.height);
        set_property(*object, "EnhancedPath", enhanced_path(object, geometry));
    } else if (element.is("text:measure")) {
        take_measure(*object, element);
    }
    add_children(document, patterns, element, object, place);
    return object;
}

// Elements without a class give their children to the element around them.
void add_children(const OdDocument& document, OdPatterns& patterns, const OdNode& element,
                  const Ref<ManagedObject>& parent, const OdShapePlace& place) {
    const bool is_text = element.name.starts_with("text:") && !element.is("text:list") && !element.is("text:list-item");
    for (const OdNode& each : element.children) {
        if (each.name.empty()) {
            if (is_text) {
                auto text = child_of(parent, graphic::OdText::kType);
                set_property(*text, "Text", text_value(each.text));
                append_item(parent, text);
            }
            continue;
        }
        const auto described = std::find_if(std::begin(kElementClasses), std::end(kElementClasses),
                                            [&](const ElementClass& known) { return each.is(known.element); });
        if (described != std::end(kElementClasses)) {
            append_item(parent, object_of(document, patterns, each, *described, parent, place));
        } else if (!each.is("office:binary-data")) {
            add_children(document, patterns, each, parent, place);
        }
    }
}

}  // namespace

std::vector<Value> od_pages(const OdDocument& document, OdPatterns& patterns) {
    std::vector<Value> pages;
    for (const OdNode* page : document.pages()) {
        pages.emplace_back(object_of(document, patterns, *page, kElementClasses[0], nullptr, {}));
    }
    return pages;
}

Ref<ManagedObject> od_metadata(const OdDocument& document) {
    Ref<ManagedObject> object = make_instance(objects::OdMetadata::kType.name);
    const OdNode* element = document.metadata();
    if (element == nullptr) {
        return object;
    }
    for (const Field& field : kMetadata) {
        if (const OdNode* child = element->child(field.attribute)) {
            set_property(*object, field.property, text_value(child->whole_text()));
        }
    }
    std::string keywords;
    for (const OdNode& each : element->children) {
        if (each.is("meta:keyword")) {
            keywords += (keywords.empty() ? "" : ", ") + each.whole_text();
        }
    }
    if (!keywords.empty()) {
        set_property(*object, "Keywords", text_value(keywords));
    }
    // Of the element whose name begins so.
    const auto attributes_of = [&](std::string_view begin, const char* property) {
        const auto child = std::find_if(element->children.begin(), element->children.end(),
                                        [&](const OdNode& each) { return each.name.starts_with(begin); });
        if (child == element->children.end()) {
            return;
        }
        std::string text;
        for (const auto& [attribute, value] : child->attributes) {
            text += (text.empty() ? "" : ", ") + attribute.substr(attribute.find(':') + 1) + "=" + value;
        }
        set_property(*object, property, text_value(text));
    };
    attributes_of("meta:document-statistic", "DocumentStatistics");
    attributes_of("meta:auto-reload", "AutomaticReload");
    attributes_of("meta:hyperlink-", "HyperlinkBehavior");
    attributes_of("meta:template", "DocumentTemplate");
    return object;
}

}  // namespace zelmor::embed

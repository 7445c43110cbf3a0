// Brushes and styles of OpenDocument drawings: which kind a brush is, and copies that share nothing with the original.
#include "runtime/native/core/defaults.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

namespace {

#define ZELMOR_OD(name) "Zelmor.Imaging.FileFormats.OpenDocument." name
constexpr const char* kObject = ZELMOR_OD("OdObject");
constexpr const char* kStyle = ZELMOR_OD("Objects.OdGraphicStyle");
constexpr const char* kTransform = ZELMOR_OD("Objects.OdTransformInfo");
constexpr const char* kBrush = ZELMOR_OD("Objects.Brush.OdBrush");
constexpr const char* kGradient = ZELMOR_OD("Objects.Brush.OdGradientBrush");
constexpr const char* kHatched = ZELMOR_OD("Objects.Brush.OdHatchedBrush");
constexpr const char* kPattern = ZELMOR_OD("Objects.Brush.OdPatternBrush");
constexpr const char* kSolid = ZELMOR_OD("Objects.Brush.OdSolidBrush");
#undef ZELMOR_OD
constexpr const char* kCdrStyle = "Zelmor.Imaging.FileFormats.Cdr.Objects.CdrStyle";

constexpr DefaultValue kDefaults[] = {
    DefaultValue::null(kObject, "Parent"), {kBrush, "BrushStyle", 0},    {kSolid, "BrushStyle", 1},
    {kHatched, "BrushStyle", 2},           {kGradient, "BrushStyle", 3}, {kPattern, "BrushStyle", 4},
};
const DefaultTable defaults(kDefaults);

Value clone(Record& self) {
    return self.copy();
}

Ref<ManagedObject> copy(Record& self) {
    return self.copy();
}

// The pen with its brush, the font and the transform belong to a style.
Ref<ManagedObject> copy_style(Record& self) {
    auto style = self.copy();
    for (const char* part : {"Pen", "Font", "TransformInfo", "Brush"}) {
        if (const auto own = property_object(self, part)) {
            set_property(*style, part, own->copy());
        }
    }
    const auto pen = property_object(*style, "Pen");
    if (const auto brush = pen ? property_object(*pen, "Brush") : nullptr) {
        set_property(*pen, "Brush", brush->copy());
    }
    return style;
}

const Behavior kMembers[] = {
    {kStyle, "call_000_Copy", entry<&copy_style>()}, {kTransform, "call_000_Copy", entry<&copy>()},
    {kCdrStyle, "call_000_Copy", entry<&copy>()},    {kBrush, "call_000_Clone", entry<&clone>()},
    {kGradient, "call_000_Clone", entry<&clone>()},  {kHatched, "call_000_Clone", entry<&clone>()},
    {kPattern, "call_000_Clone", entry<&clone>()},   {kSolid, "call_000_Clone", entry<&clone>()},
};
const BehaviorTable table(Assembly::kImaging, kMembers);

}  // namespace

}  // namespace zelmor::embed

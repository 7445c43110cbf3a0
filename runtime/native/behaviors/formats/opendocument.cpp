// Brushes and styles of OpenDocument drawings: which kind a brush is, and copies that share nothing with the original.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.Objects.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.OpenDocument.Objects.Brush.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.OpenDocument.Objects.h"
#include "runtime/native/core/defaults.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

namespace {

constexpr const char* kObject = "Zelmor.Imaging.FileFormats.OpenDocument.OdObject";
constexpr const char* kBrush = "Zelmor.Imaging.FileFormats.OpenDocument.Objects.Brush.OdBrush";
constexpr const char* kGradient = "Zelmor.Imaging.FileFormats.OpenDocument.Objects.Brush.OdGradientBrush";
constexpr const char* kHatched = "Zelmor.Imaging.FileFormats.OpenDocument.Objects.Brush.OdHatchedBrush";
constexpr const char* kPattern = "Zelmor.Imaging.FileFormats.OpenDocument.Objects.Brush.OdPatternBrush";
constexpr const char* kSolid = "Zelmor.Imaging.FileFormats.OpenDocument.Objects.Brush.OdSolidBrush";

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

using CdrStyleApi = api::FileFormats::Cdr::Objects::CdrStyle;
using OdBrushApi = api::FileFormats::OpenDocument::Objects::Brush::OdBrush;
using OdGradientBrushApi = api::FileFormats::OpenDocument::Objects::Brush::OdGradientBrush;
using OdGraphicStyleApi = api::FileFormats::OpenDocument::Objects::OdGraphicStyle;
using OdHatchedBrushApi = api::FileFormats::OpenDocument::Objects::Brush::OdHatchedBrush;
using OdPatternBrushApi = api::FileFormats::OpenDocument::Objects::Brush::OdPatternBrush;
using OdSolidBrushApi = api::FileFormats::OpenDocument::Objects::Brush::OdSolidBrush;
using OdTransformInfoApi = api::FileFormats::OpenDocument::Objects::OdTransformInfo;

const BehaviorTable table({
    behavior<&copy_style, OdGraphicStyleApi::call_000_Copy>(),
    behavior<&copy, OdTransformInfoApi::call_000_Copy, CdrStyleApi::call_000_Copy>(),
    behavior<&clone, OdBrushApi::call_000_Clone, OdGradientBrushApi::call_000_Clone, OdHatchedBrushApi::call_000_Clone,
             OdPatternBrushApi::call_000_Clone, OdSolidBrushApi::call_000_Clone>(),
});

}  // namespace

}  // namespace zelmor::embed

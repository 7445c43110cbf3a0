// Brushes and styles of OpenDocument drawings: which kind a brush is, and copies that share nothing with the original.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.Objects.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.OpenDocument.Objects.Brush.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.OpenDocument.Objects.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.OpenDocument.h"
#include "runtime/native/core/defaults.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

namespace {

namespace brush = api::FileFormats::OpenDocument::Objects::Brush;
using brush::OdBrushStyle;

constexpr DefaultValue kOpenDocumentDefaults[] = {
    DefaultValue::null(api::FileFormats::OpenDocument::OdObject::property_Parent),
    {brush::OdBrush::property_BrushStyle, OdBrushStyle::kNone},
    {brush::OdSolidBrush::kType, brush::OdBrush::property_BrushStyle, OdBrushStyle::kSolid},
    {brush::OdHatchedBrush::kType, brush::OdBrush::property_BrushStyle, OdBrushStyle::kHatched},
    {brush::OdGradientBrush::kType, brush::OdBrush::property_BrushStyle, OdBrushStyle::kGradient},
    {brush::OdPatternBrush::kType, brush::OdBrush::property_BrushStyle, OdBrushStyle::kPattern},
};
const DefaultTable ZELMOR_UNNAMED(kOpenDocumentDefaults);

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

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&copy_style, OdGraphicStyleApi::call_000_Copy>(),
    behavior<&copy, OdTransformInfoApi::call_000_Copy, CdrStyleApi::call_000_Copy>(),
    behavior<&clone, OdBrushApi::call_000_Clone, OdGradientBrushApi::call_000_Clone, OdHatchedBrushApi::call_000_Clone,
             OdPatternBrushApi::call_000_Clone, OdSolidBrushApi::call_000_Clone>(),
});

}  // namespace

}  // namespace zelmor::embed

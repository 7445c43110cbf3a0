// The options of masking: what they are at first, and assumed objects by the name of their kind.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.Masking.Options.h"
#include "runtime/native/core/defaults.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

namespace {

using api::Masking::Options::AssumedObjectData;
using api::Masking::Options::AutoMaskingArgs;
using api::Masking::Options::AutoMaskingGraphCutOptions;
using api::Masking::Options::GraphCutMaskingOptions;
using api::Masking::Options::MaskingOptions;

constexpr const char* kObjectType = "Zelmor.Imaging.Masking.Options.DetectedObjectType";

constexpr DefaultValue kMaskingDefaults[] = {
    // The strokes and rectangles are known after the first run.
    DefaultValue::null(AutoMaskingGraphCutOptions::property_DefaultForegroundStrokes),
    DefaultValue::null(AutoMaskingGraphCutOptions::property_DefaultBackgroundStrokes),
    DefaultValue::null(AutoMaskingGraphCutOptions::property_DefaultObjectsRectangles),
    {AutoMaskingArgs::property_NumberOfObjects, 2},  // a foreground and a background
    {AutoMaskingArgs::property_Precision, 1.0},
    {AutoMaskingArgs::property_MaxIterationNumber, 50},
    {GraphCutMaskingOptions::property_FeatheringRadius, 3},
    {GraphCutMaskingOptions::kType, MaskingOptions::property_Method,
     api::Masking::Options::SegmentationMethod::kGraphCut},
    {MaskingOptions::property_Decompose, true},
};
const DefaultTable ZELMOR_UNNAMED(kMaskingDefaults);

bool same_name(std::string_view member, std::string_view name) {
    return std::equal(member.begin(), member.end(), name.begin(), name.end(), [](char a, char b) {
        return a == (b >= 'a' && b <= 'z' ? static_cast<char>(b - 'a' + 'A') : b);
    });
}

// "human" is a HUMAN; every other name stands for some OTHER object.
Ref<ManagedObject> assumed_object(const std::string& type, const RectangleValue& bounds) {
    const TypeInfo& kinds = require_type(kObjectType);
    int64_t kind = static_cast<int64_t>(api::Masking::Options::DetectedObjectType::kOther);
    for (const EnumMember& member : kinds.members) {
        if (same_name(member.name, type)) {
            kind = member.value;
        }
    }
    auto object = make_instance(AssumedObjectData::kType.name);
    set_property(*object, "Type", kind);
    set_property(*object, "Bounds", box(bounds));
    return object;
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&assumed_object, AssumedObjectData::ctor_002_AssumedObjectData>(),
});

}  // namespace

}  // namespace zelmor::embed

// The arguments of masking: assumed objects by the name of their kind, and the image to decompose. This runtime does
// not do the decomposition itself.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.Masking.Options.h"
#include "generated/runtime/Zelmor.Imaging.Masking.h"
#include "runtime/native/core/defaults.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/references.h"

namespace zelmor::embed {

namespace {

constexpr const char* kAssumed = api::Masking::Options::AssumedObjectData::kType.name;
constexpr const char* kObjectType = "Zelmor.Imaging.Masking.Options.DetectedObjectType";
constexpr const char* kMasking = api::Masking::ImageMasking::kType.name;

using AutoMaskingArgs = api::Masking::Options::AutoMaskingArgs;
using AutoMaskingGraphCutOptions = api::Masking::Options::AutoMaskingGraphCutOptions;
using GraphCutMaskingOptions = api::Masking::Options::GraphCutMaskingOptions;
using MaskingOptions = api::Masking::Options::MaskingOptions;

constexpr DefaultValue kDefaults[] = {
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
const DefaultTable defaults(kDefaults);

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
    auto object = make_instance(kAssumed);
    set_property(*object, "Type", kind);
    set_property(*object, "Bounds", box(bounds));
    return object;
}

class Masking final : public Record {
 public:
    explicit Masking(const TypeInfo& type) : Record(type) { track(); }
    Ref<ManagedObject> source;  // kept, as the managed class keeps it
    void references(ReferenceVisitor& visitor) override {
        Record::references(visitor);
        visitor(source);
    }
};

Ref<ManagedObject> masking_of(ManagedObject* source_image) {
    if (source_image == nullptr) {
        throw_argument_null("source_image");
    }
    auto masking = make_ref<Masking>(require_type(kMasking));
    masking->source = Ref<ManagedObject>(source_image);
    return masking;
}

using AssumedObjectDataApi = api::Masking::Options::AssumedObjectData;
using ImageMaskingApi = api::Masking::ImageMasking;

const BehaviorTable table({
    behavior<&assumed_object, AssumedObjectDataApi::ctor_002_AssumedObjectData>(),
    behavior<&masking_of, ImageMaskingApi::ctor_000_ImageMasking>(),
});

}  // namespace

}  // namespace zelmor::embed

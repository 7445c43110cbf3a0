// What masking works with: assumed objects by the name of their kind, and the image that is to be decomposed. The
// decomposition itself is not done by this runtime.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.Masking.Options.h"
#include "generated/runtime/Zelmor.Imaging.Masking.h"
#include "runtime/native/core/defaults.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

namespace {

constexpr const char* kAssumed = "Zelmor.Imaging.Masking.Options.AssumedObjectData";
constexpr const char* kObjectType = "Zelmor.Imaging.Masking.Options.DetectedObjectType";
constexpr const char* kAutomatic = "Zelmor.Imaging.Masking.Options.AutoMaskingArgs";
constexpr const char* kGraphCut = "Zelmor.Imaging.Masking.Options.GraphCutMaskingOptions";
constexpr const char* kAutoGraphCut = "Zelmor.Imaging.Masking.Options.AutoMaskingGraphCutOptions";
constexpr const char* kOptions = "Zelmor.Imaging.Masking.Options.MaskingOptions";
constexpr const char* kMasking = "Zelmor.Imaging.Masking.ImageMasking";

constexpr DefaultValue kDefaults[] = {
    // The strokes and rectangles are known after the first run.
    DefaultValue::null(kAutoGraphCut, "DefaultForegroundStrokes"),
    DefaultValue::null(kAutoGraphCut, "DefaultBackgroundStrokes"),
    DefaultValue::null(kAutoGraphCut, "DefaultObjectsRectangles"),
    {kAutomatic, "NumberOfObjects", 2},  // a foreground and a background
    {kAutomatic, "Precision", 1.0},
    {kAutomatic, "MaxIterationNumber", 50},
    {kGraphCut, "FeatheringRadius", 3},
    {kGraphCut, "Method", 4},  // GRAPH_CUT
    {kOptions, "Decompose", true},
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
    int64_t kind = kinds.members.back().value;
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
    using Record::Record;
    Ref<ManagedObject> source;  // kept, as the managed class keeps it
};

Ref<ManagedObject> masking_of(ManagedObject* source_image) {
    if (!source_image) {
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

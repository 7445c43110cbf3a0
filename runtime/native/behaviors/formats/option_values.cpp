// Properties of options that are computed from others, and defaults of values that are not known yet.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.Emf.Records.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Svg.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/core/defaults.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

namespace {

using EmfBlendFunction = api::FileFormats::Emf::Emf::Records::EmfBlendFunction;
using FontStoringArgs = api::FileFormats::Svg::FontStoringArgs;

constexpr DefaultValue kOptionDefaults[] = {
    DefaultValue::null(FontStoringArgs::property_SourceFontFileName),
    DefaultValue::null(FontStoringArgs::property_SourceFontStream),
    {EmfBlendFunction::property_BlendOperation, 0},
    {EmfBlendFunction::property_BlendFlags, 0},
    {EmfBlendFunction::property_SrcConstantAlpha, 0},
    {EmfBlendFunction::property_AlphaFormat, 0},
};
const DefaultTable ZELMOR_UNNAMED(kOptionDefaults);

// The percentage by which the usual quantization tables are multiplied for a quality.
int32_t get_scaled_quality(Record& self) {
    const auto quality = std::clamp<int32_t>(static_cast<int32_t>(property_int(self, "Quality")), 1, 100);
    return quality < 50 ? 5000 / quality : 200 - 2 * quality;
}

using JpegOptionsApi = api::ImageOptions::JpegOptions;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&get_scaled_quality, JpegOptionsApi::get_ScaledQuality>(),
});

}  // namespace

}  // namespace zelmor::embed

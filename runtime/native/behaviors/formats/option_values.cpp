// Properties of options that follow from others, and defaults that stand for nothing known yet.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Svg.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/core/defaults.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

namespace {

constexpr const char* kFontArgs = "Zelmor.Imaging.FileFormats.Svg.FontStoringArgs";
constexpr const char* kBlend = "Zelmor.Imaging.FileFormats.Emf.Emf.Records.EmfBlendFunction";

constexpr DefaultValue kDefaults[] = {
    DefaultValue::null(kFontArgs, "SourceFontFileName"),
    DefaultValue::null(kFontArgs, "SourceFontStream"),
    {kBlend, "BlendOperation", 0},
    {kBlend, "BlendFlags", 0},
    {kBlend, "SrcConstantAlpha", 0},
    {kBlend, "AlphaFormat", 0},
};
const DefaultTable defaults(kDefaults);

// The percentage by which the usual quantization tables are multiplied for a quality.
int32_t get_scaled_quality(Record& self) {
    const auto quality = std::clamp<int32_t>(static_cast<int32_t>(property_int(self, "Quality")), 1, 100);
    return quality < 50 ? 5000 / quality : 200 - 2 * quality;
}

// A keeper that nothing was derived from keeps nothing: pictures are embedded, fonts and documents stay as they are.
bool on_image(Record&, const PyBytesArg*, int32_t, const std::optional<std::u16string>&, bool, uint8_t* out) {
    *out = 1;
    return false;
}
void on_font(Record&, Record* args) {
    if (!args) {
        throw_argument_null("args");
    }
}
std::optional<std::u16string> on_document(Record&, const PyBytesArg*,
                                          const std::optional<std::u16string>& suggested_file_name) {
    return suggested_file_name;
}

using JpegOptionsApi = api::ImageOptions::JpegOptions;
using SvgResourceKeeperCallbackApi = api::FileFormats::Svg::SvgResourceKeeperCallback;

const BehaviorTable table({
    behavior<&get_scaled_quality, JpegOptionsApi::get_ScaledQuality>(),
    behavior<&on_image, SvgResourceKeeperCallbackApi::call_000_OnImageResourceReady>(),
    behavior<&on_font, SvgResourceKeeperCallbackApi::call_000_OnFontResourceReady>(),
    behavior<&on_document, SvgResourceKeeperCallbackApi::call_000_OnSvgDocumentReady>(),
});

}  // namespace

}  // namespace zelmor::embed

// Properties of options that follow from others, and defaults that stand for nothing known yet.
#include <algorithm>

#include "runtime/native/core/defaults.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

namespace {

constexpr const char* kJpeg = "Zelmor.Imaging.ImageOptions.JpegOptions";
constexpr const char* kFontArgs = "Zelmor.Imaging.FileFormats.Svg.FontStoringArgs";
constexpr const char* kBlend = "Zelmor.Imaging.FileFormats.Emf.Emf.Records.EmfBlendFunction";
constexpr const char* kKeeper = "Zelmor.Imaging.FileFormats.Svg.SvgResourceKeeperCallback";

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

const Behavior kMembers[] = {
    {kJpeg, "get_ScaledQuality", entry<&get_scaled_quality>()},
    {kKeeper, "call_000_OnImageResourceReady", entry<&on_image>()},
    {kKeeper, "call_000_OnFontResourceReady", entry<&on_font>()},
    {kKeeper, "call_000_OnSvgDocumentReady", entry<&on_document>()},
};
const BehaviorTable table(Assembly::kImaging, kMembers);

}  // namespace

}  // namespace zelmor::embed

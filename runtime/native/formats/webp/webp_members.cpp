// WebP in the API: its classes, and save options from and to the settings of a file.
#include <cmath>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Webp.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/setting_values.h"
#include "runtime/native/formats/webp/webp_encoding.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

FormatEncoding settings_of(const ManagedObject& options) {
    WebpEncoding result;
    if (const int loops = setting(options, "AnimLoopCount")) {
        result.loops = loops;
    }
    if (const int64_t background = property_int(options, "AnimBackgroundColor")) {
        result.background = static_cast<Argb>(background);
    }
    result.lossless = property_bool(options, "Lossless");
    result.quality = static_cast<int>(std::lround(property_double(options, "Quality")));
    return result;
}

void fill_options(ManagedObject& options, const FileFacts& facts) {
    const auto& webp = facts.encoding->get<WebpEncoding>();
    set_property(options, "Lossless", webp.lossless);
    set_property(options, "Quality", static_cast<double>(webp.quality));
    put_setting(options, "AnimLoopCount", webp.loops.value_or(0));
    if (webp.background) {
        put_setting(options, "AnimBackgroundColor", *webp.background);
    }
}

NewPixels new_pixels(const FormatEncoding&) {
    return pixels_of(ColorModel::kRgb, true);
}

void suit(FormatEncoding& settings, const ImageObject&) {
    settings.get<WebpEncoding>().lossless = true;
}

void complete(const ImageObject& image, FormatEncoding& settings) {
    const auto* own = settings_as<WebpEncoding>(image.facts());
    if (auto& webp = settings.get<WebpEncoding>(); !webp.loops && own != nullptr) {
        webp.loops = own->loops;
    }
}

namespace classes = api::FileFormats;
namespace save_options = api::ImageOptions;

constexpr FormatClasses kClasses[] = {
    {FileFormat::kWebp, Format::kWebp, "Webp", classes::Webp::WebPImage::kType, save_options::WebPOptions::kType,
     &classes::Webp::WebPFrameBlock::kType, true},
};

}  // namespace

extern const FormatMembers kWebpMembers;
const FormatMembers kWebpMembers{
    .format = Format::kWebp,
    .classes = kClasses,
    .settings = &settings_of,
    .fill_options = &fill_options,
    .new_pixels = &new_pixels,
    .suit = &suit,
    .complete = &complete,
};

}  // namespace zelmor::embed

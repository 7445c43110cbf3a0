// PSD in the API. It has save options, and no class of its own: such an image is one of the class of all images in
// memory.
#include <string>

#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/formats/psd/psd_codec.h"
#include "runtime/native/formats/psd/psd_options.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

FormatEncoding settings_of(const ManagedObject& options) {
    return psd_encoding_of_options(options);
}

void fill_options(ManagedObject& options, const FileFacts& facts) {
    fill_psd_options(options, facts.encoding->get<PsdEncoding>());
}

bool is_indexed(const FormatEncoding& settings) {
    return settings.get<PsdEncoding>().color == PsdColorMode::kIndexed;
}

// Colors without a palette, which is chosen at the end, are true colors until then.
NewPixels new_pixels(const FormatEncoding& settings) {
    const auto& psd = settings.get<PsdEncoding>();
    if (psd.color == PsdColorMode::kDuotone) {
        throw_not_supported("Creating an image in Duotone mode, whose inks and curves no option names,");
    }
    RowsHeader header;
    header.form = pixel_form(
        ColorModel::kRgb, psd.channels == 0 && (psd.color == PsdColorMode::kAuto || psd.color == PsdColorMode::kRgb));
    try {
        const PixelForm form = psd_form(header, psd);
        if (form.color == ColorModel::kIndexed) {
            return {pixel_form(ColorModel::kRgb, true), form.bits};
        }
        return {form, form.bits * form.bands()};
    } catch (const PictureError& error) {
        throw_argument(std::string(error.what()) + ". (Parameter 'image_options')");
    }
}

void take_extension(const std::string& extension, FormatEncoding& settings) {
    if (extension == "psd" || extension == "psb") {
        settings.get<PsdEncoding>().large = extension == "psb";
    }
}

constexpr FormatClasses kClasses[] = {
    {FileFormat::kPsd, Format::kPsd, "Psd", api::RasterCachedImage::kType, api::ImageOptions::PsdOptions::kType,
     nullptr, false},
};

}  // namespace

extern const FormatMembers kPsdMembers;
const FormatMembers kPsdMembers{
    .format = Format::kPsd,
    .classes = kClasses,
    .settings = &settings_of,
    .fill_options = &fill_options,
    .new_pixels = &new_pixels,
    .is_indexed = &is_indexed,
    .take_extension = &take_extension,
};

}  // namespace zelmor::embed

// Making PNG images, and what the class of such images has besides.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Apng.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Png.h"
#include "runtime/native/behaviors/images/creating.h"
#include "runtime/native/behaviors/images/format_images.h"
#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/images/palettes.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/formats/png/png_enumerations.h"

namespace zelmor::embed {

using imagework::ColorModel;
using imagework::Encoding;
using imagework::Format;
using imagework::PixelForm;
using imagework::PngColor;
using imagework::PngEncoding;
using imagework::Variant;

namespace {

using Path = std::optional<std::u16string>;

Encoding png_settings(PngColorType color_type) {
    const auto color = backend_value(kPngColors, color_type);
    if (!color) {
        throw_out_of_range("color_type",
                           "The value " + std::to_string(number_of(color_type)) + " is not one of PngColorType.");
    }
    PngEncoding png;
    png.color = *color;
    png.bit_depth = 8;
    return encoding_of(png);
}
constexpr PngColorType kUsualColorType = PngColorType::kTruecolorWithAlpha;

Ref<ImageObject> png_of_size_with(int32_t width, int32_t height, PngColorType color_type) {
    return new_image(png_settings(color_type), width, height);
}
Ref<ImageObject> png_of_size(int32_t width, int32_t height) {
    return png_of_size_with(width, height, kUsualColorType);
}

// The color type that holds a picture as it is.
PngColor color_for(const imagework::Picture& picture) {
    if (picture.form().color == ColorModel::kIndexed) {
        return PngColor::kIndexed;
    }
    if (picture.is_gray()) {
        return picture.has_alpha() ? PngColor::kGrayAlpha : PngColor::kGray;
    }
    return picture.has_alpha() ? PngColor::kTruecolorAlpha : PngColor::kTruecolor;
}
// The form that a picture has with another color type, in its own depth. Inks and L*a*b* become colors when they are
// saved, as long as they are to be true colors.
PixelForm form_for(PngColor color, const imagework::Picture& picture) {
    PixelForm form = picture.form();
    const bool gray = color == PngColor::kGray || color == PngColor::kGrayAlpha;
    form.alpha = color == PngColor::kGrayAlpha || color == PngColor::kTruecolorAlpha;
    if (gray || form.color == ColorModel::kGray || form.color == ColorModel::kIndexed) {
        form.color = gray ? ColorModel::kGray : ColorModel::kRgb;
    }
    if (form.bands() > 1 || picture.form().color == ColorModel::kIndexed) {
        form.bits = std::max(8, form.bits);
    }
    return form;
}

// A copy of the image, of the color type given: its pixels have it from then on.
Ref<ImageObject> png_with(const Ref<ImageObject>& image, PngColor color) {
    const imagework::Picture& picture = image->picture();
    const bool changes = color_for(picture) != color;
    const bool indexed = color == PngColor::kIndexed;
    const PixelForm form = form_for(color, picture);
    constexpr int kMostColors = 256;
    PngEncoding png;
    png.color = color;
    if (indexed) {
        png.bit_depth = changes ? 8 : picture.form().bits;
    }
    const Encoding encoding = encoding_of(png);
    Ref<ImageObject> result = as_format(image, encoding, false, [&](imagework::Picture& copy) {
        if (changes && indexed) {
            copy.reduce(copy.close_palette(kMostColors, true), encoding.diffuse);
        } else if (changes) {
            copy.take_form(form, image->flat_background());
        }
    });
    PixelForm file;
    file.color = color == PngColor::kGray || color == PngColor::kGrayAlpha ? ColorModel::kGray : ColorModel::kRgb;
    file.alpha = form.alpha;
    result->set_image_bits(indexed ? png.bit_depth : std::min(16, form.bits) * file.bands());
    return result;
}
Ref<ImageObject> png_with(const Ref<ImageObject>& image, PngColorType color_type) {
    return png_with(image, png_settings(color_type).format.get<PngEncoding>().color);
}
// An image that is a PNG with one frame already is taken as it is.
Ref<ImageObject> png_of(const Ref<ImageObject>& image) {
    const bool is_png = image->facts().format == Format::kPng && image->facts().variant == Variant::kUsual;
    return is_png ? image : png_with(image, color_for(image->picture()));
}

Ref<ImageObject> png_of_path(const Path& path) {
    return png_of(image_of_file(path, nullptr, "path"));
}
Ref<ImageObject> png_of_path_with(const Path& path, PngColorType color_type) {
    return png_with(image_of_file(path, nullptr, "path"), color_type);
}
Ref<ImageObject> png_of_image(ImageObject* raster_image) {
    const Ref<ImageObject> image(&required_image(raster_image, "raster_image"));
    return png_with(image, color_for(image->picture()));
}
Ref<ImageObject> png_of_image_with(ImageObject* raster_image, PngColorType color_type) {
    return png_with(Ref<ImageObject>(&required_image(raster_image, "raster_image")), color_type);
}
Ref<ImageObject> png_of_stream(Ref<ManagedStream> stream) {
    return png_of(image_of_stream(stream, nullptr));
}
Ref<ImageObject> png_with_options(Record* png_options, int32_t width, int32_t height) {
    return create_image(png_options, width, height);
}
bool png_interlaced(ImageObject& self) {
    self.require_live();
    const auto* png = settings_as<PngEncoding>(self.facts());
    return png != nullptr && png->interlaced;
}

using ApngImageApi = api::FileFormats::Apng::ApngImage;
using PngImageApi = api::FileFormats::Png::PngImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&png_of_size, PngImageApi::ctor_000_PngImage>(),
    behavior<&png_of_path, PngImageApi::ctor_001_PngImage>(),
    behavior<&png_of_image, PngImageApi::ctor_002_PngImage>(),
    behavior<&png_of_path_with, PngImageApi::ctor_003_PngImage>(),
    behavior<&png_of_image_with, PngImageApi::ctor_004_PngImage>(),
    behavior<&png_of_stream, PngImageApi::ctor_005_PngImage>(),
    behavior<&png_of_size_with, PngImageApi::ctor_006_PngImage>(),
    behavior<&png_with_options, PngImageApi::ctor_007_PngImage>(),
    behavior<&png_interlaced, PngImageApi::get_Interlaced, PngImageApi::get_IsInterlaced,
             ApngImageApi::get_Interlaced>(),
});

}  // namespace

}  // namespace zelmor::embed

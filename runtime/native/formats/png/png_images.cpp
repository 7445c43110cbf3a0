// Making PNG images, and what the class of such images has besides.
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

using imagework::Encoding;
using imagework::PngEncoding;

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
Ref<ImageObject> png_of_path(const Path& path) {
    return of_path(path, png_settings(kUsualColorType), true);
}
Ref<ImageObject> png_of_path_with(const Path& path, PngColorType color_type) {
    return of_path(path, png_settings(color_type));
}
Ref<ImageObject> png_of_image(ImageObject* raster_image) {
    return of_image(raster_image, png_settings(kUsualColorType));
}
Ref<ImageObject> png_of_image_with(ImageObject* raster_image, PngColorType color_type) {
    return of_image(raster_image, png_settings(color_type));
}
Ref<ImageObject> png_of_stream(Ref<ManagedStream> stream) {
    return of_stream(stream, png_settings(kUsualColorType), true);
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

// Making JPEG images, and what the class of such images has besides.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg.h"
#include "runtime/native/behaviors/images/creating.h"
#include "runtime/native/behaviors/images/format_images.h"
#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/images/palettes.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/formats/jpeg/jpeg_enumerations.h"

namespace zelmor::embed {

using imagework::JpegEncoding;

namespace {

using Path = std::optional<std::u16string>;

// A copy of an image of another format has the bits of the file that it is to become.
Ref<ImageObject> jpeg_of(const Ref<ImageObject>& image, bool keeps_settings) {
    Ref<ImageObject> result = as_format(image, encoding_of(JpegEncoding{}), keeps_settings);
    if (result != image) {
        const imagework::Picture& picture = result->picture();
        const bool inks = picture.form().color == imagework::ColorModel::kCmyk;
        result->set_image_bits(picture.is_gray() ? 8 : inks ? 32 : 24);
    }
    return result;
}
Ref<ImageObject> jpeg_of_path(const Path& path) {
    return jpeg_of(image_of_file(path, nullptr, "path"), true);
}
Ref<ImageObject> jpeg_of_stream(Ref<ManagedStream> stream) {
    return jpeg_of(image_of_stream(stream, nullptr), true);
}
Ref<ImageObject> jpeg_of_image(ImageObject* raster_image) {
    return jpeg_of(Ref<ImageObject>(&required_image(raster_image, "raster_image")), false);
}
// The options that the image was made with, or those of its file.
Ref<ManagedObject> jpeg_options(ImageObject& self) {
    self.require_live();
    const Value& given = property(self, "JpegOptions");
    return is_null(given) ? original_options(self) : std::get<Ref<ManagedObject>>(given);
}
Ref<ImageObject> jpeg_with_options(Record* options, int32_t width, int32_t height) {
    Ref<ImageObject> image = create_image(options, width, height);
    set_property(*image, "JpegOptions", Ref<ManagedObject>(options));
    return image;
}
Ref<ImageObject> jpeg_of_size(int32_t width, int32_t height) {
    return new_image(encoding_of(JpegEncoding{}), width, height);
}

using JpegImageApi = api::FileFormats::Jpeg::JpegImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&jpeg_of_path, JpegImageApi::ctor_000_JpegImage>(),
    behavior<&jpeg_of_stream, JpegImageApi::ctor_001_JpegImage>(),
    behavior<&jpeg_of_image, JpegImageApi::ctor_002_JpegImage>(),
    behavior<&jpeg_of_size, JpegImageApi::ctor_003_JpegImage>(),
    behavior<&jpeg_with_options, JpegImageApi::ctor_004_JpegImage>(),
    behavior<&jpeg_options, JpegImageApi::get_JpegOptions>(),
});

}  // namespace

}  // namespace zelmor::embed

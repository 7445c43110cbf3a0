// Making JPEG 2000 images.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg2000.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/creating.h"
#include "runtime/native/behaviors/images/encoding_options.h"
#include "runtime/native/behaviors/images/format_images.h"
#include "runtime/native/behaviors/images/frame_members.h"
#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/metadata/image_metadata.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_encoding.h"
#include "runtime/native/imagework/loader.h"

namespace zelmor::embed {

using imagework::ColorModel;
using imagework::FileFacts;
using imagework::Format;
using imagework::Jpeg2000Encoding;

namespace {

using Path = std::optional<std::u16string>;

// The form of so many bits a pixel: gray, gray with opacity, RGB, RGB with opacity.
imagework::PixelForm form_of_bits(int32_t bits, const char* parameter) {
    switch (bits) {
        case 8:
            return pixel_form(ColorModel::kGray, false);
        case 16:
            return pixel_form(ColorModel::kGray, true);
        case 24:
            return pixel_form(ColorModel::kRgb, false);
        case 32:
            return pixel_form(ColorModel::kRgb, true);
        default:
            throw_out_of_range(parameter, "The value " + std::to_string(bits) + " is none of 8, 16, 24 and 32 bits.");
    }
}

Ref<ImageObject> with_picture(std::unique_ptr<imagework::Picture> picture) {
    const imagework::PixelForm& form = picture->form();
    FileFacts facts = facts_of_picture(Format::kJpeg2000, *picture, form.bits * form.bands());
    facts.encoding = Jpeg2000Encoding{};
    return make_ref<ImageObject>(std::move(picture), std::move(facts));
}

// A copy of the picture in the form of so many bits.
Ref<ImageObject> in_bits(ImageObject& source, int32_t bits, const char* parameter) {
    const imagework::PixelForm form = form_of_bits(bits, parameter);
    const imagework::Picture& old = source.picture();
    auto canvas = image_backend().create(old.width(), old.height(), form,
                                         form.alpha ? 0 : source.flat_background() | imagework::kBlack, {});
    auto picture = old.copy();
    if (form.color == ColorModel::kGray) {
        picture->grayscale();
    }
    canvas->draw(*picture, 0, 0);
    canvas->set_resolution(old.resolution());
    auto image = with_picture(std::move(canvas));
    carry_metadata(source, *image);
    return image;
}

Ref<ImageObject> of_file(const Path& path) {
    return of_path(path, encoding_of(Jpeg2000Encoding{}), true);
}
Ref<ImageObject> of_file_in_bits(const Path& path, int32_t bits_per_pixel) {
    form_of_bits(bits_per_pixel, "bits_per_pixel");
    return in_bits(*image_of_file(path, nullptr, "path"), bits_per_pixel, "bits_per_pixel");
}
Ref<ImageObject> of_data(Ref<ManagedStream> stream) {
    return of_stream(stream, encoding_of(Jpeg2000Encoding{}), true);
}
Ref<ImageObject> of_data_in_bits(Ref<ManagedStream> stream, int32_t bits_per_pixel) {
    form_of_bits(bits_per_pixel, "bits_per_pixel");
    return in_bits(*image_of_stream(stream, nullptr), bits_per_pixel, "bits_per_pixel");
}
Ref<ImageObject> of_size(int32_t width, int32_t height) {
    return new_image(encoding_of(Jpeg2000Encoding{}), width, height);
}
Ref<ImageObject> of_size_with_options(int32_t width, int32_t height, Record* options) {
    const auto encoding = encoding_of_options(required_options(options));
    return new_image(encoding, width, height);
}
Ref<ImageObject> of_size_in_bits(int32_t width, int32_t height, int32_t bits_count) {
    const imagework::PixelForm form = form_of_bits(bits_count, "bits_count");
    Ref<ImageObject> checked = of_size(width, height);
    if (form == checked->picture().form()) {
        return checked;
    }
    return with_picture(image_backend().create(width, height, form, form.alpha ? 0 : imagework::kBlack, {}));
}
Ref<ImageObject> of_raster(ImageObject* image) {
    return as_format(Ref<ImageObject>(&required_image(image, "image")), encoding_of(Jpeg2000Encoding{}), false);
}
Ref<ImageObject> of_raster_in_bits(ImageObject* raster_image, int32_t bits_per_pixel) {
    return in_bits(required_image(raster_image, "raster_image"), bits_per_pixel, "bits_per_pixel");
}

using Jpeg2000ImageApi = api::FileFormats::Jpeg2000::Jpeg2000Image;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&of_file, Jpeg2000ImageApi::ctor_000_Jpeg2000Image>(),
    behavior<&of_file_in_bits, Jpeg2000ImageApi::ctor_001_Jpeg2000Image>(),
    behavior<&of_data, Jpeg2000ImageApi::ctor_002_Jpeg2000Image>(),
    behavior<&of_data_in_bits, Jpeg2000ImageApi::ctor_003_Jpeg2000Image>(),
    behavior<&of_size, Jpeg2000ImageApi::ctor_004_Jpeg2000Image>(),
    behavior<&of_size_with_options, Jpeg2000ImageApi::ctor_005_Jpeg2000Image>(),
    behavior<&of_size_in_bits, Jpeg2000ImageApi::ctor_006_Jpeg2000Image>(),
    behavior<&of_raster, Jpeg2000ImageApi::ctor_007_Jpeg2000Image>(),
    behavior<&of_raster_in_bits, Jpeg2000ImageApi::ctor_008_Jpeg2000Image>(),
});

}  // namespace

}  // namespace zelmor::embed

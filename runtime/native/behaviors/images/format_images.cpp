// BmpImage, JpegImage and PngImage: their constructors, and the settings of the files that they came from.
//
// A file or an image of another format becomes one of this: the picture is copied, and save() writes it as this format.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Apng.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Bmp.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg2000.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Png.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tga.h"
#include "runtime/native/behaviors/images/creating.h"
#include "runtime/native/behaviors/images/format_enumerations.h"
#include "runtime/native/behaviors/images/frame_members.h"
#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/images/palettes.h"
#include "runtime/native/behaviors/metadata/image_metadata.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

using imagework::BmpCompression;
using imagework::BmpEncoding;
using imagework::Encoding;
using imagework::Format;
using imagework::JpegEncoding;
using imagework::PngEncoding;

namespace {

using Path = std::optional<std::u16string>;

Encoding encoding_of(imagework::FormatEncoding format) {
    Encoding encoding;
    encoding.format = std::move(format);
    return encoding;
}

// The image itself where it is of the format and nothing else is asked of it; otherwise a copy in the format.
Ref<ImageObject> as_format(const Ref<ImageObject>& image, const Encoding& encoding, bool keeps_settings) {
    const Format format = imagework::format_of(encoding);
    if (keeps_settings && image->facts().format == format && !image->facts().is_apng) {
        return image;
    }
    auto picture = image->picture().copy();
    imagework::FileFacts facts = facts_of_picture(format, *picture, bits_per_pixel_of(encoding));
    facts.encoding = encoding.format;
    if (encoding.resolution) {
        picture->set_resolution(*encoding.resolution);
    }
    auto result = make_ref<ImageObject>(std::move(picture), std::move(facts));
    result->offer_palette(image->offered_palette());
    carry_metadata(*image, *result);
    return result;
}
Ref<ImageObject> of_path(const Path& path, const Encoding& encoding, bool keeps_settings = false) {
    return as_format(image_of_file(path, nullptr, "path"), encoding, keeps_settings);
}
Ref<ImageObject> of_stream(const Ref<ManagedStream>& stream, const Encoding& encoding, bool keeps_settings = false) {
    return as_format(image_of_stream(stream, nullptr), encoding, keeps_settings);
}
Ref<ImageObject> of_image(ImageObject* raster_image, const Encoding& encoding) {
    return as_format(Ref<ImageObject>(&required_image(raster_image, "raster_image")), encoding, false);
}

// ---- BMP

// With alpha where there is any, as the format has it.
Encoding bmp_for(const imagework::Picture& picture) {
    BmpEncoding bmp;
    if (picture.has_alpha()) {
        bmp = {32, BmpCompression::kBitFields};
    }
    return encoding_of(bmp);
}
void require_dots(double value, const char* parameter) {
    if (value > 0.0 && value <= 1e9) {
        return;
    }
    throw_out_of_range(parameter,
                       "The value " + to_utf8(number_text(value)) + " is no positive number of dots per inch.");
}
Encoding bmp_settings(uint16_t bits_per_pixel, BitmapCompression compression, double horizontal, double vertical) {
    const auto known_compression = backend_value(kBmpCompressions, compression);
    if (!known_compression) {
        throw_not_supported("The value " + std::to_string(number_of(compression)) + " of BitmapCompression");
    }
    bool known = false;
    for (const int bits : {1, 4, 8, 16, 24, 32}) {
        known = known || bits == bits_per_pixel;
    }
    if (!known) {
        throw_out_of_range("bits_per_pixel",
                           "BMP has no form of " + std::to_string(bits_per_pixel) + " bits per pixel.");
    }
    require_dots(horizontal, "horizontal_resolution");
    require_dots(vertical, "vertical_resolution");
    Encoding encoding = encoding_of(BmpEncoding{bits_per_pixel, *known_compression});
    encoding.resolution = imagework::Resolution{horizontal, vertical};
    return encoding;
}
Ref<ImageObject> bmp_of(const Ref<ImageObject>& image, bool keeps_settings) {
    return as_format(image, bmp_for(image->picture()), keeps_settings);
}
Ref<ImageObject> bmp_of_path(const Path& path) {
    return bmp_of(image_of_file(path, nullptr, "path"), true);
}
Ref<ImageObject> bmp_of_path_with(const Path& path, uint16_t bits_per_pixel, BitmapCompression compression,
                                  double horizontal_resolution, double vertical_resolution) {
    return of_path(path, bmp_settings(bits_per_pixel, compression, horizontal_resolution, vertical_resolution));
}
Ref<ImageObject> bmp_of_stream(Ref<ManagedStream> stream) {
    return bmp_of(image_of_stream(stream, nullptr), true);
}
Ref<ImageObject> bmp_of_stream_with(Ref<ManagedStream> stream, uint16_t bits_per_pixel, BitmapCompression compression,
                                    double horizontal_resolution, double vertical_resolution) {
    return of_stream(stream, bmp_settings(bits_per_pixel, compression, horizontal_resolution, vertical_resolution));
}
Ref<ImageObject> bmp_of_image(ImageObject* raster_image) {
    return bmp_of(Ref<ImageObject>(&required_image(raster_image, "raster_image")), false);
}
Ref<ImageObject> bmp_of_image_with(ImageObject* raster_image, uint16_t bits_per_pixel, BitmapCompression compression,
                                   double horizontal_resolution, double vertical_resolution) {
    return of_image(raster_image,
                    bmp_settings(bits_per_pixel, compression, horizontal_resolution, vertical_resolution));
}
Ref<ImageObject> bmp_of_size(int32_t width, int32_t height) {
    return new_image(encoding_of(BmpEncoding{}), width, height);
}
Ref<ImageObject> bmp_of_size_with(int32_t width, int32_t height, uint16_t bits_per_pixel, const VariantArg* palette,
                                  BitmapCompression compression, double horizontal_resolution,
                                  double vertical_resolution) {
    Encoding encoding = bmp_settings(bits_per_pixel, compression, horizontal_resolution, vertical_resolution);
    if (const Ref<PaletteObject> given = read_palette(palette)) {
        if (bits_per_pixel > 8 || given->entries.size() > size_t{1} << bits_per_pixel) {
            throw_argument("A palette of " + std::to_string(given->entries.size()) + " entries does not go with " +
                           std::to_string(bits_per_pixel) + " bits per pixel. (Parameter 'palette')");
        }
        encoding.palette = given->entries;
    }
    return new_image(encoding, width, height);
}
Ref<ImageObject> bmp_of_size_and_palette(int32_t width, int32_t height, uint16_t bits_per_pixel,
                                         const VariantArg* palette) {
    return bmp_of_size_with(width, height, bits_per_pixel, palette, BitmapCompression::kRgb,
                            imagework::kDefaultResolution.horizontal, imagework::kDefaultResolution.vertical);
}
// In the widths that the class has for them.
uint16_t bmp_bits(ImageObject& self) {
    self.require_live();
    return static_cast<uint16_t>(self.facts().bits_per_pixel);
}
double bmp_horizontal_resolution(ImageObject& self) {
    return self.picture().resolution().horizontal;
}
double bmp_vertical_resolution(ImageObject& self) {
    return self.picture().resolution().vertical;
}
void set_bmp_horizontal_resolution(ImageObject& self, double value) {
    require_dots(value, "value");
    self.picture().set_resolution({value, self.picture().resolution().vertical});
}
void set_bmp_vertical_resolution(ImageObject& self, double value) {
    require_dots(value, "value");
    self.picture().set_resolution({self.picture().resolution().horizontal, value});
}
BitmapCompression bmp_compression(ImageObject& self) {
    self.require_live();
    const auto* bmp = settings_as<BmpEncoding>(self.facts());
    const auto compression = bmp != nullptr ? api_value(kBmpCompressions, bmp->compression) : std::nullopt;
    return compression.value_or(BitmapCompression::kRgb);
}

// ---- PNG

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

// ---- JPEG

Ref<ImageObject> jpeg_of_path(const Path& path) {
    return of_path(path, encoding_of(JpegEncoding{}), true);
}
Ref<ImageObject> jpeg_of_stream(Ref<ManagedStream> stream) {
    return of_stream(stream, encoding_of(JpegEncoding{}), true);
}
Ref<ImageObject> jpeg_of_image(ImageObject* raster_image) {
    return of_image(raster_image, encoding_of(JpegEncoding{}));
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

// There is no backend for these formats, so that such an image would have no pixels.
Ref<ImageObject> jpeg_2000_of_size(int32_t, int32_t) {
    throw_not_supported("Making a Jpeg2000Image");
}
Ref<ImageObject> jpeg_2000_of_image(ImageObject*) {
    throw_not_supported("Making a Jpeg2000Image");
}
Ref<ImageObject> tga_of_image(ImageObject*) {
    throw_not_supported("Making a TgaImage");
}

using ApngImageApi = api::FileFormats::Apng::ApngImage;
using BmpImageApi = api::FileFormats::Bmp::BmpImage;
using Jpeg2000ImageApi = api::FileFormats::Jpeg2000::Jpeg2000Image;
using JpegImageApi = api::FileFormats::Jpeg::JpegImage;
using PngImageApi = api::FileFormats::Png::PngImage;
using TgaImageApi = api::FileFormats::Tga::TgaImage;

const BehaviorTable table({
    behavior<&bmp_of_path, BmpImageApi::ctor_000_BmpImage>(),
    behavior<&bmp_of_path_with, BmpImageApi::ctor_001_BmpImage>(),
    behavior<&bmp_of_stream, BmpImageApi::ctor_002_BmpImage>(),
    behavior<&bmp_of_stream_with, BmpImageApi::ctor_003_BmpImage>(),
    behavior<&bmp_of_image, BmpImageApi::ctor_004_BmpImage>(),
    behavior<&bmp_of_image_with, BmpImageApi::ctor_005_BmpImage>(),
    behavior<&bmp_of_size, BmpImageApi::ctor_006_BmpImage>(),
    behavior<&bmp_of_size_and_palette, BmpImageApi::ctor_007_BmpImage>(),
    behavior<&bmp_of_size_with, BmpImageApi::ctor_008_BmpImage>(),
    behavior<&bmp_bits, BmpImageApi::get_BitsPerPixel>(),
    property<&bmp_horizontal_resolution, &set_bmp_horizontal_resolution, BmpImageApi::property_HorizontalResolution>(),
    property<&bmp_vertical_resolution, &set_bmp_vertical_resolution, BmpImageApi::property_VerticalResolution>(),
    behavior<&bmp_compression, BmpImageApi::get_Compression>(),
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
    behavior<&jpeg_of_path, JpegImageApi::ctor_000_JpegImage>(),
    behavior<&jpeg_of_stream, JpegImageApi::ctor_001_JpegImage>(),
    behavior<&jpeg_of_image, JpegImageApi::ctor_002_JpegImage>(),
    behavior<&jpeg_of_size, JpegImageApi::ctor_003_JpegImage>(),
    behavior<&jpeg_with_options, JpegImageApi::ctor_004_JpegImage>(),
    behavior<&jpeg_2000_of_size, Jpeg2000ImageApi::ctor_004_Jpeg2000Image>(),
    behavior<&jpeg_2000_of_image, Jpeg2000ImageApi::ctor_007_Jpeg2000Image>(),
    behavior<&tga_of_image, TgaImageApi::ctor_001_TgaImage>(),
    behavior<&jpeg_options, JpegImageApi::get_JpegOptions>(),
});

}  // namespace

}  // namespace zelmor::embed

// Making BMP images, and what the class of such images has besides.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Bmp.h"
#include "runtime/native/behaviors/images/creating.h"
#include "runtime/native/behaviors/images/format_images.h"
#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/images/palettes.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/formats/bmp/bmp_enumerations.h"

namespace zelmor::embed {

using imagework::BmpCompression;
using imagework::BmpEncoding;
using imagework::Encoding;

namespace {

using Path = std::optional<std::u16string>;

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

using BmpImageApi = api::FileFormats::Bmp::BmpImage;

const BehaviorTable ZELMOR_UNNAMED({
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
});

}  // namespace

}  // namespace zelmor::embed

// BMP in the API: its classes, and save options from and to the settings of a file.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Bmp.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/setting_values.h"
#include "runtime/native/formats/bmp/bmp_enumerations.h"
#include "runtime/native/formats/bmp/bmp_options.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

FormatEncoding settings_of(const ManagedObject& options) {
    BmpEncoding result;
    const auto bits = own_bits_per_pixel(options);
    result.bits_per_pixel = bits.value_or(result.bits_per_pixel);
    result.keeps_bilevel = !bits;
    result.compression = supported(options, "Compression", kBmpCompressions);
    return result;
}

void fill_options(ManagedObject& options, const FileFacts& facts) {
    const auto& bmp = facts.encoding->get<BmpEncoding>();
    put_setting(options, "BitsPerPixel", bmp.bits_per_pixel);
    put_setting(options, "Compression", api_value(kBmpCompressions, bmp.compression).value_or(BitmapCompression::kRgb));
}

NewPixels new_pixels(const FormatEncoding& settings) {
    const int bits = settings.get<BmpEncoding>().bits_per_pixel;
    return {pixel_form(ColorModel::kRgb, bits == 32), bits};
}

bool is_indexed(const FormatEncoding& settings) {
    return settings.get<BmpEncoding>().bits_per_pixel <= 8;
}

void suit(FormatEncoding& settings, const ImageObject& page) {
    if (page.facts().format != Format::kBmp) {
        auto& bmp = settings.get<BmpEncoding>();
        bmp.bits_per_pixel = page.picture().has_alpha() ? 32 : 24;
        bmp.keeps_bilevel = true;
    }
}

namespace classes = api::FileFormats;
namespace save_options = api::ImageOptions;

constexpr FormatClasses kClasses[] = {
    {FileFormat::kBmp, Format::kBmp, "Bmp", classes::Bmp::BmpImage::kType, save_options::BmpOptions::kType, nullptr,
     false},
};

}  // namespace

extern const FormatMembers kBmpMembers;
const FormatMembers kBmpMembers{
    .format = Format::kBmp,
    .classes = kClasses,
    .settings = &settings_of,
    .fill_options = &fill_options,
    .new_pixels = &new_pixels,
    .is_indexed = &is_indexed,
    .suit = &suit,
};

}  // namespace zelmor::embed

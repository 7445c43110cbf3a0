// Icons in the API: their classes, and save options from and to the settings of a file.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Ico.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/setting_values.h"
#include "runtime/native/formats/ico/ico_encoding.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

constexpr Counterpart<FileFormat, IcoEntryFormat> kEntryFormats[] = {
    {FileFormat::kPng, IcoEntryFormat::kPng},
    {FileFormat::kBmp, IcoEntryFormat::kBmp},
};

FormatEncoding settings_of(const ManagedObject& options) {
    IcoEncoding result;
    result.entry.format = supported(options, "Format", kEntryFormats);
    result.entry.bits_per_pixel = setting(options, "BitsPerPixel");
    return result;
}

void fill_options(ManagedObject& options, const FileFacts& facts) {
    const auto& entry = facts.encoding->get<IcoEncoding>().entry;
    put_setting(options, "Format", api_value(kEntryFormats, entry.format).value_or(FileFormat::kPng));
    put_setting(options, "BitsPerPixel", entry.bits_per_pixel);
}

// Colors, until the entry's own are chosen.
NewPixels new_pixels(const FormatEncoding& settings) {
    const int bits = settings.get<IcoEncoding>().entry.bits_per_pixel;
    return {pixel_form(ColorModel::kRgb, bits != 24 && bits != 48, bits >= 48 ? 16 : 8), bits};
}

bool is_indexed(const FormatEncoding& settings) {
    return settings.get<IcoEncoding>().entry.bits_per_pixel <= 8;
}

// Options say nothing of cursors, so that a cursor stays one. The pages of a file have hot spots of their own.
void complete(const ImageObject& image, FormatEncoding& settings) {
    if (const auto* own = settings_as<IcoEncoding>(image.facts()); own != nullptr) {
        auto& ico = settings.get<IcoEncoding>();
        ico.kind = own->kind;
        if (image.frame_count() == 1) {
            ico.hot_spot = own->hot_spot;
        }
    }
}

// An image of cursors stays one under each name; another one becomes one by the extension of cursors.
void take_extension(const std::string& extension, FormatEncoding& settings) {
    if (extension == "cur") {
        settings.get<IcoEncoding>().kind = IcoKind::kCursor;
    }
}

void move_hot_spot(FileFacts& facts, const std::function<MarkedPixel(MarkedPixel)>& moved) {
    if (auto* ico = facts.encoding ? facts.encoding->as<IcoEncoding>() : nullptr; ico != nullptr) {
        const MarkedPixel to = moved({ico->hot_spot.x, ico->hot_spot.y});
        ico->hot_spot = {static_cast<uint16_t>(to.x), static_cast<uint16_t>(to.y)};
    }
}

namespace classes = api::FileFormats;
namespace save_options = api::ImageOptions;

constexpr FormatClasses kClasses[] = {
    {FileFormat::kIco, Format::kIco, "Ico", classes::Ico::IcoImage::kType, save_options::IcoOptions::kType,
     &api::RasterCachedImage::kType, true},
};

}  // namespace

extern const FormatMembers kIcoMembers;
const FormatMembers kIcoMembers{
    .format = Format::kIco,
    .classes = kClasses,
    .settings = &settings_of,
    .fill_options = &fill_options,
    .options_have_resolution = false,
    .new_pixels = &new_pixels,
    .is_indexed = &is_indexed,
    .complete = &complete,
    .take_extension = &take_extension,
    .move_mark = &move_hot_spot,
    .has_pages = true,
};

}  // namespace zelmor::embed

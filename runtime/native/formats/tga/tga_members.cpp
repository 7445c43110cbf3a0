// TGA in the API: its classes, save options, and the properties of images from and to what a file says.
#include <string>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Tga.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/core/text.h"
#include "runtime/native/formats/tga/tga_encoding.h"
#include "runtime/native/formats/tga/tga_values.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

// The options of the format have no setting of their own.
FormatEncoding settings_of(const ManagedObject&) {
    return TgaEncoding{};
}
void fill_options(ManagedObject&, const FileFacts&) {}

NewPixels new_pixels(const FormatEncoding& settings) {
    const auto& tga = settings.get<TgaEncoding>();
    if (tga.bits_of == ColorModel::kGray) {
        return pixels_of(ColorModel::kGray, tga.bits_per_pixel == 16);
    }
    if (tga.bits_of == ColorModel::kIndexed) {
        return {pixel_form(ColorModel::kRgb, false), tga.bits_per_pixel};
    }
    return pixels_of(ColorModel::kRgb, tga.bits_per_pixel == 0 || tga.bits_per_pixel == 32);
}

// A picture with a palette is written with it, all others without.
bool is_indexed(const FormatEncoding&) {
    return true;
}

// The properties of an image that a file has said something of.
void take_file(ImageObject& image) {
    if (!has_property(image, "JobNameOrId")) {
        return;
    }
    const auto& tga = image.facts().encoding->get<TgaEncoding>();
    set_property(image, "XOrigin", int64_t{tga.x_origin});
    set_property(image, "YOrigin", int64_t{tga.y_origin});
    if (!tga.image_id.empty()) {
        set_property(image, "ImageId", text_of_tga({tga.image_id.begin(), tga.image_id.end()}));
    }
    set_property(image, "HasColorMap", tga.unused_map.has_value() || tga.bits_of == ColorModel::kIndexed);
    if (tga.extension) {
        put_tga_extension(image, *tga.extension);
    }
}

// An image keeps what its file says, or another one said, in whatever way it is saved.
void complete(const ImageObject& image, FormatEncoding& settings) {
    const auto* own = settings_as<TgaEncoding>(image.facts());
    if (own == nullptr || !has_property(image, "JobNameOrId")) {
        return;
    }
    auto& tga = settings.get<TgaEncoding>();
    tga = *own;
    tga.x_origin = static_cast<uint16_t>(property_int(image, "XOrigin"));
    tga.y_origin = static_cast<uint16_t>(property_int(image, "YOrigin"));
    const std::u16string id = property_string(image, "ImageId").value_or(u"");
    if (id != text_of_tga({own->image_id.begin(), own->image_id.end()})) {
        const std::string bytes = to_utf8(id);
        tga.image_id.assign(bytes.begin(), bytes.end());
    }
    take_tga_extension(image, tga.extension);
}

namespace classes = api::FileFormats;
namespace save_options = api::ImageOptions;

constexpr FormatClasses kClasses[] = {
    {FileFormat::kTga, Format::kTga, "Tga", classes::Tga::TgaImage::kType, save_options::TgaOptions::kType, nullptr,
     false},
};

}  // namespace

extern const FormatMembers kTgaMembers;
const FormatMembers kTgaMembers{
    .format = Format::kTga,
    .classes = kClasses,
    .settings = &settings_of,
    .fill_options = &fill_options,
    .options_have_resolution = false,
    .new_pixels = &new_pixels,
    .is_indexed = &is_indexed,
    .complete = &complete,
    .take_file = &take_file,
};

}  // namespace zelmor::embed

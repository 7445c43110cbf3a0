// Replacing colors, and questions about alpha.
#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

bool is_gray_color(Argb color) {
    return (color >> 16 & 0xFF) == (color & 0xFF) && (color >> 8 & 0xFF) == (color & 0xFF);
}

}  // namespace

void VipsPicture::replace_color(Argb old_color, uint8_t tolerance, Argb new_color) {
    apply("the color could not be replaced", [&] {
        VImage image = is_gray_color(old_color) && is_gray_color(new_color) ? m_image : as_rgb(m_image);
        double allowed = tolerance * channel_max(image) / 255.0;
        VImage distance = (image.cast(VIPS_FORMAT_INT) - ink(image, old_color)).abs();
        VImage matches = (distance <= allowed).bandand();
        return matches.ifthenelse(ink(image, new_color), image);
    });
}

void VipsPicture::replace_rgb(Argb new_color) {
    apply("the colors could not be replaced", [&] {
        VImage image = is_gray_color(new_color) ? m_image : as_rgb(m_image);
        VImage colors = color_bands(image);
        std::vector<double> fill = ink(colors, new_color);
        return with_alpha_of(colors.new_from_image(fill), image);
    });
}

double VipsPicture::opacity() const {
    if (!has_alpha()) {
        return 1.0;
    }
    return guarded(Failure::kInternal, "the alpha channel could not be read",
                   [&] { return m_image.extract_band(m_image.bands() - 1).avg() / channel_max(m_image); });
}

}  // namespace zelmor::imagework

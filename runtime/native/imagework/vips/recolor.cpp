// Replacing colors, and questions about alpha.
#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

namespace zelmor::imagework {
void VipsPicture::replace_color(Argb old_color, uint8_t tolerance, Argb new_color) {
    to_colors();
    if (!has_alpha()) {
        old_color |= kBlack;
    }
    admit(new_color);
    if (!is_gray_color(old_color)) {
        to_rgb();
    }
    apply("the color could not be replaced", [&] {
        const VImage& image = m_image;
        double allowed = tolerance * channel_max(image) / 255.0;
        const bool narrow = image.format() == VIPS_FORMAT_UCHAR || image.format() == VIPS_FORMAT_USHORT;
        VImage distance = (image.cast(narrow ? VIPS_FORMAT_INT : VIPS_FORMAT_DOUBLE) - ink(image, old_color)).abs();
        VImage matches = (distance <= allowed).bandand();
        return matches.ifthenelse(ink(image, new_color), image);
    });
}

void VipsPicture::replace_rgb(Argb new_color) {
    to_colors();
    admit(new_color | kBlack);
    apply("the colors could not be replaced", [&] {
        const VImage& image = m_image;
        VImage colors = color_bands(image);
        std::vector<double> fill = ink(colors, new_color);
        return with_alpha_of(colors.new_from_image(fill), image);
    });
}

double VipsPicture::opacity() const {
    if (!has_alpha()) {
        return 1.0;
    }
    const VImage image = colors();
    return guarded(Failure::kInternal, "the alpha channel could not be read",
                   [&] { return image.extract_band(image.bands() - 1).avg() / channel_max(image); });
}

}  // namespace zelmor::imagework

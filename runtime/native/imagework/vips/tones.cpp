// Operations on the value of each channel for itself: gray, brightness, contrast, gamma.
#include <cmath>
#include <vector>

#include "runtime/native/imagework/vips/gray.h"
#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

// Maps the color channels through a table that `curve` makes of the values 0 to channel_max.
template <class Curve>
VImage mapped(const VImage& image, Curve&& curve) {
    if (image.format() != VIPS_FORMAT_UCHAR && image.format() != VIPS_FORMAT_USHORT) {
        // No table has all values; the curve is that of each sample.
        const VImage colors = color_bands(image);
        const VImage result = curve(colors.cast(VIPS_FORMAT_DOUBLE), channel_max(image));
        return with_alpha_of(rounded_like(result, colors), image);
    }
    bool wide = image.format() == VIPS_FORMAT_USHORT;
    VImage values = VImage::identity(VImage::option()->set("ushort", wide)->set("size", 65536));
    VImage table = curve(values, channel_max(image)).rint().cast(image.format());
    VImage colors = color_bands(image);
    VImage result = colors.maplut(table).copy(VImage::option()->set("interpretation", image.interpretation()));
    return with_alpha_of(result, image);
}

}  // namespace

void VipsPicture::grayscale() {
    if (m_form.color == ColorModel::kGray) {
        return;
    }
    to_colors();
    if (is_gray()) {
        return;
    }
    to_srgb();  // gray has no profile of RGB
    apply("the image could not be made gray", [&] { return with_alpha_of(gray_of(image()), image()); });
}

void VipsPicture::adjust_brightness(int32_t brightness) {
    on_colors([&] {
        apply("the brightness could not be changed", [&] {
            return mapped(image(), [&](const VImage& values, double top) {
                return values.linear(1.0, brightness * top / 255.0);
            });
        });
    });
}

void VipsPicture::adjust_contrast(double contrast) {
    // Stretches around the middle by the square of the percentage.
    double factor = std::pow((100.0 + contrast) / 100.0, 2.0);
    on_colors([&] {
        apply("the contrast could not be changed", [&] {
            return mapped(image(), [&](const VImage& values, double top) {
                return values.linear(factor, top / 2.0 * (1.0 - factor));
            });
        });
    });
}

void VipsPicture::adjust_gamma(double red, double green, double blue) {
    on_colors([&] {
        if (red != green || green != blue) {
            to_rgb();
        }
        apply("the gamma could not be changed", [&] {
            return mapped(image(), [&](const VImage& values, double top) {
                // One exponent makes one band of one, three make three of one or of three. Below zero, where floating
                // samples may lie, the curve is that above it turned round.
                const VImage unit = values.linear(1.0 / top, 0.0);
                const std::vector<double> exponents =
                    is_gray() ? std::vector{1.0 / red} : std::vector{1.0 / red, 1.0 / green, 1.0 / blue};
                const VImage all = unit.abs().math2_const(VIPS_OPERATION_MATH2_POW, exponents) * unit.sign();
                return all.linear(top, 0.0);
            });
        });
    });
}

}  // namespace zelmor::imagework

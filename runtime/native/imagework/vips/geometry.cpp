// Cutting, placing, turning and mirroring.
#include <cmath>

#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

VImage quarter_turned(const VImage& image, int quarters) {
    static constexpr VipsAngle kAngles[] = {VIPS_ANGLE_D0, VIPS_ANGLE_D90, VIPS_ANGLE_D180, VIPS_ANGLE_D270};
    return quarters == 0 ? image : image.rot(kAngles[quarters]);
}

VImage placed(const VImage& image, int32_t width, int32_t height, int32_t x, int32_t y, Argb background) {
    bool beside = x >= width || y >= height || x <= -image.width() || y <= -image.height();
    if (beside) {  // nothing of the picture is on the canvas, which the library would refuse
        return image.extract_area(0, 0, 1, 1)
            .new_from_image(ink(image, background))
            .embed(0, 0, width, height, VImage::option()->set("extend", VIPS_EXTEND_COPY));
    }
    return image.embed(
        x, y, width, height,
        VImage::option()->set("extend", VIPS_EXTEND_BACKGROUND)->set("background", ink(image, background)));
}

// Around the center by any angle. Colors are weighed by their alpha, so that transparent pixels do not bleed.
VImage turned(const VImage& image, double degrees, bool grow, Argb background) {
    double angle = degrees * std::acos(-1.0) / 180.0;
    double cosine = std::cos(angle);
    double sine = std::sin(angle);
    int32_t width = image.width();
    int32_t height = image.height();
    if (grow) {
        constexpr double kSlack = 1e-6;  // what rounding adds to an exact whole number
        width = static_cast<int32_t>(
            std::ceil(std::fabs(image.width() * cosine) + std::fabs(image.height() * sine) - kSlack));
        height = static_cast<int32_t>(
            std::ceil(std::fabs(image.width() * sine) + std::fabs(image.height() * cosine) - kSlack));
    }
    bool alpha = has_alpha_band(image);
    std::vector<double> fill = ink(image, background);
    VImage source = image;
    if (alpha) {
        source = image.premultiply();
        double share = fill.back() / channel_max(image);
        for (size_t i = 0; i + 1 < fill.size(); i++) {
            fill[i] *= share;
        }
    }
    VImage result = source.affine({cosine, -sine, sine, cosine},
                                  VImage::option()
                                      ->set("interpolate", vips::VInterpolate::new_from_name("bicubic"))
                                      ->set("idx", -(image.width() - 1) / 2.0)
                                      ->set("idy", -(image.height() - 1) / 2.0)
                                      ->set("odx", (width - 1) / 2.0)
                                      ->set("ody", (height - 1) / 2.0)
                                      ->set("oarea", std::vector<int>{0, 0, width, height})
                                      ->set("extend", VIPS_EXTEND_BACKGROUND)
                                      ->set("background", fill)
                                      ->set("premultiplied", true));
    return rounded_like(alpha ? result.unpremultiply() : result, image);
}

}  // namespace

void VipsPicture::crop(const Rect& area) {
    require_inside(area);
    apply("the image could not be cropped",
          [&] { return m_image.extract_area(area.x, area.y, area.width, area.height); });
}

void VipsPicture::place(int32_t width, int32_t height, int32_t x, int32_t y, Argb background) {
    check_picture_size(width, height, static_cast<int>(VIPS_IMAGE_SIZEOF_PEL(m_image.get_image())));
    apply("the image could not be placed on its canvas",
          [&] { return placed(m_image, width, height, x, y, background); });
}

void VipsPicture::replace_area(const Rect& area, Argb color) {
    require_inside(area);
    apply("the area could not be filled", [&] {
        const VImage fill =
            m_image.extract_area(0, 0, 1, 1)
                .new_from_image(ink(m_image, color))
                .embed(0, 0, area.width, area.height, VImage::option()->set("extend", VIPS_EXTEND_COPY));
        return m_image.insert(fill, area.x, area.y);
    });
}

void VipsPicture::draw(const Picture& other, int32_t x, int32_t y) {
    const VImage& top = static_cast<const VipsPicture&>(other).image();
    if (x >= width() || y >= height() || x <= -top.width() || y <= -top.height()) {
        return;
    }
    apply("the images could not be laid over each other", [&] {
        VImage below = is_gray_image(m_image) && !is_gray_image(top) ? as_rgb(m_image) : m_image;
        VImage above = is_gray_image(below) ? luma(top) : color_bands(as_rgb(top));
        if (below.format() != above.format()) {
            above = below.format() == VIPS_FORMAT_UCHAR
                        ? as_8_bit(above)
                        : above.linear(257.0, 0.0)
                              .cast(VIPS_FORMAT_USHORT)
                              .copy(VImage::option()->set("interpretation", below.interpretation()));
        }
        if (!has_alpha_band(top)) {
            return below.insert(has_alpha_band(below) ? with_alpha(above) : above, x, y);
        }
        VImage alpha = top.extract_band(top.bands() - 1);
        if (below.format() == VIPS_FORMAT_UCHAR && alpha.format() == VIPS_FORMAT_USHORT) {
            alpha = alpha >> 8;
        }
        if (below.format() == VIPS_FORMAT_USHORT && alpha.format() == VIPS_FORMAT_UCHAR) {
            alpha = alpha * 257;
        }
        above = above.bandjoin(alpha.cast(below.format()));
        const VImage laid = below.composite2(
            above, VIPS_BLEND_MODE_OVER,
            VImage::option()->set("x", x)->set("y", y)->set("compositing_space", below.interpretation()));
        return rounded_like(has_alpha_band(below) ? laid : color_bands(laid), below);
    });
}

void VipsPicture::rotate_flip(int quarter_turns, bool mirror_x, bool mirror_y) {
    apply("the image could not be rotated", [&] {
        VImage result = quarter_turned(m_image, quarter_turns & 3);
        if (mirror_x) {
            result = result.fliphor();
        }
        if (mirror_y) {
            result = result.flipver();
        }
        return result;
    });
}

void VipsPicture::rotate(double degrees, bool grow, Argb background) {
    double turn = std::fmod(degrees, 360.0);
    if (turn < 0) {
        turn += 360.0;
    }
    double quarters = turn / 90.0;
    if (quarters == std::floor(quarters)) {  // exact, without resampling
        int32_t width = this->width();
        int32_t height = this->height();
        apply("the image could not be rotated", [&] {
            VImage result = quarter_turned(m_image, static_cast<int>(quarters) & 3);
            if (grow || (result.width() == width && result.height() == height)) {
                return result;
            }
            return placed(result, width, height, (width - result.width()) / 2, (height - result.height()) / 2,
                          background);
        });
        return;
    }
    // The canvas that a turned picture needs is largest at 45 degrees, less than twice each side together.
    check_picture_size(int64_t{width()} + (grow ? height() : 0), int64_t{height()} + (grow ? width() : 0), 1);
    apply("the image could not be rotated", [&] { return turned(m_image, turn, grow, background); });
}

}  // namespace zelmor::imagework

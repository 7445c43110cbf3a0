// Cutting, placing, turning and mirroring.
#include <algorithm>
#include <cmath>

#include "runtime/native/imagework/vips/quarter_turns.h"
#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

VImage placed(const VImage& image, int32_t width, int32_t height, int32_t x, int32_t y,
              const std::vector<double>& background) {
    bool beside = x >= width || y >= height || x <= -image.width() || y <= -image.height();
    if (beside) {  // nothing of the picture is on the canvas, which the library would refuse
        return image.extract_area(0, 0, 1, 1)
            .new_from_image(background)
            .embed(0, 0, width, height, VImage::option()->set("extend", VIPS_EXTEND_COPY));
    }
    return image.embed(x, y, width, height,
                       VImage::option()->set("extend", VIPS_EXTEND_BACKGROUND)->set("background", background));
}

// Around the center by any angle. Colors are weighed by their alpha, so that transparent pixels do not bleed.
VImage turned(const VImage& image, double degrees, bool grow, std::vector<double> fill) {
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
    const bool alpha = has_alpha_band(image);
    const double top = channel_max(image);
    if (alpha && image.format() == VIPS_FORMAT_UINT) {
        std::transform(fill.begin(), fill.end(), fill.begin(), [&](double level) { return level / top; });
        return by_shares(image, [&](const VImage& shares) { return turned(shares, degrees, grow, fill); });
    }
    VImage source = image;
    if (alpha) {
        source = image.premultiply(VImage::option()->set("max_alpha", top));
        const double share = fill.back() / top;
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
    return rounded_like(alpha ? result.unpremultiply(VImage::option()->set("max_alpha", top)) : result, image);
}

}  // namespace

void VipsPicture::crop(const Rect& area) {
    require_inside(area);
    if (m_rows != nullptr) {
        return take_rows(DeferredRows::cropped(m_rows, area));
    }
    apply("the image could not be cropped",
          [&] { return image().extract_area(area.x, area.y, area.width, area.height); });
}

void VipsPicture::place(int32_t width, int32_t height, int32_t x, int32_t y, Argb background) {
    const bool covered =
        x <= 0 && y <= 0 && int64_t{x} + this->width() >= width && int64_t{y} + this->height() >= height;
    if (!covered) {
        admit(background);
    }
    check_picture_size(width, height, static_cast<int>(m_form.pixel_size()));
    const std::vector<double> fill = ink_of(background);
    apply("the image could not be placed on its canvas", [&] { return placed(image(), width, height, x, y, fill); });
}

void VipsPicture::replace_area(const Rect& area, Argb color) {
    require_inside(area);
    admit(has_alpha() ? color : color | kBlack);
    const std::vector<uint8_t> pixel = pixel_of(color);
    make_writable();
    note_change();
    for (int32_t y = 0; y < area.height; y++) {
        repeat_pixel(pixel, area.width, row_of(image(), area.y + y, area.x));
    }
}

void VipsPicture::rotate_flip(int quarter_turns, bool mirror_x, bool mirror_y) {
    apply("the image could not be rotated", [&] {
        VImage result = quarter_turned(image(), quarter_turns & 3);
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
        const bool turns = static_cast<int>(quarters) % 2 == 1;
        if (turns && !grow && width != height) {
            admit(background);
        }
        const std::vector<double> fill = ink_of(background);
        apply("the image could not be rotated", [&] {
            VImage result = quarter_turned(image(), static_cast<int>(quarters) & 3);
            if (grow || (result.width() == width && result.height() == height)) {
                return result;
            }
            return placed(result, width, height, (width - result.width()) / 2, (height - result.height()) / 2, fill);
        });
        return;
    }
    to_direct();
    admit(background);
    // The canvas that a turned picture needs is largest at 45 degrees, less than twice each side together.
    check_picture_size(int64_t{width()} + (grow ? height() : 0), int64_t{height()} + (grow ? width() : 0), 1);
    const std::vector<double> fill = ink_of(background);
    apply("the image could not be rotated", [&] { return turned(image(), turn, grow, fill); });
}

}  // namespace zelmor::imagework

// Cutting, placing, turning and mirroring.
#include <cmath>

#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

VImage quarter_turned(const VImage& image, int quarters) {
    static constexpr VipsAngle kAngles[] = {VIPS_ANGLE_D0, VIPS_ANGLE_D90, VIPS_ANGLE_D180, VIPS_ANGLE_D270};
    return quarters == 0 ? image : image.rot(kAngles[quarters]);
}

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
    bool alpha = has_alpha_band(image);
    VImage source = image;
    if (alpha) {
        source = image.premultiply(VImage::option()->set("max_alpha", channel_max(image)));
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
    return rounded_like(alpha ? result.unpremultiply(VImage::option()->set("max_alpha", channel_max(image))) : result,
                        image);
}

// Lays a row of pixels with alpha over another one of the same colors; neither is premultiplied.
template <class Sample>
void lay_over(const Sample* top, Sample* below, int colors, bool below_has_alpha, size_t count) {
    using Share = std::conditional_t<(sizeof(Sample) > 2), double, float>;
    constexpr auto kTop = static_cast<Share>(sample_top<Sample>());
    const auto stored = [](Share value) {
        return static_cast<Sample>(std::is_floating_point_v<Sample> ? value : value + Share(0.5));
    };
    const int step = colors + (below_has_alpha ? 1 : 0);
    for (size_t i = 0; i < count; i++, top += colors + 1, below += step) {
        const Share alpha = static_cast<Share>(top[colors]) / kTop;
        const Share behind = below_has_alpha ? static_cast<Share>(below[colors]) / kTop : Share{1};
        const Share whole = alpha + behind * (1 - alpha);
        if (alpha == 0) {
            continue;
        }
        const Share own = alpha / whole;
        for (int band = 0; band < colors; band++) {
            below[band] =
                alpha == 1 ? top[band]
                           : stored(static_cast<Share>(top[band]) * own + static_cast<Share>(below[band]) * (1 - own));
        }
        if (below_has_alpha) {
            below[colors] = stored(whole * kTop);
        }
    }
}

bool same_profile(const ProfileBytes& a, const ProfileBytes& b) {
    return a == b || (a != nullptr && b != nullptr && *a == *b);
}

}  // namespace

void VipsPicture::crop(const Rect& area) {
    require_inside(area);
    apply("the image could not be cropped",
          [&] { return m_image.extract_area(area.x, area.y, area.width, area.height); });
}

void VipsPicture::place(int32_t width, int32_t height, int32_t x, int32_t y, Argb background) {
    const bool covered =
        x <= 0 && y <= 0 && int64_t{x} + this->width() >= width && int64_t{y} + this->height() >= height;
    if (!covered) {
        admit(background);
    }
    check_picture_size(width, height, static_cast<int>(VIPS_IMAGE_SIZEOF_PEL(m_image.get_image())));
    const std::vector<double> fill = ink_of(background);
    apply("the image could not be placed on its canvas", [&] { return placed(m_image, width, height, x, y, fill); });
}

void VipsPicture::replace_area(const Rect& area, Argb color) {
    require_inside(area);
    admit(has_alpha() ? color : color | kBlack);
    const std::vector<double> value = ink_of(color);
    apply("the area could not be filled", [&] {
        const VImage fill =
            m_image.extract_area(0, 0, 1, 1)
                .new_from_image(value)
                .embed(0, 0, area.width, area.height, VImage::option()->set("extend", VIPS_EXTEND_COPY));
        return m_image.insert(fill, area.x, area.y);
    });
}

void VipsPicture::draw(const Picture& other, int32_t x, int32_t y) {
    if (x >= width() || y >= height() || x <= -other.width() || y <= -other.height()) {
        return;
    }
    VipsPicture top(static_cast<const VipsPicture&>(other), Shared{});
    static_cast<const VipsPicture&>(other).m_exclusive = false;
    const int32_t left = std::max(0, x);
    const int32_t first = std::max(0, y);
    const int32_t right = static_cast<int32_t>(std::min<int64_t>(width(), int64_t{x} + top.width()));
    const int32_t end = static_cast<int32_t>(std::min<int64_t>(height(), int64_t{y} + top.height()));
    top.crop({left - x, first - y, right - left, end - first});
    to_colors();
    top.to_colors();
    if (!same_profile(m_profile, top.m_profile)) {
        to_srgb();
        top.to_srgb();
    }
    if (is_gray() && !top.is_gray()) {
        to_rgb();
    }
    PixelForm form = m_form;
    form.alpha = true;
    top.to_form(form);
    make_writable();
    note_change();
    const auto count = static_cast<size_t>(top.width());
    with_storage(storage_of(m_form.sample), [&](auto sample) {
        using Sample = decltype(sample);
        for (int32_t row = 0; row < top.height(); row++) {
            lay_over(reinterpret_cast<const Sample*>(row_of(top.m_image, row)),
                     reinterpret_cast<Sample*>(row_of(m_image, first + row, left)), m_form.color_bands(), m_form.alpha,
                     count);
        }
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
        const bool turns = static_cast<int>(quarters) % 2 == 1;
        if (turns && !grow && width != height) {
            admit(background);
        }
        const std::vector<double> fill = ink_of(background);
        apply("the image could not be rotated", [&] {
            VImage result = quarter_turned(m_image, static_cast<int>(quarters) & 3);
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
    apply("the image could not be rotated", [&] { return turned(m_image, turn, grow, fill); });
}

}  // namespace zelmor::imagework

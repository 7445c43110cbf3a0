// Laying pictures and drawings over a picture, in the picture's own depth.
#include <algorithm>
#include <cassert>

#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/vips_picture.h"

namespace zelmor::imagework {
namespace {

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

// Lays a row of pixels with alpha over one color. Floating alphas count within their range.
template <class Sample>
void lay_on_color(const Sample* from, const std::vector<double>& color, Sample* to, size_t count) {
    const size_t colors = color.size();
    for (size_t i = 0; i < count; i++, from += colors + 1, to += colors) {
        const auto alpha = static_cast<double>(from[colors]) / sample_top<Sample>();
        const double share = alpha > 0 ? std::min(alpha, 1.0) : 0;
        for (size_t band = 0; band < colors; band++) {
            const double value = share > 0 ? static_cast<double>(from[band]) * share : 0;
            const double all = value + color[band] * (1 - share);
            to[band] = static_cast<Sample>(std::is_floating_point_v<Sample> ? all : all + 0.5);
        }
    }
}

// A channel of a drawing on a black and on a white ground, in 1/255: its own part, and the share of what was below.
struct Drawn {
    double own;
    double share;
};
Drawn drawn(Argb black, Argb white, int shift) {
    const double alpha = (black >> 24) / 255.0;
    const double own = (black >> shift & 0xFF) * alpha / 255.0;
    return {own, std::max(0.0, (white >> shift & 0xFF) * alpha / 255.0 - own)};
}

template <class Sample>
Sample stored(double value) {
    if constexpr (std::is_floating_point_v<Sample>) {
        return static_cast<Sample>(value);
    } else {
        return sample_as<Sample>(value);
    }
}

template <class Sample>
void blend_row(Sample* pixel, int colors, bool has_alpha, std::span<const Argb> black, std::span<const Argb> white) {
    constexpr double kTop = sample_top<Sample>();
    for (size_t i = 0; i < black.size(); i++, pixel += colors + (has_alpha ? 1 : 0)) {
        if (black[i] == kBlack && white[i] == kWhite) {
            continue;  // nothing was drawn here
        }
        // Of a gray picture all channels are alike.
        const Drawn green = drawn(black[i], white[i], 8);
        const double before = has_alpha ? static_cast<double>(pixel[colors]) / kTop : 1.0;
        const double alpha = (black[i] >> 24) / 255.0 - green.share + green.share * before;
        for (int band = 0; band < colors; band++) {
            const Drawn channel = drawn(black[i], white[i], 16 - 8 * band);
            const double value = channel.own + channel.share * before * static_cast<double>(pixel[band]) / kTop;
            const double whole = has_alpha ? alpha : 1.0;
            pixel[band] = whole > 0 ? stored<Sample>(value / whole) : Sample{0};
        }
        if (has_alpha) {
            pixel[colors] = stored<Sample>(alpha);
        }
    }
}

}  // namespace

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
            lay_over(reinterpret_cast<const Sample*>(row_of(top.image(), row)),
                     reinterpret_cast<Sample*>(row_of(image(), first + row, left)), m_form.color_bands(), m_form.alpha,
                     count);
        }
    });
}

void VipsPicture::flatten(Argb background) {
    if (!has_alpha()) {
        return;
    }
    to_direct();
    admit(background | kBlack);
    std::vector<double> color = ink_of(background | kBlack);
    color.pop_back();
    PixelForm form = m_form;
    form.alpha = false;
    with_storage(storage_of(form.sample), [&](auto sample) {
        using Sample = decltype(sample);
        convert_rows(form, [color](const uint8_t* from, uint8_t* to, size_t count) {
            lay_on_color(reinterpret_cast<const Sample*>(from), color, reinterpret_cast<Sample*>(to), count);
        });
    });
}

void VipsPicture::blend(const Rect& area, std::span<const Argb> on_black, std::span<const Argb> on_white) {
    require_inside(area);
    const auto width = static_cast<size_t>(area.width);
    assert(on_black.size() == width * static_cast<size_t>(area.height) && on_white.size() == on_black.size());
    to_colors();
    const auto gray = [](Argb color) { return is_gray_color(color); };
    if (is_gray() &&
        !(std::all_of(on_black.begin(), on_black.end(), gray) && std::all_of(on_white.begin(), on_white.end(), gray))) {
        to_rgb();
    }
    make_writable();
    note_change();
    with_storage(storage_of(m_form.sample), [&](auto sample) {
        using Sample = decltype(sample);
        for (int32_t y = 0; y < area.height; y++) {
            const size_t first = static_cast<size_t>(y) * width;
            blend_row(reinterpret_cast<Sample*>(row_of(image(), area.y + y, area.x)), m_form.color_bands(),
                      m_form.alpha, on_black.subspan(first, width), on_white.subspan(first, width));
        }
    });
}

}  // namespace zelmor::imagework

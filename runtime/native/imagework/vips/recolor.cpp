// Replacing colors, and questions about alpha.
#include <algorithm>

#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/strips.h"
#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

constexpr int kRecolorStrip = 64;

// Pixels none of whose channels is farther than the tolerance from those of a color.
template <class Sample>
class Match {
 public:
    Match(const VImage& image, Argb color, uint8_t tolerance) : m_bands(static_cast<size_t>(image.bands())) {
        const double allowed = tolerance * channel_max(image) / 255.0;
        for (const double wanted : ink(image, color)) {
            m_low.push_back(static_cast<Sample>(std::max(0.0, wanted - allowed)));
            m_high.push_back(static_cast<Sample>(std::min(channel_max(image), wanted + allowed)));
        }
    }
    bool operator()(const Sample* pixel) const {
        for (size_t band = 0; band < m_bands; band++) {
            if (pixel[band] < m_low[band] || pixel[band] > m_high[band]) {
                return false;
            }
        }
        return true;
    }

 private:
    size_t m_bands;
    std::vector<Sample> m_low;
    std::vector<Sample> m_high;
};

template <class Sample>
bool any_matches(const VImage& image, const Match<Sample>& matches) {
    for (int y = 0; y < image.height(); y++) {
        const auto* pixel = reinterpret_cast<const Sample*>(row_of(image, y));
        for (int x = 0; x < image.width(); x++, pixel += image.bands()) {
            if (matches(pixel)) {
                return true;
            }
        }
    }
    return false;
}

template <class Sample>
VImage replaced(const VImage& source, Argb old_color, uint8_t tolerance, Argb new_color) {
    const auto bands = static_cast<size_t>(source.bands());
    const Match<Sample> matches(source, old_color, tolerance);
    VImage target = raster_like(source);
    std::vector<Sample> fill;
    for (const double level : ink(target, new_color)) {
        fill.push_back(static_cast<Sample>(level));
    }
    for_strips(target, kRecolorStrip, [&](int begin, int end) {
        for (int y = begin; y < end; y++) {
            const auto* from = reinterpret_cast<const Sample*>(row_of(source, y));
            auto* to = reinterpret_cast<Sample*>(row_of(target, y));
            for (int x = 0; x < source.width(); x++, from += bands) {
                to = std::copy_n(matches(from) ? fill.data() : from, bands, to);
            }
        }
    });
    return target;
}

// All pixels of one color; those of the source may keep their alpha.
template <class Sample>
VImage recolored(const VImage& source, Argb color, bool keeps_alpha) {
    const auto bands = static_cast<size_t>(source.bands());
    const std::vector<double> levels = ink(source, color);
    const std::vector<Sample> pixel(levels.begin(), levels.end());
    const size_t given = bands - (keeps_alpha ? 1 : 0);
    VImage target = raster_like(source);
    for_strips(target, kRecolorStrip, [&](int begin, int end) {
        for (int y = begin; y < end; y++) {
            const auto* from = reinterpret_cast<const Sample*>(row_of(source, y));
            auto* to = reinterpret_cast<Sample*>(row_of(target, y));
            for (int x = 0; x < source.width(); x++, from += bands, to += bands) {
                std::copy_n(pixel.data(), given, to);
                std::copy_n(from + given, bands - given, to + given);
            }
        }
    });
    return target;
}

// The mean of a band as a share of its range; floating samples are clipped to it, and not-a-number is nothing.
template <class Sample>
double mean_share(const VImage& image, int band) {
    double sum = 0;
    for (int y = 0; y < image.height(); y++) {
        const auto* sample = reinterpret_cast<const Sample*>(row_of(image, y)) + band;
        for (int x = 0; x < image.width(); x++, sample += image.bands()) {
            const auto value = static_cast<double>(*sample);
            sum += value > 0 ? std::min(value, sample_top<Sample>()) : 0;
        }
    }
    return sum / (sample_top<Sample>() * image.width() * image.height());
}

}  // namespace

void VipsPicture::replace_color(Argb old_color, uint8_t tolerance, Argb new_color) {
    if (!has_alpha()) {
        old_color |= kBlack;
    }
    // A picture that has nothing of the color stays as it is, without alpha for instance.
    const bool any = guarded(Failure::kInternal, "the color could not be looked for", [&] {
        const VImage own = (is_gray_color(old_color) ? colors() : as_rgb(colors())).copy_memory();
        return with_storage(storage_of(form_of_image(own).sample), [&](auto sample) {
            return any_matches(own, Match<decltype(sample)>(own, old_color, tolerance));
        });
    });
    if (!any) {
        return;
    }
    on_colors([&] {
        admit(new_color);
        if (!is_gray_color(old_color)) {
            to_rgb();
        }
        apply("the color could not be replaced", [&] {
            return with_storage(storage_of(m_form.sample), [&](auto sample) {
                return replaced<decltype(sample)>(image(), old_color, tolerance, new_color);
            });
        });
    });
}

void VipsPicture::replace_rgb(Argb new_color) {
    to_colors();
    const bool had_alpha = has_alpha();
    admit(had_alpha ? new_color | kBlack : new_color);
    apply("the colors could not be replaced", [&] {
        return with_storage(storage_of(m_form.sample),
                            [&](auto sample) { return recolored<decltype(sample)>(image(), new_color, had_alpha); });
    });
}

double VipsPicture::opacity() const {
    if (!has_alpha()) {
        return 1.0;
    }
    const VImage image = colors();
    return guarded(Failure::kInternal, "the alpha channel could not be read", [&] {
        const VImage memory = image.copy_memory();
        return with_storage(storage_of(form_of_image(memory).sample),
                            [&](auto sample) { return mean_share<decltype(sample)>(memory, memory.bands() - 1); });
    });
}

}  // namespace zelmor::imagework

// Samples of planes and of pixels; see psd_samples.h.
#include "runtime/native/formats/psd/psd_samples.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cstring>
#include <type_traits>

namespace zelmor::imagework {
namespace {

// How the samples of a band stand in the file.
enum class Stored : uint8_t { kAsIs, kInverted, kSigned };

Stored stored(const PixelForm& form, int band) {
    if (band >= form.color_bands()) {
        return Stored::kAsIs;
    }
    return form.color == ColorModel::kCmyk              ? Stored::kInverted
           : form.color == ColorModel::kLab && band > 0 ? Stored::kSigned
                                                        : Stored::kAsIs;
}

// The same function leads there and back.
template <class Sample>
Sample turned(Sample value, Stored kind) {
    if constexpr (std::is_floating_point_v<Sample>) {
        return kind == Stored::kInverted ? 1 - value : value;
    } else {
        constexpr auto kSign = static_cast<Sample>(1U << (8 * sizeof(Sample) - 1));
        return kind == Stored::kInverted ? static_cast<Sample>(~value)
               : kind == Stored::kSigned ? static_cast<Sample>(value ^ kSign)
                                         : value;
    }
}

template <class Sample>
Sample big_endian(const uint8_t* from) {
    if constexpr (sizeof(Sample) == 1) {
        return *from;
    } else if constexpr (sizeof(Sample) == 2) {
        return static_cast<Sample>(from[0] << 8 | from[1]);
    } else {
        return std::bit_cast<Sample>(static_cast<uint32_t>(from[0]) << 24 | static_cast<uint32_t>(from[1]) << 16 |
                                     static_cast<uint32_t>(from[2]) << 8 | from[3]);
    }
}

template <class Sample>
void put_big_endian(Sample value, uint8_t* to) {
    if constexpr (sizeof(Sample) == 1) {
        *to = value;
    } else if constexpr (sizeof(Sample) == 2) {
        to[0] = static_cast<uint8_t>(value >> 8);
        to[1] = static_cast<uint8_t>(value);
    } else {
        const auto bits = std::bit_cast<uint32_t>(value);
        to[0] = static_cast<uint8_t>(bits >> 24);
        to[1] = static_cast<uint8_t>(bits >> 16);
        to[2] = static_cast<uint8_t>(bits >> 8);
        to[3] = static_cast<uint8_t>(bits);
    }
}

template <class Step>
void with_sample(const PixelForm& form, Step&& step) {
    switch (form.sample) {
        case SampleType::kUint8:
            return step(uint8_t{});
        case SampleType::kUint16:
            return step(uint16_t{});
        default:
            assert(form.sample == SampleType::kFloat);
            return step(float{});
    }
}

// The sample of a band that is white. The a* and b* of Lab are counted from the middle of the range here.
template <class Sample>
double white_of(const PixelForm& form, int band) {
    const double top = std::is_floating_point_v<Sample> ? 1.0 : static_cast<double>(static_cast<Sample>(~0U));
    switch (form.color) {
        case ColorModel::kCmyk:
            return 0;
        case ColorModel::kLab:
            return band == 0 ? top : (top + 1) / 2;
        default:
            return top;
    }
}

template <class Sample, class Formula>
void change_colors(const PixelForm& form, int32_t width, uint8_t* pixels, Formula&& formula) {
    constexpr double kTop = std::is_floating_point_v<Sample> ? 1.0 : static_cast<double>(static_cast<Sample>(~0U));
    auto* at = reinterpret_cast<Sample*>(pixels);
    const int colors = form.color_bands();
    for (int32_t x = 0; x < width; x++, at += colors + 1) {
        const double alpha = static_cast<double>(at[colors]) / kTop;
        if (alpha == 1.0) {
            continue;
        }
        for (int band = 0; band < colors; band++) {
            const bool is_signed = form.color == ColorModel::kLab && band > 0;
            const Stored kind = is_signed ? Stored::kSigned : Stored::kAsIs;
            const double white = white_of<Sample>(form, band);
            const double value = formula(static_cast<double>(turned(at[band], kind)), white, alpha);
            if constexpr (std::is_floating_point_v<Sample>) {
                at[band] = static_cast<Sample>(value);
            } else {
                // NOLINTNEXTLINE(bugprone-incorrect-roundings)
                at[band] = turned(static_cast<Sample>(std::clamp(value, 0.0, kTop) + 0.5), kind);
            }
        }
    }
}

}  // namespace

void put_band(const PixelForm& form, int band, std::span<const uint8_t> plane, int32_t width, uint8_t* pixels) {
    if (form.bits == 1) {
        assert(form.color == ColorModel::kGray && !form.alpha);
        for (int32_t x = 0; x < width; x++) {
            pixels[x] = (plane[static_cast<size_t>(x) / 8] >> (7 - x % 8) & 1) != 0 ? 0 : 255;
        }
        return;
    }
    const Stored kind = stored(form, band);
    const int bands = form.bands();
    with_sample(form, [&](auto sample) {
        using Sample = decltype(sample);
        assert(plane.size() == sizeof(Sample) * static_cast<size_t>(width));
        auto* to = reinterpret_cast<Sample*>(pixels) + band;
        const uint8_t* from = plane.data();
        for (int32_t x = 0; x < width; x++, to += bands, from += sizeof(Sample)) {
            *to = turned(big_endian<Sample>(from), kind);
        }
    });
}

void take_band(const PixelForm& form, int band, const uint8_t* pixels, int32_t width, std::span<uint8_t> plane) {
    if (form.bits == 1) {
        assert(form.color == ColorModel::kGray && !form.alpha);
        std::fill(plane.begin(), plane.end(), uint8_t{0});
        for (int32_t x = 0; x < width; x++) {
            if (pixels[x] < 128) {
                plane[static_cast<size_t>(x) / 8] |= static_cast<uint8_t>(0x80 >> x % 8);
            }
        }
        return;
    }
    const Stored kind = stored(form, band);
    const int bands = form.bands();
    with_sample(form, [&](auto sample) {
        using Sample = decltype(sample);
        assert(plane.size() == sizeof(Sample) * static_cast<size_t>(width));
        const auto* from = reinterpret_cast<const Sample*>(pixels) + band;
        uint8_t* to = plane.data();
        for (int32_t x = 0; x < width; x++, from += bands, to += sizeof(Sample)) {
            put_big_endian<Sample>(turned(*from, kind), to);
        }
    });
}

void clear_band(const PixelForm& form, int band, int32_t width, uint8_t* pixels) {
    with_sample(form, [&](auto sample) {
        using Sample = decltype(sample);
        constexpr auto kTop = std::is_floating_point_v<Sample> ? Sample{1} : static_cast<Sample>(~0U);
        auto* at = reinterpret_cast<Sample*>(pixels) + band;
        for (int32_t x = 0; x < width; x++, at += form.bands()) {
            *at = band < form.color_bands() ? Sample{0} : kTop;
        }
    });
}

void mix_with_white(const PixelForm& form, int32_t width, uint8_t* pixels) {
    with_sample(form, [&](auto sample) {
        change_colors<decltype(sample)>(form, width, pixels, [](double value, double white, double alpha) {
            return white + (value - white) * alpha;
        });
    });
}

void unmix_white(const PixelForm& form, int32_t width, uint8_t* pixels) {
    with_sample(form, [&](auto sample) {
        change_colors<decltype(sample)>(form, width, pixels, [](double value, double white, double alpha) {
            return alpha == 0 ? value : white + (value - white) / alpha;
        });
    });
}

}  // namespace zelmor::imagework

// Channels and bytes of raw pixels; see raw_pixels.h.
#include "runtime/native/behaviors/images/raw_pixels.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>
#include <type_traits>

#include <tmmintrin.h>

#include "runtime/native/behaviors/values/cmyk.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

using imagework::Argb;
using imagework::ColorModel;
using imagework::PixelForm;

void throw_layout(const RawFormat& format) {
    throw_not_supported("Raw data in the layout " + format.name + " of " + std::to_string(format.bits_per_pixel) +
                        " bits per pixel");
}

namespace {

constexpr uint16_t wide(uint8_t byte) {
    return static_cast<uint16_t>(byte * 257);
}
constexpr uint8_t narrow(uint32_t value) {
    return static_cast<uint8_t>((value * 255 + 32767) / 65535);
}
uint16_t clipped(double value) {
    return static_cast<uint16_t>(std::clamp(std::lround(value), 0L, 65535L));
}

constexpr size_t color_channels(PixelLayout layout) {
    return layout == PixelLayout::kGrayscale ? 1 : layout == PixelLayout::kCmyk ? 4 : 3;
}

struct Rgb {
    uint16_t red, green, blue;
};
Rgb rgb_of(uint64_t color) {
    return {static_cast<uint16_t>(color >> 32), static_cast<uint16_t>(color >> 16), static_cast<uint16_t>(color)};
}
uint64_t color_of(uint64_t red, uint64_t green, uint64_t blue) {
    return red << 32 | green << 16 | blue;
}
double luma_of(const Rgb& rgb) {
    return 0.299 * rgb.red + 0.587 * rgb.green + 0.114 * rgb.blue;
}

bool all_bits(const RawFormat& format, int32_t bits) {
    return std::all_of(format.bits.begin(), format.bits.end(), [&](int32_t each) { return each == bits; });
}

// Calls the step for each pixel with its channels.
template <class Step>
void each(std::span<const uint64_t> colors, uint16_t* channels, size_t count, Step&& step) {
    for (const uint64_t color : colors) {
        step(color, channels);
        channels += count;
    }
}

}  // namespace

size_t channels_of(const RawFormat& format) {
    return format.bits.size();
}

void split(const RawFormat& format, std::span<const uint64_t> colors, uint16_t* channels) {
    const size_t count = channels_of(format);
    switch (format.layout) {
        case PixelLayout::kGrayscale:
            each(colors, channels, count, [](uint64_t color, uint16_t* to) {
                const Rgb rgb = rgb_of(color);
                const bool gray = rgb.red == rgb.green && rgb.green == rgb.blue;
                to[0] = gray ? rgb.red : clipped(luma_of(rgb));
            });
            break;
        case PixelLayout::kBgr:
            each(colors, channels, count, [](uint64_t color, uint16_t* to) {
                const Rgb rgb = rgb_of(color);
                to[0] = rgb.blue;
                to[1] = rgb.green;
                to[2] = rgb.red;
            });
            break;
        case PixelLayout::kRgb:
            each(colors, channels, count, [](uint64_t color, uint16_t* to) {
                const Rgb rgb = rgb_of(color);
                to[0] = rgb.red;
                to[1] = rgb.green;
                to[2] = rgb.blue;
            });
            break;
        case PixelLayout::kYCbCr:
            each(colors, channels, count, [](uint64_t color, uint16_t* to) {
                const Rgb rgb = rgb_of(color);
                const double y = luma_of(rgb);
                to[0] = clipped(y);
                to[1] = clipped(32896 + (rgb.blue - y) / 1.772);
                to[2] = clipped(32896 + (rgb.red - y) / 1.402);
            });
            break;
        case PixelLayout::kCmyk:
            each(colors, channels, count, [](uint64_t color, uint16_t* to) {
                const Rgb rgb = rgb_of(color);
                const CmykValue cmyk =
                    cmyk_of(Argb{narrow(rgb.red)} << 16 | Argb{narrow(rgb.green)} << 8 | Argb{narrow(rgb.blue)});
                to[0] = wide(cmyk.c);
                to[1] = wide(cmyk.m);
                to[2] = wide(cmyk.y);
                to[3] = wide(cmyk.k);
            });
            break;
        default:
            throw_layout(format);
    }
    if (count > color_channels(format.layout)) {
        each(colors, channels, count,
             [&](uint64_t color, uint16_t* to) { to[count - 1] = static_cast<uint16_t>(color >> 48); });
    }
}

void join(const RawFormat& format, const uint16_t* channels, std::span<uint64_t> colors) {
    const size_t count = channels_of(format);
    const bool has_alpha = count > color_channels(format.layout);
    const auto every = [&](auto&& step) {
        const uint16_t* from = channels;
        for (uint64_t& color : colors) {
            const uint64_t alpha = has_alpha ? from[count - 1] : 0xFFFF;
            color = alpha << 48 | step(from);
            from += count;
        }
    };
    switch (format.layout) {
        case PixelLayout::kGrayscale:
            return every([](const uint16_t* from) { return color_of(from[0], from[0], from[0]); });
        case PixelLayout::kBgr:
            return every([](const uint16_t* from) { return color_of(from[2], from[1], from[0]); });
        case PixelLayout::kRgb:
            return every([](const uint16_t* from) { return color_of(from[0], from[1], from[2]); });
        case PixelLayout::kYCbCr:
            return every([](const uint16_t* from) {
                const double y = from[0];
                const double blue = from[1] - 32896.0;
                const double red = from[2] - 32896.0;
                return color_of(clipped(y + 1.402 * red), clipped(y - 0.344136 * blue - 0.714136 * red),
                                clipped(y + 1.772 * blue));
            });
        case PixelLayout::kCmyk:
            return every([](const uint16_t* from) {
                const Argb color = argb_of({narrow(from[0]), narrow(from[1]), narrow(from[2]), narrow(from[3])});
                return color_of(wide(static_cast<uint8_t>(color >> 16)), wide(static_cast<uint8_t>(color >> 8)),
                                wide(static_cast<uint8_t>(color)));
            });
        default:
            throw_layout(format);
    }
}

Packing packing_of(const RawFormat& format) {
    const size_t channels = format.bits.size();
    if (format.layout == PixelLayout::kCieLab || all_bits(format, 32) || all_bits(format, 64)) {
        return Packing::kSamples;
    }
    const size_t colors = format.indexed ? 1 : color_channels(format.layout);
    const bool sound = channels == colors || channels == colors + 1;
    if (sound && all_bits(format, 8)) {
        return Packing::kBytes;
    }
    if (sound && all_bits(format, 16) && !format.indexed) {
        return Packing::kWords;
    }
    if (channels == 1 && (format.bits[0] == 1 || format.bits[0] == 2 || format.bits[0] == 4)) {
        return Packing::kUpperBits;
    }
    if (channels == 3 && format.bits_per_pixel <= 16 && format.bits[0] + format.bits[1] + format.bits[2] <= 16) {
        return Packing::kColorWord;
    }
    throw_layout(format);
}

Verbatim verbatim_of(const RawFormat& format, const imagework::Picture& picture) {
    const PixelForm& form = picture.form();
    const auto size = static_cast<int32_t>(imagework::sample_size(form.sample));
    // Floating samples of 16 bits are floats of 32 bits in memory, and layouts of 16 bits hold integers.
    const bool fits = format.bits.size() == static_cast<size_t>(form.bands()) && all_bits(format, 8 * size) &&
                      format.bits_per_pixel == 8 * size * form.bands();
    if (!fits) {
        return Verbatim::kNone;
    }
    const auto is = [&](PixelLayout layout, ColorModel color) {
        return format.layout == layout && form.color == color && !format.indexed;
    };
    if (form.color == ColorModel::kIndexed) {
        const auto own = picture.palette();
        return format.indexed && std::equal(own.begin(), own.end(), format.palette.begin(), format.palette.end())
                   ? Verbatim::kSame
                   : Verbatim::kNone;
    }
    if (is(PixelLayout::kGrayscale, ColorModel::kGray) || is(PixelLayout::kRgb, ColorModel::kRgb) ||
        is(PixelLayout::kCmyk, ColorModel::kCmyk) || is(PixelLayout::kCieLab, ColorModel::kLab)) {
        return Verbatim::kSame;
    }
    return is(PixelLayout::kBgr, ColorModel::kRgb) && size <= 2 ? Verbatim::kReversed : Verbatim::kNone;
}

namespace {

template <class Sample, size_t kChannels>
void exchange(const std::byte* from, std::byte* to, size_t pixels) {
    for (size_t i = 0; i < pixels; i++) {
        Sample pixel[kChannels];
        std::memcpy(pixel, from + i * sizeof(pixel), sizeof(pixel));
        std::swap(pixel[0], pixel[2]);
        std::memcpy(to + i * sizeof(pixel), pixel, sizeof(pixel));
    }
}

// Sixteen bytes at a time by the order given, as far as that goes; how many pixels that were.
__attribute__((target("ssse3"))) size_t exchange_16(const std::byte* from, std::byte* to, size_t pixels,
                                                    size_t pixel_size, const uint8_t* order) {
    const size_t step = 16 / pixel_size;
    const __m128i places = _mm_loadu_si128(reinterpret_cast<const __m128i*>(order));
    size_t done = 0;
    // A load and a store of sixteen bytes have to stay inside, and bytes behind the last whole pixel are written as
    // they came, so that the rows may be the same.
    while ((pixels - done) * pixel_size >= 16) {
        const __m128i block = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from + done * pixel_size));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(to + done * pixel_size), _mm_shuffle_epi8(block, places));
        done += step;
    }
    return done;
}

}  // namespace

void exchange_red_and_blue(const std::byte* from, std::byte* to, size_t pixels, size_t channels, size_t channel_size) {
    assert((channels == 3 || channels == 4) && (channel_size == 1 || channel_size == 2));
    const size_t pixel_size = channels * channel_size;
    size_t done = 0;
    if (__builtin_cpu_supports("ssse3")) {
        uint8_t order[16];
        for (size_t i = 0; i < 16; i++) {
            const size_t first = i / pixel_size * pixel_size;
            const size_t band = (i - first) / channel_size;
            const size_t other = band == 0 ? 2 : band == 2 ? 0 : band;
            const bool whole = first + pixel_size <= 16;
            order[i] = static_cast<uint8_t>(whole ? first + other * channel_size + i % channel_size : i);
        }
        done = exchange_16(from, to, pixels, pixel_size, order);
    }
    from += done * pixel_size;
    to += done * pixel_size;
    if (channel_size == 1) {
        channels == 3 ? exchange<uint8_t, 3>(from, to, pixels - done) : exchange<uint8_t, 4>(from, to, pixels - done);
    } else {
        channels == 3 ? exchange<uint16_t, 3>(from, to, pixels - done) : exchange<uint16_t, 4>(from, to, pixels - done);
    }
}

namespace {

uint8_t byte_of(Argb color, int shift) {
    return static_cast<uint8_t>(color >> shift);
}

// The luma of ITU-R BT.601, rounded, and a half rounded up: what the rounded weights lack is far less than the
// thousandth by which any other luma is off a half.
uint8_t luma_of(Argb color) {
    constexpr uint32_t kRed = 1254097, kGreen = 2462057, kBlue = 478150, kBits = 22;
    static_assert(kRed + kGreen + kBlue == 1U << kBits);
    constexpr uint32_t kHalf = (1U << (kBits - 1)) + (1U << kBits) / 4000;
    return static_cast<uint8_t>(
        (kRed * byte_of(color, 16) + kGreen * byte_of(color, 8) + kBlue * byte_of(color, 0) + kHalf) >> kBits);
}

// Calls the step with the layout and whether there is an alpha, both as constants.
template <class Step>
void with_byte_format(const RawFormat& format, Step&& step) {
    const bool alpha = channels_of(format) > color_channels(format.layout);
    const auto with_alpha = [&](auto layout) {
        alpha ? step(layout, std::true_type{}) : step(layout, std::false_type{});
    };
    switch (format.layout) {
        case PixelLayout::kGrayscale:
            return with_alpha(std::integral_constant<PixelLayout, PixelLayout::kGrayscale>{});
        case PixelLayout::kRgb:
            return with_alpha(std::integral_constant<PixelLayout, PixelLayout::kRgb>{});
        case PixelLayout::kBgr:
            return with_alpha(std::integral_constant<PixelLayout, PixelLayout::kBgr>{});
        default:
            assert(format.layout == PixelLayout::kCmyk);
            return with_alpha(std::integral_constant<PixelLayout, PixelLayout::kCmyk>{});
    }
}

template <PixelLayout kLayout>
void pack_color(Argb color, uint8_t* to) {
    if constexpr (kLayout == PixelLayout::kGrayscale) {
        to[0] = luma_of(color);
    } else if constexpr (kLayout == PixelLayout::kCmyk) {
        const CmykValue cmyk = cmyk_of(color);
        to[0] = cmyk.c;
        to[1] = cmyk.m;
        to[2] = cmyk.y;
        to[3] = cmyk.k;
    } else {
        constexpr bool kRgb = kLayout == PixelLayout::kRgb;
        to[0] = byte_of(color, kRgb ? 16 : 0);
        to[1] = byte_of(color, 8);
        to[2] = byte_of(color, kRgb ? 0 : 16);
    }
}

template <PixelLayout kLayout>
Argb unpack_color(const uint8_t* from) {
    if constexpr (kLayout == PixelLayout::kGrayscale) {
        return from[0] * 0x010101U;
    } else if constexpr (kLayout == PixelLayout::kCmyk) {
        return argb_of({from[0], from[1], from[2], from[3]}) & ~imagework::kBlack;
    } else if constexpr (kLayout == PixelLayout::kRgb) {
        return Argb{from[0]} << 16 | Argb{from[1]} << 8 | Argb{from[2]};
    } else {
        return Argb{from[2]} << 16 | Argb{from[1]} << 8 | Argb{from[0]};
    }
}

}  // namespace

bool is_byte_format(const RawFormat& format, Packing packing) {
    const bool plain = format.layout == PixelLayout::kGrayscale || format.layout == PixelLayout::kRgb ||
                       format.layout == PixelLayout::kBgr || format.layout == PixelLayout::kCmyk;
    return plain && !format.indexed && packing == Packing::kBytes &&
           static_cast<size_t>(format.bits_per_pixel) == 8 * channels_of(format);
}

void pack_colors(const RawFormat& format, std::span<const Argb> colors, std::byte* line) {
    if (format.layout == PixelLayout::kCmyk && channels_of(format) == 4) {
        return inks_of(colors, line);
    }
    with_byte_format(format, [&](auto layout, auto alpha) {
        constexpr size_t kColors = color_channels(layout);
        auto* to = reinterpret_cast<uint8_t*>(line);
        for (const Argb color : colors) {
            pack_color<layout>(color, to);
            if constexpr (alpha) {
                to[kColors] = byte_of(color, 24);
            }
            to += kColors + (alpha ? 1 : 0);
        }
    });
}

void unpack_colors(const RawFormat& format, const std::byte* line, std::span<Argb> colors) {
    if (format.layout == PixelLayout::kCmyk && channels_of(format) == 4) {
        return colors_of_inks(line, colors);
    }
    with_byte_format(format, [&](auto layout, auto alpha) {
        constexpr size_t kColors = color_channels(layout);
        const auto* from = reinterpret_cast<const uint8_t*>(line);
        for (Argb& color : colors) {
            color = unpack_color<layout>(from) | (alpha ? Argb{from[alpha ? kColors : 0]} << 24 : imagework::kBlack);
            from += kColors + (alpha ? 1 : 0);
        }
    });
}

void pack_line(const RawFormat& format, Packing packing, const uint16_t* channels, size_t pixels, std::byte* line) {
    const size_t count = channels_of(format);
    switch (packing) {
        case Packing::kBytes: {
            const auto size = static_cast<size_t>(format.bits_per_pixel) / 8;
            for (size_t i = 0; i < pixels; i++, line += size, channels += count) {
                for (size_t band = 0; band < count; band++) {
                    line[band] = static_cast<std::byte>(format.indexed ? channels[band] : narrow(channels[band]));
                }
                std::fill(line + count, line + size, std::byte{255});
            }
            return;
        }
        case Packing::kWords:
            std::memcpy(line, channels, 2 * pixels * count);
            return;
        case Packing::kUpperBits: {
            const auto bits = static_cast<size_t>(format.bits[0]);
            const uint32_t top = (1U << bits) - 1;
            for (size_t i = 0; i < pixels; i++) {
                const uint32_t value = format.indexed ? channels[i] : (channels[i] * top + 32767) / 65535;
                line[i * bits / 8] |= static_cast<std::byte>(value << (8 - bits - i * bits % 8));
            }
            return;
        }
        case Packing::kColorWord:
            for (size_t i = 0; i < pixels; i++, line += 2, channels += count) {
                uint32_t word = 0;
                for (size_t band = 0; band < 3; band++) {
                    const uint32_t top = (1U << format.bits[band]) - 1;
                    word = word << format.bits[band] | (channels[band] * top + 32767) / 65535;
                }
                line[0] = static_cast<std::byte>(word);
                line[1] = static_cast<std::byte>(word >> 8);
            }
            return;
        case Packing::kSamples:
            throw_layout(format);
    }
}

void unpack_line(const RawFormat& format, Packing packing, const std::byte* line, size_t pixels, uint16_t* channels) {
    const size_t count = channels_of(format);
    const auto byte = [](std::byte value) { return std::to_integer<uint8_t>(value); };
    switch (packing) {
        case Packing::kBytes: {
            const auto size = static_cast<size_t>(format.bits_per_pixel) / 8;
            for (size_t i = 0; i < pixels; i++, line += size, channels += count) {
                for (size_t band = 0; band < count; band++) {
                    channels[band] = format.indexed ? byte(line[band]) : wide(byte(line[band]));
                }
            }
            return;
        }
        case Packing::kWords:
            std::memcpy(channels, line, 2 * pixels * count);
            return;
        case Packing::kUpperBits: {
            const auto bits = static_cast<size_t>(format.bits[0]);
            const uint32_t top = (1U << bits) - 1;
            for (size_t i = 0; i < pixels; i++) {
                const uint32_t value = uint32_t{byte(line[i * bits / 8])} >> (8 - bits - i * bits % 8) & top;
                channels[i] = static_cast<uint16_t>(format.indexed ? value : value * 65535 / top);
            }
            return;
        }
        case Packing::kColorWord:
            for (size_t i = 0; i < pixels; i++, line += 2, channels += count) {
                uint32_t word = byte(line[0]) | uint32_t{byte(line[1])} << 8;
                for (size_t band = 3; band-- > 0;) {
                    const uint32_t top = (1U << format.bits[band]) - 1;
                    channels[band] = static_cast<uint16_t>((word & top) * 65535 / top);
                    word >>= format.bits[band];
                }
            }
            return;
        case Packing::kSamples:
            throw_layout(format);
    }
}

}  // namespace zelmor::embed

// Pixels and samples; see tga_rows.h.
#include "runtime/native/formats/tga/tga_rows.h"

#include <algorithm>
#include <cassert>

namespace zelmor::imagework {
namespace {

constexpr unsigned kTop = 255;
constexpr unsigned kTopOfFive = 31;
constexpr unsigned kOpaqueFrom = 128;  // where alpha has one bit

unsigned from_five(unsigned value) {
    return ((value & kTopOfFive) * kTop + kTopOfFive / 2) / kTopOfFive;
}
unsigned to_five(unsigned value) {
    return (value * kTopOfFive + kTop / 2) / kTop;
}

// A sample that was multiplied by alpha, and the other way round.
uint8_t divided(unsigned value, unsigned alpha) {
    return static_cast<uint8_t>(alpha == 0 ? 0 : std::min(kTop, (value * kTop + alpha / 2) / alpha));
}
uint8_t multiplied(unsigned value, unsigned alpha) {
    return static_cast<uint8_t>((value * alpha + kTop / 2) / kTop);
}

size_t stored_bytes(int bits) {
    return static_cast<size_t>(bits + 7) / 8;
}

struct Channels {
    uint8_t red, green, blue, alpha;
};

Channels channels_of(const uint8_t* stored, int bits, TgaAlpha alpha) {
    Channels found{};
    if (bits <= 16) {
        const unsigned pixel = stored[0] | static_cast<unsigned>(stored[1]) << 8;
        found = {static_cast<uint8_t>(from_five(pixel >> 10)), static_cast<uint8_t>(from_five(pixel >> 5)),
                 static_cast<uint8_t>(from_five(pixel)), static_cast<uint8_t>((pixel & 0x8000) != 0 ? kTop : 0)};
    } else {
        found = {stored[2], stored[1], stored[0], bits == 32 ? stored[3] : uint8_t{kTop}};
    }
    if (alpha == TgaAlpha::kNone) {
        found.alpha = kTop;
    } else if (alpha == TgaAlpha::kPremultiplied) {
        found.red = divided(found.red, found.alpha);
        found.green = divided(found.green, found.alpha);
        found.blue = divided(found.blue, found.alpha);
    }
    return found;
}

void put_channels(Channels color, int bits, TgaAlpha alpha, uint8_t* stored) {
    if (alpha == TgaAlpha::kNone) {
        color.alpha = kTop;
    } else if (alpha == TgaAlpha::kPremultiplied) {
        const unsigned by = bits == 16 ? (color.alpha >= kOpaqueFrom ? kTop : 0) : color.alpha;
        color.red = multiplied(color.red, by);
        color.green = multiplied(color.green, by);
        color.blue = multiplied(color.blue, by);
    }
    if (bits <= 16) {
        const unsigned attribute = bits == 16 && color.alpha >= kOpaqueFrom ? 0x8000 : 0;
        const unsigned pixel = attribute | to_five(color.red) << 10 | to_five(color.green) << 5 | to_five(color.blue);
        stored[0] = static_cast<uint8_t>(pixel);
        stored[1] = static_cast<uint8_t>(pixel >> 8);
        return;
    }
    stored[0] = color.blue;
    stored[1] = color.green;
    stored[2] = color.red;
    if (bits == 32) {
        stored[3] = color.alpha;
    }
}

}  // namespace

Argb tga_color(const uint8_t* stored, int bits, TgaAlpha alpha) {
    const Channels found = channels_of(stored, bits, alpha);
    return static_cast<Argb>(found.alpha) << 24 | static_cast<Argb>(found.red) << 16 |
           static_cast<Argb>(found.green) << 8 | found.blue;
}

size_t put_tga_color(Argb color, int bits, TgaAlpha alpha, uint8_t* stored) {
    const Channels channels{static_cast<uint8_t>(color >> 16), static_cast<uint8_t>(color >> 8),
                            static_cast<uint8_t>(color), static_cast<uint8_t>(color >> 24)};
    put_channels(channels, bits, alpha, stored);
    return stored_bytes(bits);
}

void tga_pixels_to_samples(std::span<const uint8_t> stored, bool gray, int bits, TgaAlpha alpha, uint8_t* samples) {
    const size_t step = stored_bytes(bits);
    assert(stored.size() % step == 0);
    const uint8_t* from = stored.data();
    const uint8_t* const end = from + stored.size();
    const bool with_alpha = alpha != TgaAlpha::kNone;
    if (gray) {
        for (; from < end; from += step) {
            *samples++ = alpha == TgaAlpha::kPremultiplied ? divided(from[0], from[1]) : from[0];
            if (with_alpha) {
                *samples++ = from[1];
            }
        }
        return;
    }
    if (bits == 24) {
        for (; from < end; from += 3, samples += 3) {
            samples[0] = from[2];
            samples[1] = from[1];
            samples[2] = from[0];
        }
        return;
    }
    for (; from < end; from += step) {
        const Channels found = channels_of(from, bits, alpha);
        *samples++ = found.red;
        *samples++ = found.green;
        *samples++ = found.blue;
        if (with_alpha) {
            *samples++ = found.alpha;
        }
    }
}

void samples_to_tga_pixels(const uint8_t* samples, bool gray, int bits, TgaAlpha alpha, std::span<uint8_t> stored) {
    const size_t step = stored_bytes(bits);
    assert(stored.size() % step == 0);
    const bool with_alpha = alpha != TgaAlpha::kNone;
    uint8_t* to = stored.data();
    uint8_t* const end = to + stored.size();
    if (gray) {
        for (; to < end; to += step, samples += with_alpha ? 2 : 1) {
            to[0] = alpha == TgaAlpha::kPremultiplied ? multiplied(samples[0], samples[1]) : samples[0];
            if (step == 2) {
                to[1] = with_alpha ? samples[1] : uint8_t{kTop};
            }
        }
        return;
    }
    for (; to < end; to += step, samples += with_alpha ? 4 : 3) {
        put_channels({samples[0], samples[1], samples[2], with_alpha ? samples[3] : uint8_t{kTop}}, bits, alpha, to);
    }
}

void mirror_pixels(std::span<uint8_t> row, size_t pixel_bytes) {
    assert(row.size() % pixel_bytes == 0);
    if (row.empty()) {
        return;
    }
    uint8_t* left = row.data();
    uint8_t* right = row.data() + row.size() - pixel_bytes;
    for (; left < right; left += pixel_bytes, right -= pixel_bytes) {
        std::swap_ranges(left, left + pixel_bytes, right);
    }
}

}  // namespace zelmor::imagework

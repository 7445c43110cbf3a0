// From true colors to a palette: finding the colors, and bringing pixels down to them.
#include <algorithm>
#include <array>
#include <cmath>
#include <functional>

#include "runtime/native/formats/png/png_chunks.h"
#include "runtime/native/imagework/palette_search.h"
#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/vips/argb_rows.h"
#include "runtime/native/imagework/vips/color_set.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

std::vector<uint8_t> nearest_indices(const ArgbRows& rows, PaletteSearch& search) {
    std::vector<uint8_t> result;
    result.reserve(rows.pixels());
    rows.each([&](std::span<const Argb> row) {
        for (const Argb color : row) {
            result.push_back(static_cast<uint8_t>(search.nearest(color)));
        }
        return true;
    });
    return result;
}

// Floyd and Steinberg's weights: 7 to the right, 3, 5 and 1 below, of 16. Errors are kept in sixteenths. Only colors
// are diffused where picture and palette are opaque.
template <size_t channels>
std::vector<uint8_t> diffused_indices(const ArgbRows& rows, std::span<const Argb> palette, PaletteSearch& search) {
    constexpr std::array<int, 4> kShifts = {16, 8, 0, 24};
    std::vector<std::array<int, channels>> entries(palette.size());
    for (size_t i = 0; i < palette.size(); i++) {
        for (size_t channel = 0; channel < channels; channel++) {
            entries[i][channel] = static_cast<int>(palette[i] >> kShifts[channel] & 0xFF);
        }
    }
    using Errors = std::array<int, channels>;
    std::vector<uint8_t> result;
    result.reserve(rows.pixels());
    // What falls on the row below; its first and last places lie outside the picture.
    std::vector<Errors> below(rows.width() + 2);
    rows.each([&](std::span<const Argb> row) {
        Errors right{};       // from the pixel on the left
        Errors under_left{};  // gathered for the place below and left of the pixel
        Errors under{};
        for (size_t x = 0; x < row.size(); x++) {
            Errors wanted;
            Argb color = channels == 4 ? 0 : 0xFF000000;
            for (size_t channel = 0; channel < channels; channel++) {
                const int error = below[x + 1][channel] + right[channel];
                wanted[channel] = std::clamp(
                    static_cast<int>(row[x] >> kShifts[channel] & 0xFF) + (error + (error < 0 ? -8 : 8)) / 16, 0, 255);
                color |= static_cast<Argb>(wanted[channel]) << kShifts[channel];
            }
            const size_t index = search.nearest(color);
            result.push_back(static_cast<uint8_t>(index));
            for (size_t channel = 0; channel < channels; channel++) {
                const int error = wanted[channel] - entries[index][channel];
                right[channel] = 7 * error;
                below[x][channel] = under_left[channel] + 3 * error;
                under_left[channel] = under[channel] + 5 * error;
                under[channel] = error;
            }
        }
        below[row.size()] = under_left;
        return true;
    });
    return result;
}

bool is_opaque(std::span<const Argb> palette) {
    return std::all_of(palette.begin(), palette.end(), [](Argb color) { return color >> 24 == 255; });
}

std::vector<uint8_t> indices_in(const VImage& image, std::span<const Argb> palette, bool diffuse) {
    if (palette.empty() || palette.size() > 256) {
        throw PictureError(Failure::kArgument,
                           "a palette of " + std::to_string(palette.size()) + " colors is not one of 1 to 256",
                           "palette");
    }
    const ArgbRows rows(image);
    PaletteSearch search(palette);
    if (!diffuse) {
        return nearest_indices(rows, search);
    }
    return is_opaque(palette) && !has_alpha_band(image) ? diffused_indices<3>(rows, palette, search)
                                                        : diffused_indices<4>(rows, palette, search);
}

// The colors of the picture in the order of their first appearance; nothing where there are more than `most`.
std::vector<Argb> distinct_colors(const ArgbRows& rows, size_t most) {
    ColorSet colors(most);
    const bool all = rows.each([&](std::span<const Argb> row) {
        return std::all_of(row.begin(), row.end(), [&](Argb color) { return colors.add(color); });
    });
    return all ? colors.values() : std::vector<Argb>();
}

// A small picture whose colors stand for those of a large one, for the quantizer, which looks at every pixel several
// times. Colors are joined that agree in their upper bits, and each of these groups gets as many pixels of its mean as
// its share of the picture asks for, but at least one: no color is too rare to be seen.
VImage condensed(const VImage& image, size_t wanted) {
    struct Group {
        uint64_t count = 0;
        std::array<uint64_t, 4> sums{};  // alpha, red, green, blue
    };
    const bool alpha = has_alpha_band(image);
    const std::array<int, 4> bits = alpha ? std::array{4, 5, 5, 4} : std::array{0, 6, 6, 6};
    std::vector<Group> groups(size_t{1} << (bits[0] + bits[1] + bits[2] + bits[3]));
    const ArgbRows rows(image);
    rows.each([&](std::span<const Argb> row) {
        for (const Argb color : row) {
            const Argb seen = color >> 24 == 0 ? 0 : color;
            size_t place = 0;
            for (size_t channel = 0; channel < 4; channel++) {
                const int shift = 24 - 8 * static_cast<int>(channel);
                place = place << bits[channel] | (seen >> shift & 0xFF) >> (8 - bits[channel]);
            }
            Group& group = groups[place];
            group.count++;
            for (size_t channel = 0; channel < 4; channel++) {
                group.sums[channel] += seen >> (24 - 8 * channel) & 0xFF;
            }
        }
        return true;
    });
    const uint64_t unit = (rows.pixels() + wanted - 1) / wanted;
    const int bands = alpha ? 4 : 3;
    std::vector<uint8_t> pixels;
    for (const Group& group : groups) {
        for (uint64_t i = 0; i * unit < group.count; i++) {
            for (const size_t channel : {1, 2, 3, 0}) {
                if (channel != 0 || alpha) {
                    pixels.push_back(static_cast<uint8_t>((group.sums[channel] + group.count / 2) / group.count));
                }
            }
        }
    }
    // One row: twice as many pixels as wanted at most, so far fewer than a row can have.
    const int width = static_cast<int>(pixels.size()) / bands;
    return VImage::new_from_memory(pixels.data(), pixels.size(), width, 1, bands, VIPS_FORMAT_UCHAR)
        .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB))
        .copy_memory();
}

// Each opaque color of the picture with the number of its pixels: sorted by one byte after the other, equal colors lie
// side by side.
std::vector<std::pair<Argb, size_t>> counted_colors(const ArgbRows& rows) {
    std::vector<Argb> colors;
    colors.reserve(rows.pixels());
    rows.each([&](std::span<const Argb> row) {
        colors.insert(colors.end(), row.begin(), row.end());
        return true;
    });
    std::vector<Argb> sorted(colors.size());
    for (const int shift : {0, 8, 16}) {
        std::array<size_t, 257> begins{};
        for (const Argb color : colors) {
            begins[(color >> shift & 0xFF) + 1]++;
        }
        for (size_t i = 1; i < begins.size(); i++) {
            begins[i] += begins[i - 1];
        }
        for (const Argb color : colors) {
            sorted[begins[color >> shift & 0xFF]++] = color;
        }
        std::swap(colors, sorted);
    }
    std::vector<std::pair<Argb, size_t>> counts;
    for (const Argb color : colors) {
        if (counts.empty() || counts.back().first != color) {
            counts.emplace_back(color, 0);
        }
        counts.back().second++;
    }
    return counts;
}

// The palette that the library's quantizer writes into an indexed PNG.
std::vector<Argb> quantizer_palette(const VImage& image, int most) {
    int bits = 8;
    while (bits > 1 && 1 << bits / 2 >= most) {
        bits /= 2;
    }
    const EncodedBytes png = save_with_library(image, "pngsave_buffer",
                                               VImage::option()
                                                   ->set("palette", true)
                                                   ->set("bitdepth", bits)
                                                   ->set("dither", 0.0)
                                                   ->set("Q", 100)
                                                   ->set("compression", 1));
    std::vector<Argb> palette;
    for (const PngChunk& chunk : png_chunks({png.data.get(), png.size})) {
        if (chunk.type == png_type("PLTE")) {
            ByteReader in(chunk.data);
            for (size_t at = 0; at + 3 <= chunk.data.size(); at += 3) {
                palette.push_back(kBlack | static_cast<Argb>(in.u8(at)) << 16 | static_cast<Argb>(in.u8(at + 1)) << 8 |
                                  in.u8(at + 2));
            }
        } else if (chunk.type == png_type("tRNS")) {
            for (size_t i = 0; i < std::min(palette.size(), chunk.data.size()); i++) {
                palette[i] = (palette[i] & 0xFFFFFF) | static_cast<Argb>(chunk.data[i]) << 24;
            }
        }
    }
    return palette;
}

// Joins the two nearest colors until no more than `most` are left: the quantizer knows powers of two only.
void thin_out(std::vector<Argb>& palette, size_t most) {
    while (palette.size() > most) {
        size_t drop = 1;
        uint32_t least = 0xFFFFFFFF;
        for (size_t i = 0; i < palette.size(); i++) {
            for (size_t j = i + 1; j < palette.size(); j++) {
                const uint32_t distance = color_distance(palette[i], palette[j]);
                if (distance < least) {
                    least = distance;
                    drop = j;
                }
            }
        }
        palette.erase(palette.begin() + static_cast<std::ptrdiff_t>(drop));
    }
}

void require_palette_size(int most) {
    if (most >= 1 && most <= 256) {
        return;
    }
    throw PictureError(Failure::kArgument, "a palette has 1 to 256 colors, not " + std::to_string(most),
                       "entries_count");
}

}  // namespace

std::vector<Argb> VipsPicture::close_palette(int most, bool keep_alpha) const {
    require_palette_size(most);
    return guarded(Failure::kInternal, "the colors could not be counted", [&] {
        const VImage own = this->colors();
        const VImage colors = as_rgb(as_8_bit(keep_alpha ? own : color_bands(own))).copy_memory();
        std::vector<Argb> palette = distinct_colors(ArgbRows(colors), static_cast<size_t>(most));
        if (!palette.empty()) {
            return palette;
        }
        constexpr size_t kMostPixels = size_t{1} << 18;
        const bool large = static_cast<size_t>(colors.width()) * static_cast<size_t>(colors.height()) > kMostPixels;
        palette = quantizer_palette(large ? condensed(colors, kMostPixels) : colors, most);
        thin_out(palette, static_cast<size_t>(most));
        return palette;
    });
}

std::vector<uint8_t> VipsPicture::indices(std::span<const Argb> palette, bool diffuse) const {
    return guarded(Failure::kInternal, "the pixels could not be indexed", [&] {
        const std::span<const Argb> entries = this->palette();
        if (!palette.empty() && std::equal(palette.begin(), palette.end(), entries.begin(), entries.end())) {
            // Of entries that are alike each keeps its pixels.
            const auto* own = static_cast<const uint8_t*>(image().data());
            return std::vector<uint8_t>(own, own + VIPS_IMAGE_SIZEOF_IMAGE(image().get_image()));
        }
        return indices_in(colors(), palette, diffuse);
    });
}

bool VipsPicture::has_only(std::span<const Argb> palette) const {
    // Transparent pixels count as one color. A picture without alpha does not count the alpha of the palette.
    const bool alpha = has_alpha();
    const auto seen = [alpha](Argb color) { return !alpha ? color | kBlack : color >> 24 == 0 ? 0 : color; };
    ColorSet known(palette.size());
    for (const Argb color : palette) {
        known.add(seen(color));
    }
    return guarded(Failure::kInternal, "the colors could not be looked at", [&] {
        return ArgbRows(colors()).each([&](std::span<const Argb> row) {
            return std::all_of(row.begin(), row.end(), [&](Argb color) { return known.contains(seen(color)); });
        });
    });
}

std::vector<Argb> VipsPicture::frequent_palette(int most) const {
    require_palette_size(most);
    return guarded(Failure::kInternal, "the colors could not be counted", [&] {
        std::vector<std::pair<Argb, size_t>> colors = counted_colors(ArgbRows(color_bands(this->colors())));
        const auto end = colors.begin() + std::min<std::ptrdiff_t>(most, std::ssize(colors));
        std::partial_sort(colors.begin(), end, colors.end(), [](const auto& a, const auto& b) {
            return a.second != b.second ? a.second > b.second : a.first < b.first;
        });
        std::vector<Argb> palette;
        std::transform(colors.begin(), end, std::back_inserter(palette), [](const auto& color) { return color.first; });
        return palette;
    });
}

void VipsPicture::paint(std::span<const uint8_t> indices, std::span<const Argb> palette) {
    set_indices(indices, palette);
}

void VipsPicture::reduce(std::span<const Argb> palette, bool diffuse) {
    set_indices(indices(palette, diffuse), palette);
}

}  // namespace zelmor::imagework

// From true colors to a palette: finding the colors, and bringing pixels down to them.
#include <algorithm>
#include <array>
#include <unordered_map>
#include <unordered_set>

#include "runtime/native/imagework/codecs/png_chunks.h"
#include "runtime/native/imagework/palette_search.h"
#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

// Four bytes R, G, B, A for each pixel, in one block.
VImage rgba_of(const VImage& image) {
    return with_alpha(as_rgb(as_8_bit(image))).copy_memory();
}

Argb argb_at(const uint8_t* pixel) {
    return static_cast<Argb>(pixel[3]) << 24 | static_cast<Argb>(pixel[0]) << 16 | static_cast<Argb>(pixel[1]) << 8 |
           pixel[2];
}

std::span<const uint8_t> bytes_of(const VImage& memory) {
    return {static_cast<const uint8_t*>(memory.data()), VIPS_IMAGE_SIZEOF_IMAGE(memory.get_image())};
}

std::vector<uint8_t> nearest_indices(const VImage& rgba, PaletteSearch& search) {
    const auto bytes = bytes_of(rgba);
    std::vector<uint8_t> result(bytes.size() / 4);
    for (size_t i = 0; i < result.size(); i++) {
        result[i] = static_cast<uint8_t>(search.nearest(argb_at(&bytes[4 * i])));
    }
    return result;
}

// Floyd and Steinberg's weights: 7 to the right, 3, 5 and 1 below, of 16. Errors are kept in sixteenths.
std::vector<uint8_t> diffused_indices(const VImage& rgba, std::span<const Argb> palette, PaletteSearch& search) {
    constexpr std::array<int, 4> kShifts = {16, 8, 0, 24};  // of the bytes R, G, B, A
    const auto bytes = bytes_of(rgba);
    const auto width = static_cast<size_t>(rgba.width());
    std::vector<uint8_t> result(bytes.size() / 4);
    std::vector<int> here(4 * (width + 2));
    std::vector<int> below(4 * (width + 2));
    for (size_t at = 0, x = 0; at < result.size(); at++, x++) {
        if (x == width) {
            x = 0;
            std::swap(here, below);
            std::fill(below.begin(), below.end(), 0);
        }
        std::array<int, 4> wanted;
        Argb color = 0;
        for (size_t band = 0; band < 4; band++) {
            const int error = here[4 * (x + 1) + band];
            wanted[band] = std::clamp(bytes[4 * at + band] + (error + (error < 0 ? -8 : 8)) / 16, 0, 255);
            color |= static_cast<Argb>(wanted[band]) << kShifts[band];
        }
        const size_t index = search.nearest(color);
        result[at] = static_cast<uint8_t>(index);
        for (size_t band = 0; band < 4; band++) {
            const int error = wanted[band] - static_cast<int>(palette[index] >> kShifts[band] & 0xFF);
            here[4 * (x + 2) + band] += 7 * error;
            below[4 * x + band] += 3 * error;
            below[4 * (x + 1) + band] += 5 * error;
            below[4 * (x + 2) + band] += error;
        }
    }
    return result;
}

std::vector<uint8_t> indices_in(const VImage& image, std::span<const Argb> palette, bool diffuse) {
    if (palette.empty() || palette.size() > 256) {
        throw PictureError(Failure::kArgument,
                           "a palette of " + std::to_string(palette.size()) + " colors is not one of 1 to 256",
                           "palette");
    }
    const VImage rgba = rgba_of(image);
    PaletteSearch search(palette);
    return diffuse ? diffused_indices(rgba, palette, search) : nearest_indices(rgba, search);
}

// The colors of the picture in the order of their first appearance; nothing where there are more than `most`.
std::vector<Argb> distinct_colors(const VImage& rgba, size_t most) {
    if (!has_at_most_colors(rgba, most)) {
        return {};
    }
    const auto bytes = bytes_of(rgba);
    std::vector<Argb> colors;
    Argb last = 0;
    for (size_t at = 0; at < bytes.size(); at += 4) {
        const Argb color = argb_at(&bytes[at]);
        if (!colors.empty() && color == last) {
            continue;
        }
        last = color;
        if (std::find(colors.begin(), colors.end(), color) == colors.end()) {
            colors.push_back(color);
        }
    }
    return colors;
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
        const VImage colors = as_rgb(as_8_bit(keep_alpha ? own : color_bands(own)));
        std::vector<Argb> palette = distinct_colors(rgba_of(colors), static_cast<size_t>(most));
        if (!palette.empty()) {
            return palette;
        }
        palette = quantizer_palette(colors, most);
        thin_out(palette, static_cast<size_t>(most));
        return palette;
    });
}

std::vector<uint8_t> VipsPicture::indices(std::span<const Argb> palette, bool diffuse) const {
    return guarded(Failure::kInternal, "the pixels could not be indexed", [&] {
        if (std::equal(palette.begin(), palette.end(), this->palette().begin(), this->palette().end())) {
            const auto own = bytes_of(m_image);  // of entries that are alike each keeps its pixels
            return std::vector<uint8_t>(own.begin(), own.end());
        }
        return indices_in(colors(), palette, diffuse);
    });
}

bool VipsPicture::has_only(std::span<const Argb> palette) const {
    // Transparent pixels count as one color. A picture without alpha does not count the alpha of the palette.
    const bool alpha = has_alpha();
    const auto seen = [alpha](Argb color) { return !alpha ? color | kBlack : color >> 24 == 0 ? 0 : color; };
    const std::unordered_set<Argb> known = [&] {
        std::unordered_set<Argb> colors;
        for (const Argb color : palette) {
            colors.insert(seen(color));
        }
        return colors;
    }();
    const VImage rgba = rgba_of(colors());
    const auto bytes = bytes_of(rgba);
    Argb last = 0;
    for (size_t at = 0; at < bytes.size(); at += 4) {
        const Argb color = seen(argb_at(&bytes[at]));
        if (color == last && at > 0) {
            continue;
        }
        last = color;
        if (!known.contains(color)) {
            return false;
        }
    }
    return true;
}

std::vector<Argb> VipsPicture::frequent_palette(int most) const {
    require_palette_size(most);
    const VImage rgba = rgba_of(color_bands(colors()));
    const auto bytes = bytes_of(rgba);
    std::unordered_map<Argb, uint32_t> counts;
    for (size_t at = 0; at < bytes.size(); at += 4) {
        counts[argb_at(&bytes[at])]++;
    }
    std::vector<std::pair<Argb, uint32_t>> colors(counts.begin(), counts.end());
    std::sort(colors.begin(), colors.end(), [](const auto& a, const auto& b) {
        return a.second != b.second ? a.second > b.second : a.first < b.first;
    });
    colors.resize(std::min(colors.size(), static_cast<size_t>(most)));
    std::vector<Argb> palette;
    for (const auto& [color, count] : colors) {
        palette.push_back(color);
    }
    return palette;
}

void VipsPicture::paint(std::span<const uint8_t> indices, std::span<const Argb> palette) {
    set_indices(indices, palette);
}

void VipsPicture::reduce(std::span<const Argb> palette, bool diffuse) {
    set_indices(indices(palette, diffuse), palette);
}

}  // namespace zelmor::imagework

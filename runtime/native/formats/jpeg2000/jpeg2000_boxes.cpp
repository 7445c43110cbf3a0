// Writing boxes; see jpeg2000_boxes.h.
#include "runtime/native/formats/jpeg2000/jpeg2000_boxes.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <span>
#include <string_view>

#include "runtime/native/formats/jpeg2000/jpeg2000_markers.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::imagework {
namespace {

using Bytes = std::vector<uint8_t>;

void put_bytes(Bytes& out, std::span<const uint8_t> bytes) {
    out.insert(out.end(), bytes.begin(), bytes.end());
}

void put_box(Bytes& out, std::string_view type, std::span<const uint8_t> content) {
    assert(type.size() == 4);
    constexpr uint64_t kHeader = 8;
    constexpr uint64_t kMostShort = 0xFFFFFFFF - kHeader;
    const bool longer = content.size() > kMostShort;
    put(out, longer ? 1 : content.size() + kHeader, 4);
    out.insert(out.end(), type.begin(), type.end());
    if (longer) {
        put(out, content.size() + 2 * kHeader, 8);
    }
    put_bytes(out, content);
}

bool is_clear(const RowsHeader& header) {
    const auto below = [](Argb color) { return color >> 24 != 0xFF; };
    const auto deep_below = [](uint64_t color) { return color >> 48 != 0xFFFF; };
    return std::any_of(header.palette.begin(), header.palette.end(), below) ||
           std::any_of(header.deep_palette.begin(), header.deep_palette.end(), deep_below);
}

Bytes color_box(const RowsHeader& header) {
    Bytes out;
    if (header.profile != nullptr && !header.profile->empty()) {
        put(out, 2, 1);
        put(out, 0, 2);
        put_bytes(out, *header.profile);
        return out;
    }
    constexpr uint32_t kCmyk = 12;
    constexpr uint32_t kSrgb = 16;
    constexpr uint32_t kGray = 17;
    put(out, 1, 1);
    put(out, 0, 2);
    put(out,
        header.form.color == ColorModel::kCmyk   ? kCmyk
        : header.form.color == ColorModel::kGray ? kGray
                                                 : kSrgb,
        4);
    return out;
}

// The palette and the channels that are its columns.
void put_palette(Bytes& out, const RowsHeader& header) {
    const int columns = is_clear(header) ? 4 : 3;
    const bool deep = !header.deep_palette.empty();
    Bytes palette;
    put(palette, header.palette.size(), 2);
    put(palette, static_cast<uint64_t>(columns), 1);
    for (int i = 0; i < columns; i++) {
        put(palette, deep ? 15 : 7, 1);
    }
    for (size_t i = 0; i < header.palette.size(); i++) {
        for (const int shift : {2, 1, 0, 3}) {  // opacity stands first in a color, and last in the file
            if (shift == 3 && columns == 3) {
                continue;
            }
            if (deep) {
                put(palette, header.deep_palette[i] >> 16 * shift & 0xFFFF, 2);
            } else {
                put(palette, header.palette[i] >> 8 * shift & 0xFF, 1);
            }
        }
    }
    put_box(out, "pclr", palette);
    Bytes channels;
    for (int i = 0; i < columns; i++) {
        put(channels, 0, 2);
        put(channels, 1, 1);
        put(channels, static_cast<uint64_t>(i), 1);
    }
    put_box(out, "cmap", channels);
}

Bytes definitions(int colors) {
    Bytes out;
    put(out, static_cast<uint64_t>(colors) + 1, 2);
    for (int i = 0; i <= colors; i++) {
        const bool opacity = i == colors;
        put(out, static_cast<uint64_t>(i), 2);
        put(out, opacity ? 1 : 0, 2);
        put(out, opacity ? 0 : static_cast<uint64_t>(i) + 1, 2);
    }
    return out;
}

// A number of dots per meter as a fraction of 16 bits each and a power of ten.
void put_dots(Bytes& fraction, Bytes& power, double dots_per_inch) {
    double number = dots_per_inch / kMetersPerInch;
    int exponent = 0;
    while (number > 65535 && exponent < 127) {
        number /= 10;
        exponent++;
    }
    // The denominator that comes nearest.
    uint64_t best = 1;
    double least = 1e30;
    for (uint64_t below = 1; below <= 65535 && number * static_cast<double>(below) < 65535.5; below++) {
        const double found = number * static_cast<double>(below);
        const double error = std::abs(found - std::round(found)) / static_cast<double>(below);
        if (error < least * (1 - 1e-9)) {
            least = error;
            best = below;
        }
    }
    put(fraction, static_cast<uint64_t>(std::max(1.0, std::round(number * static_cast<double>(best)))), 2);
    put(fraction, best, 2);
    put(power, static_cast<uint8_t>(exponent), 1);
}

Bytes resolution_box(const Resolution& resolution) {
    Bytes fractions;
    Bytes powers;
    put_dots(fractions, powers, resolution.vertical);
    put_dots(fractions, powers, resolution.horizontal);
    put_bytes(fractions, powers);
    Bytes out;
    put_box(out, "resc", fractions);
    return out;
}

Bytes header_box(const RowsHeader& header, int bits, bool is_signed) {
    const PixelForm& form = header.form;
    Bytes size;
    put(size, static_cast<uint64_t>(header.height), 4);
    put(size, static_cast<uint64_t>(header.width), 4);
    put(size, static_cast<uint64_t>(form.bands()), 2);
    put(size, static_cast<uint64_t>(bits - 1) | (is_signed ? 0x80U : 0U), 1);
    put(size, 7, 1);  // the one compression that there is
    put(size, 0, 1);
    put(size, 0, 1);
    Bytes out;
    put_box(out, "ihdr", size);
    put_box(out, "colr", color_box(header));
    int alpha_behind = form.alpha ? form.color_bands() : 0;
    if (form.color == ColorModel::kIndexed) {
        put_palette(out, header);
        alpha_behind = is_clear(header) ? 3 : 0;
    }
    if (alpha_behind > 0) {
        put_box(out, "cdef", definitions(alpha_behind));
    }
    if (header.resolution && header.resolution->horizontal > 0 && header.resolution->vertical > 0) {
        put_box(out, "res ", resolution_box(*header.resolution));
    }
    return out;
}

void put_uuid(Bytes& out, std::span<const uint8_t> id, std::span<const uint8_t> content) {
    if (content.empty()) {
        return;
    }
    Bytes box(id.begin(), id.end());
    put_bytes(box, content);
    put_box(out, "uuid", box);
}

}  // namespace

Bytes jpeg2000_boxes(const RowsHeader& header, const Jpeg2000Encoding& encoding, int bits, bool is_signed) {
    constexpr std::array<uint8_t, 4> kSignature{0x0D, 0x0A, 0x87, 0x0A};
    constexpr std::array<uint8_t, 12> kBrand{'j', 'p', '2', ' ', 0, 0, 0, 0, 'j', 'p', '2', ' '};
    Bytes out;
    put_box(out, "jP  ", kSignature);
    put_box(out, "ftyp", kBrand);
    put_box(out, "jp2h", header_box(header, bits, is_signed));
    put_uuid(out, kXmpUuid, encoding.xmp);
    put_uuid(out, kExifUuid, encoding.exif);
    put_box(out, "jp2c", {});
    std::fill_n(out.end() - 8, 4, uint8_t{0});  // to the end of the file
    return out;
}

}  // namespace zelmor::imagework

// Header parsers of PNG, GIF, BMP and WebP, and the choice among all formats; see probe.h.
#include "runtime/native/imagework/probe/probe.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/native/imagework/backend.h"
#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/probe_formats.h"

namespace zelmor::imagework {
namespace {

// Three bytes of a palette.
Argb rgb_entry(const ByteReader& in, uint64_t at) {
    return 0xFF000000 | static_cast<Argb>(in.u8(at)) << 16 | static_cast<Argb>(in.u8(at + 1)) << 8 | in.u8(at + 2);
}

// ---- PNG: a chain of chunks; everything of interest stands before the first pixel data.

PngColor png_color(int color_type) {
    switch (color_type) {
        case 0:
            return PngColor::kGray;
        case 2:
            return PngColor::kTruecolor;
        case 3:
            return PngColor::kIndexed;
        case 4:
            return PngColor::kGrayAlpha;
        default:
            return PngColor::kTruecolorAlpha;
    }
}

// The one color that tRNS takes out of a gray or RGB picture, brought to 8 bits.
std::optional<Argb> png_key_color(const ByteReader& in, uint64_t chunk, uint32_t length, int color_type, int depth) {
    auto to8 = [&](uint64_t offset) -> uint32_t {
        uint32_t value = in.u16(offset);
        uint32_t top = (1U << depth) - 1;
        return depth == 16 ? value >> 8 : std::min(value, top) * 255 / top;
    };
    if (color_type == 0 && length >= 2) {
        return 0xFF000000 | to8(chunk) * 0x010101;
    }
    if (color_type == 2 && length >= 6) {
        return 0xFF000000 | to8(chunk) << 16 | to8(chunk + 2) << 8 | to8(chunk + 4);
    }
    return std::nullopt;
}

void probe_png(const ByteReader& file, FileFacts& facts) {
    const ByteReader in = file.in_order(true);
    if (!in.starts_with(12, "IHDR")) {
        return;
    }
    int depth = in.u8(24);
    int color_type = in.u8(25);
    int interlace = in.u8(28);
    static constexpr int kChannels[] = {1, 0, 3, 1, 2, 0, 4};
    if (!in.ok() || color_type > 6 || kChannels[color_type] == 0 || (depth & (depth - 1)) != 0 || depth == 0 ||
        depth > 16) {
        return;
    }
    facts.width = in.u32(16);
    facts.height = in.u32(20);
    facts.bits_per_pixel = kChannels[color_type] * depth;
    facts.has_alpha = color_type >= 4;
    facts.readable = facts.width > 0 && facts.height > 0;
    PngEncoding encoding;
    encoding.color = png_color(color_type);
    encoding.bit_depth = depth;
    encoding.interlaced = interlace == 1;
    facts.encoding = encoding;
    for (uint64_t at = 33; in.has(at, 12);) {
        uint32_t length = in.u32(at);
        if (in.starts_with(at + 4, "IDAT") || in.starts_with(at + 4, "IEND")) {
            break;
        }
        if (in.starts_with(at + 4, "PLTE") && color_type == 3) {
            for (uint64_t entry = at + 8; entry + 3 <= at + 8 + length && in.has(entry, 3); entry += 3) {
                facts.palette.push_back(rgb_entry(in, entry));
            }
        } else if (in.starts_with(at + 4, "tRNS")) {
            facts.has_alpha = true;
            for (size_t i = 0; i < std::min<uint64_t>(facts.palette.size(), length); i++) {
                facts.palette[i] = (facts.palette[i] & 0xFFFFFF) | static_cast<Argb>(in.u8(at + 8 + i)) << 24;
            }
            facts.transparent_color = png_key_color(in, at + 8, length, color_type, depth);
        } else if (in.starts_with(at + 4, "pHYs")) {
            facts.has_resolution = in.u8(at + 16) == 1;  // per meter
        } else if (in.starts_with(at + 4, "acTL")) {
            facts.is_apng = true;
            facts.frame_count = static_cast<int>(std::clamp<uint32_t>(in.u32(at + 8), 1, 0x7FFFFFFF));
            encoding.plays = static_cast<int>(in.u32(at + 12) & 0x7FFFFFFF);
            facts.encoding = encoding;
        }
        at += 12 + static_cast<uint64_t>(length);
    }
}

// ---- GIF: screen, global palette, then blocks up to the first frame.

void probe_gif(const ByteReader& file, FileFacts& facts) {
    const ByteReader in = file.in_order(false);
    facts.width = in.u16(6);
    facts.height = in.u16(8);
    int flags = in.u8(10);
    if (!in.ok()) {
        return;
    }
    facts.bits_per_pixel = 8;
    GifEncoding encoding;
    bool global_palette = (flags & 0x80) != 0;
    int palette_bits = (flags & 7) + 1;
    uint64_t palette_at = 13;
    uint64_t at = palette_at + (global_palette ? 3ULL << palette_bits : 0);
    std::optional<int> transparent_index;
    while (in.has(at, 2)) {
        int kind = in.u8(at);
        if (kind == 0x2C) {
            int frame_flags = in.u8(at + 9);
            if ((frame_flags & 0x80) != 0) {
                palette_bits = (frame_flags & 7) + 1;
                palette_at = at + 10;
            }
            encoding.interlaced = (frame_flags & 0x40) != 0;
            facts.readable = in.ok() && facts.width > 0 && facts.height > 0;
            break;
        }
        if (kind != 0x21) {
            break;
        }
        if (in.u8(at + 1) == 0xF9 && in.u8(at + 2) >= 4 && (in.u8(at + 3) & 1) != 0) {
            transparent_index = in.u8(at + 6);
        }
        if (in.u8(at + 1) == 0xFF && in.starts_with(at + 3, "NETSCAPE2.0") && in.u8(at + 15) == 1) {
            const int repeats = in.u16(at + 16);
            encoding.loops = repeats == 0 ? 0 : repeats + 1;  // the first time counts too
        }
        at += 2;
        while (in.has(at, 1) && in.u8(at) != 0) {  // sub-blocks, ended by an empty one
            at += 1 + static_cast<uint64_t>(in.u8(at));
        }
        at++;
    }
    encoding.palette_bits = palette_bits;
    facts.encoding = encoding;
    if (in.has(palette_at, 3ULL << palette_bits)) {
        for (uint64_t i = 0; i < 1ULL << palette_bits; i++) {
            facts.palette.push_back(rgb_entry(in, palette_at + 3 * i));
        }
    }
    if (transparent_index) {
        facts.has_alpha = true;
        uint64_t entry = palette_at + 3 * static_cast<uint64_t>(*transparent_index);
        if (static_cast<size_t>(*transparent_index) < facts.palette.size()) {
            facts.palette[static_cast<size_t>(*transparent_index)] &= 0xFFFFFF;
        }
        if (*transparent_index < 1 << palette_bits && in.has(entry, 3)) {
            facts.transparent_color = 0xFF000000 | static_cast<uint32_t>(in.u8(entry)) << 16 |
                                      static_cast<uint32_t>(in.u8(entry + 1)) << 8 | in.u8(entry + 2);
        }
    }
}

// ---- BMP: the file header, then an information header of one of several lengths.

void probe_bmp(const ByteReader& file, FileFacts& facts) {
    const ByteReader in = file.in_order(false);
    uint32_t header = in.u32(14);
    BmpEncoding encoding;
    if (header == 12) {
        facts.width = in.u16(18);
        facts.height = in.u16(20);
        encoding.bits_per_pixel = in.u16(24);
    } else if (header >= 16) {
        facts.width = in.i32(18);
        int64_t height = in.i32(22);
        facts.height = height < 0 ? -height : height;  // negative: rows run from top to bottom
        encoding.bits_per_pixel = in.u16(28);
        uint32_t compression = header >= 20 ? in.u32(30) : 0;
        encoding.compression = compression == 1                       ? BmpCompression::kRle8
                               : compression == 2                     ? BmpCompression::kRle4
                               : compression == 3 || compression == 6 ? BmpCompression::kBitFields
                                                                      : BmpCompression::kRgb;
        // The mask of the alpha channel stands in the longer headers only.
        facts.has_alpha = encoding.compression == BmpCompression::kBitFields && header >= 56 && in.u32(66) != 0;
    }
    int bits = encoding.bits_per_pixel;
    facts.bits_per_pixel = bits;
    facts.has_resolution = header >= 40 && in.i32(38) > 0 && in.i32(42) > 0;
    facts.readable = in.ok() && facts.width > 0 && facts.height > 0 &&
                     (bits == 1 || bits == 2 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32);
    facts.encoding = encoding;
    if (!facts.readable || bits > 8) {
        return;
    }
    const uint64_t entry = header == 12 ? 3 : 4;
    const uint64_t used = header >= 40 && in.u32(46) != 0 ? in.u32(46) : 1ULL << bits;
    uint64_t at = 14 + static_cast<uint64_t>(header);
    for (uint64_t i = 0; i < std::min<uint64_t>(used, 1ULL << bits) && in.has(at, 3); i++, at += entry) {
        const Argb turned = rgb_entry(in, at);  // B, G, R
        facts.palette.push_back((turned & 0xFF00FF00) | (turned & 0xFF) << 16 | (turned >> 16 & 0xFF));
    }
}

// ---- WebP: the first chunk of the RIFF container.

void probe_webp(const ByteReader& file, FileFacts& facts) {
    const ByteReader in = file.in_order(false);
    WebpEncoding encoding;
    auto u24 = [&](uint64_t at) -> int64_t { return in.u16(at) | in.u8(at + 2) << 16; };
    if (in.starts_with(12, "VP8X")) {
        facts.has_alpha = (in.u8(20) & 0x10) != 0;
        facts.has_resolution = (in.u8(20) & 0x08) != 0;  // in its Exif data, if anywhere
        facts.width = u24(24) + 1;
        facts.height = u24(27) + 1;
        for (uint64_t at = 30; in.has(at, 8);) {  // which of the two codings the picture has
            // A frame of an animation has a header of its own before its coding.
            if (in.starts_with(at, "VP8L") || (in.starts_with(at, "ANMF") && in.starts_with(at + 24, "VP8L"))) {
                encoding.lossless = true;
                break;
            }
            if (in.starts_with(at, "ANMF") || in.starts_with(at, "ALPH") || in.starts_with(at, "VP8 ")) {
                break;
            }
            if (in.starts_with(at, "ANIM")) {
                if (const uint32_t background = in.u32(at + 8)) {
                    encoding.background = background;
                }
                encoding.loops = in.u16(at + 12);
            }
            uint64_t length = in.u32(at + 4);
            at += 8 + length + (length & 1);
        }
    } else if (in.starts_with(12, "VP8L")) {
        uint32_t bits = in.u32(21);
        facts.width = (bits & 0x3FFF) + 1;
        facts.height = (bits >> 14 & 0x3FFF) + 1;
        facts.has_alpha = (bits >> 28 & 1) != 0;
        encoding.lossless = true;
    } else if (in.starts_with(12, "VP8 ")) {
        facts.width = in.u16(26) & 0x3FFF;
        facts.height = in.u16(28) & 0x3FFF;
    } else {
        return;
    }
    facts.bits_per_pixel = facts.has_alpha ? 32 : 24;
    facts.encoding = encoding;
    facts.readable = in.ok() && facts.width > 0 && facts.height > 0;
}

}  // namespace

namespace {

Format format_of_file(const ByteReader& in) {
    if (in.starts_with(0, "\x89PNG\r\n\x1A\n")) {
        return Format::kPng;
    }
    if (in.starts_with(0, "\xFF\xD8\xFF")) {
        return Format::kJpeg;
    }
    if (in.starts_with(0, "GIF87a") || in.starts_with(0, "GIF89a")) {
        return Format::kGif;
    }
    if (in.starts_with(0, "BM")) {
        return Format::kBmp;
    }
    // The version stands in the file's own byte order: 42, or 43 for the variant with 64-bit offsets.
    static constexpr std::string_view kLittle("II*\0", 4), kBig("MM\0*", 4), kLittle64("II+\0", 4), kBig64("MM\0+", 4);
    if (in.starts_with(0, kLittle) || in.starts_with(0, kBig) || in.starts_with(0, kLittle64) ||
        in.starts_with(0, kBig64)) {
        return Format::kTiff;
    }
    if (in.starts_with(0, "RIFF") && in.starts_with(8, "WEBP")) {
        return Format::kWebp;
    }
    return Format::kUnknown;
}

FileFacts facts_of_file(const ByteReader& file) {
    FileFacts facts;
    facts.format = format_of_file(file);
    switch (facts.format) {
        case Format::kPng:
            probe_png(file, facts);
            break;
        case Format::kJpeg:
            probe_jpeg(file, facts);
            break;
        case Format::kGif:
            probe_gif(file, facts);
            break;
        case Format::kBmp:
            probe_bmp(file, facts);
            break;
        case Format::kTiff:
            probe_tiff(file, facts);
            break;
        case Format::kWebp:
            probe_webp(file, facts);
            break;
        case Format::kUnknown:
            break;
    }
    return facts;
}

}  // namespace

Format sniff(std::span<const uint8_t> data) {
    return format_of_file(ByteReader(data));
}

FileFacts probe(std::span<const uint8_t> data) {
    return facts_of_file(ByteReader(data));
}

FileFacts probe(ByteSource& file) {
    return facts_of_file(ByteReader(file));
}

std::vector<FileFacts> probe_pages(std::span<const uint8_t> data) {
    if (sniff(data) == Format::kTiff) {
        return probe_tiff_pages(ByteReader(data));
    }
    return {probe(data)};
}

void require_decodable(const FileFacts& facts, const DecodeOptions& options) {
    if (facts.format == Format::kUnknown) {
        throw PictureError(Failure::kDamaged, "the data is of none of the formats BMP, GIF, JPEG, PNG, TIFF, WebP");
    }
    if (!facts.readable && options.recovery == Recovery::kNone) {
        throw PictureError(Failure::kDamaged,
                           std::string("the ") + format_name(facts.format) + " data has no complete header");
    }
    if (facts.readable) {
        check_picture_size(facts.width, facts.height, 1);
    }
}

}  // namespace zelmor::imagework

// Header parsers of the six formats; see probe.h.
#include "runtime/native/imagework/probe.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "runtime/native/imagework/byte_reader.h"

namespace zelmor::imagework {
namespace {

bool starts_with(std::span<const uint8_t> data, size_t offset, std::string_view text) {
    return data.size() >= offset + text.size() && std::memcmp(data.data() + offset, text.data(), text.size()) == 0;
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

// The one colour that tRNS takes out of a gray or RGB picture, brought to 8 bits.
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

void probe_png(std::span<const uint8_t> data, FileFacts& facts) {
    ByteReader in(data, true);
    if (!starts_with(data, 12, "IHDR")) {
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
        if (starts_with(data, at + 4, "IDAT") || starts_with(data, at + 4, "IEND")) {
            break;
        }
        if (starts_with(data, at + 4, "tRNS")) {
            facts.has_alpha = true;
            facts.transparent_color = png_key_color(in, at + 8, length, color_type, depth);
        } else if (starts_with(data, at + 4, "pHYs")) {
            facts.has_resolution = in.u8(at + 16) == 1;  // per metre
        } else if (starts_with(data, at + 4, "acTL")) {
            facts.is_apng = true;
            facts.frame_count = static_cast<int>(std::clamp<uint32_t>(in.u32(at + 8), 1, 0x7FFFFFFF));
        }
        at += 12 + static_cast<uint64_t>(length);
    }
}

// ---- JPEG: markers up to the first scan.

// The quality whose table, made by the scaling rule that encoders share, is nearest to the file's luminance table.
int jpeg_quality(const ByteReader& in, uint64_t table, bool wide) {
    // The example luminance table in annex K of the standard, in any order: only sums are compared.
    static constexpr int kExample[64] = {
        16, 11,  10,  16, 24, 40, 51, 61, 12,  12,  14,  19,  26, 58, 60, 55,  14,  13,  16,  24, 40, 57,
        69, 56,  14,  17, 22, 29, 51, 87, 80,  62,  18,  22,  37, 56, 68, 109, 103, 77,  24,  35, 55, 64,
        81, 104, 113, 92, 49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98,  112, 100, 103, 99,
    };
    int64_t sum = 0;
    for (uint64_t i = 0; i < 64; i++) {
        sum += wide ? in.u16(table + 2 * i) : in.u8(table + i);
    }
    int best = 100;
    int64_t best_distance = INT64_MAX;
    for (int quality = 100; quality >= 1; quality--) {
        int scale = quality < 50 ? 5000 / quality : 200 - 2 * quality;
        int64_t scaled = 0;
        for (int value : kExample)
            scaled += std::clamp((value * scale + 50) / 100, 1, wide ? 32767 : 255);
        int64_t distance = std::abs(scaled - sum);
        if (distance < best_distance) {
            best_distance = distance;
            best = quality;
        }
    }
    return best;
}

void probe_jpeg(std::span<const uint8_t> data, FileFacts& facts) {
    ByteReader in(data, true);
    JpegEncoding encoding;
    bool have_quality = false;
    for (uint64_t at = 2; in.has(at, 4);) {
        if (in.u8(at) != 0xFF) {
            return;
        }
        int marker = in.u8(at + 1);
        if (marker == 0xFF) {  // fill byte
            at++;
            continue;
        }
        if (marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8)) {  // no length
            at += 2;
            continue;
        }
        if (marker == 0xD9 || marker == 0xDA) {
            return;
        }
        uint32_t length = in.u16(at + 2);
        if (length < 2) {
            return;
        }
        if (marker == 0xE0 && starts_with(data, at + 4, "JFIF")) {
            facts.has_resolution |= in.u8(at + 11) == 1 || in.u8(at + 11) == 2;  // per inch or centimetre
        } else if (marker == 0xE1 && starts_with(data, at + 4, "Exif")) {
            facts.has_resolution = true;
        } else if (marker == 0xDB && !have_quality && length >= 67 && (in.u8(at + 4) & 0x0F) == 0) {
            encoding.quality = jpeg_quality(in, at + 5, in.u8(at + 4) >> 4 != 0);
            have_quality = true;
        } else if (marker == 0xFE && encoding.comment.empty() && in.has(at + 4, length - 2)) {
            encoding.comment.assign(reinterpret_cast<const char*>(data.data()) + at + 4, length - 2);
        } else if (marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC) {
            int depth = in.u8(at + 4);
            int components = in.u8(at + 9);
            facts.height = in.u16(at + 5);
            facts.width = in.u16(at + 7);
            facts.bits_per_pixel = depth * components;
            encoding.progressive = marker == 0xC2 || marker == 0xC6 || marker == 0xCA || marker == 0xCE;
            encoding.color = components == 1 ? JpegColor::kGray : components == 4 ? JpegColor::kCmyk : JpegColor::kYcc;
            facts.encoding = encoding;
            facts.readable = in.ok() && facts.width > 0 && facts.height > 0 && components > 0;
            return;
        }
        at += 2 + static_cast<uint64_t>(length);
    }
}

// ---- GIF: screen, global palette, then blocks up to the first frame.

void probe_gif(std::span<const uint8_t> data, FileFacts& facts) {
    ByteReader in(data);
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
        at += 2;
        while (in.has(at, 1) && in.u8(at) != 0) {  // sub-blocks, ended by an empty one
            at += 1 + static_cast<uint64_t>(in.u8(at));
        }
        at++;
    }
    encoding.palette_bits = palette_bits;
    facts.encoding = encoding;
    if (transparent_index) {
        facts.has_alpha = true;
        uint64_t entry = palette_at + 3 * static_cast<uint64_t>(*transparent_index);
        if (*transparent_index < 1 << palette_bits && in.has(entry, 3)) {
            facts.transparent_color = 0xFF000000 | static_cast<uint32_t>(in.u8(entry)) << 16 |
                                      static_cast<uint32_t>(in.u8(entry + 1)) << 8 | in.u8(entry + 2);
        }
    }
}

// ---- BMP: the file header, then an information header of one of several lengths.

void probe_bmp(std::span<const uint8_t> data, FileFacts& facts) {
    ByteReader in(data);
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
}

// ---- TIFF: the first directory.

struct TiffTags {
    uint64_t width = 0, height = 0, bits = 1, samples = 1, compression = 1, photometric = 1, predictor = 1;
    uint64_t tile_width = 0, tile_height = 0;
    uint64_t resolution_unit = 2;
    bool resolution = false;
    bool extra_samples = false;
};

// The first value of an entry: in place if it fits there, else where the entry points.
uint64_t tiff_value(const ByteReader& in, uint64_t entry, bool big) {
    int type = in.u16(entry + 2);
    uint64_t count = big ? in.u64(entry + 4) : in.u32(entry + 4);
    uint64_t room = big ? 8 : 4;
    uint64_t size = type == 3 ? 2 : type == 4 ? 4 : type == 16 ? 8 : 1;
    uint64_t at = entry + (big ? 12 : 8);
    if (count > room / size) {
        at = big ? in.u64(at) : in.u32(at);
    }
    return size == 2 ? in.u16(at) : size == 4 ? in.u32(at) : size == 8 ? in.u64(at) : in.u8(at);
}

TiffCompression tiff_compression(uint64_t code) {
    switch (code) {
        case 5:
            return TiffCompression::kLzw;
        case 8:
        case 32946:
            return TiffCompression::kDeflate;
        case 32773:
            return TiffCompression::kPackBits;
        case 7:
            return TiffCompression::kJpeg;
        case 4:
            return TiffCompression::kFax4;
        default:
            return TiffCompression::kNone;
    }
}

void probe_tiff(std::span<const uint8_t> data, FileFacts& facts) {
    ByteReader in(data, data[0] == 'M');
    bool big = in.u16(2) == 43;
    facts.is_big_tiff = big;
    uint64_t directory = big ? in.u64(8) : in.u32(4);
    uint64_t count = big ? in.u64(directory) : in.u16(directory);
    TiffTags tags;
    uint64_t entry = directory + (big ? 8 : 2);
    uint64_t entry_size = big ? 20 : 12;
    for (uint64_t i = 0; i < count && in.has(entry, entry_size); i++, entry += entry_size) {
        switch (in.u16(entry)) {
            case 256:
                tags.width = tiff_value(in, entry, big);
                break;
            case 257:
                tags.height = tiff_value(in, entry, big);
                break;
            case 258:
                tags.bits = tiff_value(in, entry, big);
                break;
            case 259:
                tags.compression = tiff_value(in, entry, big);
                break;
            case 262:
                tags.photometric = tiff_value(in, entry, big);
                break;
            case 277:
                tags.samples = tiff_value(in, entry, big);
                break;
            case 282:
                tags.resolution = true;
                break;
            case 296:
                tags.resolution_unit = tiff_value(in, entry, big);
                break;
            case 317:
                tags.predictor = tiff_value(in, entry, big);
                break;
            case 322:
                tags.tile_width = tiff_value(in, entry, big);
                break;
            case 323:
                tags.tile_height = tiff_value(in, entry, big);
                break;
            case 338:
                tags.extra_samples = true;
                break;
            default:
                break;
        }
    }
    if (!in.ok() || tags.width == 0 || tags.height == 0 || tags.width > 0x7FFFFFFF || tags.height > 0x7FFFFFFF ||
        tags.bits == 0 || tags.bits > 64 || tags.samples == 0 || tags.samples > 64) {
        return;
    }
    facts.width = static_cast<int64_t>(tags.width);
    facts.height = static_cast<int64_t>(tags.height);
    facts.bits_per_pixel = static_cast<int>(tags.bits * tags.samples);
    facts.has_alpha = tags.extra_samples;
    facts.has_resolution = tags.resolution && tags.resolution_unit != 1;
    TiffEncoding encoding;
    encoding.compression = tiff_compression(tags.compression);
    encoding.predictor = tags.predictor == 2;
    encoding.big_tiff = big;
    encoding.min_is_white = tags.photometric == 0;
    encoding.color = tags.bits == 1 && tags.samples == 1 ? TiffColor::kBilevel
                     : tags.photometric == 5             ? TiffColor::kCmyk
                                                         : TiffColor::kAuto;
    constexpr uint64_t kMaxTile = 1 << 15;
    if (tags.tile_width > 0 && tags.tile_width <= kMaxTile && tags.tile_height > 0 && tags.tile_height <= kMaxTile) {
        encoding.tile_width = static_cast<int>(tags.tile_width);
        encoding.tile_height = static_cast<int>(tags.tile_height);
    }
    facts.encoding = encoding;
    facts.readable = true;
}

// ---- WebP: the first chunk of the RIFF container.

void probe_webp(std::span<const uint8_t> data, FileFacts& facts) {
    ByteReader in(data);
    WebpEncoding encoding;
    auto u24 = [&](uint64_t at) -> int64_t { return in.u16(at) | in.u8(at + 2) << 16; };
    if (starts_with(data, 12, "VP8X")) {
        facts.has_alpha = (in.u8(20) & 0x10) != 0;
        facts.has_resolution = (in.u8(20) & 0x08) != 0;  // in its Exif data, if anywhere
        facts.width = u24(24) + 1;
        facts.height = u24(27) + 1;
        for (uint64_t at = 30; in.has(at, 8);) {  // which of the two codings the picture has
            if (starts_with(data, at, "VP8L")) {
                encoding.lossless = true;
                break;
            }
            uint64_t length = in.u32(at + 4);
            at += 8 + length + (length & 1);
        }
    } else if (starts_with(data, 12, "VP8L")) {
        uint32_t bits = in.u32(21);
        facts.width = (bits & 0x3FFF) + 1;
        facts.height = (bits >> 14 & 0x3FFF) + 1;
        facts.has_alpha = (bits >> 28 & 1) != 0;
        encoding.lossless = true;
    } else if (starts_with(data, 12, "VP8 ")) {
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

Format sniff(std::span<const uint8_t> data) {
    if (starts_with(data, 0, "\x89PNG\r\n\x1A\n")) {
        return Format::kPng;
    }
    if (starts_with(data, 0, "\xFF\xD8\xFF")) {
        return Format::kJpeg;
    }
    if (starts_with(data, 0, "GIF87a") || starts_with(data, 0, "GIF89a")) {
        return Format::kGif;
    }
    if (starts_with(data, 0, "BM")) {
        return Format::kBmp;
    }
    // The version stands in the file's own byte order: 42, or 43 for the variant with 64-bit offsets.
    static constexpr std::string_view kLittle("II*\0", 4), kBig("MM\0*", 4), kLittle64("II+\0", 4), kBig64("MM\0+", 4);
    if (starts_with(data, 0, kLittle) || starts_with(data, 0, kBig) || starts_with(data, 0, kLittle64) ||
        starts_with(data, 0, kBig64)) {
        return Format::kTiff;
    }
    if (starts_with(data, 0, "RIFF") && starts_with(data, 8, "WEBP")) {
        return Format::kWebp;
    }
    return Format::kUnknown;
}

FileFacts probe(std::span<const uint8_t> data) {
    FileFacts facts;
    facts.format = sniff(data);
    switch (facts.format) {
        case Format::kPng:
            probe_png(data, facts);
            break;
        case Format::kJpeg:
            probe_jpeg(data, facts);
            break;
        case Format::kGif:
            probe_gif(data, facts);
            break;
        case Format::kBmp:
            probe_bmp(data, facts);
            break;
        case Format::kTiff:
            probe_tiff(data, facts);
            break;
        case Format::kWebp:
            probe_webp(data, facts);
            break;
        case Format::kUnknown:
            break;
    }
    return facts;
}

}  // namespace zelmor::imagework

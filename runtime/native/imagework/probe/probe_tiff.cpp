// What a TIFF file tells in its first directory, in either byte order and width of offsets.
#include <cstdint>
#include <set>
#include <vector>

#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/probe_formats.h"

namespace zelmor::imagework {
namespace {

struct TiffTags {
    uint64_t width = 0, height = 0, bits = 1, samples = 1, compression = 1, photometric = 1, predictor = 1;
    uint64_t tile_width = 0, tile_height = 0;
    uint64_t resolution_unit = 2;
    uint64_t color_map_at = 0;
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

// All reds of the palette, then all greens, then all blues, 16 bits each.
std::vector<Argb> color_map(const ByteReader& in, uint64_t entry, bool big, uint64_t bits) {
    const uint64_t colors = uint64_t{1} << bits;
    const uint64_t count = big ? in.u64(entry + 4) : in.u32(entry + 4);
    const uint64_t at = big ? in.u64(entry + 12) : in.u32(entry + 8);
    std::vector<Argb> palette;
    if (in.u16(entry + 2) != 3 || count != 3 * colors || !in.has(at, 2 * count)) {
        return palette;
    }
    const auto channel = [&](uint64_t i) { return static_cast<Argb>(in.u16(at + 2 * i) >> 8); };
    for (uint64_t i = 0; i < colors; i++) {
        palette.push_back(kBlack | channel(i) << 16 | channel(colors + i) << 8 | channel(2 * colors + i));
    }
    return palette;
}

// Reads one directory; answers where the next is.
uint64_t probe_directory(const ByteReader& in, bool big, uint64_t directory, FileFacts& facts) {
    facts.format = Format::kTiff;
    facts.is_big_tiff = big;
    uint64_t count = big ? in.u64(directory) : in.u16(directory);
    const uint64_t next_at = directory + (big ? 8 : 2) + count * (big ? 20 : 12);
    const uint64_t next = !in.has(next_at, big ? 8 : 4) ? 0 : big ? in.u64(next_at) : in.u32(next_at);
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
            case 320:
                tags.color_map_at = entry;
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
        return next;
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
    if (tags.photometric == 3 && tags.color_map_at != 0 && tags.bits <= 8) {
        facts.palette = color_map(in, tags.color_map_at, big, tags.bits);
    }
    facts.encoding = encoding;
    facts.readable = true;
    return next;
}

}  // namespace

void probe_tiff(const ByteReader& file, FileFacts& facts) {
    const ByteReader in = file.in_order(file.u8(0) == 'M');
    const bool big = in.u16(2) == 43;
    probe_directory(in, big, big ? in.u64(8) : in.u32(4), facts);
}

std::vector<FileFacts> probe_tiff_pages(const ByteReader& file) {
    const ByteReader in = file.in_order(file.u8(0) == 'M');
    const bool big = in.u16(2) == 43;
    std::vector<FileFacts> pages;
    std::set<uint64_t> seen;  // a chain that comes back to itself ends there
    uint64_t directory = big ? in.u64(8) : in.u32(4);
    while (directory != 0 && seen.insert(directory).second) {
        FileFacts facts;
        directory = probe_directory(in, big, directory, facts);
        pages.push_back(std::move(facts));
    }
    return pages;
}

}  // namespace zelmor::imagework

// The facts in the directories of a TIFF file, in either byte order and width of offsets.
#include <cstdint>
#include <set>
#include <vector>

#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/probe_formats.h"
#include "runtime/native/imagework/probe/tiff_structure.h"

namespace zelmor::imagework {
namespace {

struct TiffTags {
    uint64_t width = 0, height = 0, bits = 1, samples = 1;
    uint64_t compression = static_cast<uint64_t>(TiffCompression::kNone);
    uint64_t photometric = kTiffMinIsBlack;
    uint64_t predictor = kTiffNoPrediction;
    uint64_t tile_width = 0, tile_height = 0;
    uint64_t resolution_unit = kTiffInch;
    uint64_t color_map_at = 0;
    bool resolution = false;
    bool extra_samples = false;
};

// The first value of an entry: in place if all values fit there, else where the entry points. What is no unsigned
// number counts as bytes.
uint64_t first_value(const ByteReader& in, TiffForm form, uint64_t entry) {
    const int type = in.u16(entry + 2);
    const uint64_t size = type == kTiffShort || type == kTiffLong || type == kTiffLong8 ? tiff_type_size(type) : 1;
    uint64_t at = form.value_at(entry);
    if (form.values(in, entry) > form.word() / size) {
        at = form.read_word(in, at);
    }
    return read_tiff_number(in, at, size);
}

TiffCompression compression_of(uint64_t code) {
    constexpr uint64_t kOldDeflate = 32946;
    for (const TiffCompression known : {TiffCompression::kFax4, TiffCompression::kLzw, TiffCompression::kJpeg,
                                        TiffCompression::kDeflate, TiffCompression::kPackBits}) {
        if (code == static_cast<uint64_t>(known)) {
            return known;
        }
    }
    return code == kOldDeflate ? TiffCompression::kDeflate : TiffCompression::kNone;
}

// All reds of the palette, then all greens, then all blues, 16 bits each.
std::vector<Argb> color_map(const ByteReader& in, TiffForm form, uint64_t entry, uint64_t bits) {
    const uint64_t colors = uint64_t{1} << bits;
    const uint64_t count = form.values(in, entry);
    const uint64_t at = form.read_word(in, form.value_at(entry));
    std::vector<Argb> palette;
    if (in.u16(entry + 2) != kTiffShort || count != 3 * colors || !in.has(at, 2 * count)) {
        return palette;
    }
    const auto channel = [&](uint64_t i) { return static_cast<Argb>(in.u16(at + 2 * i) >> 8); };
    for (uint64_t i = 0; i < colors; i++) {
        palette.push_back(kBlack | channel(i) << 16 | channel(colors + i) << 8 | channel(2 * colors + i));
    }
    return palette;
}

void take_entry(const ByteReader& in, TiffForm form, uint64_t entry, TiffTags& tags) {
    const auto value = [&] { return first_value(in, form, entry); };
    switch (in.u16(entry)) {
        case kTiffWidth:
            tags.width = value();
            break;
        case kTiffHeight:
            tags.height = value();
            break;
        case kTiffBitsPerSample:
            tags.bits = value();
            break;
        case kTiffCompression:
            tags.compression = value();
            break;
        case kTiffPhotometric:
            tags.photometric = value();
            break;
        case kTiffSamplesPerPixel:
            tags.samples = value();
            break;
        case kTiffXResolution:
            tags.resolution = true;
            break;
        case kTiffResolutionUnit:
            tags.resolution_unit = value();
            break;
        case kTiffPredictor:
            tags.predictor = value();
            break;
        case kTiffColorMap:
            tags.color_map_at = entry;
            break;
        case kTiffTileWidth:
            tags.tile_width = value();
            break;
        case kTiffTileHeight:
            tags.tile_height = value();
            break;
        case kTiffExtraSamples:
            tags.extra_samples = true;
            break;
        default:
            break;
    }
}

// Reads one directory; answers where the next is. `steps` counts the entries.
uint64_t probe_directory(const ByteReader& in, TiffForm form, uint64_t directory, FileFacts& facts, uint64_t& steps) {
    facts.format = Format::kTiff;
    facts.is_big_tiff = form.big;
    const uint64_t count = form.entries(in, directory);
    if (count > limits::kEntries) {
        return 0;  // this is no directory
    }
    steps += count;
    const uint64_t next_at = form.entry_at(directory, count);
    const uint64_t next = in.has(next_at, form.word()) ? form.read_word(in, next_at) : 0;
    TiffTags tags;
    uint64_t entry = form.entry_at(directory, 0);
    for (uint64_t i = 0; i < count && in.has(entry, form.entry_size()); i++, entry += form.entry_size()) {
        take_entry(in, form, entry, tags);
    }
    if (!in.ok() || tags.width == 0 || tags.height == 0 || tags.width > 0x7FFFFFFF || tags.height > 0x7FFFFFFF ||
        tags.bits == 0 || tags.bits > limits::kBitsOfSample || tags.samples == 0 ||
        tags.samples > limits::kSamplesOfPixel) {
        return next;
    }
    facts.width = static_cast<int64_t>(tags.width);
    facts.height = static_cast<int64_t>(tags.height);
    facts.bits_per_pixel = static_cast<int>(tags.bits * tags.samples);
    facts.has_alpha = tags.extra_samples;
    facts.has_resolution = tags.resolution && tags.resolution_unit != kTiffNoUnit;
    TiffEncoding encoding;
    encoding.compression = compression_of(tags.compression);
    encoding.predictor = tags.predictor == kTiffHorizontalPrediction;
    encoding.big_tiff = form.big;
    encoding.min_is_white = tags.photometric == kTiffMinIsWhite;
    encoding.color = tags.bits == 1 && tags.samples == 1  ? TiffColor::kBilevel
                     : tags.photometric == kTiffSeparated ? TiffColor::kCmyk
                                                          : TiffColor::kAuto;
    using limits::kTileSide;
    if (tags.tile_width > 0 && tags.tile_width <= kTileSide && tags.tile_height > 0 && tags.tile_height <= kTileSide) {
        encoding.tile_width = static_cast<int>(tags.tile_width);
        encoding.tile_height = static_cast<int>(tags.tile_height);
    }
    if (tags.photometric == kTiffPalette && tags.color_map_at != 0 && tags.bits <= 8) {
        facts.palette = color_map(in, form, tags.color_map_at, tags.bits);
    }
    facts.encoding = encoding;
    facts.readable = true;
    return next;
}

}  // namespace

void probe_tiff(const ByteReader& file, FileFacts& facts) {
    const ByteReader in = file.in_order(file.u8(0) == 'M');
    const TiffForm form = tiff_form(in);
    uint64_t steps = 0;
    probe_directory(in, form, form.read_word(in, form.link_at()), facts, steps);
}

std::vector<FileFacts> probe_tiff_pages(const ByteReader& file) {
    const ByteReader in = file.in_order(file.u8(0) == 'M');
    const TiffForm form = tiff_form(in);
    std::vector<FileFacts> pages;
    std::set<uint64_t> seen;  // a chain that comes back to itself ends there
    uint64_t directory = form.read_word(in, form.link_at());
    uint64_t steps = 0;
    while (directory != 0 && steps <= limits::kAllEntries && pages.size() < limits::kFrames &&
           seen.insert(directory).second) {
        FileFacts facts;
        directory = probe_directory(in, form, directory, facts, steps);
        pages.push_back(std::move(facts));
    }
    return pages;
}

}  // namespace zelmor::imagework

// The facts in the directories of a TIFF file, in either byte order and width of offsets.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "runtime/native/formats/format_room.h"
#include "runtime/native/formats/jpeg/jpeg_quality.h"
#include "runtime/native/formats/tiff/tiff_directories.h"
#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/formats/tiff/tiff_end.h"
#include "runtime/native/formats/tiff/tiff_entry.h"
#include "runtime/native/formats/tiff/tiff_structure.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {
namespace {

using Entry = TiffEntry;

// The entries that tell how a page is stored.
struct TiffTags {
    Entry width, height, bits, samples, compression, photometric, predictor, planes, fill, rows_per_strip, numbers;
    Entry tile_width, tile_height, resolution_unit, x_resolution, y_resolution, color_map, extra_samples;
    Entry fax3_options, jpeg_tables, subsampling, page_name;
};

Entry* slot(TiffTags& tags, uint16_t tag) {
    struct Slot {
        TiffTag tag;
        Entry TiffTags::*entry;
    };
    static constexpr Slot kSlots[] = {
        {kTiffWidth, &TiffTags::width},
        {kTiffHeight, &TiffTags::height},
        {kTiffBitsPerSample, &TiffTags::bits},
        {kTiffSamplesPerPixel, &TiffTags::samples},
        {kTiffCompression, &TiffTags::compression},
        {kTiffPhotometric, &TiffTags::photometric},
        {kTiffPredictor, &TiffTags::predictor},
        {kTiffPlanarConfiguration, &TiffTags::planes},
        {kTiffFillOrder, &TiffTags::fill},
        {kTiffRowsPerStrip, &TiffTags::rows_per_strip},
        {kTiffSampleFormat, &TiffTags::numbers},
        {kTiffTileWidth, &TiffTags::tile_width},
        {kTiffTileHeight, &TiffTags::tile_height},
        {kTiffResolutionUnit, &TiffTags::resolution_unit},
        {kTiffXResolution, &TiffTags::x_resolution},
        {kTiffYResolution, &TiffTags::y_resolution},
        {kTiffColorMap, &TiffTags::color_map},
        {kTiffExtraSamples, &TiffTags::extra_samples},
        {kTiffFax3Options, &TiffTags::fax3_options},
        {kTiffJpegTables, &TiffTags::jpeg_tables},
        {kTiffYcbcrSubsampling, &TiffTags::subsampling},
        {kTiffPageName, &TiffTags::page_name},
    };
    for (const Slot& known : kSlots) {
        if (known.tag == tag) {
            return &(tags.*known.entry);
        }
    }
    return nullptr;
}

// All reds of the palette, then all greens, then all blues, 16 bits each.
std::vector<Argb> color_map(const ByteReader& in, const Entry& map, uint64_t bits) {
    const uint64_t colors = uint64_t{1} << bits;
    std::vector<Argb> palette;
    if (map.type() != kTiffShort || map.count() != 3 * colors || !in.has(map.at(), 2 * map.count())) {
        return palette;
    }
    const auto channel = [&](uint64_t i) { return static_cast<Argb>(in.u16(map.at() + 2 * i) >> 8); };
    for (uint64_t i = 0; i < colors; i++) {
        palette.push_back(kBlack | channel(i) << 16 | channel(colors + i) << 8 | channel(2 * colors + i));
    }
    return palette;
}

// The colors that the samples are, where they are of a form that can be written again.
TiffColor color_of(TiffPhotometric photometric, uint64_t samples, uint64_t bits) {
    switch (photometric) {
        case TiffPhotometric::kMinIsWhite:
        case TiffPhotometric::kMinIsBlack:
        case TiffPhotometric::kMask:
        case TiffPhotometric::kLogL:
            return samples > 1 ? TiffColor::kGrayAlpha : bits == 1 ? TiffColor::kBilevel : TiffColor::kGray;
        case TiffPhotometric::kRgb:
        case TiffPhotometric::kYcbcr:
        case TiffPhotometric::kLogLuv:
            return samples > 3 ? TiffColor::kRgba : TiffColor::kRgb;
        case TiffPhotometric::kPalette:
            return TiffColor::kIndexed;
        case TiffPhotometric::kSeparated:
            return samples > 4 ? TiffColor::kCmyka : TiffColor::kCmyk;
        case TiffPhotometric::kCieLab:
        case TiffPhotometric::kIccLab:
            return TiffColor::kLab;
        case TiffPhotometric::kAuto:
            break;
    }
    return TiffColor::kAuto;
}

bool has_alpha(TiffPhotometric photometric, uint64_t samples) {
    const TiffColor color = color_of(photometric, samples, 8);
    return color == TiffColor::kGrayAlpha || color == TiffColor::kRgba || color == TiffColor::kCmyka ||
           (color == TiffColor::kLab && samples > 3);
}

TiffNumbers numbers_of(uint64_t format) {
    return format == kTiffSigned          ? TiffNumbers::kSigned
           : format == kTiffFloatingPoint ? TiffNumbers::kFloatingPoint
                                          : TiffNumbers::kUnsigned;
}

// The tables that all strips of a JPEG page share are a JPEG stream of their own: markers with a length each.
int quality_of(const ByteReader& file, const Entry& tables) {
    const ByteReader in = file.in_order(true);
    constexpr int kUsual = 75;
    const uint64_t end = tables.at() + tables.count();
    for (uint64_t at = tables.at() + 2; at + 4 <= end && in.has(at, 4); at += 2 + uint64_t{in.u16(at + 2)}) {
        constexpr uint64_t kTable = 65;
        if (in.u16(at) == 0xFFDB && in.u16(at + 2) >= 2 + kTable && in.has(at, 4 + kTable)) {
            return jpeg_quality(in, at + 5, in.u8(at + 4) >> 4 != 0);
        }
    }
    return kUsual;
}

// The settings that write the page again as it is.
TiffEncoding encoding_of(const ByteReader& in, TiffForm form, const TiffTags& tags, bool big_endian) {
    TiffEncoding encoding;
    encoding.of_file = true;
    const uint64_t bits = tags.bits.number(in, 1);
    const uint64_t samples = tags.samples.number(in, 1);
    encoding.compression = static_cast<TiffCompression>(tags.compression.number(in, 1));
    encoding.photometric = static_cast<TiffPhotometric>(tags.photometric.number(in, 1));
    encoding.color = color_of(encoding.photometric, samples, bits);
    encoding.bit_depth = static_cast<int>(bits);
    encoding.numbers = numbers_of(tags.numbers.number(in, kTiffUnsigned));
    encoding.alpha = static_cast<TiffAlpha>(std::min<uint64_t>(tags.extra_samples.number(in, 0), 2));
    if (!has_alpha(encoding.photometric, samples)) {
        encoding.alpha = TiffAlpha::kUnassociated;
    }
    const uint64_t predictor = tags.predictor.number(in, 1);
    encoding.predictor =
        predictor >= 1 && predictor <= 3 ? static_cast<TiffDifferencing>(predictor) : TiffDifferencing::kNone;
    encoding.fax3_options = static_cast<uint32_t>(tags.fax3_options.number(in, 0));
    encoding.horizontal_subsampling = static_cast<int>(tags.subsampling.number(in, 2) & 0xFF);
    encoding.vertical_subsampling = static_cast<int>(tags.subsampling.number(in, 2, 1) & 0xFF);
    if (encoding.compression == TiffCompression::kJpeg && tags.jpeg_tables.there()) {
        encoding.quality = quality_of(in, tags.jpeg_tables);
    }
    encoding.big_tiff = form.big;
    encoding.big_endian = big_endian;
    encoding.lowest_bit_first = tags.fill.number(in, kTiffHighestBitFirst) == kTiffLowestBitFirst;
    encoding.separate_planes = samples > 1 && tags.planes.number(in, kTiffOnePlane) == kTiffSeparatePlanes;
    const uint64_t tile_width = tags.tile_width.number(in, 0);
    const uint64_t tile_height = tags.tile_height.number(in, 0);
    if (tile_width > 0 && tile_width <= limits::kTileSide && tile_height > 0 && tile_height <= limits::kTileSide) {
        encoding.tile_width = static_cast<int>(tile_width);
        encoding.tile_height = static_cast<int>(tile_height);
    } else {
        const uint64_t height = tags.height.number(in, 0);
        encoding.rows_per_strip = static_cast<int>(std::min(tags.rows_per_strip.number(in, height), height));
    }
    const uint64_t unit = tags.resolution_unit.number(in, static_cast<uint64_t>(TiffUnit::kInch));
    encoding.unit = !tags.x_resolution.there() ? TiffUnit::kNone
                    : unit >= 1 && unit <= 3   ? static_cast<TiffUnit>(unit)
                                               : TiffUnit::kInch;
    const Resolution resolution{tags.x_resolution.fraction(in), tags.y_resolution.fraction(in)};
    if (encoding.unit == TiffUnit::kNone && resolution.horizontal > 0 && resolution.vertical > 0) {
        encoding.resolution = resolution;
    }
    encoding.page_name = tags.page_name.text(in);
    return encoding;
}

// Where the directory after this one is; 0 for none.
uint64_t next_directory(const ByteReader& in, TiffForm form, uint64_t directory) {
    const uint64_t count = form.entries(in, directory);
    if (count > limits::kEntries) {
        return 0;  // this is no directory
    }
    const uint64_t next_at = form.entry_at(directory, count);
    return in.has(next_at, form.word()) ? form.read_word(in, next_at) : 0;
}

void probe_directory(const ByteReader& in, TiffForm form, uint64_t directory, bool big_endian, FileFacts& facts) {
    facts.format = Format::kTiff;
    facts.variant = form.big ? Variant::kBigTiff : Variant::kUsual;
    const uint64_t count = form.entries(in, directory);
    if (count > limits::kEntries) {
        return;  // this is no directory
    }
    TiffTags tags;
    uint64_t entry = form.entry_at(directory, 0);
    for (uint64_t i = 0; i < count && in.has(entry, form.entry_size()); i++, entry += form.entry_size()) {
        if (Entry* known = slot(tags, in.u16(entry)); known != nullptr) {
            *known = Entry(in, form, entry);
        }
    }
    const uint64_t width = tags.width.number(in, 0);
    const uint64_t height = tags.height.number(in, 0);
    const uint64_t bits = tags.bits.number(in, 1);
    const uint64_t samples = tags.samples.number(in, 1);
    constexpr uint64_t kMostPixels = 0x7FFFFFFF;
    if (!in.ok() || width == 0 || height == 0 || width > kMostPixels || height > kMostPixels || bits == 0 ||
        bits > limits::kBitsOfSample || samples == 0 || samples > limits::kSamplesOfPixel) {
        return;
    }
    facts.width = static_cast<int64_t>(width);
    facts.height = static_cast<int64_t>(height);
    facts.bits_per_pixel = static_cast<int>(bits * samples);
    const TiffEncoding encoding = encoding_of(in, form, tags, big_endian);
    facts.has_alpha = has_alpha(encoding.photometric, samples);
    facts.has_resolution = tags.x_resolution.there() && encoding.unit != TiffUnit::kNone;
    if (encoding.photometric == TiffPhotometric::kPalette && bits <= 8) {
        facts.palette = color_map(in, tags.color_map, bits);
    }
    facts.encoding = encoding;
    facts.readable = true;
}

}  // namespace

std::vector<uint64_t> tiff_directories(const ByteReader& file) {
    const ByteReader in = file.in_order(file.u8(0) == 'M');
    const TiffForm form = tiff_form(in);
    std::vector<uint64_t> directories;
    std::unordered_set<uint64_t> seen;  // a chain that comes back to itself ends there
    uint64_t directory = form.read_word(in, form.link_at());
    uint64_t entries = 0;
    while (directory != 0 && directories.size() < limits::kFrames && seen.insert(directory).second) {
        entries += std::min(form.entries(in, directory), limits::kEntries);
        if (entries > limits::kAllEntries) {
            break;
        }
        directories.push_back(directory);  // the last one also where it is lost with the end of the file
        directory = in.has(directory, form.directory_head()) ? next_directory(in, form, directory) : 0;
    }
    return directories;
}

FileFacts probe_tiff_page(const ByteReader& file, uint64_t directory) {
    const bool big_endian = file.u8(0) == 'M';
    const ByteReader in = file.in_order(big_endian);
    FileFacts facts;
    probe_directory(in, tiff_form(in), directory, big_endian, facts);
    return facts;
}

namespace {

void probe_tiff(const ByteReader& file, FileFacts& facts) {
    const bool big_endian = file.u8(0) == 'M';
    const ByteReader in = file.in_order(big_endian);
    const TiffForm form = tiff_form(in);
    probe_directory(in, form, form.read_word(in, form.link_at()), big_endian, facts);
}

bool begins_tiff(const ByteReader& in) {
    // The version stands in the file's own byte order: 42, or 43 for the variant with 64-bit offsets.
    static constexpr std::string_view kMarks[] = {{"II*\0", 4}, {"MM\0*", 4}, {"II+\0", 4}, {"MM\0+", 4}};
    return std::any_of(std::begin(kMarks), std::end(kMarks),
                       [&](std::string_view mark) { return in.starts_with(0, mark); });
}

constexpr const char* kTiffExtensions[] = {"tif", "tiff"};

}  // namespace

extern const FormatRoom kTiffRoom;
const FormatRoom kTiffRoom{
    .format = Format::kTiff,
    .name = "TIFF",
    .extensions = kTiffExtensions,
    .begins = &begins_tiff,
    .probe = &probe_tiff,
    .end = &tiff_end,
    .may_point_behind_end = true,  // a directory may point anywhere and mean nothing by it
    .default_settings = &default_settings_of<TiffEncoding>,
};

}  // namespace zelmor::imagework

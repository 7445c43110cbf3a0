// The choice among all formats, by the first bytes of a file; see probe.h.
#include "runtime/native/imagework/probe/probe.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/probe_formats.h"

namespace zelmor::imagework {
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

std::vector<uint64_t> probe_tiff_directories(ByteSource& file) {
    return tiff_directories(ByteReader(file));
}

FileFacts probe_tiff_page(ByteSource& file, uint64_t directory) {
    return probe_tiff_page(ByteReader(file), directory);
}

void require_decodable(const FileFacts& facts, const DecodeOptions& options) {
    if (facts.format == Format::kUnknown) {
        throw PictureError(Failure::kDamaged, "the data is of none of the formats BMP, GIF, JPEG, PNG, TIFF, WebP");
    }
    if (!facts.readable && options.recovery == Recovery::kNone) {
        throw PictureError(Failure::kDamaged,
                           std::string("the ") + format_name(facts.format) + " data has no complete header");
    }
    if (facts.readable && std::max(facts.width, facts.height) > limits::kSide) {
        throw PictureError(Failure::kTooLarge, "a picture of " + std::to_string(facts.width) + " by " +
                                                   std::to_string(facts.height) +
                                                   " pixels is larger than the limit of " +
                                                   std::to_string(limits::kSide) + " pixels to a side");
    }
}

}  // namespace zelmor::imagework

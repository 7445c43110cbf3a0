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

namespace {

// A file of which no more is looked at than a header may take: a chain of segments or chunks can go on for ever.
class HeaderBytes final : public ByteSource {
 public:
    explicit HeaderBytes(ByteSource& file) : m_file(file) {}

    std::span<const uint8_t> at(uint64_t offset, uint64_t length) override {
        if (length == 0 || offset > limits::kOffset) {  // where no file goes on
            return m_file.at(offset, length);
        }
        constexpr uint64_t kBlock = 256;
        const uint64_t first = offset / kBlock;
        const uint64_t last = (offset + std::min(length, limits::kHeaderBytes)) / kBlock;
        if (first != m_last_block || last != first) {
            m_looked_at += (last - first + 1) * kBlock;
            m_last_block = last;
        }
        if (is_spent()) {
            return {};
        }
        return m_file.at(offset, length);
    }
    bool has(uint64_t offset, uint64_t length) override { return !is_spent() && m_file.has(offset, length); }

    bool is_spent() const { return m_looked_at > limits::kHeaderBytes; }

 private:
    ByteSource& m_file;
    uint64_t m_last_block = UINT64_MAX;
    uint64_t m_looked_at = 0;
};

class BytesInMemory final : public ByteSource {
 public:
    explicit BytesInMemory(std::span<const uint8_t> data) : m_data(data) {}
    std::span<const uint8_t> at(uint64_t offset, uint64_t length) override {
        return ByteReader(m_data).piece(offset, length);
    }

 private:
    std::span<const uint8_t> m_data;
};

}  // namespace

FileFacts probe(std::span<const uint8_t> data) {
    BytesInMemory bytes(data);
    return probe(bytes);
}

FileFacts probe(ByteSource& file) {
    HeaderBytes header(file);
    FileFacts facts = facts_of_file(ByteReader(header));
    facts.header_goes_on = header.is_spent();
    return facts;
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
    if (!facts.readable && facts.header_goes_on) {
        throw PictureError(Failure::kDamaged, std::string("the header of the ") + format_name(facts.format) +
                                                  " data goes on after " + std::to_string(limits::kHeaderBytes) +
                                                  " bytes of it");
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

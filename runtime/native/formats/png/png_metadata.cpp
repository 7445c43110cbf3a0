// EXIF, XMP and texts in the chunks of PNG.
//
// A packet belongs into an iTXt chunk as it is. There are files with a compressed one, or with one in a chunk for text
// in Latin-1; these are read too, and written in the proper way.
#include <algorithm>
#include <array>

#include "runtime/native/behaviors/metadata/containers/file_parts.h"
#include "runtime/native/behaviors/metadata/containers/inflate.h"
#include "runtime/native/behaviors/metadata/containers/metadata_container.h"
#include "runtime/native/formats/png/png_checks.h"

namespace zelmor::embed {

namespace {

constexpr size_t kSignature = 8;
constexpr size_t kFrame = 12;  // length, type and checksum around the data of a chunk
constexpr uint64_t kLongestChunk = 0x7FFFFFFF;
// The keyword, no compression, and neither a language nor a translated keyword.
constexpr std::string_view kXmpHead{"XML:com.adobe.xmp\0\0\0\0\0", 22};
constexpr std::string_view kXmpKeyword{"XML:com.adobe.xmp\0", 18};

// The sum of bytes that come in several pieces.
class Checksum {
 public:
    void add(std::span<const uint8_t> bytes) {
        static const auto table = [] {
            std::array<uint32_t, 256> entries{};
            for (uint32_t i = 0; i < 256; ++i) {
                uint32_t value = i;
                for (int bit = 0; bit < 8; ++bit) {
                    value = (value & 1) != 0 ? 0xEDB88320 ^ value >> 1 : value >> 1;
                }
                entries[i] = value;
            }
            return entries;
        }();
        for (const uint8_t byte : bytes) {
            m_sum = table[(m_sum ^ byte) & 0xFF] ^ m_sum >> 8;
        }
    }
    uint32_t value() const { return ~m_sum; }

 private:
    uint32_t m_sum = 0xFFFFFFFF;
};

struct Chunk {
    std::string type;
    uint64_t at;    // of the whole chunk
    uint64_t size;  // of the data
    uint64_t data_at() const { return at + 8; }
    uint64_t end() const { return at + kFrame + size; }
    bool is_text() const { return type == "iTXt" || type == "zTXt" || type == "tEXt"; }
    bool is_exif() const { return type == "eXIf"; }
    // Texts, and the time of the last change.
    bool is_description() const { return is_text() || type == "tIME"; }
};

// Calls a function with the chunks one after the other, up to the last one or to damage. PictureError(kDamaged) where
// there are more than one file may have.
template <class Visit>
void each_chunk(FileParts& file, Visit visit) {
    const imagework::ByteReader in = file.reader(true);
    uint64_t count = 0;
    for (uint64_t at = kSignature; in.has(at, kFrame);) {
        if (++count > imagework::limits::kChunks) {
            throw imagework::PictureError(
                imagework::Failure::kDamaged,
                "the PNG data have more than " + std::to_string(imagework::limits::kChunks) + " chunks");
        }
        const uint64_t size = in.u32(at);
        const Chunk chunk{file.text(at + 4, 4), at, size};
        if (chunk.size > kLongestChunk || !in.has(at, kFrame + chunk.size)) {
            break;
        }
        visit(chunk);
        const bool is_name = std::all_of(chunk.type.begin(), chunk.type.end(),
                                         [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); });
        if (!is_name || chunk.type == "IEND") {
            break;
        }
        at = chunk.end();
    }
}

bool is_xmp(FileParts& file, const Chunk& chunk) {
    return chunk.is_text() && chunk.size >= kXmpKeyword.size() &&
           file.reader(true).starts_with(chunk.data_at(), kXmpKeyword);
}

void put_chunk(Bytes& out, std::string_view type, std::string_view head, const Bytes& data) {
    if (data.empty()) {
        return;
    }
    put_number(out, head.size() + data.size(), 4, true);
    const size_t start = out.size();
    for (const std::string_view text : {type, head}) {
        for (const char c : text) {
            out.push_back(static_cast<std::byte>(c));
        }
    }
    out.insert(out.end(), data.begin(), data.end());
    Checksum sum;
    sum.add({reinterpret_cast<const uint8_t*>(out.data()) + start, out.size() - start});
    put_number(out, sum.value(), 4, true);
}

Bytes copy_of(std::span<const std::byte> bytes) {
    return {bytes.begin(), bytes.end()};
}

// Behind the keyword: in iTXt two flags, a language and a translated keyword, in zTXt a flag. Empty for damage.
Bytes packet_of(const std::string& type, std::span<const std::byte> data) {
    const std::string_view text(reinterpret_cast<const char*>(data.data()), data.size());
    const size_t start = kXmpKeyword.size();
    if (type == "tEXt") {
        return copy_of(data.subspan(start));
    }
    if (type == "zTXt") {
        return text.size() > start ? inflated(data.subspan(start + 1)) : Bytes();
    }
    if (text.size() < start + 2) {
        return {};
    }
    const size_t language = text.find('\0', start + 2);
    const size_t keyword = language == std::string_view::npos ? language : text.find('\0', language + 1);
    if (keyword == std::string_view::npos) {
        return {};
    }
    const auto packet = data.subspan(keyword + 1);
    return text[start] == 0 ? copy_of(packet) : inflated(packet);
}

// The sum of type and data, which stands behind the data.
bool has_right_checksum(FileParts& file, const Chunk& chunk) {
    constexpr uint64_t kPiece = FileParts::kShortSteps;
    const imagework::ByteReader in = file.reader(true);
    const uint64_t end = chunk.end() - 4;
    Checksum sum;
    for (uint64_t at = chunk.at + 4; at < end; at += kPiece) {
        sum.add(in.piece(at, std::min(kPiece, end - at)));
    }
    return sum.value() == in.u32(end);
}

// Goes through the chunks in their order and keeps the first fault.
class ChunkChecks {
 public:
    void add(FileParts& file, const Chunk& chunk) {
        if (!m_fault.empty() || m_has_end) {
            return;
        }
        const std::string name = "the chunk '" + chunk.type + "' ";
        if (!has_right_checksum(file, chunk)) {
            m_fault = name + "has a wrong checksum";
            return;
        }
        constexpr std::string_view kKnown[] = {"IHDR", "PLTE", "IDAT", "IEND"};
        const bool is_critical = chunk.type[0] >= 'A' && chunk.type[0] <= 'Z';
        if (is_critical && std::find(std::begin(kKnown), std::end(kKnown), chunk.type) == std::end(kKnown)) {
            m_fault = name + "is unknown";
            return;
        }
        const bool splits_pixels = chunk.type == "IDAT" && m_has_pixels && m_before != "IDAT";
        const bool is_late = (chunk.type == "PLTE" && m_has_pixels) || (chunk.type == "IHDR" && !m_before.empty());
        if (splits_pixels || is_late || (m_before.empty() && chunk.type != "IHDR")) {
            m_fault = name + "is out of order";
            return;
        }
        m_has_end = chunk.type == "IEND";
        m_has_pixels = m_has_pixels || chunk.type == "IDAT";
        m_before = chunk.type;
    }
    std::string fault() const {
        if (!m_fault.empty() || !m_has_end) {
            return m_fault.empty() ? "the data ends before the end chunk" : m_fault;
        }
        return m_has_pixels ? std::string() : "there are no pixels before the end";
    }

 private:
    std::string m_fault;
    std::string m_before;
    bool m_has_pixels = false;
    bool m_has_end = false;
};

}  // namespace

std::string png_fault(const imagework::SharedSource& source) {
    FileParts file(source, FileParts::kShortSteps);
    ChunkChecks checks;
    each_chunk(file, [&](const Chunk& chunk) { checks.add(file, chunk); });
    return checks.fault();
}

static FileMetadata find_in_png(const imagework::SharedSource& source) {
    FileParts file(source, FileParts::kHeaders);
    FileMetadata found;
    bool has_xmp = false;  // a file has one packet; further ones would only have to be unpacked
    each_chunk(file, [&](const Chunk& chunk) {
        if (chunk.is_exif() && found.exif.empty()) {
            found.exif = file.take(chunk.data_at(), chunk.size);
        }
        if (is_xmp(file, chunk)) {
            if (!has_xmp) {
                found.xmp = packet_of(chunk.type, file.take(chunk.data_at(), chunk.size));
            }
            has_xmp = true;
        } else if (chunk.is_description()) {
            found.texts.push_back(file.take(chunk.at + 4, chunk.size + 4));
        }
    });
    return found;
}

// Up to the first chunk of pixels, of which the length and the type have to be there.
static std::optional<size_t> head_of_png(std::span<const std::byte> start) {
    FileParts parts(source_of(start), FileParts::kHeaders);
    const imagework::ByteReader in = parts.reader(true);
    for (uint64_t at = kSignature; in.has(at, 8); at += kFrame + in.u32(at)) {
        if (parts.text(at + 4, 4) == "IDAT") {
            return at;
        }
    }
    return std::nullopt;
}

static Bytes write_to_png(std::span<const std::byte> file, const MetadataToWrite& metadata) {
    FileParts parts(source_of(file), FileParts::kHeaders);
    Bytes out(file.begin(), file.begin() + kSignature);
    uint64_t end = kSignature;
    each_chunk(parts, [&](const Chunk& chunk) {
        end = chunk.end();
        if (chunk.is_exif() || chunk.is_description()) {
            return;
        }
        const auto whole = file.subspan(chunk.at, kFrame + chunk.size);
        out.insert(out.end(), whole.begin(), whole.end());
        if (chunk.type != "IHDR") {
            return;
        }
        put_chunk(out, "eXIf", {}, metadata.exif);
        put_chunk(out, "iTXt", kXmpHead, metadata.xmp);
        for (const Bytes& text : metadata.texts) {
            const std::string_view type(reinterpret_cast<const char*>(text.data()), 4);
            put_chunk(out, type, {}, {text.begin() + 4, text.end()});
        }
    });
    const auto rest = file.subspan(end);
    out.insert(out.end(), rest.begin(), rest.end());
    return out;
}

namespace {

// Where other programs look for a packet, the encoder does not put it.
bool is_same(const MetadataToWrite& write, const FileMetadata& there) {
    return write.exif == there.exif && write.xmp.empty() && there.xmp.empty() && write.texts == there.texts;
}

}  // namespace

extern const MetadataContainer kPngContainer;
const MetadataContainer kPngContainer{
    .format = imagework::Format::kPng,
    .find = &find_in_png,
    .write = &write_to_png,
    .head = &head_of_png,
    .is_same = &is_same,
};

}  // namespace zelmor::embed

// EXIF, XMP and texts in the chunks of PNG.
//
// A packet belongs into an iTXt chunk as it is. There are files with a compressed one, or with one in a chunk for text
// in Latin-1; these are read too, and written in the proper way.
#include <algorithm>
#include <array>

#include "runtime/native/behaviors/metadata/containers/file_containers.h"
#include "runtime/native/behaviors/metadata/containers/inflate.h"
#include "runtime/native/behaviors/metadata/containers/png_checks.h"

namespace zelmor::embed {

namespace {

constexpr size_t kSignature = 8;
constexpr size_t kFrame = 12;  // length, type and checksum around the data of a chunk
// The keyword, no compression, and neither a language nor a translated keyword.
constexpr std::string_view kXmpHead{"XML:com.adobe.xmp\0\0\0\0\0", 22};
constexpr std::string_view kXmpKeyword{"XML:com.adobe.xmp\0", 18};

uint32_t checksum(std::span<const std::byte> bytes) {
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
    uint32_t sum = 0xFFFFFFFF;
    for (const std::byte byte : bytes) {
        sum = table[(sum ^ std::to_integer<uint32_t>(byte)) & 0xFF] ^ sum >> 8;
    }
    return ~sum;
}

struct Chunk {
    std::string_view type;
    std::span<const std::byte> whole;
    std::span<const std::byte> data;
    std::string_view text() const { return {reinterpret_cast<const char*>(data.data()), data.size()}; }
    bool is_xmp() const {
        return (type == "iTXt" || type == "zTXt" || type == "tEXt") && text().starts_with(kXmpKeyword);
    }
    bool is_exif() const { return type == "eXIf"; }
    // Texts, and the time of the last change.
    bool is_description() const { return type == "iTXt" || type == "zTXt" || type == "tEXt" || type == "tIME"; }
};

std::vector<Chunk> chunks_of(std::span<const std::byte> file) {
    std::vector<Chunk> chunks;
    for (size_t at = kSignature; at + kFrame <= file.size();) {
        const uint64_t length = read_number(file.subspan(at, 4), true);
        if (length > file.size() - at - kFrame) {
            break;
        }
        const std::string_view type(reinterpret_cast<const char*>(file.data()) + at + 4, 4);
        chunks.push_back({type, file.subspan(at, length + kFrame), file.subspan(at + 8, length)});
        at += length + kFrame;
    }
    return chunks;
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
    put_number(out, checksum(std::span(out).subspan(start)), 4, true);
}

Bytes copy_of(std::span<const std::byte> bytes) {
    return {bytes.begin(), bytes.end()};
}

// Behind the keyword: in iTXt two flags, a language and a translated keyword, in zTXt a flag. Empty for damage.
Bytes packet_of(const Chunk& chunk) {
    const std::string_view text = chunk.text();
    const size_t start = kXmpKeyword.size();
    if (chunk.type == "tEXt") {
        return copy_of(chunk.data.subspan(start));
    }
    if (chunk.type == "zTXt") {
        return text.size() > start ? inflated(chunk.data.subspan(start + 1)) : Bytes();
    }
    if (text.size() < start + 2) {
        return {};
    }
    const size_t language = text.find('\0', start + 2);
    const size_t keyword = language == std::string_view::npos ? language : text.find('\0', language + 1);
    if (keyword == std::string_view::npos) {
        return {};
    }
    const auto packet = chunk.data.subspan(keyword + 1);
    return text[start] == 0 ? copy_of(packet) : inflated(packet);
}

// The sum that stands behind the data.
bool has_right_checksum(const Chunk& chunk) {
    const auto summed = chunk.whole.subspan(4, chunk.data.size() + 4);
    return checksum(summed) == read_number(chunk.whole.last(4), true);
}

}  // namespace

std::string png_fault(std::span<const std::byte> file) {
    constexpr std::string_view kKnown[] = {"IHDR", "PLTE", "IDAT", "IEND"};
    std::string_view before;
    bool has_pixels = false;
    for (const Chunk& chunk : chunks_of(file)) {
        const std::string name = "the chunk '" + std::string(chunk.type) + "' ";
        if (!has_right_checksum(chunk)) {
            return name + "has a wrong checksum";
        }
        const bool is_critical = chunk.type[0] >= 'A' && chunk.type[0] <= 'Z';
        if (is_critical && std::find(std::begin(kKnown), std::end(kKnown), chunk.type) == std::end(kKnown)) {
            return name + "is unknown";
        }
        const bool splits_pixels = chunk.type == "IDAT" && has_pixels && before != "IDAT";
        const bool is_late = (chunk.type == "PLTE" && has_pixels) || (chunk.type == "IHDR" && !before.empty());
        if (splits_pixels || is_late || (before.empty() && chunk.type != "IHDR")) {
            return name + "is out of order";
        }
        if (chunk.type == "IEND") {
            return has_pixels ? std::string() : "there are no pixels before the end";
        }
        has_pixels = has_pixels || chunk.type == "IDAT";
        before = chunk.type;
    }
    return "the data ends before the end chunk";
}

FileMetadata find_in_png(std::span<const std::byte> file) {
    FileMetadata found;
    bool has_xmp = false;  // a file has one packet; further ones would only have to be unpacked
    for (const Chunk& chunk : chunks_of(file)) {
        if (chunk.is_exif() && found.exif.empty()) {
            found.exif.assign(chunk.data.begin(), chunk.data.end());
        }
        if (chunk.is_xmp() && !has_xmp) {
            has_xmp = true;
            found.xmp = packet_of(chunk);
        }
        if (chunk.is_description() && !chunk.is_xmp()) {
            const auto text = chunk.whole.subspan(4, chunk.data.size() + 4);
            found.texts.emplace_back(text.begin(), text.end());
        }
    }
    return found;
}

Bytes write_to_png(std::span<const std::byte> file, const MetadataToWrite& metadata) {
    Bytes out(file.begin(), file.begin() + kSignature);
    size_t end = kSignature;
    for (const Chunk& chunk : chunks_of(file)) {
        end += chunk.whole.size();
        if (chunk.is_exif() || chunk.is_description()) {
            continue;
        }
        out.insert(out.end(), chunk.whole.begin(), chunk.whole.end());
        if (chunk.type != "IHDR") {
            continue;
        }
        put_chunk(out, "eXIf", {}, metadata.exif);
        put_chunk(out, "iTXt", kXmpHead, metadata.xmp);
        for (const Bytes& text : metadata.texts) {
            const std::string_view type(reinterpret_cast<const char*>(text.data()), 4);
            put_chunk(out, type, {}, {text.begin() + 4, text.end()});
        }
    }
    const auto rest = file.subspan(end);
    out.insert(out.end(), rest.begin(), rest.end());
    return out;
}

}  // namespace zelmor::embed

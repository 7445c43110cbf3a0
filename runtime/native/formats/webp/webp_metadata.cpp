// EXIF and XMP in the chunks of WebP. A file without them needs no header of extensions; one with them does.
#include <algorithm>
#include <optional>

#include "runtime/native/behaviors/metadata/containers/file_parts.h"
#include "runtime/native/behaviors/metadata/containers/metadata_container.h"

namespace zelmor::embed {

namespace {

constexpr size_t kHead = 12;  // "RIFF", the size, "WEBP"
constexpr size_t kExtensionChunk = 18;
constexpr uint8_t kHasXmp = 0x04, kHasExif = 0x08, kHasAlpha = 0x10;

struct Place {
    std::string type;
    uint64_t at;  // of the data
    uint64_t size;
};

// Calls a function with the chunks one after the other, up to damage or to where the header says that the file ends.
template <class Visit>
void each_chunk(FileParts& file, Visit visit) {
    const imagework::ByteReader in = file.reader(false);
    const uint64_t whole = in.u32(4);
    const uint64_t end = std::min(file.size(), 8 + whole + whole % 2);
    for (uint64_t at = kHead; at + 8 <= end;) {
        const Place chunk{file.text(at, 4), at + 8, in.u32(at + 4)};
        const bool is_name =
            std::all_of(chunk.type.begin(), chunk.type.end(), [](char c) { return c >= ' ' && c <= '~'; });
        if (!is_name || chunk.size > end - chunk.at) {
            break;
        }
        visit(chunk);
        at = chunk.at + chunk.size + chunk.size % 2;
    }
}

struct Chunk {
    std::string type;
    std::span<const std::byte> data;
};

std::vector<Chunk> chunks_of(std::span<const std::byte> file) {
    FileParts parts(source_of(file), FileParts::kHeaders);
    std::vector<Chunk> chunks;
    each_chunk(parts, [&](const Place& chunk) { chunks.push_back({chunk.type, file.subspan(chunk.at, chunk.size)}); });
    return chunks;
}

void put_chunk(Bytes& out, std::string_view type, std::span<const std::byte> data) {
    for (const char c : type) {
        out.push_back(static_cast<std::byte>(c));
    }
    put_number(out, data.size(), 4, false);
    out.insert(out.end(), data.begin(), data.end());
    if (data.size() % 2 != 0) {
        out.push_back(std::byte{0});
    }
}

// The header of extensions: flags, three reserved bytes, width and height less one.
Bytes extension_header(uint8_t flags, uint64_t width, uint64_t height) {
    Bytes header{static_cast<std::byte>(flags), {}, {}, {}};
    put_number(header, width - 1, 3, false);
    put_number(header, height - 1, 3, false);
    return header;
}

// The header that a file of one picture gets; empty where the picture's own header is not there.
Bytes header_for(std::string_view type, std::span<const std::byte> data) {
    if (type == "VP8 " && data.size() >= 10) {
        return extension_header(0, read_number(data.subspan(6, 2), false) & 0x3FFF,
                                read_number(data.subspan(8, 2), false) & 0x3FFF);
    }
    if (type == "VP8L" && data.size() >= 5) {
        const uint64_t bits = read_number(data.subspan(1, 4), false);
        return extension_header((bits >> 28 & 1) != 0 ? kHasAlpha : 0, (bits & 0x3FFF) + 1, (bits >> 14 & 0x3FFF) + 1);
    }
    return {};
}

bool is_metadata(const Chunk& chunk) {
    return chunk.type == "EXIF" || chunk.type == "XMP ";
}

// The header of extensions with flags for the metadata that there are.
void set_flags(Bytes& header, const Bytes& exif, const Bytes& xmp) {
    auto flags = static_cast<uint8_t>(std::to_integer<uint8_t>(header[0]) & ~(kHasExif | kHasXmp));
    if (!exif.empty()) {
        flags |= kHasExif;
    }
    if (!xmp.empty()) {
        flags |= kHasXmp;
    }
    header[0] = static_cast<std::byte>(flags);
}

// Behind all other chunks.
void put_metadata(Bytes& out, const Bytes& exif, const Bytes& xmp) {
    if (!exif.empty()) {
        put_chunk(out, "EXIF", exif);
    }
    if (!xmp.empty()) {
        put_chunk(out, "XMP ", xmp);
    }
}

}  // namespace

static FileMetadata find_in_webp(const imagework::SharedSource& source) {
    FileParts file(source, FileParts::kHeaders);
    FileMetadata found;
    each_chunk(file, [&](const Place& chunk) {
        if (chunk.type == "XMP " && found.xmp.empty()) {
            found.xmp = file.take(chunk.at, chunk.size);
        }
        if (chunk.type == "EXIF" && found.exif.empty()) {
            // Some writers keep JPEG's mark.
            const bool marked = chunk.size >= kExifMark.size() && file.reader(false).starts_with(chunk.at, kExifMark);
            const uint64_t skipped = marked ? kExifMark.size() : 0;
            found.exif = file.take(chunk.at + skipped, chunk.size - skipped);
        }
    });
    return found;
}

static Bytes write_to_webp(std::span<const std::byte> file, const Bytes& exif, const Bytes& xmp) {
    std::vector<Chunk> chunks = chunks_of(file);
    std::erase_if(chunks, is_metadata);
    Bytes header;
    if (!chunks.empty() && chunks.front().type == "VP8X") {
        header.assign(chunks.front().data.begin(), chunks.front().data.end());
        chunks.erase(chunks.begin());
    } else if (!chunks.empty() && (!exif.empty() || !xmp.empty())) {
        header = header_for(chunks.front().type, chunks.front().data);
    }
    Bytes body;
    if (!header.empty()) {
        set_flags(header, exif, xmp);
        put_chunk(body, "VP8X", header);
    }
    for (const Chunk& chunk : chunks) {
        put_chunk(body, chunk.type, chunk.data);
    }
    put_metadata(body, exif, xmp);
    Bytes out(file.begin(), file.begin() + 4);
    put_number(out, body.size() + 4, 4, false);
    out.insert(out.end(), file.begin() + 8, file.begin() + kHead);
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

// The header of extensions, or the first bytes of the picture, which tell what stands in such a header.
static std::optional<size_t> head_of_webp(std::span<const std::byte> start) {
    return start.size() < kHead + kExtensionChunk ? std::nullopt : std::optional(kHead + kExtensionChunk);
}

// The sizes of all metadata are known before the pixels are written, so that the header can count them.
static HeadAndTail write_webp_head(std::span<const std::byte> head, const MetadataToWrite& metadata) {
    HeadAndTail result;
    put_metadata(result.tail, metadata.exif, metadata.xmp);
    FileParts parts(source_of(head), FileParts::kHeaders);
    const std::string type = parts.text(kHead, 4);
    const auto data = head.subspan(kHead + 8);
    const bool extended = type == "VP8X";
    Bytes header = extended ? Bytes(data.begin(), data.end()) : result.tail.empty() ? Bytes() : header_for(type, data);
    const uint64_t added = result.tail.size() + (extended || header.empty() ? 0 : kExtensionChunk);
    result.head.assign(head.begin(), head.begin() + 4);
    put_number(result.head, parts.reader(false).u32(4) + added, 4, false);
    result.head.insert(result.head.end(), head.begin() + 8, head.begin() + kHead);
    if (!header.empty()) {
        set_flags(header, metadata.exif, metadata.xmp);
        put_chunk(result.head, "VP8X", header);
    }
    if (!extended) {
        result.head.insert(result.head.end(), head.begin() + kHead, head.end());
    }
    return result;
}

extern const MetadataContainer kWebpContainer;
const MetadataContainer kWebpContainer{
    .format = imagework::Format::kWebp,
    .find = &find_in_webp,
    .write = [](std::span<const std::byte> file,
                const MetadataToWrite& metadata) { return write_to_webp(file, metadata.exif, metadata.xmp); },
    .head = &head_of_webp,
    .write_head = &write_webp_head,
    .tells_resolution_in_exif = true,
};

}  // namespace zelmor::embed

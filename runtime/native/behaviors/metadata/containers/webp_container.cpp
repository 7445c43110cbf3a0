// EXIF and XMP in the chunks of WebP. A file without them needs no header of extensions; one with them does.
#include "runtime/native/behaviors/metadata/containers/file_containers.h"

namespace zelmor::embed {

namespace {

constexpr size_t kHead = 12;  // "RIFF", the size, "WEBP"
constexpr uint8_t kHasXmp = 0x04, kHasExif = 0x08, kHasAlpha = 0x10;

struct Chunk {
    std::string_view type;
    std::span<const std::byte> data;
};

std::vector<Chunk> chunks_of(std::span<const std::byte> file) {
    std::vector<Chunk> chunks;
    for (size_t at = kHead; at + 8 <= file.size();) {
        const uint64_t length = read_number(file.subspan(at + 4, 4), false);
        if (length > file.size() - at - 8) {
            break;
        }
        const std::string_view type(reinterpret_cast<const char*>(file.data()) + at, 4);
        chunks.push_back({type, file.subspan(at + 8, length)});
        at += 8 + length + length % 2;
    }
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
Bytes header_for(const Chunk& picture) {
    if (picture.type == "VP8 " && picture.data.size() >= 10) {
        return extension_header(0, read_number(picture.data.subspan(6, 2), false) & 0x3FFF,
                                read_number(picture.data.subspan(8, 2), false) & 0x3FFF);
    }
    if (picture.type == "VP8L" && picture.data.size() >= 5) {
        const uint64_t bits = read_number(picture.data.subspan(1, 4), false);
        return extension_header((bits >> 28 & 1) != 0 ? kHasAlpha : 0, (bits & 0x3FFF) + 1, (bits >> 14 & 0x3FFF) + 1);
    }
    return {};
}

bool is_metadata(const Chunk& chunk) {
    return chunk.type == "EXIF" || chunk.type == "XMP ";
}

}  // namespace

FileMetadata find_in_webp(std::span<const std::byte> file) {
    FileMetadata found;
    for (const Chunk& chunk : chunks_of(file)) {
        if (chunk.type == "XMP " && found.xmp.empty()) {
            found.xmp.assign(chunk.data.begin(), chunk.data.end());
        }
        if (chunk.type != "EXIF" || !found.exif.empty()) {
            continue;
        }
        auto data = chunk.data;
        const std::string_view text(reinterpret_cast<const char*>(data.data()), data.size());
        if (text.starts_with(kExifMark)) {
            data = data.subspan(kExifMark.size());  // some writers keep JPEG's mark
        }
        found.exif.assign(data.begin(), data.end());
    }
    return found;
}

Bytes write_to_webp(std::span<const std::byte> file, const Bytes& exif, const Bytes& xmp) {
    std::vector<Chunk> chunks = chunks_of(file);
    std::erase_if(chunks, is_metadata);
    Bytes header;
    if (!chunks.empty() && chunks.front().type == "VP8X") {
        header.assign(chunks.front().data.begin(), chunks.front().data.end());
        chunks.erase(chunks.begin());
    } else if (!chunks.empty() && (!exif.empty() || !xmp.empty())) {
        header = header_for(chunks.front());
    }
    Bytes body;
    if (!header.empty()) {
        auto flags = static_cast<uint8_t>(std::to_integer<uint8_t>(header[0]) & ~(kHasExif | kHasXmp));
        if (!exif.empty()) {
            flags |= kHasExif;
        }
        if (!xmp.empty()) {
            flags |= kHasXmp;
        }
        header[0] = static_cast<std::byte>(flags);
        put_chunk(body, "VP8X", header);
    }
    for (const Chunk& chunk : chunks) {
        put_chunk(body, chunk.type, chunk.data);
    }
    if (!exif.empty()) {
        put_chunk(body, "EXIF", exif);
    }
    if (!xmp.empty()) {
        put_chunk(body, "XMP ", xmp);
    }
    Bytes out(file.begin(), file.begin() + 4);
    put_number(out, body.size() + 4, 4, false);
    out.insert(out.end(), file.begin() + 8, file.begin() + kHead);
    out.insert(out.end(), body.begin(), body.end());
    return out;
}

}  // namespace zelmor::embed

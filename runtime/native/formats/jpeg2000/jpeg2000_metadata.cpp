// EXIF and XMP in boxes of JP2 files. A bare codestream has no place for them.
#include <algorithm>

#include "runtime/native/behaviors/metadata/containers/file_parts.h"
#include "runtime/native/behaviors/metadata/containers/metadata_container.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_markers.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_structure.h"

namespace zelmor::embed {

namespace {

using imagework::ByteReader;

FileMetadata find_in_jpeg2000(const imagework::SharedSource& source) {
    FileParts file(source, FileParts::kHeaders);
    FileMetadata found;
    imagework::Jpeg2000Structure structure;
    try {
        structure = imagework::jpeg2000_structure(file.reader(true));
    } catch (const imagework::PictureError&) {
        return found;  // the decoder reports the damage
    }
    const auto take = [&](const imagework::BytesAt& place) {
        return place.size <= file.size() ? file.take(place.at, place.size) : Bytes();
    };
    found.xmp = take(structure.xmp);
    found.exif = take(structure.exif);
    return found;
}

bool has_id(const ByteReader& in, uint64_t at, std::span<const uint8_t> id) {
    const auto there = in.piece(at, id.size());
    return std::equal(there.begin(), there.end(), id.begin(), id.end());
}

void put_box(Bytes& out, std::span<const uint8_t> id, const Bytes& content) {
    if (content.empty()) {
        return;
    }
    constexpr size_t kHeader = 8;
    put_number(out, kHeader + id.size() + content.size(), 4, true);
    for (const char c : std::string_view("uuid")) {
        out.push_back(static_cast<std::byte>(c));
    }
    const auto bytes = std::as_bytes(id);
    out.insert(out.end(), bytes.begin(), bytes.end());
    out.insert(out.end(), content.begin(), content.end());
}

// The boxes stand before that of the codestream, which may go on to the end of the file.
Bytes write_to_jpeg2000(std::span<const std::byte> file, const MetadataToWrite& metadata) {
    const ByteReader in({reinterpret_cast<const uint8_t*>(file.data()), file.size()}, true);
    if (in.u8(0) != 0) {
        return {file.begin(), file.end()};
    }
    constexpr size_t kHeader = 8;
    Bytes out;
    size_t at = 0;
    while (in.has(at, kHeader) && !in.starts_with(at + 4, "jp2c")) {
        const size_t length = in.u32(at);  // the boxes before the codestream are those of the encoder, and short
        if (length < kHeader || !in.has(at, length)) {
            break;
        }
        const bool replaced = in.starts_with(at + 4, "uuid") && (has_id(in, at + kHeader, imagework::kXmpUuid) ||
                                                                 has_id(in, at + kHeader, imagework::kExifUuid));
        if (!replaced) {
            const auto box = file.subspan(at, length);
            out.insert(out.end(), box.begin(), box.end());
        }
        at += length;
    }
    put_box(out, imagework::kXmpUuid, metadata.xmp);
    put_box(out, imagework::kExifUuid, metadata.exif);
    out.insert(out.end(), file.begin() + static_cast<std::ptrdiff_t>(at), file.end());
    return out;
}

}  // namespace

extern const MetadataContainer kJpeg2000Container;
const MetadataContainer kJpeg2000Container{
    .format = imagework::Format::kJpeg2000,
    .find = &find_in_jpeg2000,
    .write = &write_to_jpeg2000,
};

}  // namespace zelmor::embed

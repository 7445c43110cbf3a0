// Calls the code for the format of a file; see file_metadata.h.
#include "runtime/native/behaviors/metadata/containers/file_metadata.h"

#include <algorithm>
#include <array>

#include "runtime/native/behaviors/metadata/containers/file_containers.h"

namespace zelmor::embed {

MetadataFormat metadata_format(std::span<const std::byte> file) {
    const std::string_view text(reinterpret_cast<const char*>(file.data()), file.size());
    if (text.starts_with("\xFF\xD8\xFF")) {
        return MetadataFormat::kJpeg;
    }
    if (text.starts_with("\x89PNG\r\n\x1A\n")) {
        return MetadataFormat::kPng;
    }
    if (text.starts_with("RIFF") && text.substr(0, 12).ends_with("WEBP")) {
        return MetadataFormat::kWebp;
    }
    if (text.starts_with("GIF8")) {
        return MetadataFormat::kGif;
    }
    for (const std::string_view mark : {std::string_view("II*\0", 4), std::string_view("MM\0*", 4),
                                        std::string_view("II+\0", 4), std::string_view("MM\0+", 4)}) {
        if (text.starts_with(mark)) {
            return MetadataFormat::kTiff;
        }
    }
    return text.starts_with("BM") ? MetadataFormat::kBmp : MetadataFormat::kOther;
}

MetadataFormat metadata_format(const imagework::DataSource& file) {
    std::array<uint8_t, 12> head{};
    const size_t count = file.read_at(0, head);
    return metadata_format(std::as_bytes(std::span(head).first(count)));
}

namespace {

// The header behind that of the file; it begins with its own size.
FileMetadata find_in_bmp(const imagework::SharedSource& source) {
    constexpr uint64_t kFileHeader = 14;
    constexpr uint64_t kLongest = 124;
    constexpr uint64_t kMasks = 16;  // behind a header of 40 bytes
    FileParts file(source, FileParts::kHeaders);
    FileMetadata found;
    if (file.size() < kFileHeader + 4) {
        return found;
    }
    const uint64_t size = std::min<uint64_t>(file.reader(false).u32(kFileHeader), kLongest) + kMasks;
    found.bmp_header = file.take(kFileHeader, std::min(file.size() - kFileHeader, size));
    return found;
}

}  // namespace

FileMetadata find_metadata(const imagework::SharedSource& file) {
    switch (metadata_format(*file)) {
        case MetadataFormat::kJpeg:
            return find_in_jpeg(file);
        case MetadataFormat::kPng:
            return find_in_png(file);
        case MetadataFormat::kWebp:
            return find_in_webp(file);
        case MetadataFormat::kGif:
            return find_in_gif(file);
        case MetadataFormat::kTiff:
            return find_in_tiff(file);
        case MetadataFormat::kBmp:
            return find_in_bmp(file);
        case MetadataFormat::kOther:
            break;
    }
    return {};
}

FileMetadata find_metadata(std::span<const std::byte> file) {
    return find_metadata(source_of(file));
}

std::optional<size_t> size_of_head(std::span<const std::byte> start) {
    switch (metadata_format(start)) {
        case MetadataFormat::kJpeg:
            return head_of_jpeg(start);
        case MetadataFormat::kPng:
            return head_of_png(start);
        default:
            return std::nullopt;
    }
}

Bytes with_metadata(std::span<const std::byte> file, const MetadataToWrite& metadata) {
    switch (metadata_format(file)) {
        case MetadataFormat::kJpeg:
            return write_to_jpeg(file, metadata);
        case MetadataFormat::kPng:
            return write_to_png(file, metadata);
        case MetadataFormat::kWebp:
            return write_to_webp(file, metadata.exif, metadata.xmp);
        case MetadataFormat::kGif:
            return write_to_gif(file, metadata.xmp);
        case MetadataFormat::kTiff: {
            const std::optional<MetadataToWrite> first = metadata;
            return with_tiff_tags(file, {&first, 1});
        }
        case MetadataFormat::kBmp:
        case MetadataFormat::kOther:
            break;
    }
    return {file.begin(), file.end()};
}

}  // namespace zelmor::embed

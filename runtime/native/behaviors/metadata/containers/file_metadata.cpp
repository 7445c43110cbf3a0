// Calls the code for the format of a file; see file_metadata.h.
#include "runtime/native/behaviors/metadata/containers/file_metadata.h"

#include <algorithm>

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

namespace {

// The header behind that of the file; it begins with its own size.
FileMetadata find_in_bmp(std::span<const std::byte> file) {
    constexpr size_t kFileHeader = 14;
    FileMetadata found;
    if (file.size() < kFileHeader + 4) {
        return found;
    }
    const uint64_t size = read_number(file.subspan(kFileHeader, 4), false);
    constexpr uint64_t kMasks = 16;  // behind a header of 40 bytes
    const auto header = file.subspan(
        kFileHeader, std::min<uint64_t>(file.size() - kFileHeader, std::min<uint64_t>(size, 124) + kMasks));
    found.bmp_header.assign(header.begin(), header.end());
    return found;
}

}  // namespace

FileMetadata find_metadata(std::span<const std::byte> file) {
    switch (metadata_format(file)) {
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
        case MetadataFormat::kTiff:
            return with_tiff_tags(file, metadata);
        case MetadataFormat::kBmp:
        case MetadataFormat::kOther:
            break;
    }
    return {file.begin(), file.end()};
}

}  // namespace zelmor::embed

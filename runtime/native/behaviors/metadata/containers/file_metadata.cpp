// Calls the code for the format of a file; see file_metadata.h.
#include "runtime/native/behaviors/metadata/containers/file_metadata.h"

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
    return MetadataFormat::kOther;
}

FileMetadata find_metadata(std::span<const std::byte> file) {
    switch (metadata_format(file)) {
        case MetadataFormat::kJpeg:
            return find_in_jpeg(file);
        case MetadataFormat::kPng:
            return find_in_png(file);
        case MetadataFormat::kWebp:
            return find_in_webp(file);
        case MetadataFormat::kGif:
            return {{}, find_in_gif(file)};
        case MetadataFormat::kTiff:
            return {{}, find_tiff_xmp(file)};
        case MetadataFormat::kOther:
            break;
    }
    return {};
}

Bytes with_metadata(std::span<const std::byte> file, const MetadataToWrite& metadata) {
    switch (metadata_format(file)) {
        case MetadataFormat::kJpeg:
            return write_to_jpeg(file, metadata.exif, metadata.xmp);
        case MetadataFormat::kPng:
            return write_to_png(file, metadata.exif, metadata.xmp);
        case MetadataFormat::kWebp:
            return write_to_webp(file, metadata.exif, metadata.xmp);
        case MetadataFormat::kGif:
            return write_to_gif(file, metadata.xmp);
        case MetadataFormat::kTiff:
            return with_tiff_tags(file, metadata);
        case MetadataFormat::kOther:
            break;
    }
    return {file.begin(), file.end()};
}

}  // namespace zelmor::embed

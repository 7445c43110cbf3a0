// The metadata part of a format's room: where the files of the format keep what describes a picture.
//
// formats/CMakeLists.txt lists the rooms that have one; CMake makes the table behind metadata_containers().
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_METADATA_CONTAINER_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_METADATA_CONTAINER_H

#include <cstddef>
#include <optional>
#include <span>

#include "runtime/native/behaviors/metadata/containers/file_metadata.h"
#include "runtime/native/imagework/formats.h"

namespace zelmor::embed {

// Whether EXIF data and the packet to be written are those that the file has.
bool same_exif_and_xmp(const MetadataToWrite& write, const FileMetadata& there);

struct MetadataContainer {
    imagework::Format format;
    // Reads no more of the file than its structure and its metadata.
    FileMetadata (*find)(const imagework::SharedSource& file);
    // The file with the metadata, as an encoder wrote it. Null: files of the format are left as they are.
    Bytes (*write)(std::span<const std::byte> file, const MetadataToWrite& metadata) = nullptr;
    // For files that get their metadata while they are written: the number of bytes at the beginning, before the
    // pixels, that `write` or `write_head` is given; nothing behind them changes. Nothing where the first bytes, which
    // are given, do not reach so far.
    std::optional<size_t> (*head)(std::span<const std::byte> start) = nullptr;
    // The head with the metadata, where that is another thing than the file with them, and what follows the file.
    HeadAndTail (*write_head)(std::span<const std::byte> head, const MetadataToWrite& metadata) = nullptr;
    // Whether a file that has `there` is good as it is.
    bool (*is_same)(const MetadataToWrite& write, const FileMetadata& there) = &same_exif_and_xmp;

    // The kinds that the format has besides EXIF and XMP.
    bool has_comments = false;
    bool has_jfif = false;
    // EXIF data are tags of the pages, and each page has its own.
    bool has_tags = false;
    // The resolution of a picture has no other place than EXIF data.
    bool tells_resolution_in_exif = false;
    // The most bytes of a packet of XMP, of which the rest becomes an extension; 0: there is no limit.
    size_t most_xmp = 0;
};

std::span<const MetadataContainer* const> metadata_containers();
// Of a format; null where there is none.
const MetadataContainer* metadata_container(imagework::Format format);
// Of the format that the first bytes of a file belong to; null where there is none.
const MetadataContainer* metadata_container(std::span<const std::byte> file);
const MetadataContainer* metadata_container(const imagework::SharedSource& file);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_METADATA_CONTAINER_H

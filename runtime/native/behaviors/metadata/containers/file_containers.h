// Metadata in the segments of JPEG, the chunks of PNG and WebP and the extensions of GIF; see file_metadata.h.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_FILE_CONTAINERS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_FILE_CONTAINERS_H

#include "runtime/native/behaviors/metadata/containers/file_metadata.h"
#include "runtime/native/behaviors/metadata/containers/file_parts.h"

namespace zelmor::embed {

FileMetadata find_in_jpeg(const imagework::SharedSource& file);
FileMetadata find_in_png(const imagework::SharedSource& file);
FileMetadata find_in_webp(const imagework::SharedSource& file);
FileMetadata find_in_gif(const imagework::SharedSource& file);

// See size_of_head().
std::optional<size_t> head_of_jpeg(std::span<const std::byte> start);
std::optional<size_t> head_of_png(std::span<const std::byte> start);

Bytes write_to_jpeg(std::span<const std::byte> file, const MetadataToWrite& metadata);
Bytes write_to_png(std::span<const std::byte> file, const MetadataToWrite& metadata);
Bytes write_to_webp(std::span<const std::byte> file, const Bytes& exif, const Bytes& xmp);
Bytes write_to_gif(std::span<const std::byte> file, const Bytes& xmp);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_FILE_CONTAINERS_H

// Metadata in the segments of JPEG, the chunks of PNG and WebP and the extensions of GIF; see file_metadata.h.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_FILE_CONTAINERS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_FILE_CONTAINERS_H

#include "runtime/native/behaviors/metadata/containers/file_metadata.h"

namespace zelmor::embed {

FileMetadata find_in_jpeg(std::span<const std::byte> file);
FileMetadata find_in_png(std::span<const std::byte> file);
FileMetadata find_in_webp(std::span<const std::byte> file);
FileMetadata find_in_gif(std::span<const std::byte> file);

Bytes write_to_jpeg(std::span<const std::byte> file, const MetadataToWrite& metadata);
Bytes write_to_png(std::span<const std::byte> file, const MetadataToWrite& metadata);
Bytes write_to_webp(std::span<const std::byte> file, const Bytes& exif, const Bytes& xmp);
Bytes write_to_gif(std::span<const std::byte> file, const Bytes& xmp);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_FILE_CONTAINERS_H

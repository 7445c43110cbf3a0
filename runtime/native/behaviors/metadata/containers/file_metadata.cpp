// Calls the code for the format of a file; see file_metadata.h.
#include "runtime/native/behaviors/metadata/containers/file_metadata.h"

#include <algorithm>

#include "runtime/native/behaviors/metadata/containers/file_parts.h"
#include "runtime/native/behaviors/metadata/containers/metadata_container.h"
#include "runtime/native/formats/format_room.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::embed {

bool same_exif_and_xmp(const MetadataToWrite& write, const FileMetadata& there) {
    return write.exif == there.exif && write.xmp == there.xmp;
}

imagework::Format metadata_format(std::span<const std::byte> file) {
    return imagework::sniff({reinterpret_cast<const uint8_t*>(file.data()), file.size()});
}

const MetadataContainer* metadata_container(imagework::Format format) {
    const auto all = metadata_containers();
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const MetadataContainer* known) { return known->format == format; });
    return found == all.end() ? nullptr : *found;
}

const MetadataContainer* metadata_container(std::span<const std::byte> file) {
    return metadata_container(metadata_format(file));
}

const MetadataContainer* metadata_container(const imagework::SharedSource& file) {
    imagework::SourceBytes bytes(file, FileParts::kHeaders);  // most formats are told by the first few bytes
    for (const imagework::FormatRoom* room : imagework::format_rooms()) {
        if (room->begins(imagework::ByteReader(bytes))) {
            return metadata_container(room->format);
        }
    }
    return nullptr;
}

FileMetadata find_metadata(const imagework::SharedSource& file) {
    const MetadataContainer* container = metadata_container(file);
    return container != nullptr ? container->find(file) : FileMetadata{};
}

FileMetadata find_metadata(std::span<const std::byte> file) {
    return find_metadata(source_of(file));
}

std::optional<size_t> size_of_head(std::span<const std::byte> start) {
    const MetadataContainer* container = metadata_container(start);
    return container != nullptr && container->head != nullptr ? container->head(start) : std::nullopt;
}

Bytes with_metadata(std::span<const std::byte> file, const MetadataToWrite& metadata) {
    const MetadataContainer* container = metadata_container(file);
    return container != nullptr && container->write != nullptr ? container->write(file, metadata)
                                                               : Bytes(file.begin(), file.end());
}

}  // namespace zelmor::embed

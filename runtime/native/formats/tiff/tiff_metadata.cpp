// Metadata in the directories of TIFF: EXIF data are tags, and a packet and image resources are values of tags.
#include <optional>

#include "runtime/native/behaviors/metadata/containers/metadata_container.h"

namespace zelmor::embed {

namespace {

FileMetadata find_in_first_page(const imagework::SharedSource& file) {
    return find_in_tiff(file);
}

Bytes write_to_first_page(std::span<const std::byte> file, const MetadataToWrite& metadata) {
    const std::optional<MetadataToWrite> first = metadata;
    imagework::MemorySink memory;
    memory.write({reinterpret_cast<const uint8_t*>(file.data()), file.size()});
    add_tiff_tags(memory, {&first, 1});
    const imagework::EncodedBytes whole = memory.take();
    const auto bytes = std::as_bytes(whole.bytes());
    return {bytes.begin(), bytes.end()};
}

}  // namespace

extern const MetadataContainer kTiffContainer;
const MetadataContainer kTiffContainer{
    .format = imagework::Format::kTiff,
    .find = &find_in_first_page,
    .write = &write_to_first_page,
    .has_tags = true,
};

}  // namespace zelmor::embed

// EXIF, XMP and the other resources of PSD files that describe the picture.
#include "runtime/native/behaviors/metadata/containers/file_parts.h"
#include "runtime/native/behaviors/metadata/containers/metadata_container.h"
#include "runtime/native/formats/psd/psd_resources.h"

namespace zelmor::embed {

namespace {

Bytes to_bytes(const imagework::PsdBytes& data) {
    const auto bytes = std::as_bytes(std::span(data));
    return {bytes.begin(), bytes.end()};
}

imagework::PsdBytes to_numbers(std::span<const std::byte> data) {
    const auto* first = reinterpret_cast<const uint8_t*>(data.data());
    return {first, first + data.size()};
}

FileMetadata find_in_psd(const imagework::SharedSource& file) {
    const imagework::PsdMetadata found = imagework::find_psd_metadata(file);
    FileMetadata metadata;
    metadata.exif = to_bytes(found.exif);
    metadata.xmp = to_bytes(found.xmp);
    metadata.photoshop = to_bytes(found.resources);
    return metadata;
}

Bytes write_to_psd(std::span<const std::byte> file, const MetadataToWrite& metadata) {
    return to_bytes(imagework::with_psd_metadata(
        {reinterpret_cast<const uint8_t*>(file.data()), file.size()},
        {to_numbers(metadata.exif), to_numbers(metadata.xmp), to_numbers(metadata.photoshop)}));
}

bool is_same(const MetadataToWrite& write, const FileMetadata& there) {
    return same_exif_and_xmp(write, there) && write.photoshop == there.photoshop;
}

}  // namespace

extern const MetadataContainer kPsdContainer;
const MetadataContainer kPsdContainer{
    .format = imagework::Format::kPsd,
    .find = &find_in_psd,
    .write = &write_to_psd,
    .is_same = &is_same,
};

}  // namespace zelmor::embed

// Image resources: the blocks that JPEG and TIFF files hold beside the picture, among them IPTC data, thumbnails and
// paths.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_IMAGE_RESOURCES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_IMAGE_RESOURCES_H

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/native/core/value.h"

namespace zelmor::embed {

// A view of one resource in the bytes of all.
struct ImageResource {
    uint16_t number;
    std::string_view name;  // as the file has it
    std::span<const std::byte> data;
    std::span<const std::byte> whole;
};

// The numbers of saved paths.
constexpr uint16_t kFirstPathResource = 2000;
constexpr uint16_t kLastPathResource = 2997;
constexpr bool is_path_resource(uint16_t number) {
    return number >= kFirstPathResource && number <= kLastPathResource;
}

// The resources in their order. What follows damage is left out.
std::vector<ImageResource> image_resources(std::span<const std::byte> resources);

// The resources without the thumbnails, or without the paths among them. What follows damage is left out.
Bytes resources_without_thumbnails(const Bytes& resources);
Bytes resources_without_paths(const Bytes& resources);

// Appends a resource. The name has at most 255 bytes.
void put_image_resource(Bytes& out, uint16_t number, std::string_view name, std::span<const std::byte> data);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_IMAGE_RESOURCES_H

// Image resources: the blocks that JPEG and TIFF files hold beside the picture, among them IPTC data and thumbnails.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_IMAGE_RESOURCES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_IMAGE_RESOURCES_H

#include "runtime/native/core/value.h"

namespace zelmor::embed {

// The resources without the thumbnails among them. What follows damage is left out.
Bytes resources_without_thumbnails(const Bytes& resources);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_IMAGE_RESOURCES_H

// Packets that are too long for one segment of a JPEG: the main packet keeps what fits, and names an extension with the
// rest by its MD5 digest.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_EXTENSION_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_EXTENSION_H

#include <span>
#include <string>

#include "runtime/native/behaviors/metadata/xmp/xmp_packet.h"

namespace zelmor::embed {

struct SplitXmp {
    std::string packet;
    std::string extension;  // empty where all is in the packet
    std::string guid;       // by which the packet names the extension
};

// The longest properties go into the extension until the packet has no more than `most` bytes. ArgumentException where
// even a packet without properties is longer.
SplitXmp split_xmp(const XmpPacketObject& packet, size_t most);

// One packet of both parts; what read_xmp_packet() throws, for either.
Ref<XmpPacketObject> joined_xmp(std::span<const std::byte> packet, std::span<const std::byte> extension);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_EXTENSION_H

// The markers of a codestream, the identifiers of metadata boxes, and the order of the bytes of numbers in both.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_MARKERS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_MARKERS_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace zelmor::imagework {

constexpr uint16_t kMarkerSoc = 0xFF4F;  // start of the codestream
constexpr uint16_t kMarkerSiz = 0xFF51;  // sizes of picture, tiles and components
constexpr uint16_t kMarkerCod = 0xFF52;  // coding of all components
constexpr uint16_t kMarkerCoc = 0xFF53;  // coding of one component
constexpr uint16_t kMarkerTlm = 0xFF55;  // lengths of the tile-parts
constexpr uint16_t kMarkerPlm = 0xFF57;  // lengths of packets
constexpr uint16_t kMarkerPpm = 0xFF60;  // packet headers
constexpr uint16_t kMarkerCrg = 0xFF63;  // where samples lie in their pixels
constexpr uint16_t kMarkerCom = 0xFF64;  // a comment
constexpr uint16_t kMarkerSot = 0xFF90;  // start of a tile-part
constexpr uint16_t kMarkerSod = 0xFF93;  // its data
constexpr uint16_t kMarkerEoc = 0xFFD9;  // the end

constexpr size_t kJpeg2000Uuid = 16;
constexpr std::array<uint8_t, kJpeg2000Uuid> kXmpUuid{0xBE, 0x7A, 0xCF, 0xCB, 0x97, 0xA9, 0x42, 0xE8,
                                                      0x9C, 0x71, 0x99, 0x94, 0x91, 0xE3, 0xAF, 0xAC};
constexpr std::array<uint8_t, kJpeg2000Uuid> kExifUuid{'J', 'p', 'g', 'T', 'i', 'f', 'f', 'E',
                                                       'x', 'i', 'f', '-', '>', 'J', 'P', '2'};

// Appends a number of some bytes, the highest first.
inline void put(std::vector<uint8_t>& out, uint64_t value, int bytes) {
    for (int i = bytes - 1; i >= 0; i--) {
        out.push_back(static_cast<uint8_t>(value >> 8 * i));
    }
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_MARKERS_H

// The chunks that a PNG file consists of: walking over them and writing them.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_CHUNKS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_CHUNKS_H

#include <cstdint>
#include <span>
#include <vector>

namespace zelmor::imagework {

struct PngChunk {
    uint32_t type;  // its four letters, the first uppermost
    std::span<const uint8_t> data;
};

constexpr uint32_t png_type(const char (&letters)[5]) {
    return static_cast<uint32_t>(letters[0]) << 24 | static_cast<uint32_t>(letters[1]) << 16 |
           static_cast<uint32_t>(letters[2]) << 8 | static_cast<uint32_t>(letters[3]);
}
inline constexpr uint32_t kIhdr = png_type("IHDR"), kIdat = png_type("IDAT"), kIend = png_type("IEND");
inline constexpr uint32_t kControl = png_type("acTL"), kFrame = png_type("fcTL"), kFrameData = png_type("fdAT");

inline constexpr uint64_t kFirstChunk = 8;  // behind the signature

// The complete chunks up to the end chunk, which is among them.
std::vector<PngChunk> png_chunks(std::span<const uint8_t> data);

// Whether the four bytes behind the content of a chunk are its checksum.
bool has_png_checksum(uint32_t type, std::span<const uint8_t> content_and_checksum);

void put_png_signature(std::vector<uint8_t>& out);
void put_png_u32(std::vector<uint8_t>& out, uint32_t value);
void put_png_u16(std::vector<uint8_t>& out, uint32_t value);
void put_png_chunk(std::vector<uint8_t>& out, uint32_t type, std::span<const uint8_t> data);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_CHUNKS_H

// Chunks of PNG files; see png_chunks.h.
#include "runtime/native/formats/png/png_chunks.h"

#include <array>
#include <cassert>

#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {
namespace {

// The CRC of bytes (reflected, polynomial 0xEDB88320), carried on from the bytes before them.
uint32_t crc_of(std::span<const uint8_t> bytes, uint32_t before = 0) {
    static const auto table = [] {
        std::array<uint32_t, 256> entries{};
        for (uint32_t i = 0; i < 256; i++) {
            uint32_t value = i;
            for (int bit = 0; bit < 8; bit++) {
                value = (value & 1) != 0 ? 0xEDB88320 ^ value >> 1 : value >> 1;
            }
            entries[i] = value;
        }
        return entries;
    }();
    uint32_t crc = ~before;
    for (uint8_t byte : bytes) {
        crc = table[(crc ^ byte) & 0xFF] ^ crc >> 8;
    }
    return ~crc;
}

}  // namespace

std::vector<PngChunk> png_chunks(std::span<const uint8_t> data) {
    ByteReader in(data, true);
    std::vector<PngChunk> chunks;
    for (uint64_t at = kFirstChunk; in.has(at, 12);) {
        uint64_t length = in.u32(at);
        if (!in.has(at, 12 + length)) {
            break;
        }
        chunks.push_back({in.u32(at + 4), data.subspan(static_cast<size_t>(at + 8), static_cast<size_t>(length))});
        if (chunks.back().type == kIend) {
            break;
        }
        at += 12 + length;
    }
    return chunks;
}

bool has_png_checksum(uint32_t type, std::span<const uint8_t> content_and_checksum) {
    constexpr size_t kChecksumSize = 4;
    std::vector<uint8_t> letters;
    put_png_u32(letters, type);
    const size_t size = content_and_checksum.size() - kChecksumSize;
    return crc_of(content_and_checksum.first(size), crc_of(letters)) ==
           ByteReader(content_and_checksum, true).u32(size);
}

void put_png_signature(std::vector<uint8_t>& out) {
    out.insert(out.end(), {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'});
}

void put_png_u32(std::vector<uint8_t>& out, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        out.push_back(static_cast<uint8_t>(value >> shift));
    }
}

void put_png_u16(std::vector<uint8_t>& out, uint32_t value) {
    out.push_back(static_cast<uint8_t>(value >> 8));
    out.push_back(static_cast<uint8_t>(value));
}

void put_png_chunk(std::vector<uint8_t>& out, uint32_t type, std::span<const uint8_t> data) {
    put_png_u32(out, static_cast<uint32_t>(data.size()));
    size_t start = out.size();
    put_png_u32(out, type);
    out.insert(out.end(), data.begin(), data.end());
    put_png_u32(out, crc_of(std::span(out).subspan(start)));
}

}  // namespace zelmor::imagework

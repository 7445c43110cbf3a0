// Walking and mending the chunks of a PNG file; see png_repair.h.
#include "runtime/native/imagework/png_repair.h"

#include <algorithm>
#include <array>

#include "runtime/native/imagework/byte_reader.h"

namespace zelmor::imagework {
namespace {

constexpr uint64_t kFirstChunk = 8;  // behind the signature
constexpr uint32_t kIdat = 0x49444154;
constexpr uint32_t kIend = 0x49454E44;

// Position of the first chunk that is not complete; the end of the data where the end chunk was reached.
struct Walk {
    uint64_t stop = kFirstChunk;
    bool whole = false;
};

Walk walk(std::span<const uint8_t> data) {
    ByteReader in(data, true);
    Walk result;
    while (in.has(result.stop, 12)) {
        uint64_t length = in.u32(result.stop);
        if (!in.has(result.stop, 12 + length)) break;
        uint32_t type = in.u32(result.stop + 4);
        result.stop += 12 + length;
        if (type == kIend) {
            result.whole = true;
            break;
        }
    }
    return result;
}

// The CRC of a chunk's type and data (reflected, polynomial 0xEDB88320).
uint32_t chunk_crc(std::span<const uint8_t> bytes) {
    static const auto table = [] {
        std::array<uint32_t, 256> entries{};
        for (uint32_t i = 0; i < 256; i++) {
            uint32_t value = i;
            for (int bit = 0; bit < 8; bit++)
                value = (value & 1) != 0 ? 0xEDB88320 ^ value >> 1 : value >> 1;
            entries[i] = value;
        }
        return entries;
    }();
    uint32_t crc = 0xFFFFFFFF;
    for (uint8_t byte : bytes)
        crc = table[(crc ^ byte) & 0xFF] ^ crc >> 8;
    return ~crc;
}

void put_u32(std::vector<uint8_t>& out, uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(static_cast<uint8_t>(value >> shift));
}

void put_chunk(std::vector<uint8_t>& out, uint32_t type, std::span<const uint8_t> data) {
    put_u32(out, static_cast<uint32_t>(data.size()));
    size_t start = out.size();
    put_u32(out, type);
    out.insert(out.end(), data.begin(), data.end());
    put_u32(out, chunk_crc(std::span(out).subspan(start)));
}

}  // namespace

bool is_whole_png(std::span<const uint8_t> data) {
    return walk(data).whole;
}

std::vector<uint8_t> mended_png(std::span<const uint8_t> data) {
    Walk walked = walk(data);
    auto kept = data.first(static_cast<size_t>(std::min<uint64_t>(walked.stop, data.size())));
    std::vector<uint8_t> mended(kept.begin(), kept.end());
    if (walked.whole) return mended;
    ByteReader in(data, true);
    if (in.has(walked.stop, 8) && in.u32(walked.stop + 4) == kIdat) {
        put_chunk(mended, kIdat, data.subspan(walked.stop + 8));
    }
    put_chunk(mended, kIend, {});
    return mended;
}

}  // namespace zelmor::imagework

// Walking and mending the chunks of a PNG file; see png_repair.h.
#include "runtime/native/formats/png/png_repair.h"

#include <algorithm>

#include "runtime/native/formats/png/png_chunks.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/pixels/source_bytes.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {
namespace {

// Position of the first chunk that is not complete, or is one too many; the end of the data where the end chunk was
// reached.
struct Walk {
    uint64_t stop = kFirstChunk;
    bool whole = false;
};

Walk walk(const ByteReader& in) {
    Walk result;
    for (uint64_t count = 0; count < limits::kChunks && in.has(result.stop, 12); count++) {
        uint64_t length = in.u32(result.stop);
        if (!in.has(result.stop, 12 + length)) {
            break;
        }
        uint32_t type = in.u32(result.stop + 4);
        result.stop += 12 + length;
        if (type == kIend) {
            result.whole = true;
            break;
        }
    }
    return result;
}

}  // namespace

bool is_whole_png(const SharedSource& source) {
    SourceBytes bytes(source);
    return walk(ByteReader(bytes, true)).whole;
}

std::vector<uint8_t> mended_png(std::span<const uint8_t> data) {
    Walk walked = walk(ByteReader(data, true));
    auto kept = data.first(static_cast<size_t>(std::min<uint64_t>(walked.stop, data.size())));
    std::vector<uint8_t> mended(kept.begin(), kept.end());
    if (walked.whole) {
        return mended;
    }
    ByteReader in(data, true);
    if (in.has(walked.stop, 8) && in.u32(walked.stop + 4) == kIdat) {
        put_png_chunk(mended, kIdat, data.subspan(walked.stop + 8));
    }
    put_png_chunk(mended, kIend, {});
    return mended;
}

}  // namespace zelmor::imagework

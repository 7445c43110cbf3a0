// The facts in the first chunks of the RIFF container of a WebP file.
#include <cstdint>

#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/probe_formats.h"

namespace zelmor::imagework {

void probe_webp(const ByteReader& file, FileFacts& facts) {
    const ByteReader in = file.in_order(false);
    WebpEncoding encoding;
    auto u24 = [&](uint64_t at) -> int64_t { return in.u16(at) | in.u8(at + 2) << 16; };
    if (in.starts_with(12, "VP8X")) {
        facts.has_alpha = (in.u8(20) & 0x10) != 0;
        facts.has_resolution = (in.u8(20) & 0x08) != 0;  // in its Exif data, if anywhere
        facts.width = u24(24) + 1;
        facts.height = u24(27) + 1;
        for (uint64_t at = 30; in.has(at, 8);) {  // which of the two codings the picture has
            // A frame of an animation has a header of its own before its coding.
            if (in.starts_with(at, "VP8L") || (in.starts_with(at, "ANMF") && in.starts_with(at + 24, "VP8L"))) {
                encoding.lossless = true;
                break;
            }
            if (in.starts_with(at, "ANMF") || in.starts_with(at, "ALPH") || in.starts_with(at, "VP8 ")) {
                break;
            }
            if (in.starts_with(at, "ANIM")) {
                if (const uint32_t background = in.u32(at + 8)) {
                    encoding.background = background;
                }
                encoding.loops = in.u16(at + 12);
            }
            uint64_t length = in.u32(at + 4);
            at += 8 + length + (length & 1);
        }
    } else if (in.starts_with(12, "VP8L")) {
        uint32_t bits = in.u32(21);
        facts.width = (bits & 0x3FFF) + 1;
        facts.height = (bits >> 14 & 0x3FFF) + 1;
        facts.has_alpha = (bits >> 28 & 1) != 0;
        encoding.lossless = true;
    } else if (in.starts_with(12, "VP8 ")) {
        facts.width = in.u16(26) & 0x3FFF;
        facts.height = in.u16(28) & 0x3FFF;
    } else {
        return;
    }
    facts.bits_per_pixel = facts.has_alpha ? 32 : 24;
    facts.encoding = encoding;
    facts.readable = in.ok() && facts.width > 0 && facts.height > 0;
}

}  // namespace zelmor::imagework

// The facts in the first chunks of the RIFF container of a WebP file.
#include <algorithm>
#include <cstdint>

#include "runtime/native/formats/format_room.h"
#include "runtime/native/formats/webp/webp_encoding.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

namespace {

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

bool begins_webp(const ByteReader& in) {
    return in.starts_with(0, "RIFF") && in.starts_with(8, "WEBP");
}

// A chunk's name is four characters; where it is not, a reader has lost its way.
bool is_printable(std::span<const uint8_t> name) {
    return std::all_of(name.begin(), name.end(), [](uint8_t c) { return c >= ' ' && c <= '~'; });
}

class WebpEnd final : public PictureEnd {
 public:
    explicit WebpEnd(const FileFacts& facts) : PictureEnd(facts), m_facts(facts) {}
    uint64_t needed(std::span<const uint8_t> data) override {
        const ByteReader in(data);
        if (!in.has(0, 12)) {
            return 12;
        }
        const uint64_t end = 8 + uint64_t{in.u32(4)} + (in.u32(4) & 1);
        for (;;) {
            if (m_at + 8 > end) {
                return end;
            }
            if (!in.has(m_at, 8)) {
                return m_at + 8;
            }
            if (!is_printable(in.piece(m_at, 4))) {
                return m_at;
            }
            if (in.starts_with(m_at, "ANMF")) {
                add_picture(m_facts.width, m_facts.height, m_facts.bits_per_pixel);
            }
            m_at += 8 + uint64_t{in.u32(m_at + 4)} + (in.u32(m_at + 4) & 1);
        }
    }

 private:
    FileFacts m_facts;
    uint64_t m_at = 12;
};

std::unique_ptr<PictureEnd> webp_end(const FileFacts& facts) {
    return std::make_unique<WebpEnd>(facts);
}

constexpr const char* kWebPExtensions[] = {"webp"};

}  // namespace

extern const FormatRoom kWebpRoom;
const FormatRoom kWebpRoom{
    .format = Format::kWebp,
    .name = "WebP",
    .extensions = kWebPExtensions,
    .begins = &begins_webp,
    .probe = &probe_webp,
    .end = &webp_end,
    .default_settings = &default_settings_of<WebpEncoding>,
};

}  // namespace zelmor::imagework

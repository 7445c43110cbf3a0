// The facts in a GIF file: the screen, the global palette, then blocks up to the first frame.
#include <cstdint>
#include <optional>

#include "runtime/native/formats/format_room.h"
#include "runtime/native/formats/gif/gif_encoding.h"
#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/palette_entry.h"

namespace zelmor::imagework {

namespace {

void probe_gif(const ByteReader& file, FileFacts& facts) {
    const ByteReader in = file.in_order(false);
    facts.width = in.u16(6);
    facts.height = in.u16(8);
    int flags = in.u8(10);
    if (!in.ok()) {
        return;
    }
    facts.bits_per_pixel = 8;
    GifEncoding encoding;
    encoding.loops = 1;
    encoding.color_resolution = (flags >> 4 & 7) + 1;
    encoding.sorted_palette = (flags & 8) != 0;
    encoding.background_index = in.u8(11);
    encoding.aspect_ratio = in.u8(12);
    bool global_palette = (flags & 0x80) != 0;
    int palette_bits = (flags & 7) + 1;
    constexpr uint64_t kScreenSize = 13;
    std::optional<uint64_t> palette_at = global_palette ? std::optional(kScreenSize) : std::nullopt;
    uint64_t at = kScreenSize + (global_palette ? 3ULL << palette_bits : 0);
    std::optional<int> transparent_index;
    while (in.has(at, 2)) {
        int kind = in.u8(at);
        if (kind == 0x2C) {
            int frame_flags = in.u8(at + 9);
            if ((frame_flags & 0x80) != 0) {
                palette_bits = (frame_flags & 7) + 1;
                palette_at = at + 10;
            }
            encoding.interlaced = (frame_flags & 0x40) != 0;
            facts.readable = in.ok() && facts.width > 0 && facts.height > 0;
            break;
        }
        if (kind != 0x21) {
            break;
        }
        if (in.u8(at + 1) == 0xF9 && in.u8(at + 2) >= 4 && (in.u8(at + 3) & 1) != 0) {
            transparent_index = in.u8(at + 6);
        }
        if (in.u8(at + 1) == 0xFF && in.starts_with(at + 3, "NETSCAPE2.0") && in.u8(at + 15) == 1) {
            const int repeats = in.u16(at + 16);
            encoding.loops = repeats == 0 ? 0 : repeats + 1;  // the first time counts too
        }
        at += 2;
        while (in.has(at, 1) && in.u8(at) != 0) {  // sub-blocks, ended by an empty one
            at += 1 + static_cast<uint64_t>(in.u8(at));
        }
        at++;
    }
    encoding.palette_bits = palette_bits;
    facts.encoding = encoding;
    if (!palette_at) {
        facts.palette = {kBlack, kWhite};  // the format leaves it to the reader
    } else if (in.has(*palette_at, 3ULL << palette_bits)) {
        for (uint64_t i = 0; i < 1ULL << palette_bits; i++) {
            facts.palette.push_back(rgb_entry(in, *palette_at + 3 * i));
        }
    }
    if (transparent_index) {
        facts.has_alpha = true;
        if (static_cast<size_t>(*transparent_index) < facts.palette.size()) {
            Argb& color = facts.palette[static_cast<size_t>(*transparent_index)];
            facts.transparent_color = color;
            color &= 0xFFFFFF;
        }
    }
}

bool begins_gif(const ByteReader& in) {
    return in.starts_with(0, "GIF87a") || in.starts_with(0, "GIF89a");
}

class GifEnd final : public PictureEnd {
 public:
    explicit GifEnd(const FileFacts& facts) : PictureEnd(facts), m_facts(facts) {}
    uint64_t needed(std::span<const uint8_t> data) override {
        const ByteReader in(data);
        if (m_at == 0) {
            if (!in.has(0, 13)) {
                return 13;
            }
            m_at = 13 + palette_size(in.u8(10));
        }
        for (;;) {
            if (!in.has(m_at, 1)) {
                return m_at + 1;
            }
            const uint8_t first = in.u8(m_at);
            if (m_in_sub_blocks) {
                m_in_sub_blocks = first != 0;
                m_at += 1 + uint64_t{first};
            } else if (first == 0x3B) {
                return m_at + 1;
            } else if (first == 0x21) {
                m_at += 2;
                m_in_sub_blocks = true;
            } else if (first == 0x2C) {
                if (!in.has(m_at, 10)) {
                    return m_at + 10;
                }
                m_at += 11 + palette_size(in.u8(m_at + 9));
                m_in_sub_blocks = true;
                add_picture(m_facts.width, m_facts.height, m_facts.bits_per_pixel);
            } else {
                return kUnknown;
            }
        }
    }

 private:
    static uint64_t palette_size(int flags) { return (flags & 0x80) != 0 ? uint64_t{6} << (flags & 7) : 0; }

    FileFacts m_facts;
    uint64_t m_at = 0;
    bool m_in_sub_blocks = false;
};

std::unique_ptr<PictureEnd> gif_end(const FileFacts& facts) {
    return std::make_unique<GifEnd>(facts);
}

constexpr const char* kGifExtensions[] = {"gif"};

}  // namespace

extern const FormatRoom kGifRoom;
const FormatRoom kGifRoom{
    .format = Format::kGif,
    .name = "GIF",
    .extensions = kGifExtensions,
    .begins = &begins_gif,
    .probe = &probe_gif,
    .end = &gif_end,
    .default_settings = &default_settings_of<GifEncoding>,
};

}  // namespace zelmor::imagework

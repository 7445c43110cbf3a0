// The walk over the blocks; see gif_structure.h.
#include "runtime/native/formats/gif/gif_structure.h"

#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

constexpr uint8_t kExtension = 0x21;
constexpr uint8_t kImage = 0x2C;
constexpr uint8_t kTrailer = 0x3B;
constexpr uint8_t kControlLabel = 0xF9;
constexpr uint8_t kApplicationLabel = 0xFF;
constexpr uint64_t kScreenSize = 13;
constexpr uint64_t kDescriptorSize = 10;
constexpr int kPaletteFlag = 0x80;
constexpr int kMostCodeBits = 8;

uint64_t palette_size(const GifPalettePlace& place) {
    return place.bits == 0 ? 0 : uint64_t{3} << place.bits;
}

class Walk {
 public:
    explicit Walk(SourceBytes& bytes) : m_bytes(bytes), m_in(bytes) {}

    GifStructure run() {
        read_screen();
        m_at = kScreenSize + palette_size(m_found.screen.palette);
        while (step()) {
        }
        if (m_found.frames.empty()) {
            throw PictureError(Failure::kDamaged, "there is no frame in it");
        }
        return std::move(m_found);
    }

 private:
    void read_screen() {
        GifScreen& screen = m_found.screen;
        screen.width = m_in.u16(6);
        screen.height = m_in.u16(8);
        const int flags = m_in.u8(10);
        screen.background_index = m_in.u8(11);
        screen.aspect_ratio = m_in.u8(12);
        screen.color_resolution = (flags >> 4 & 7) + 1;
        if (!m_in.ok() || screen.width == 0 || screen.height == 0) {
            throw PictureError(Failure::kDamaged, "the screen has no size");
        }
        if ((flags & kPaletteFlag) != 0) {
            screen.palette = {kScreenSize, (flags & 7) + 1, (flags & 8) != 0};
        }
    }

    // One block; false at the end of the file. Bytes between the blocks are skipped.
    bool step() {
        if (!m_in.has(m_at, 1)) {
            return false;
        }
        const uint8_t kind = m_in.u8(m_at);
        if (kind == kTrailer) {
            m_found.trailer = true;
            return false;
        }
        if (kind == kImage) {
            return read_frame();
        }
        if (kind == kExtension) {
            return read_extension();
        }
        if (kind != 0) {
            return false;  // no block of the format: what follows is not part of the picture
        }
        m_at++;
        return true;
    }

    // Behind the last of the sub-blocks; nothing where the file ends before.
    std::optional<uint64_t> end_of_sub_blocks(uint64_t at) const {
        while (m_in.has(at, 1)) {
            const uint64_t length = m_in.u8(at);
            at += 1 + length;
            if (length == 0) {
                return at;
            }
        }
        return std::nullopt;
    }

    bool read_extension() {
        const auto end = end_of_sub_blocks(m_at + 2);
        if (!end) {
            return false;
        }
        const uint8_t label = m_in.u8(m_at + 1);
        if (label == kControlLabel && m_in.u8(m_at + 2) >= 4) {
            const int flags = m_in.u8(m_at + 3);
            GifControl control;
            control.disposal = flags >> 2 & 7;
            control.user_input = (flags & 2) != 0;
            control.delay = m_in.u16(m_at + 4);
            if ((flags & 1) != 0) {
                control.transparent = m_in.u8(m_at + 6);
            }
            m_control = control;
        } else {
            const bool application = label == kApplicationLabel;
            if (application && m_in.starts_with(m_at + 3, "NETSCAPE2.0") && m_in.u8(m_at + 15) == 1) {
                const int repeats = m_in.u16(m_at + 16);
                m_found.loops = repeats == 0 ? 0 : repeats + 1;  // the first time counts too
            } else if (!application || !m_in.starts_with(m_at + 3, "XMP DataXMP")) {
                if (m_found.extensions.size() >= limits::kChunks) {
                    throw PictureError(Failure::kTooLarge,
                                       "it has more than " + std::to_string(limits::kChunks) + " extensions");
                }
                m_found.extensions.push_back({m_at, *end - m_at});
            }
        }
        m_at = *end;
        return true;
    }

    bool read_frame() {
        if (!m_in.has(m_at, kDescriptorSize)) {
            return false;
        }
        if (m_found.frames.size() >= limits::kFrames) {
            throw PictureError(Failure::kTooLarge, "it has more than " + std::to_string(limits::kFrames) + " frames");
        }
        GifFramePlace frame;
        frame.area = {m_in.u16(m_at + 1), m_in.u16(m_at + 3), m_in.u16(m_at + 5), m_in.u16(m_at + 7)};
        const int flags = m_in.u8(m_at + 9);
        frame.interlaced = (flags & 0x40) != 0;
        if ((flags & kPaletteFlag) != 0) {
            frame.palette = {m_at + kDescriptorSize, (flags & 7) + 1, (flags & 0x20) != 0};
        }
        frame.control = m_control;
        m_control.reset();
        frame.blocks_before = static_cast<uint32_t>(m_found.extensions.size());
        const uint64_t code_at = m_at + kDescriptorSize + palette_size(frame.palette);
        const auto end = end_of_sub_blocks(code_at + 1);
        frame.code_bits = m_in.has(code_at, 1) ? m_in.u8(code_at) : 0;
        if (frame.code_bits > kMostCodeBits) {
            frame.code_bits = kMostCodeBits;
        }
        frame.whole = end.has_value();
        frame.image = {m_at, end.value_or(m_bytes.size()) - m_at};
        m_found.frames.push_back(frame);
        m_at = end.value_or(m_bytes.size());
        return frame.whole;
    }

    SourceBytes& m_bytes;
    ByteReader m_in;
    GifStructure m_found;
    uint64_t m_at = 0;
    std::optional<GifControl> m_control;
};

}  // namespace

GifStructure gif_structure(SourceBytes& bytes) {
    return Walk(bytes).run();
}

FrameDisposal disposal_of(const GifFramePlace& frame) {
    return gif_disposal(frame.control ? frame.control->disposal : 0);
}

std::vector<Argb> gif_palette(SourceBytes& bytes, const GifPalettePlace& place) {
    std::vector<Argb> palette;
    const auto found = bytes.at(place.at, palette_size(place));
    for (size_t i = 0; i + 2 < found.size(); i += 3) {
        palette.push_back(kBlack | static_cast<Argb>(found[i]) << 16 | static_cast<Argb>(found[i + 1]) << 8 |
                          found[i + 2]);
    }
    return palette;
}

}  // namespace zelmor::imagework

// The walk over the chunks; see webp_structure.h.
//
// A simple file is a RIFF header and one picture chunk: VP8 (lossy) or VP8L (lossless). Any other begins with VP8X,
// which tells the size of the canvas and whether there is an animation. Each frame of an animation is an ANMF chunk,
// which contains chunks of its own: ALPH with the alpha of a lossy picture, then the picture.
#include "runtime/native/formats/webp/webp_structure.h"

#include <algorithm>
#include <optional>

#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

constexpr uint64_t kFirstChunk = 12;
constexpr uint64_t kChunkHeader = 8;
constexpr uint64_t kFrameHeader = 16;
constexpr uint64_t kExtendedSize = 10;
constexpr uint8_t kAnimationFlag = 0x02;
constexpr uint8_t kAlphaFlag = 0x10;

constexpr uint32_t type_of(const char (&name)[5]) {
    return static_cast<uint32_t>(static_cast<uint8_t>(name[0])) | static_cast<uint32_t>(name[1]) << 8 |
           static_cast<uint32_t>(name[2]) << 16 | static_cast<uint32_t>(name[3]) << 24;
}
constexpr uint32_t kExtended = type_of("VP8X"), kLossy = type_of("VP8 "), kLossless = type_of("VP8L");
constexpr uint32_t kAlpha = type_of("ALPH"), kFrame = type_of("ANMF"), kProfile = type_of("ICCP");
constexpr uint32_t kExif = type_of("EXIF");

struct Chunk {
    uint32_t type = 0;
    uint64_t at = 0;    // of its header
    uint64_t size = 0;  // of its content, as far as the file has it
    bool whole = true;
    uint64_t content() const { return at + kChunkHeader; }
    uint64_t end() const { return content() + size; }
};

class ChunkWalk {
 public:
    ChunkWalk(SourceBytes& bytes, bool lenient) : m_in(bytes), m_lenient(lenient), m_file_size(bytes.size()) {}

    WebpStructure run() {
        if (!m_in.starts_with(0, "RIFF") || !m_in.starts_with(8, "WEBP")) {
            webp_damaged("there is no RIFF header");
        }
        const uint64_t claimed = kChunkHeader + m_in.u32(4);
        if (claimed > m_file_size && !m_lenient) {
            webp_damaged("the data ends after " + std::to_string(m_file_size) + " of " + std::to_string(claimed) +
                         " bytes");
        }
        m_end = m_lenient ? m_file_size : claimed;
        try {
            take_all();
            if (m_found.frames.empty()) {
                webp_damaged(m_found.animated ? "there is no frame" : "there is no picture");
            }
        } catch (const PictureError& error) {
            if (!m_lenient || error.kind() != Failure::kDamaged || m_found.frames.empty()) {
                throw;
            }
        }
        return std::move(m_found);
    }

 private:
    int32_t u24(uint64_t at) const { return m_in.u16(at) | m_in.u8(at + 2) << 16; }

    // The chunk at `at` in a place that ends at `end`.
    Chunk chunk_at(uint64_t at, uint64_t end) const {
        Chunk chunk{m_in.u32(at), at, m_in.u32(at + 4), true};
        if (chunk.size > end - chunk.content()) {
            if (!m_lenient) {
                webp_damaged("a chunk is longer than what is left of the data");
            }
            chunk.size = end - chunk.content();
            chunk.whole = false;
        }
        return chunk;
    }

    void take_all() {
        const Chunk first = next(kFirstChunk);
        uint64_t at = kFirstChunk;
        if (first.type == kExtended) {
            take_extended(first);
            at = behind(first);
        } else if (first.type != kLossy && first.type != kLossless) {
            webp_damaged("the first chunk is none that a file begins with");
        }
        std::optional<Chunk> alpha;
        while (m_end >= kChunkHeader && at <= m_end - kChunkHeader) {
            const Chunk chunk = chunk_at(at, m_end);
            if (chunk.type == kFrame && m_found.animated) {
                take_frame(chunk);
            } else if (chunk.type == kAlpha && !m_found.animated && !alpha) {
                alpha = chunk;
            } else if ((chunk.type == kLossy || chunk.type == kLossless) && !m_found.animated &&
                       m_found.frames.empty()) {
                take_picture(chunk, alpha);
            } else if (chunk.type == kProfile && m_found.profile.size == 0 && chunk.whole) {
                m_found.profile = {chunk.content(), chunk.size};
            } else if (chunk.type == kExif && m_found.exif.size == 0) {
                m_found.exif = {chunk.content(), chunk.size};
            }
            at = behind(chunk);
        }
    }

    Chunk next(uint64_t at) const {
        if (at + kChunkHeader > m_end) {
            webp_damaged("there is no chunk");
        }
        return chunk_at(at, m_end);
    }

    static uint64_t behind(const Chunk& chunk) { return chunk.end() + (chunk.size & 1); }

    void take_extended(const Chunk& chunk) {
        if (chunk.size < kExtendedSize) {
            webp_damaged("the header is incomplete");
        }
        const uint8_t flags = m_in.u8(chunk.content());
        m_found.animated = (flags & kAnimationFlag) != 0;
        m_found.claims_alpha = (flags & kAlphaFlag) != 0;
        m_found.width = u24(chunk.content() + 4) + 1;
        m_found.height = u24(chunk.content() + 7) + 1;
    }

    // The size in the header of a picture chunk, and whether it has alpha of its own.
    void take_picture_header(const Chunk& chunk, WebpFramePlace& frame) const {
        const uint64_t at = chunk.content();
        frame.lossless = chunk.type == kLossless;
        if (frame.lossless) {
            constexpr uint8_t kSignature = 0x2F;
            if (chunk.size < 5 || m_in.u8(at) != kSignature) {
                webp_damaged("a picture has no header");
            }
            const uint32_t bits = m_in.u32(at + 1);
            frame.area.width = static_cast<int32_t>(bits & 0x3FFF) + 1;
            frame.area.height = static_cast<int32_t>(bits >> 14 & 0x3FFF) + 1;
            frame.alpha = (bits >> 28 & 1) != 0;
            return;
        }
        if (chunk.size < 10 || (m_in.u8(at) & 1) != 0 || !m_in.starts_with(at + 3, "\x9D\x01\x2A")) {
            webp_damaged("a picture has no header");
        }
        frame.area.width = m_in.u16(at + 6) & 0x3FFF;
        frame.area.height = m_in.u16(at + 8) & 0x3FFF;
        if (frame.area.width == 0 || frame.area.height == 0) {
            webp_damaged("a picture has no size");
        }
    }

    static void set_data(const Chunk& picture, const std::optional<Chunk>& alpha, WebpFramePlace& frame) {
        uint64_t start = picture.at;
        if (alpha && !frame.lossless) {
            start = alpha->at;
            frame.alpha = true;
        }
        frame.data = {start, picture.end() - start};
    }

    void take_picture(const Chunk& chunk, const std::optional<Chunk>& alpha) {
        WebpFramePlace frame;
        take_picture_header(chunk, frame);
        set_data(chunk, alpha, frame);
        if (m_found.width == 0) {
            m_found.width = frame.area.width;
            m_found.height = frame.area.height;
        } else if (m_found.width != frame.area.width || m_found.height != frame.area.height) {
            webp_damaged("the picture has another size than the header tells");
        }
        m_found.frames.push_back(frame);
    }

    void take_frame(const Chunk& chunk) {
        if (m_found.frames.size() >= limits::kFrames) {
            throw PictureError(Failure::kTooLarge,
                               "the animation has more than " + std::to_string(limits::kFrames) + " frames");
        }
        if (chunk.size < kFrameHeader) {
            webp_damaged("a frame has no header");
        }
        const uint64_t header = chunk.content();
        const int64_t x = int64_t{2} * u24(header);
        const int64_t y = int64_t{2} * u24(header + 3);
        const int64_t width = int64_t{u24(header + 6)} + 1;
        const int64_t height = int64_t{u24(header + 9)} + 1;
        const uint8_t flags = m_in.u8(header + 15);
        WebpFramePlace frame;
        frame.duration = u24(header + 12);
        frame.disposal = (flags & 1) != 0 ? FrameDisposal::kClear : FrameDisposal::kLeave;
        frame.over = (flags & 2) == 0;
        std::optional<Chunk> alpha;
        for (uint64_t at = header + kFrameHeader; at + kChunkHeader <= chunk.end();) {
            const Chunk part = chunk_at(at, chunk.end());
            if (part.type == kAlpha && !alpha) {
                alpha = part;
            } else if (part.type == kLossy || part.type == kLossless) {
                take_picture_header(part, frame);
                set_data(part, alpha, frame);
                break;
            }
            at = behind(part);
        }
        if (frame.data.size == 0) {
            webp_damaged("a frame has no picture");
        }
        if (frame.area.width != width || frame.area.height != height || x + width > m_found.width ||
            y + height > m_found.height) {
            webp_damaged("a frame does not fit its canvas");
        }
        frame.area.x = static_cast<int32_t>(x);
        frame.area.y = static_cast<int32_t>(y);
        m_found.frames.push_back(frame);
    }

    ByteReader m_in;
    bool m_lenient;
    uint64_t m_file_size;
    uint64_t m_end = 0;
    WebpStructure m_found;
};

}  // namespace

void webp_damaged(const std::string& text) {
    throw PictureError(Failure::kDamaged, text);
}

WebpStructure webp_structure(SourceBytes& bytes, bool lenient) {
    return ChunkWalk(bytes, lenient).run();
}

}  // namespace zelmor::imagework

// The facts in the chunks of a PNG file: all of them stand before the first pixel data.
#include <algorithm>
#include <cstdint>
#include <optional>

#include "runtime/native/formats/format_room.h"
#include "runtime/native/formats/png/png_encoding.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/palette_entry.h"

namespace zelmor::imagework {
namespace {

constexpr int kMostIntent = 3;

// Channels of a pixel; 0 for a number that is no color type.
int channels_of(PngColor color) {
    switch (color) {
        case PngColor::kGray:
        case PngColor::kIndexed:
            return 1;
        case PngColor::kGrayAlpha:
            return 2;
        case PngColor::kTruecolor:
            return 3;
        case PngColor::kTruecolorAlpha:
            return 4;
        case PngColor::kAuto:
            break;
    }
    return 0;
}

// The one color that tRNS takes out of a gray or RGB picture, brought to 8 bits.
std::optional<Argb> png_key_color(const ByteReader& in, uint64_t chunk, uint32_t length, PngColor color, int depth) {
    auto to8 = [&](uint64_t offset) -> uint32_t {
        uint32_t value = in.u16(offset);
        uint32_t top = (1U << depth) - 1;
        return depth == 16 ? value >> 8 : std::min(value, top) * 255 / top;
    };
    if (color == PngColor::kGray && length >= 2) {
        return 0xFF000000 | to8(chunk) * 0x010101;
    }
    if (color == PngColor::kTruecolor && length >= 6) {
        return 0xFF000000 | to8(chunk) << 16 | to8(chunk + 2) << 8 | to8(chunk + 4);
    }
    return std::nullopt;
}

// The same as the samples of the file, which it is written with.
std::optional<PngKey> png_key(const ByteReader& in, uint64_t chunk, uint32_t length, PngColor color, int depth) {
    const uint32_t samples = color == PngColor::kGray ? 1 : color == PngColor::kTruecolor ? 3 : 0;
    if (samples == 0 || length < 2 * samples) {
        return std::nullopt;
    }
    PngKey key{depth, {}};
    const auto top = static_cast<uint16_t>((1U << depth) - 1);
    for (uint32_t i = 0; i < samples; i++) {
        key.samples[i] = in.u16(chunk + 2 * uint64_t{i}) & top;
    }
    return key;
}

// What is kept of a file besides what the settings say.
struct NotedChunk {
    const char* type;
    PngNote::About about;
};
constexpr NotedChunk kNoted[] = {
    {"cICP", PngNote::About::kColors},    {"mDCV", PngNote::About::kColors},    {"mDCv", PngNote::About::kColors},
    {"cLLI", PngNote::About::kColors},    {"cLLi", PngNote::About::kColors},    {"sBIT", PngNote::About::kForm},
    {"bKGD", PngNote::About::kForm},      {"hIST", PngNote::About::kUntouched}, {"oFFs", PngNote::About::kUntouched},
    {"pCAL", PngNote::About::kUntouched}, {"sCAL", PngNote::About::kUntouched}, {"sTER", PngNote::About::kUntouched},
};

void take_note(const ByteReader& in, uint64_t chunk, uint32_t length, PngEncoding& encoding) {
    constexpr uint32_t kLongest = 4096;
    for (const NotedChunk& noted : kNoted) {
        const auto same = [&](const PngNote& note) { return std::equal(noted.type, noted.type + 4, note.type.data()); };
        if (!in.starts_with(chunk + 4, noted.type) || length > kLongest || !in.has(chunk + 8, length) ||
            std::any_of(encoding.notes.begin(), encoding.notes.end(), same)) {
            continue;
        }
        PngNote note{noted.about, {}, {}};
        std::copy_n(noted.type, 4, note.type.begin());
        const auto content = in.piece(chunk + 8, length);
        note.content.assign(content.begin(), content.end());
        encoding.notes.push_back(std::move(note));
    }
}

void probe_png(const ByteReader& file, FileFacts& facts) {
    const ByteReader in = file.in_order(true);
    if (!in.starts_with(12, "IHDR")) {
        return;
    }
    int depth = in.u8(24);
    const auto color = static_cast<PngColor>(in.u8(25));
    const int channels = channels_of(color);
    int interlace = in.u8(28);
    if (!in.ok() || channels == 0 || (depth & (depth - 1)) != 0 || depth == 0 || depth > 16) {
        return;
    }
    facts.width = in.u32(16);
    facts.height = in.u32(20);
    facts.bits_per_pixel = channels * depth;
    facts.has_alpha = color == PngColor::kGrayAlpha || color == PngColor::kTruecolorAlpha;
    facts.readable = facts.width > 0 && facts.height > 0;
    PngEncoding encoding;
    encoding.color = color;
    encoding.bit_depth = depth;
    encoding.interlaced = interlace == 1;
    encoding.notes_color = color;
    encoding.notes_depth = depth;
    for (uint64_t at = 33; in.has(at, 12);) {
        uint32_t length = in.u32(at);
        if (in.starts_with(at + 4, "IDAT") || in.starts_with(at + 4, "IEND")) {
            break;
        }
        if (in.starts_with(at + 4, "PLTE") && color == PngColor::kIndexed && facts.palette.empty()) {
            constexpr uint64_t kMost = 256 * 3;
            const uint64_t end = at + 8 + std::min<uint64_t>(length, kMost);
            for (uint64_t entry = at + 8; entry + 3 <= end && in.has(entry, 3); entry += 3) {
                facts.palette.push_back(rgb_entry(in, entry));
            }
        } else if (in.starts_with(at + 4, "tRNS")) {
            facts.has_alpha = true;
            for (size_t i = 0; i < std::min<uint64_t>(facts.palette.size(), length); i++) {
                facts.palette[i] = (facts.palette[i] & 0xFFFFFF) | static_cast<Argb>(in.u8(at + 8 + i)) << 24;
            }
            facts.transparent_color = png_key_color(in, at + 8, length, color, depth);
            encoding.key = png_key(in, at + 8, length, color, depth);
        } else if (in.starts_with(at + 4, "pHYs")) {
            facts.has_resolution = in.u8(at + 16) == 1;  // per meter
            if (in.u8(at + 16) == 0 && length == 9) {
                encoding.aspect = {in.u32(at + 8), in.u32(at + 12)};
            }
        } else if (in.starts_with(at + 4, "acTL")) {
            facts.variant = Variant::kApng;
            facts.has_still = true;
            facts.frame_count = static_cast<int>(std::clamp<uint32_t>(in.u32(at + 8), 1, 0x7FFFFFFF));
            encoding.plays = static_cast<int>(in.u32(at + 12) & 0x7FFFFFFF);
        } else if (in.starts_with(at + 4, "sRGB") && length == 1) {
            encoding.srgb_intent = std::min<int>(in.u8(at + 8), kMostIntent);
        } else if (in.starts_with(at + 4, "gAMA") && length == 4) {
            encoding.srgb_gamma = true;
        } else if (in.starts_with(at + 4, "cHRM") && length == 32) {
            encoding.srgb_chromaticities = true;
        } else {
            take_note(in, at, length, encoding);
        }
        at += 12 + static_cast<uint64_t>(length);
    }
    facts.encoding = encoding;
}

bool begins_png(const ByteReader& in) {
    return in.starts_with(0, "\x89PNG\r\n\x1A\n");
}

// A chunk's name is four letters; where it is not, a reader has lost its way.
bool is_chunk_name(std::span<const uint8_t> name) {
    return std::all_of(name.begin(), name.end(),
                       [](uint8_t c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); });
}

class PngEnd final : public PictureEnd {
 public:
    explicit PngEnd(const FileFacts& facts) : PictureEnd(facts) {
        for (int frame = 1;
             facts.variant == Variant::kApng && frame < std::min(facts.frame_count, static_cast<int>(limits::kFrames));
             frame++) {
            add_picture(facts.width, facts.height, facts.bits_per_pixel);
        }
    }
    uint64_t needed(std::span<const uint8_t> data) override {
        const ByteReader in(data, true);
        for (;;) {
            if (!in.has(m_at, kEmptyChunk)) {
                return m_at + kEmptyChunk;
            }
            // A decoder stops here too.
            if (!is_chunk_name(in.piece(m_at + 4, 4)) || in.u32(m_at) > 0x7FFFFFFF || m_count > limits::kChunks) {
                return m_at + kEmptyChunk;
            }
            const uint64_t end = m_at + kEmptyChunk + in.u32(m_at);
            if (in.starts_with(m_at + 4, "IEND")) {
                return end;
            }
            if (end > data.size()) {
                return end + kEmptyChunk;
            }
            m_at = end;
            m_count++;
        }
    }

 private:
    static constexpr uint64_t kEmptyChunk = 12;
    uint64_t m_at = 8;
    uint64_t m_count = 0;  // of the chunks before it
};

std::unique_ptr<PictureEnd> png_end(const FileFacts& facts) {
    return std::make_unique<PngEnd>(facts);
}

constexpr const char* kPngExtensions[] = {"png", "apng"};

}  // namespace

extern const FormatRoom kPngRoom;
const FormatRoom kPngRoom{
    .format = Format::kPng,
    .name = "PNG",
    .extensions = kPngExtensions,
    .begins = &begins_png,
    .probe = &probe_png,
    .end = &png_end,
    .default_settings = &default_settings_of<PngEncoding>,
};

}  // namespace zelmor::imagework

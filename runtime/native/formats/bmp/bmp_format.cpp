// The facts in a BMP file: the file header, then an information header of one of several lengths.
#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

#include "runtime/native/formats/bmp/bmp_compressions.h"
#include "runtime/native/formats/bmp/bmp_encoding.h"
#include "runtime/native/formats/format_room.h"
#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/palette_entry.h"

namespace zelmor::imagework {
namespace {

BmpCompression compression_of(uint32_t storage) {
    switch (storage) {
        case kBiRle8:
            return BmpCompression::kRle8;
        case kBiRle4:
            return BmpCompression::kRle4;
        case kBiBitFields:
        case kBiAlphaBitFields:
            return BmpCompression::kBitFields;
        default:
            return BmpCompression::kRgb;
    }
}

// The bit fields of a pixel of 16 bits, if each is one run of at most 8 bits and they do not overlap; otherwise zeros.
std::array<uint32_t, 4> short_masks(const ByteReader& in, bool alpha) {
    const std::array<uint32_t, 4> masks{in.u32(54), in.u32(58), in.u32(62), alpha ? in.u32(66) : 0};
    uint32_t all = 0;
    for (size_t i = 0; i < masks.size(); i++) {
        const uint32_t mask = masks[i];
        const uint32_t run = mask == 0 ? 0 : mask >> std::countr_zero(mask);
        const bool fits = mask <= 0xFFFF && (mask != 0 || i == 3) && run <= 0xFF && (run & (run + 1)) == 0;
        if (!fits || (all & mask) != 0) {
            return {};
        }
        all |= mask;
    }
    return masks;
}

void probe_bmp(const ByteReader& file, FileFacts& facts) {
    const ByteReader in = file.in_order(false);
    uint32_t header = in.u32(14);
    BmpEncoding encoding;
    if (header == 12) {
        facts.width = in.u16(18);
        facts.height = in.u16(20);
        encoding.bits_per_pixel = in.u16(24);
    } else if (header >= 16) {
        facts.width = in.i32(18);
        int64_t height = in.i32(22);
        facts.height = height < 0 ? -height : height;  // negative: rows run from top to bottom
        encoding.bits_per_pixel = in.u16(28);
        uint32_t compression = header >= 20 ? in.u32(30) : kBiRgb;
        encoding.compression = compression_of(compression);
        // The mask of the alpha channel stands in the longer headers only.
        const bool alpha = header >= 56 || compression == kBiAlphaBitFields;
        facts.has_alpha = encoding.compression == BmpCompression::kBitFields && header >= 56 && in.u32(66) != 0;
        if (encoding.bits_per_pixel == 16 && encoding.compression == BmpCompression::kBitFields) {
            encoding.masks = short_masks(in, alpha);
        }
    }
    int bits = encoding.bits_per_pixel;
    facts.bits_per_pixel = bits;
    facts.has_resolution = header >= 40 && in.i32(38) > 0 && in.i32(42) > 0;
    facts.readable = in.ok() && facts.width > 0 && facts.height > 0 &&
                     (bits == 1 || bits == 2 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32);
    facts.encoding = encoding;
    if (!facts.readable || bits > 8) {
        return;
    }
    const uint64_t entry = header == 12 ? 3 : 4;
    const uint64_t used = header >= 40 && in.u32(46) != 0 ? in.u32(46) : 1ULL << bits;
    uint64_t at = 14 + static_cast<uint64_t>(header);
    uint64_t count = std::min<uint64_t>(used, 1ULL << bits);
    if (const uint64_t pixels_at = in.u32(10); pixels_at >= at) {
        count = std::min(count, (pixels_at - at) / entry);
    }
    for (uint64_t i = 0; i < count && in.has(at, 3); i++, at += entry) {
        const Argb turned = rgb_entry(in, at);  // B, G, R
        facts.palette.push_back((turned & 0xFF00FF00) | (turned & 0xFF) << 16 | (turned >> 16 & 0xFF));
    }
}

bool begins_bmp(const ByteReader& in) {
    return in.starts_with(0, "BM");
}

class BmpEnd final : public PictureEnd {
 public:
    explicit BmpEnd(const FileFacts& facts) : PictureEnd(facts), m_facts(facts) {}
    uint64_t needed(std::span<const uint8_t> data) override {
        const ByteReader in(data);
        if (!in.has(0, kHeader)) {
            return kHeader;
        }
        const auto* bmp = settings_as<BmpEncoding>(m_facts);
        const bool counted = bmp != nullptr && (bmp->compression == BmpCompression::kRgb ||
                                                bmp->compression == BmpCompression::kBitFields);
        if (!m_facts.readable || !counted) {
            return kUnknown;
        }
        const uint64_t row =
            (static_cast<uint64_t>(m_facts.width) * static_cast<uint64_t>(bmp->bits_per_pixel) + 31) / 32;
        const uint64_t pixels_end = in.u32(10) + 4 * row * static_cast<uint64_t>(m_facts.height);
        // Masks and palette lie between, unless the offset of the pixels is wrong.
        const uint64_t header_end = 14 + std::min<uint64_t>(in.u32(14), kLongestHeader);
        constexpr uint64_t kMasksAndPalette = 16 + 4 * 256;
        return in.u32(10) > header_end ? pixels_end : std::max(pixels_end, header_end + kMasksAndPalette);
    }

 private:
    static constexpr uint64_t kHeader = 18;
    static constexpr uint64_t kLongestHeader = 1024;
    FileFacts m_facts;
};

std::unique_ptr<PictureEnd> bmp_end(const FileFacts& facts) {
    return std::make_unique<BmpEnd>(facts);
}

constexpr const char* kBmpExtensions[] = {"bmp", "dib"};

}  // namespace

extern const FormatRoom kBmpRoom;
const FormatRoom kBmpRoom{
    .format = Format::kBmp,
    .name = "BMP",
    .extensions = kBmpExtensions,
    .begins = &begins_bmp,
    .probe = &probe_bmp,
    .end = &bmp_end,
    .default_settings = &default_settings_of<BmpEncoding>,
};

}  // namespace zelmor::imagework

// The ends of formats whose pieces follow each other; see picture_end.h.
#include "runtime/native/imagework/probe/picture_end.h"

#include <algorithm>
#include <cstring>

#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/jpeg_markers.h"

namespace zelmor::imagework {

void PictureEnd::add_picture(int64_t width, int64_t height, int64_t bits_per_pixel) {
    // Headers are not to be trusted: the numbers in them must not overflow here.
    const auto side = [](int64_t length) {
        return static_cast<uint64_t>(std::clamp<int64_t>(length, 0, limits::kSide));
    };
    const auto bits =
        static_cast<uint64_t>(std::clamp<int64_t>(bits_per_pixel, 8, limits::kBitsOfSample * limits::kSamplesOfPixel));
    constexpr uint64_t kOfEachRow = 16;
    constexpr uint64_t kMost = uint64_t{1} << 60;
    m_raw_bytes = std::min(kMost, m_raw_bytes + (side(width) * bits / 8 + kOfEachRow) * side(height));
}

void PictureEnd::add_values(uint64_t bytes) {
    constexpr auto kMost = static_cast<uint64_t>(limits::kArrayBytes);
    m_value_bytes = std::min(kMost, m_value_bytes + std::min(kMost, bytes));
}

namespace {

// A chunk's name is four letters, of WebP four characters; where it is not, a reader has lost its way.
bool is_chunk_name(std::span<const uint8_t> name) {
    return std::all_of(name.begin(), name.end(),
                       [](uint8_t c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); });
}
bool is_printable(std::span<const uint8_t> name) {
    return std::all_of(name.begin(), name.end(), [](uint8_t c) { return c >= ' ' && c <= '~'; });
}

class PngEnd final : public PictureEnd {
 public:
    explicit PngEnd(const FileFacts& facts) : PictureEnd(facts) {
        for (int frame = 1; facts.is_apng && frame < std::min(facts.frame_count, static_cast<int>(limits::kFrames));
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
            if (!is_chunk_name(in.piece(m_at + 4, 4)) || in.u32(m_at) > 0x7FFFFFFF) {
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
        }
    }

 private:
    static constexpr uint64_t kEmptyChunk = 12;
    uint64_t m_at = 8;
};

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

class JpegEnd final : public PictureEnd {
 public:
    explicit JpegEnd(const FileFacts& facts) : PictureEnd(facts) {}
    uint64_t needed(std::span<const uint8_t> data) override {
        const ByteReader in(data, true);
        for (;;) {
            if (m_in_scan && !skip_scan(data)) {
                return data.size() + kStep;
            }
            if (!in.has(m_at, 2)) {
                return m_at + 2;
            }
            const int marker = in.u8(m_at + 1);
            if (in.u8(m_at) != 0xFF) {
                return kUnknown;
            }
            if (marker == kJpegFill) {
                m_at++;
            } else if (marker == kJpegEnd) {
                return m_at + 2;
            } else if (is_bare_jpeg_marker(marker)) {
                m_at += 2;
            } else {
                if (!in.has(m_at, 4)) {
                    return m_at + 4;
                }
                m_at += 2 + uint64_t{in.u16(m_at + 2)};
                m_in_scan = marker == kJpegScan;
            }
        }
    }

 private:
    // To the next marker that does not belong to the data of the scan; false where it has not come yet.
    bool skip_scan(std::span<const uint8_t> data) {
        while (m_at + 1 < data.size()) {
            const auto* found = static_cast<const uint8_t*>(
                std::memchr(data.data() + m_at, 0xFF, static_cast<size_t>(data.size() - m_at)));
            m_at = found != nullptr ? static_cast<uint64_t>(found - data.data()) : data.size();
            if (m_at + 1 >= data.size()) {
                return false;
            }
            const uint8_t next = data[m_at + 1];
            if (next != kJpegStuffing && next != kJpegFill && !is_jpeg_restart(next)) {
                m_in_scan = false;
                return true;
            }
            m_at += next == kJpegFill ? 1 : 2;
        }
        return false;
    }

    static constexpr uint64_t kStep = 1024;
    uint64_t m_at = 2;
    bool m_in_scan = false;
};

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

class NoEnd final : public PictureEnd {
 public:
    explicit NoEnd(const FileFacts& facts) : PictureEnd(facts) {}
    uint64_t needed(std::span<const uint8_t>) override { return 0; }
};

}  // namespace

std::unique_ptr<PictureEnd> picture_end(const FileFacts& facts) {
    switch (facts.format) {
        case Format::kPng:
            return std::make_unique<PngEnd>(facts);
        case Format::kGif:
            return std::make_unique<GifEnd>(facts);
        case Format::kJpeg:
            return std::make_unique<JpegEnd>(facts);
        case Format::kBmp:
            return std::make_unique<BmpEnd>(facts);
        case Format::kWebp:
            return std::make_unique<WebpEnd>(facts);
        case Format::kTiff:
            return tiff_end(facts);
        case Format::kUnknown:
            break;
    }
    return std::make_unique<NoEnd>(facts);
}

}  // namespace zelmor::imagework

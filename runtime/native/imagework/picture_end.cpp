// The ends of formats whose pieces follow each other; see picture_end.h.
#include "runtime/native/imagework/picture_end.h"

#include <algorithm>
#include <cstring>

#include "runtime/native/imagework/byte_reader.h"

namespace zelmor::imagework {

void PictureEnd::add_picture(int64_t width, int64_t height, int64_t bits_per_pixel) {
    // Headers are not to be trusted, and what they claim must not overflow.
    const auto side = [](int64_t length) { return static_cast<uint64_t>(std::clamp<int64_t>(length, 0, 1 << 24)); };
    const auto bits = static_cast<uint64_t>(std::clamp<int64_t>(bits_per_pixel, 8, 4096));
    constexpr uint64_t kOfEachRow = 16;
    constexpr uint64_t kMost = uint64_t{1} << 60;
    raw_bytes_ = std::min(kMost, raw_bytes_ + (side(width) * bits / 8 + kOfEachRow) * side(height));
}

void PictureEnd::add_values(uint64_t bytes) {
    constexpr uint64_t kMost = 0x7FFFFFFF;  // that of a managed array
    value_bytes_ = std::min(kMost, value_bytes_ + std::min(kMost, bytes));
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
        for (int frame = 1; facts.is_apng && frame < std::min(facts.frame_count, 1 << 16); frame++)
            add_picture(facts.width, facts.height, facts.bits_per_pixel);
    }
    uint64_t needed(std::span<const uint8_t> data) override {
        const ByteReader in(data, true);
        for (;;) {
            if (!in.has(at_, kEmptyChunk)) return at_ + kEmptyChunk;
            // A decoder stops here too.
            if (!is_chunk_name(in.piece(at_ + 4, 4)) || in.u32(at_) > 0x7FFFFFFF) return at_ + kEmptyChunk;
            const uint64_t end = at_ + kEmptyChunk + in.u32(at_);
            if (in.starts_with(at_ + 4, "IEND")) return end;
            if (end > data.size()) return end + kEmptyChunk;
            at_ = end;
        }
    }

 private:
    static constexpr uint64_t kEmptyChunk = 12;
    uint64_t at_ = 8;
};

class GifEnd final : public PictureEnd {
 public:
    explicit GifEnd(const FileFacts& facts) : PictureEnd(facts), facts_(facts) {}
    uint64_t needed(std::span<const uint8_t> data) override {
        const ByteReader in(data);
        if (at_ == 0) {
            if (!in.has(0, 13)) return 13;
            at_ = 13 + palette_size(in.u8(10));
        }
        for (;;) {
            if (!in.has(at_, 1)) return at_ + 1;
            const uint8_t first = in.u8(at_);
            if (in_sub_blocks_) {
                in_sub_blocks_ = first != 0;
                at_ += 1 + uint64_t{first};
            } else if (first == 0x3B) {
                return at_ + 1;
            } else if (first == 0x21) {
                at_ += 2;
                in_sub_blocks_ = true;
            } else if (first == 0x2C) {
                if (!in.has(at_, 10)) return at_ + 10;
                at_ += 11 + palette_size(in.u8(at_ + 9));
                in_sub_blocks_ = true;
                add_picture(facts_.width, facts_.height, facts_.bits_per_pixel);
            } else {
                return kUnknown;
            }
        }
    }

 private:
    static uint64_t palette_size(int flags) { return (flags & 0x80) != 0 ? uint64_t{6} << (flags & 7) : 0; }

    FileFacts facts_;
    uint64_t at_ = 0;
    bool in_sub_blocks_ = false;
};

class JpegEnd final : public PictureEnd {
 public:
    explicit JpegEnd(const FileFacts& facts) : PictureEnd(facts) {}
    uint64_t needed(std::span<const uint8_t> data) override {
        const ByteReader in(data, true);
        for (;;) {
            if (in_scan_ && !skip_scan(data)) return data.size() + kStep;
            if (!in.has(at_, 2)) return at_ + 2;
            const int marker = in.u8(at_ + 1);
            if (in.u8(at_) != 0xFF) return kUnknown;
            if (marker == 0xFF) {  // fill byte
                at_++;
            } else if (marker == 0xD9) {
                return at_ + 2;
            } else if (marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8)) {  // no length
                at_ += 2;
            } else {
                if (!in.has(at_, 4)) return at_ + 4;
                at_ += 2 + uint64_t{in.u16(at_ + 2)};
                in_scan_ = marker == 0xDA;
            }
        }
    }

 private:
    // To the next marker that does not belong to the data of the scan; false where it has not come yet.
    bool skip_scan(std::span<const uint8_t> data) {
        while (at_ + 1 < data.size()) {
            const auto* found = static_cast<const uint8_t*>(
                std::memchr(data.data() + at_, 0xFF, static_cast<size_t>(data.size() - at_)));
            at_ = found ? static_cast<uint64_t>(found - data.data()) : data.size();
            if (at_ + 1 >= data.size()) return false;
            const uint8_t next = data[at_ + 1];
            if (next != 0 && next != 0xFF && (next < 0xD0 || next > 0xD7)) {
                in_scan_ = false;
                return true;
            }
            at_ += next == 0xFF ? 1 : 2;
        }
        return false;
    }

    static constexpr uint64_t kStep = 1024;
    uint64_t at_ = 2;
    bool in_scan_ = false;
};

class BmpEnd final : public PictureEnd {
 public:
    explicit BmpEnd(const FileFacts& facts) : PictureEnd(facts), facts_(facts) {}
    uint64_t needed(std::span<const uint8_t> data) override {
        const ByteReader in(data);
        if (!in.has(0, kHeader)) return kHeader;
        const auto* bmp = facts_.encoding ? std::get_if<BmpEncoding>(&*facts_.encoding) : nullptr;
        const bool counted =
            bmp && (bmp->compression == BmpCompression::kRgb || bmp->compression == BmpCompression::kBitFields);
        if (!facts_.readable || !counted) return kUnknown;
        const uint64_t row =
            (static_cast<uint64_t>(facts_.width) * static_cast<uint64_t>(bmp->bits_per_pixel) + 31) / 32;
        const uint64_t pixels_end = in.u32(10) + 4 * row * static_cast<uint64_t>(facts_.height);
        // Masks and palette lie between, unless what says where the pixels are is wrong.
        const uint64_t header_end = 14 + std::min<uint64_t>(in.u32(14), kLongestHeader);
        constexpr uint64_t kMasksAndPalette = 16 + 4 * 256;
        return in.u32(10) > header_end ? pixels_end : std::max(pixels_end, header_end + kMasksAndPalette);
    }

 private:
    static constexpr uint64_t kHeader = 18;
    static constexpr uint64_t kLongestHeader = 1024;
    FileFacts facts_;
};

class WebpEnd final : public PictureEnd {
 public:
    explicit WebpEnd(const FileFacts& facts) : PictureEnd(facts), facts_(facts) {}
    uint64_t needed(std::span<const uint8_t> data) override {
        const ByteReader in(data);
        if (!in.has(0, 12)) return 12;
        const uint64_t end = 8 + uint64_t{in.u32(4)} + (in.u32(4) & 1);
        for (;;) {
            if (at_ + 8 > end) return end;
            if (!in.has(at_, 8)) return at_ + 8;
            if (!is_printable(in.piece(at_, 4))) return at_;
            if (in.starts_with(at_, "ANMF")) add_picture(facts_.width, facts_.height, facts_.bits_per_pixel);
            at_ += 8 + uint64_t{in.u32(at_ + 4)} + (in.u32(at_ + 4) & 1);
        }
    }

 private:
    FileFacts facts_;
    uint64_t at_ = 12;
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

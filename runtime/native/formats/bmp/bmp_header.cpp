// Reading the header; see bmp_header.h.
#include "runtime/native/formats/bmp/bmp_header.h"

#include <algorithm>
#include <bit>
#include <iterator>

#include "runtime/native/formats/bmp/bmp_compressions.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::imagework {
namespace {

constexpr uint64_t kInformation = 14;  // where the information header begins

std::array<uint32_t, 4> channel_masks(const ByteReader& in, const BmpHeader& header, uint32_t header_size) {
    if (header.storage == kBiBitFields || header.storage == kBiAlphaBitFields) {
        // The masks follow the 40 bytes of the plain header, whether a longer header counts them as its own or not.
        const bool alpha = header.storage == kBiAlphaBitFields || header_size >= 56;
        return {in.u32(54), in.u32(58), in.u32(62), alpha ? in.u32(66) : 0};
    }
    if (header.bits == 16) {
        return {0x7C00, 0x03E0, 0x001F, 0};
    }
    return {0x00FF0000, 0x0000FF00, 0x000000FF, 0};
}

}  // namespace

ChannelMask::ChannelMask(uint32_t mask) : m_mask(mask) {
    if (mask != 0) {
        m_shift = std::countr_zero(mask);
        m_top = mask >> m_shift;
    }
}

std::optional<int> ChannelMask::byte() const {
    return m_top == 0xFF && m_shift % 8 == 0 ? std::optional(m_shift / 8) : std::nullopt;
}

bool BmpHeader::has_runs() const {
    return storage == kBiRle8 || storage == kBiRle4;
}

void bmp_damaged(const std::string& text) {
    throw PictureError(Failure::kDamaged, text);
}

BmpHeader read_bmp_header(const ByteReader& in) {
    BmpHeader header;
    const uint32_t size = in.u32(kInformation);
    header.pixels_at = in.u32(10);
    int64_t width = 0;
    int64_t height = 0;
    if (size == 12) {
        width = in.u16(18);
        height = in.u16(20);
        header.bits = in.u16(24);
    } else if (size >= 16 && size <= 1024) {
        width = in.i32(18);
        height = in.i32(22);
        header.bits = in.u16(28);
        if (size >= 40) {
            header.storage = in.u32(30);
            if (in.i32(38) > 0 && in.i32(42) > 0) {
                header.resolution = Resolution{in.i32(38) * kMetersPerInch, in.i32(42) * kMetersPerInch};
            }
        }
    } else {
        bmp_damaged("the header length " + std::to_string(size) + " belongs to no kind of BMP");
    }
    if (!in.ok()) {
        bmp_damaged("the header is incomplete");
    }
    header.top_down = height < 0;
    height = height < 0 ? -height : height;
    if (width <= 0 || height <= 0) {
        bmp_damaged("the size " + std::to_string(width) + " by " + std::to_string(height) + " is not one of a picture");
    }
    check_picture_size(width, 1, 1);
    check_picture_size(1, height, 1);
    header.width = static_cast<int32_t>(width);
    header.height = static_cast<int32_t>(height);
    static constexpr int kBits[] = {1, 2, 4, 8, 16, 24, 32};
    if (std::find(std::begin(kBits), std::end(kBits), header.bits) == std::end(kBits)) {
        bmp_damaged("there is no BMP of " + std::to_string(header.bits) + " bits per pixel");
    }
    const bool fields = header.storage == kBiBitFields || header.storage == kBiAlphaBitFields;
    const bool known = header.storage == kBiRgb || (header.storage == kBiRle8 && header.bits == 8) ||
                       (header.storage == kBiRle4 && header.bits == 4) ||
                       (fields && (header.bits == 16 || header.bits == 32));
    if (!known) {
        throw PictureError(Failure::kUnsupported, "compression " + std::to_string(header.storage) + " with " +
                                                      std::to_string(header.bits) + " bits per pixel is not supported");
    }
    if (header.bits == 16 || header.bits == 32) {
        const auto masks = channel_masks(in, header, size);
        std::transform(masks.begin(), masks.end(), header.masks.begin(),
                       [](uint32_t mask) { return ChannelMask(mask); });
    }
    return header;
}

}  // namespace zelmor::imagework

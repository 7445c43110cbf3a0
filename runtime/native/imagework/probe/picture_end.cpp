// What the ends of all formats share, and the choice among them; see picture_end.h.
#include "runtime/native/imagework/probe/picture_end.h"

#include <algorithm>

#include "runtime/native/formats/format_room.h"
#include "runtime/native/imagework/limits.h"

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

class NoEnd final : public PictureEnd {
 public:
    explicit NoEnd(const FileFacts& facts) : PictureEnd(facts), m_is_known(facts.format != Format::kUnknown) {}
    uint64_t needed(std::span<const uint8_t>) override { return m_is_known ? kUnknown : 0; }

 private:
    bool m_is_known;
};

}  // namespace

std::unique_ptr<PictureEnd> picture_end(const FileFacts& facts) {
    if (facts.format != Format::kUnknown && room_of(facts.format).end != nullptr) {
        return room_of(facts.format).end(facts);
    }
    return std::make_unique<NoEnd>(facts);
}

}  // namespace zelmor::imagework

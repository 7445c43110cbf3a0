// Packing of samples into colors; see argb_rows.h.
#include "runtime/native/imagework/vips/argb_rows.h"

#include <cassert>

using vips::VImage;

namespace zelmor::imagework {
namespace {

template <class Sample, int bands>
void pack(const Sample* from, Argb* to, size_t pixels) {
    constexpr int kDrop = sizeof(Sample) == 2 ? 8 : 0;
    const auto level = [](Sample sample) { return static_cast<Argb>(sample) >> kDrop; };
    for (size_t x = 0; x < pixels; x++, from += bands) {
        const Argb alpha = bands % 2 == 0 ? level(from[bands - 1]) : 0xFF;
        if constexpr (bands < 3) {
            to[x] = alpha << 24 | level(from[0]) * 0x010101;
        } else {
            to[x] = alpha << 24 | level(from[0]) << 16 | level(from[1]) << 8 | level(from[2]);
        }
    }
}

template <class Sample>
void pack(const uint8_t* row, Argb* to, size_t pixels, int bands) {
    const auto* from = reinterpret_cast<const Sample*>(row);
    switch (bands) {
        case 1:
            return pack<Sample, 1>(from, to, pixels);
        case 2:
            return pack<Sample, 2>(from, to, pixels);
        case 3:
            return pack<Sample, 3>(from, to, pixels);
        default:
            return pack<Sample, 4>(from, to, pixels);
    }
}

}  // namespace

ArgbRows::ArgbRows(const VImage& image)
    : m_image((image.format() == VIPS_FORMAT_USHORT ? image : as_8_bit(image)).copy_memory()) {
    assert(image.bands() <= 4);
}

void ArgbRows::read(int y, Argb* to) const {
    if (m_image.format() == VIPS_FORMAT_USHORT) {
        pack<uint16_t>(row_of(m_image, y), to, width(), m_image.bands());
    } else {
        pack<uint8_t>(row_of(m_image, y), to, width(), m_image.bands());
    }
}

}  // namespace zelmor::imagework

// Search by distance over all entries; see palette_search.h.
#include "runtime/native/imagework/palette_search.h"

namespace zelmor::imagework {
namespace {

constexpr size_t kKnown = size_t{1} << 14;
constexpr uint32_t kNothing = 0xFFFFFFFF;

size_t place_of(Argb color) {
    return static_cast<size_t>(color * 2654435761U >> 18);  // the upper 14 bits of a multiplicative hash
}

}  // namespace

uint32_t color_distance(Argb a, Argb b) {
    const auto difference = [&](int shift) {
        const int d = static_cast<int>(a >> shift & 0xFF) - static_cast<int>(b >> shift & 0xFF);
        return static_cast<uint32_t>(d * d);
    };
    const uint32_t alpha = difference(24);
    if (a >> 24 == 0 || b >> 24 == 0) {
        return 3 * alpha;
    }
    return alpha + difference(16) + difference(8) + difference(0);
}

PaletteSearch::PaletteSearch(std::span<const Argb> palette)
    : m_palette(palette.begin(), palette.end()), m_known(kKnown, {0, kNothing}) {}

size_t PaletteSearch::nearest(Argb color) {
    Known& known = m_known[place_of(color)];
    if (known.index != kNothing && known.color == color) {
        return known.index;
    }
    size_t best = 0;
    uint32_t least = 0xFFFFFFFF;
    for (size_t i = 0; i < m_palette.size(); i++) {
        const uint32_t distance = color_distance(color, m_palette[i]);
        if (distance < least) {
            least = distance;
            best = i;
            if (distance == 0) {
                break;
            }
        }
    }
    known = {color, static_cast<uint32_t>(best)};
    return best;
}

}  // namespace zelmor::imagework

// Search in boxes of two sizes, the larger ones sifting for the smaller ones; see palette_search.h.
#include "runtime/native/imagework/palette_search.h"

#include <algorithm>
#include <cassert>
#include <numeric>

namespace zelmor::imagework {
namespace {

constexpr int kCoarseBits = 3;  // of each of red, green and blue
constexpr int kFineBits = 5;
constexpr size_t kOpaqueLayer = 8;

constexpr int channel(Argb color, int shift) {
    return static_cast<int>(color >> shift & 0xFF);
}

// The place of the color's box among those of so many bits a channel.
constexpr size_t place_of(Argb color, int bits) {
    const int drop = 8 - bits;
    return static_cast<size_t>(channel(color, 16) >> drop) << 2 * bits |
           static_cast<size_t>(channel(color, 8) >> drop) << bits | static_cast<size_t>(channel(color, 0) >> drop);
}

int square(int value) {
    return value * value;
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
    : m_palette(palette.begin(), palette.end()), m_indices(palette.size()) {
    std::iota(m_indices.begin(), m_indices.end(), 0U);
}

size_t PaletteSearch::searched(Argb color) {
    assert(!m_palette.empty());
    const Candidates candidates = candidates_of(color);
    size_t best = 0;
    uint32_t least = 0xFFFFFFFF;
    for (uint32_t i = candidates.begin; i < candidates.end; i++) {
        const uint32_t distance = color_distance(color, m_palette[m_indices[i]]);
        if (distance < least) {
            least = distance;
            best = m_indices[i];
        }
    }
    return best;
}

PaletteSearch::Candidates PaletteSearch::candidates_of(Argb color) {
    const Candidates all{0, static_cast<uint32_t>(m_palette.size())};
    const int alpha = channel(color, 24);
    if (alpha == 0) {
        return all;  // one color, which is remembered if it repeats
    }
    // Opaque colors have a layer of their own, the others share eight.
    const size_t range = alpha == 255 ? kOpaqueLayer : static_cast<size_t>(alpha >> 5);
    Layer& layer = m_layers[range];
    if (layer.fine.empty()) {
        layer.coarse.resize(size_t{1} << 3 * kCoarseBits);
        layer.fine.resize(size_t{1} << 3 * kFineBits);
    }
    Candidates& fine = layer.fine[place_of(color, kFineBits)];
    if (fine.end != 0) {
        return fine;
    }
    const auto box = [&](int bits) {
        const int size = 1 << (8 - bits);
        const auto low = [&](int shift) { return channel(color, shift) & -size; };
        const int least = alpha == 255 ? 255 : alpha & -32;
        return Box{{least, low(16), low(8), low(0)},
                   {alpha == 255 ? 255 : least + 31, low(16) + size - 1, low(8) + size - 1, low(0) + size - 1}};
    };
    Candidates& coarse = layer.coarse[place_of(color, kCoarseBits)];
    if (coarse.end == 0) {
        coarse = select(box(kCoarseBits), all);
    }
    fine = select(box(kFineBits), coarse);
    return fine;
}

// An entry cannot be the nearest to any color of the box if it is farther from all of them than another one is from the
// farthest of them.
PaletteSearch::Candidates PaletteSearch::select(const Box& box, Candidates among) {
    const auto distances = [&](Argb entry) {
        int least = 0;
        int most = 0;
        for (size_t i = 0; i < 4; i++) {
            const int value = channel(entry, 24 - 8 * static_cast<int>(i));
            const int outside = std::max({0, box.low[i] - value, value - box.high[i]});
            const int farthest = std::max(value - box.low[i], box.high[i] - value);
            if (i == 0 && value == 0) {
                return std::pair(3 * square(outside), 3 * square(farthest));
            }
            least += square(outside);
            most += square(farthest);
        }
        return std::pair(least, most);
    };
    std::vector<int> leasts(among.end - among.begin);
    int bound = 0x7FFFFFFF;
    for (size_t i = 0; i < leasts.size(); i++) {
        const auto [least, most] = distances(m_palette[m_indices[among.begin + i]]);
        leasts[i] = least;
        bound = std::min(bound, most);
    }
    const auto begin = static_cast<uint32_t>(m_indices.size());
    for (size_t i = 0; i < leasts.size(); i++) {
        if (leasts[i] <= bound) {
            m_indices.push_back(m_indices[among.begin + i]);
        }
    }
    return {begin, static_cast<uint32_t>(m_indices.size())};
}

}  // namespace zelmor::imagework

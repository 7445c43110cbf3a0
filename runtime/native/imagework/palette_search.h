// Finding the entry of a palette that is nearest to a color.
//
// Needs no image library; both sides of the backend's boundary use it.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PALETTE_SEARCH_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PALETTE_SEARCH_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

// Squared distance of two colors; of one without alpha no channel but alpha counts.
uint32_t color_distance(Argb a, Argb b);

// Divides the space of colors into boxes. For each box that a color is looked for in, it keeps the entries that can be
// nearest to any color in the box, which are few; they are found when the box is first needed.
class PaletteSearch {
 public:
    explicit PaletteSearch(std::span<const Argb> palette);
    // The first of the nearest entries. The palette must not be empty.
    size_t nearest(Argb color) {
        if (color == m_last && m_some_known) {
            return m_last_index;
        }
        m_last = color;
        m_last_index = searched(color);
        m_some_known = true;
        return m_last_index;
    }

 private:
    // Colors that agree in the upper bits of red, green and blue, and in the range of alpha.
    struct Box {
        std::array<int, 4> low;  // alpha, red, green, blue
        std::array<int, 4> high;
    };
    struct Candidates {
        uint32_t begin = 0;
        uint32_t end = 0;  // in m_indices; no box has none
    };
    struct Layer {
        std::vector<Candidates> coarse;
        std::vector<Candidates> fine;
    };

    size_t searched(Argb color);
    Candidates candidates_of(Argb color);
    Candidates select(const Box& box, Candidates among);

    std::vector<Argb> m_palette;
    std::vector<uint32_t> m_indices;
    std::array<Layer, 9> m_layers;  // by ranges of alpha
    Argb m_last = 0;
    size_t m_last_index = 0;
    bool m_some_known = false;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PALETTE_SEARCH_H

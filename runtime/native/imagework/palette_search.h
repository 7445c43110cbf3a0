// Finding the entry of a palette that is nearest to a color.
//
// Needs no image library; both sides of the backend's boundary use it.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PALETTE_SEARCH_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PALETTE_SEARCH_H

#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

// Squared distance of two colors; of one without alpha no channel but alpha counts.
uint32_t color_distance(Argb a, Argb b);

// Remembers what it found: pictures repeat their colors.
class PaletteSearch {
 public:
    explicit PaletteSearch(std::span<const Argb> palette);
    // The first of the nearest entries. The palette must not be empty.
    size_t nearest(Argb color);

 private:
    struct Known {
        Argb color;
        uint32_t index;
    };
    std::vector<Argb> m_palette;
    std::vector<Known> m_known;  // by a hash of the color; a later color drives out an earlier one
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PALETTE_SEARCH_H

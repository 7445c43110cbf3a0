// Finding the entry of a palette that is nearest to a colour.
//
// Needs no image library; both sides of the backend's boundary use it.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <vector>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

// Squared distance of two colours; of one without alpha no channel but alpha counts.
uint32_t color_distance(Argb a, Argb b);

// Remembers what it found: pictures repeat their colours.
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
    std::vector<Argb> palette_;
    std::vector<Known> known_;  // by a hash of the colour; a later colour drives out an earlier one
};

}  // namespace zelmor::imagework

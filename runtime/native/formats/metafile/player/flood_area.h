// The area of a flood fill in a block of pixels, and its outline.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_FLOOD_AREA_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_FLOOD_AREA_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "runtime/native/drawwork/geometry.h"

namespace zelmor::embed::metafile {

// Pixels of a picture that belong to an area, row by row.
class FloodArea {
 public:
    // All pixels that can be reached from the first one by steps to the four neighbors through pixels that are open,
    // row by row. Empty if the first one lies outside or is not open.
    static FloodArea reached(int32_t width, int32_t height, const std::vector<uint8_t>& open, int32_t x, int32_t y);

    bool empty() const { return m_inside.empty(); }
    bool contains(int32_t x, int32_t y) const;

    // Calls the function with the outlines of the area, as many rows at a time as keep one of them within bounds. Holes
    // run the other way round than what is around them.
    void for_outlines(const std::function<void(const drawwork::Outline&)>& use) const;

 private:
    FloodArea(int32_t width, int32_t height) : m_width(width), m_height(height) {}
    drawwork::Outline outline_of_rows(int32_t from, int32_t to) const;

    int32_t m_width, m_height;
    std::vector<uint8_t> m_inside;
};

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_FLOOD_AREA_H

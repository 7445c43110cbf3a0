// Reaching pixels from a first one, and walking round what was reached.
#include "runtime/native/formats/metafile/player/flood_area.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace zelmor::embed::metafile {

namespace {

using drawwork::Contour;
using drawwork::Outline;

constexpr size_t kMostRunEnds = 200'000;  // of one outline

}  // namespace

bool FloodArea::contains(int32_t x, int32_t y) const {
    return x >= 0 && x < m_width && y >= 0 && y < m_height && !m_inside.empty() &&
           m_inside[static_cast<size_t>(y) * static_cast<size_t>(m_width) + static_cast<size_t>(x)] != 0;
}

// Whole runs of a row at a time; a run waits once for each piece of the rows above and below that can be entered.
FloodArea FloodArea::reached(int32_t width, int32_t height, const std::vector<uint8_t>& open, int32_t x, int32_t y) {
    FloodArea area(width, height);
    const auto at = [&](int32_t column, int32_t row) {
        return static_cast<size_t>(row) * static_cast<size_t>(width) + static_cast<size_t>(column);
    };
    if (x < 0 || x >= width || y < 0 || y >= height || open[at(x, y)] == 0) {
        return area;
    }
    area.m_inside.resize(open.size());
    const auto enterable = [&](int32_t column, int32_t row) {
        return open[at(column, row)] != 0 && area.m_inside[at(column, row)] == 0;
    };
    std::vector<std::pair<int32_t, int32_t>> waiting{{x, y}};
    while (!waiting.empty()) {
        const auto [start, row] = waiting.back();
        waiting.pop_back();
        if (!enterable(start, row)) {
            continue;
        }
        int32_t left = start, right = start + 1;
        while (left > 0 && enterable(left - 1, row)) {
            --left;
        }
        while (right < width && enterable(right, row)) {
            ++right;
        }
        std::fill_n(area.m_inside.begin() + static_cast<ptrdiff_t>(at(left, row)), right - left, uint8_t{1});
        for (const int32_t next : {row - 1, row + 1}) {
            if (next < 0 || next >= height) {
                continue;
            }
            for (int32_t column = left; column < right; ++column) {
                if (enterable(column, next) && (column == left || !enterable(column - 1, next))) {
                    waiting.emplace_back(column, next);
                }
            }
        }
    }
    return area;
}

void FloodArea::for_outlines(const std::function<void(const Outline&)>& use) const {
    size_t ends = 0;
    int32_t from = 0;
    for (int32_t y = 0; y < m_height; ++y) {
        size_t of_row = 0;
        for (int32_t x = 0; x <= m_width; ++x) {
            of_row += contains(x, y) != contains(x - 1, y) ? 1 : 0;
        }
        if (ends + of_row > kMostRunEnds && y > from) {
            use(outline_of_rows(from, y));
            from = y;
            ends = 0;
        }
        ends += of_row;
    }
    if (ends > 0) {
        use(outline_of_rows(from, m_height));
    }
}

// Each side of a pixel that leads out of the area is a step, with the area on its right. Steps that meet at a corner
// are joined; where four do, those of one pixel are, so that pixels which touch at a corner only stay apart.
Outline FloodArea::outline_of_rows(int32_t from, int32_t to) const {
    enum Way : unsigned { kRight, kDown, kLeft, kUp, kWays };  // clockwise
    const auto inside = [&](int32_t x, int32_t y) { return y >= from && y < to && contains(x, y); };
    const auto columns = static_cast<size_t>(m_width) + 1;
    std::vector<uint8_t> ways(columns * (static_cast<size_t>(to - from) + 1));
    const auto at = [&](int32_t x, int32_t y) -> uint8_t& {
        return ways[static_cast<size_t>(y - from) * columns + static_cast<size_t>(x)];
    };
    for (int32_t y = from; y < to; ++y) {
        for (int32_t x = 0; x < m_width; ++x) {
            if (!inside(x, y)) {
                continue;
            }
            at(x, y) |= inside(x, y - 1) ? 0 : 1U << kRight;
            at(x + 1, y) |= inside(x + 1, y) ? 0 : 1U << kDown;
            at(x + 1, y + 1) |= inside(x, y + 1) ? 0 : 1U << kLeft;
            at(x, y + 1) |= inside(x - 1, y) ? 0 : 1U << kUp;
        }
    }
    Outline outline;
    for (int32_t top = from; top <= to; ++top) {
        for (int32_t left = 0; left <= m_width; ++left) {
            while (at(left, top) != 0) {
                int32_t x = left, y = top;
                auto way = static_cast<unsigned>(std::countr_zero(at(x, y)));
                Contour contour{{double(x), double(y)}, {}, true};
                for (;;) {
                    at(x, y) = static_cast<uint8_t>(at(x, y) & ~(1U << way));
                    x += way == kRight ? 1 : way == kLeft ? -1 : 0;
                    y += way == kDown ? 1 : way == kUp ? -1 : 0;
                    if (x == left && y == top) {
                        break;
                    }
                    const uint8_t on = at(x, y);
                    const unsigned last = way;
                    for (const unsigned turn : {1U, 0U, 3U}) {  // to the right, straight on, to the left
                        way = (last + turn) % kWays;
                        if ((on >> way & 1) != 0) {
                            break;
                        }
                    }
                    if (way != last) {
                        contour.line_to({double(x), double(y)});
                    }
                }
                outline.push_back(std::move(contour));
            }
        }
    }
    return outline;
}

}  // namespace zelmor::embed::metafile

// Sums of the differences that the filters leave; see png_filters.h. This file is compiled for speed: the loops become
// vector instructions.
#include "runtime/native/formats/png/png_filters.h"

#include <png.h>

#include <algorithm>
#include <cstdlib>

namespace zelmor::imagework {
namespace {

// A difference is a byte, and one of 200 is as good as one of -56.
uint32_t cost(int difference) {
    return static_cast<uint32_t>(std::abs(static_cast<int>(static_cast<int8_t>(difference))));
}

int paeth(int left, int above, int corner) {
    const int to_left = std::abs(above - corner);
    const int to_above = std::abs(left - corner);
    const int to_corner = std::abs(left + above - 2 * corner);
    const int nearer = to_above < to_left ? above : left;
    return to_corner < std::min(to_left, to_above) ? corner : nearer;
}

struct Sums {
    uint32_t none = 0;
    uint32_t sub = 0;
    uint32_t up = 0;
    uint32_t average = 0;
    uint32_t paeth = 0;
};

// Adds one byte's part. A sum cannot overflow: a piece of a row is summed at a time.
void add(Sums& sums, int value, int left, int above, int corner) {
    sums.none += cost(value);
    sums.sub += cost(value - left);
    sums.up += cost(value - above);
    sums.average += cost(value - (left + above) / 2);
    sums.paeth += cost(value - paeth(left, above, corner));
}

}  // namespace

int best_png_filter(const uint8_t* row, const uint8_t* above, size_t row_size, size_t step) {
    uint64_t none = 0;
    uint64_t sub = 0;
    uint64_t up = 0;
    uint64_t average = 0;
    uint64_t smallest = 0;
    constexpr size_t kPiece = size_t{1} << 20;
    Sums first;
    for (size_t i = 0; i < std::min(step, row_size); i++) {
        add(first, row[i], 0, above[i], 0);
    }
    for (size_t from = step; from < row_size; from += kPiece) {
        const size_t end = std::min(row_size, from + kPiece);
        Sums sums;
        for (size_t i = from; i < end; i++) {
            add(sums, row[i], row[i - step], above[i], above[i - step]);
        }
        none += sums.none;
        sub += sums.sub;
        up += sums.up;
        average += sums.average;
        smallest += sums.paeth;
    }
    none += first.none;
    sub += first.sub;
    up += first.up;
    average += first.average;
    smallest += first.paeth;
    const uint64_t least = std::min({none, sub, up, average, smallest});
    return least == none      ? PNG_FILTER_NONE
           : least == sub     ? PNG_FILTER_SUB
           : least == up      ? PNG_FILTER_UP
           : least == average ? PNG_FILTER_AVG
                              : PNG_FILTER_PAETH;
}

}  // namespace zelmor::imagework

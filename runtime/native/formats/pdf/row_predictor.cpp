// Differences of bytes from their neighbors; see row_predictor.h. This file is compiled for speed: the loops become
// vector instructions.
#include "runtime/native/formats/pdf/row_predictor.h"

#include <png.h>

#include <algorithm>
#include <cassert>
#include <cstdlib>

#include "runtime/native/formats/png/png_filters.h"

namespace zelmor::imagework {
namespace {

int paeth_of(int left, int above, int corner) {
    const int to_left = std::abs(above - corner);
    const int to_above = std::abs(left - corner);
    const int to_corner = std::abs(left + above - 2 * corner);
    const int nearer = to_above < to_left ? above : left;
    return to_corner < std::min(to_left, to_above) ? corner : nearer;
}

// The first pixel has nothing to its left.
template <class Guess>
void subtract(std::span<const uint8_t> row, const uint8_t* above, size_t step, uint8_t* out, Guess&& guess) {
    const size_t first = std::min(step, row.size());
    for (size_t i = 0; i < first; ++i) {
        out[i] = static_cast<uint8_t>(row[i] - guess(0, above[i], 0));
    }
    for (size_t i = first; i < row.size(); ++i) {
        out[i] = static_cast<uint8_t>(row[i] - guess(row[i - step], above[i], above[i - step]));
    }
}

}  // namespace

void RowPredictor::add(std::span<const uint8_t> row, std::vector<uint8_t>& out) {
    assert(row.size() == m_above.size());
    const size_t begin = out.size();
    out.resize(begin + 1 + row.size());
    uint8_t* const to = out.data() + begin + 1;
    const auto differences = [&](uint8_t number, auto&& guess) {
        out[begin] = number;
        subtract(row, m_above.data(), m_step, to, guess);
    };
    switch (best_png_filter(row.data(), m_above.data(), row.size(), m_step)) {
        case PNG_FILTER_NONE:
            out[begin] = 0;
            std::copy(row.begin(), row.end(), to);
            break;
        case PNG_FILTER_SUB:
            differences(1, [](int left, int, int) { return left; });
            break;
        case PNG_FILTER_UP:
            differences(2, [](int, int above, int) { return above; });
            break;
        case PNG_FILTER_AVG:
            differences(3, [](int left, int above, int) { return (left + above) / 2; });
            break;
        default:
            differences(4, [](int left, int above, int corner) { return paeth_of(left, above, corner); });
    }
    std::copy(row.begin(), row.end(), m_above.begin());
}

}  // namespace zelmor::imagework

// Finding the made up pixels; see lost_pixels.h.
#include "runtime/native/imagework/codecs/lost_pixels.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>

namespace zelmor::imagework {
namespace {

// A JPEG is decoded in bands of so many rows at most: in the band with the damage, blocks are lost from a column on.
constexpr int32_t kMostBandRows = 16;

// The tone of a color, in thousandths. Colors are no measure: the decoder of a JPEG
// mixes those of its last blocks into the pixels behind them.
int tone(Argb color) {
    const auto channel = [&](int shift) { return static_cast<int>(color >> shift & 0xFF); };
    return 299 * channel(16) + 587 * channel(8) + 114 * channel(0);
}

class LostPixels {
 public:
    explicit LostPixels(const Picture& picture)
        : m_picture(picture), m_row(static_cast<size_t>(picture.width())), m_fill(read(picture.height() - 1).back()) {}

    // The first column from which on the row has nothing but the fill; the width where its last pixel is another one.
    int32_t first_column(int32_t y) {
        const std::vector<Argb>& row = read(y);
        const auto last_kept = std::find_if(row.rbegin(), row.rend(), [&](Argb color) { return !is_fill(color); });
        return static_cast<int32_t>(row.rend() - last_kept);
    }

 private:
    bool is_fill(Argb color) const {
        constexpr int kSlack = 3000;
        return color >> 24 == m_fill >> 24 && std::abs(tone(color) - tone(m_fill)) <= kSlack;
    }
    const std::vector<Argb>& read(int32_t y) {
        m_picture.read_argb({0, y, m_picture.width(), 1}, m_row);
        return m_row;
    }

    const Picture& m_picture;
    std::vector<Argb> m_row;
    const Argb m_fill;
};

}  // namespace

void fill_lost_pixels(Picture& picture, int32_t intact_rows, Argb background) {
    assert(intact_rows >= 0);
    const int32_t width = picture.width();
    const int32_t height = picture.height();
    if (intact_rows >= height) {
        return;
    }
    LostPixels lost(picture);
    int32_t top = height;  // of the rows that are lost as a whole
    while (top > intact_rows && lost.first_column(top - 1) == 0) {
        --top;
    }
    // The band above them, from the column on from which all of its rows are lost.
    const int32_t band = std::max(intact_rows, top - kMostBandRows);
    int32_t left = top < height ? 0 : width;
    for (int32_t y = band; y < top; ++y) {
        left = std::max(left, lost.first_column(y));
    }
    const std::vector<Argb> row(static_cast<size_t>(width), background);
    for (int32_t y = band; y < height; ++y) {
        const int32_t from = y < top ? left : 0;
        if (from < width) {
            picture.write_argb({from, y, width - from, 1}, std::span(row).first(static_cast<size_t>(width - from)));
        }
    }
}

}  // namespace zelmor::imagework

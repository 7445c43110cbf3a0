// Medians, by comparing in small squares and by counting in large ones; see median.h.
//
// Why not by the library: libvips 8.14 has two ways in its `rank`. The one for squares of more than 3 by 3 of 8-bit
// samples, which counts them in a histogram, gives other samples than the median; the one for all else is right, but
// selects for each sample anew.
//
// Small squares: many pixels side by side go through the same comparisons, which vectors do at once. Samples are
// dropped that cannot be the median: of more than half of all the least and the greatest, whenever one is added.
//
// Large squares: the square moves along a row; the samples that leave and enter it are counted in a histogram of
// three levels, in which the middle one is found. Values of more than 16 bits are replaced by their rank first.
#include "runtime/native/imagework/vips/median.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <cstring>
#include <limits>

#include "runtime/native/imagework/vips/strips.h"
#include "runtime/native/imagework/vips/wide_code.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

constexpr int kMostCompared = 7;  // side of a square; counting is quicker for larger ones

// An integer for each sample, in the same order. Floating point: the bits of a negative number are turned around; NaN
// comes before or behind all numbers, by its sign.
template <class Sample>
struct OrderOf {
    using Key = Sample;
    static Key key(Sample sample) { return sample; }
    static Sample sample(Key key) { return key; }
};
template <class Sample, class Integer>
struct FloatOrder {
    using Key = Integer;
    static Integer turned(Integer bits) {
        return bits ^ ((bits >> (8 * sizeof(Integer) - 1)) & std::numeric_limits<Integer>::max());
    }
    static Integer key(Sample sample) { return turned(std::bit_cast<Integer>(sample)); }
    static Sample sample(Integer key) { return std::bit_cast<Sample>(turned(key)); }
};
template <>
struct OrderOf<float> : FloatOrder<float, int32_t> {};
template <>
struct OrderOf<double> : FloatOrder<double, int64_t> {};

// ---- Small squares

// Pixels side by side: a vector or several of them.
template <class Key>
constexpr size_t kTogether = 128 / sizeof(Key);

template <class Key>
ZELMOR_INLINE void sort_two(Key* low, Key* high) {
    for (size_t i = 0; i < kTogether<Key>; i++) {
        const Key a = low[i];
        const Key b = high[i];
        low[i] = a < b ? a : b;
        high[i] = a < b ? b : a;
    }
}

// Moves the least of the entries to the front and the greatest to the end.
template <class Key>
ZELMOR_INLINE void sort_out_extremes(Key (*entries)[kTogether<Key>], int count) {
    for (int i = 0; i < count / 2; i++) {
        sort_two(entries[i], entries[count - 1 - i]);
    }
    // The least is in the lower half, the greatest in the upper; the middle entry of an odd number is in both.
    for (int i = 1; i < (count + 1) / 2; i++) {
        sort_two(entries[0], entries[i]);
    }
    for (int i = count / 2; i < count - 1; i++) {
        sort_two(entries[i], entries[count - 1]);
    }
}

template <class Key>
struct CompareSquare {
    // `rows` are those of the square, of which the first sample belongs to the first result; neighbors lie `bands`
    // samples apart. The rows have at least kTogether samples behind each place of the square.
    ZELMOR_INLINE void run(const Key* const* rows, int size, size_t bands, Key* to) {
        constexpr int kMost = kMostCompared * kMostCompared / 2 + 2;
        Key entries[kMost][kTogether<Key>];
        const int all = size * size;
        int count = 0;
        int place = 0;
        const auto add = [&](Key * entry) __attribute__((always_inline)) {
            const int y = place / size;
            const int x = place % size;
            std::memcpy(entry, rows[y] + static_cast<size_t>(x) * bands, sizeof entries[0]);
            place++;
        };
        for (; count < all / 2 + 2; count++) {
            add(entries[count]);
        }
        for (; count > 3; count--) {
            sort_out_extremes<Key>(entries, count);
            // The greatest is at the end and left behind there; the least makes room for the next.
            add(entries[0]);
        }
        sort_out_extremes<Key>(entries, 3);
        std::memcpy(to, entries[1], sizeof entries[1]);
    }
};

// ---- Large squares

// How often each of 2^bits values occurs, with sums over groups and over groups of groups.
class Counts {
 public:
    explicit Counts(int bits)
        : m_fine_bits(bits / 3),
          m_group_bits(2 * bits / 3),
          m_values(size_t{1} << bits),
          m_groups(size_t{1} << (bits - m_fine_bits)),
          m_tops(size_t{1} << (bits - m_group_bits)) {}

    void clear() {
        std::fill(m_values.begin(), m_values.end(), 0);
        std::fill(m_groups.begin(), m_groups.end(), 0);
        std::fill(m_tops.begin(), m_tops.end(), 0);
    }
    void add(uint32_t value) {
        m_values[value]++;
        m_groups[value >> m_fine_bits]++;
        m_tops[value >> m_group_bits]++;
    }
    void remove(uint32_t value) {
        m_values[value]--;
        m_groups[value >> m_fine_bits]--;
        m_tops[value >> m_group_bits]--;
    }
    // The value that so many others come before.
    uint32_t at(uint32_t before) const {
        size_t top = 0;
        for (; m_tops[top] <= before; top++) {
            before -= m_tops[top];
        }
        size_t group = top << (m_group_bits - m_fine_bits);
        for (; m_groups[group] <= before; group++) {
            before -= m_groups[group];
        }
        size_t value = group << m_fine_bits;
        for (; m_values[value] <= before; value++) {
            before -= m_values[value];
        }
        return static_cast<uint32_t>(value);
    }

 private:
    int m_fine_bits;
    int m_group_bits;
    std::vector<uint16_t> m_values;  // a square has fewer than 2^16 samples
    std::vector<uint16_t> m_groups;
    std::vector<uint16_t> m_tops;
};

// One band of a strip with its surroundings as ranks below 2^bits, and the keys of the ranks where these are not the
// same.
template <class Key>
struct Ranks {
    int bits;
    std::vector<uint32_t> ranks;
    std::vector<Key> keys;

    explicit Ranks(const std::vector<Key>& plane) : ranks(plane.size()) {
        if constexpr (sizeof(Key) <= 2) {
            bits = 8 * sizeof(Key);
            for (size_t i = 0; i < plane.size(); i++) {
                ranks[i] = static_cast<uint32_t>(static_cast<int64_t>(plane[i]) - std::numeric_limits<Key>::min());
            }
        } else {
            keys = plane;
            std::sort(keys.begin(), keys.end());
            keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
            bits = std::max(3, static_cast<int>(std::bit_width(keys.size())));
            for (size_t i = 0; i < plane.size(); i++) {
                ranks[i] = static_cast<uint32_t>(std::lower_bound(keys.begin(), keys.end(), plane[i]) - keys.begin());
            }
        }
    }
    Key key(uint32_t rank) const {
        if constexpr (sizeof(Key) <= 2) {
            return static_cast<Key>(static_cast<int64_t>(rank) + std::numeric_limits<Key>::min());
        } else {
            return keys[rank];
        }
    }
};

// Calls take(x, y, key) for each median of a plane of `wide` columns, which is larger than the medians' by the square.
template <class Key, class Take>
void count_squares(const std::vector<Key>& plane, int wide, int width, int height, int size, Take&& take) {
    const Ranks<Key> ranked(plane);
    Counts counts(ranked.bits);
    const auto half = static_cast<uint32_t>(size * size / 2);
    const auto at = [&](int x, int y) {
        return ranked.ranks[static_cast<size_t>(y) * static_cast<size_t>(wide) + static_cast<size_t>(x)];
    };
    for (int y = 0; y < height; y++) {
        counts.clear();
        for (int x = 0; x < size - 1; x++) {
            for (int row = 0; row < size; row++) {
                counts.add(at(x, y + row));
            }
        }
        for (int x = 0; x < width; x++) {
            for (int row = 0; row < size; row++) {
                counts.add(at(x + size - 1, y + row));
            }
            take(x, y, ranked.key(counts.at(half)));
            for (int row = 0; row < size; row++) {
                counts.remove(at(x, y + row));
            }
        }
    }
}

// ---- Both

template <class Sample>
class Medians {
    using Order = OrderOf<Sample>;
    using Key = typename Order::Key;

 public:
    Medians(const VImage& source, const VImage& target, int size, const Rect& area)
        : m_source(source),
          m_target(target),
          m_size(size),
          m_area(area),
          m_bands(static_cast<size_t>(source.bands())),
          m_wide(static_cast<size_t>(area.width + size - 1) * m_bands) {}

    void run() {
        const bool compares = m_size <= kMostCompared;
        for_strips(m_target, std::max(32, m_size), [&](int begin, int end) {
            if (compares) {
                compare(begin, end);
            } else {
                count(begin, end);
            }
        });
    }

 private:
    // The keys of a row, which may lie outside the image, with the pixels that the square needs on both sides.
    void read_row(int y, Key* to) const {
        const int reach = m_size / 2;
        const auto* row =
            reinterpret_cast<const Sample*>(row_of(m_source, std::clamp(m_area.y + y, 0, m_source.height() - 1)));
        const int last = m_source.width() - 1;
        const int begin = m_area.x - reach;
        const int end = m_area.x + m_area.width + reach;
        for (int x = begin; x < end; x++) {
            if (x >= 0 && x < last) {  // the inner pixels, all at once
                const int stop = std::min(end, last);
                const Sample* from = row + static_cast<size_t>(x) * m_bands;
                const size_t samples = static_cast<size_t>(stop - x) * m_bands;
                for (size_t i = 0; i < samples; i++) {
                    to[i] = Order::key(from[i]);
                }
                to += samples;
                x = stop - 1;
                continue;
            }
            const Sample* from = row + static_cast<size_t>(std::clamp(x, 0, last)) * m_bands;
            for (size_t band = 0; band < m_bands; band++) {
                *to++ = Order::key(from[band]);
            }
        }
    }

    void compare(int begin, int end) const {
        constexpr size_t kStep = kTogether<Key>;
        const size_t stride = m_wide + kStep;
        const auto high = static_cast<size_t>(end - begin + m_size - 1);
        std::vector<Key> keys(stride * high);
        for (size_t y = 0; y < high; y++) {
            read_row(begin + static_cast<int>(y) - m_size / 2, &keys[y * stride]);
        }
        const size_t size = static_cast<size_t>(m_area.width) * m_bands;
        std::array<const Key*, kMostCompared> rows{};
        std::array<Key, kStep> medians;
        for (int y = begin; y < end; y++) {
            auto* to = reinterpret_cast<Sample*>(row_of(m_target, y));
            for (size_t i = 0; i < size; i += kStep) {
                for (int row = 0; row < m_size; row++) {
                    rows[static_cast<size_t>(row)] = &keys[static_cast<size_t>(y - begin + row) * stride + i];
                }
                run_step<CompareSquare<Key>>(static_cast<const Key* const*>(rows.data()), m_size, m_bands,
                                             medians.data());
                const size_t some = std::min(kStep, size - i);
                for (size_t k = 0; k < some; k++) {
                    to[i + k] = Order::sample(medians[k]);
                }
            }
        }
    }

    void count(int begin, int end) const {
        const int high = end - begin + m_size - 1;
        std::vector<std::vector<Key>> planes(m_bands);
        std::vector<Key> row(m_wide);
        for (int y = 0; y < high; y++) {
            read_row(begin + y - m_size / 2, row.data());
            for (size_t i = 0; i < m_wide; i++) {
                planes[i % m_bands].push_back(row[i]);
            }
        }
        for (size_t band = 0; band < m_bands; band++) {
            count_squares(planes[band], m_area.width + m_size - 1, m_area.width, end - begin, m_size,
                          [&](int x, int y, Key key) {
                              reinterpret_cast<Sample*>(row_of(m_target, begin + y, x))[band] = Order::sample(key);
                          });
        }
    }

    VImage m_source;
    VImage m_target;
    int m_size;
    Rect m_area;
    size_t m_bands;
    size_t m_wide;  // samples of a row with those that the square needs beside it
};

template <class Sample>
void run(const VImage& source, const VImage& target, int size, const Rect& area) {
    Medians<Sample>(source, target, size, area).run();
}

}  // namespace

VImage median_filtered(const VImage& image, int size, const Rect& area) {
    assert(size > 0 && size % 2 == 1 && size < 256);
    if (size == 1) {
        return image.extract_area(area.x, area.y, area.width, area.height);
    }
    const VImage source = image.copy_memory();
    VImage target = raster_like(source, area.width, area.height, source.bands(), source.format());
    switch (source.format()) {
        case VIPS_FORMAT_UCHAR:
            run<uint8_t>(source, target, size, area);
            break;
        case VIPS_FORMAT_CHAR:
            run<int8_t>(source, target, size, area);
            break;
        case VIPS_FORMAT_USHORT:
            run<uint16_t>(source, target, size, area);
            break;
        case VIPS_FORMAT_SHORT:
            run<int16_t>(source, target, size, area);
            break;
        case VIPS_FORMAT_UINT:
            run<uint32_t>(source, target, size, area);
            break;
        case VIPS_FORMAT_INT:
            run<int32_t>(source, target, size, area);
            break;
        case VIPS_FORMAT_FLOAT:
            run<float>(source, target, size, area);
            break;
        case VIPS_FORMAT_DOUBLE:
            run<double>(source, target, size, area);
            break;
        default:
            assert(false && "a complex number is no sample");
    }
    return target;
}

}  // namespace zelmor::imagework

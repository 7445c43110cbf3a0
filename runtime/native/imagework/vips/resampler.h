// The work of resampling, in two passes: down the columns and across the rows, with weights that are made once for each
// column and row. The numbers between the passes are not rounded.
//
// New rows are made a few at a time from the old rows that they need, which lie in an image (resample.cpp) or come from
// a decoder (resampled_rows.cpp).
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_RESAMPLER_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_RESAMPLER_H

#include <algorithm>
#include <cassert>
#include <cstring>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/resampling_weights.h"
#include "runtime/native/imagework/vips/sample_rows.h"
#include "runtime/native/imagework/vips/wide_code.h"

namespace zelmor::imagework::resampling {

constexpr size_t kBlock = 1024;               // samples of a row that are worked on together, in the fastest cache
constexpr size_t kBetween = size_t{1} << 18;  // samples between the passes
constexpr size_t kSlack = 4;                  // samples that may be read and written behind a row

// The weights of one pass in the precision of the work.
template <class Work>
struct Pass {
    explicit Pass(const ResamplingWeights& weights)
        : first(weights.first),
          count(weights.count),
          stride(weights.stride),
          values(weights.values.begin(), weights.values.end()) {}

    std::vector<int> first;
    std::vector<int> count;
    size_t stride;
    std::vector<Work> values;

    int end(int i) const { return first[static_cast<size_t>(i)] + count[static_cast<size_t>(i)]; }
    const Work* weights(int i) const { return &values[static_cast<size_t>(i) * stride]; }
};

// One row by the weights of its columns. Pixels of three or four samples fill one vector of four; of three the fourth
// number belongs to the next pixel and is written over by it.
template <class Work, int bands>
struct AcrossRow {
    ZELMOR_INLINE void run(const Work* row, const Pass<Work>* pass, Work* to) {
        using Four = typename Lanes<Work>::Four;
        using LooseFour = typename Lanes<Work>::LooseFour;
        const auto four = [](const Work* place) __attribute__((always_inline)) {
            return reinterpret_cast<const LooseFour*>(place);
        };
        const int width = static_cast<int>(pass->first.size());
        for (int x = 0; x < width; x++) {
            const Work* at = row + static_cast<ptrdiff_t>(pass->first[static_cast<size_t>(x)]) * bands;
            const Work* weight = pass->weights(x);
            const Work* const end = weight + pass->count[static_cast<size_t>(x)];
            if constexpr (bands == 3 || bands == 4) {
                Four even = {};
                Four odd = {};
                for (; weight + 2 <= end; weight += 2) {
                    even += *four(at) * weight[0];
                    odd += *four(at + bands) * weight[1];
                    at += 2 * bands;
                }
                if (weight < end) {
                    even += *four(at) * weight[0];
                }
                *reinterpret_cast<LooseFour*>(to) = even + odd;
            } else if constexpr (bands == 1) {
                Four sums = {};
                for (; weight + 4 <= end; weight += 4, at += 4) {
                    sums += *four(at) * *four(weight);
                }
                Work sum = (sums[0] + sums[1]) + (sums[2] + sums[3]);
                for (; weight < end; weight++, at++) {
                    sum += *at * *weight;
                }
                *to = sum;
            } else {
                Work sums[bands] = {};
                for (; weight < end; weight++, at += bands) {
                    for (int band = 0; band < bands; band++) {
                        sums[band] += at[band] * *weight;
                    }
                }
                std::memcpy(to, sums, sizeof sums);
            }
            to += bands;
        }
    }
};

template <class Work>
void across_row(const Work* row, const Pass<Work>& pass, Work* to, int bands) {
    switch (bands) {
        case 1:
            return run_step<AcrossRow<Work, 1>>(row, &pass, to);
        case 2:
            return run_step<AcrossRow<Work, 2>>(row, &pass, to);
        case 3:
            return run_step<AcrossRow<Work, 3>>(row, &pass, to);
        case 4:
            return run_step<AcrossRow<Work, 4>>(row, &pass, to);
        case 5:
            return run_step<AcrossRow<Work, 5>>(row, &pass, to);
        default:
            throw PictureError(Failure::kUnsupported, "pixels of " + std::to_string(bands) + " channels");
    }
}

// Rows of the old picture, of which some of the first may be gone.
struct OldRows {
    const uint8_t* data;
    size_t row_size;
    size_t pixel_size;
    int top;  // the number of the first row that is there

    const uint8_t* at(int y, int x = 0) const {
        assert(y >= top);
        return data + static_cast<size_t>(y - top) * row_size + static_cast<size_t>(x) * pixel_size;
    }
};

struct Size {
    int width;
    int height;
};

// Makes new rows of old ones. Any thread may call it.
template <class Work>
class Resampler {
 public:
    Resampler(const SampleForm& form, Size old_size, Size new_size, std::optional<Pass<Work>> across,
              std::optional<Pass<Work>> down)
        : m_form(form),
          m_old(old_size),
          m_new(new_size),
          m_across(std::move(across)),
          m_down(std::move(down)),
          m_old_row(m_form.samples(old_size.width)),
          m_new_row(m_form.samples(new_size.width)) {}

    // How many rows are made together at best.
    int rows_together() const {
        return static_cast<int>(std::clamp<size_t>(kBetween / (down_first() ? m_old_row : m_new_row), 8, 64));
    }

    // The old rows that the new rows from `begin` to `end` are made of.
    int first_needed(int begin) const { return m_down ? m_down->first[static_cast<size_t>(begin)] : begin; }
    int end_needed(int end) const { return m_down ? m_down->end(end - 1) : end; }

    // Makes them; they lie `row_size` bytes after each other.
    void make(const OldRows& old, int begin, int end, uint8_t* to, size_t row_size) const {
        if (down_first()) {
            reduce_down(old, begin, end, to, row_size);
        } else {
            enlarge_down(old, begin, end, to, row_size);
        }
    }

 private:
    bool down_first() const { return !m_down || m_new.height <= m_old.height; }

    // The rows are brought to their number first, in the old width.
    void reduce_down(const OldRows& old, int begin, int end, uint8_t* to, size_t row_size) const {
        std::vector<Work> between(static_cast<size_t>(end - begin) * m_old_row + kSlack);
        if (m_down) {
            const int pixels = static_cast<int>(kBlock) / m_form.bands;
            std::vector<Work> block(m_form.samples(pixels));
            for (int x = 0; x < m_old.width; x += pixels) {
                add_columns(old, begin, end, x, std::min(pixels, m_old.width - x), block, between);
            }
        } else {
            for (int y = begin; y < end; y++) {
                unpack_row(m_form, old.at(y), &between[row(begin, y, m_old_row)], m_old.width);
            }
        }
        std::vector<Work> finished(m_new_row + kSlack);
        for (int y = begin; y < end; y++, to += row_size) {
            Work* numbers = &between[row(begin, y, m_old_row)];
            if (m_across) {
                across_row(numbers, *m_across, finished.data(), m_form.bands);
                numbers = finished.data();
            }
            pack_row(m_form, numbers, to, m_new.width);
        }
    }

    // Adds each old row of the columns to all new rows that it counts for.
    void add_columns(const OldRows& old, int begin, int end, int x, int pixels, std::vector<Work>& block,
                     std::vector<Work>& between) const {
        int lowest = begin;
        for (int from = m_down->first[static_cast<size_t>(begin)]; from < m_down->end(end - 1); from++) {
            unpack_row(m_form, old.at(from, x), block.data(), pixels);
            while (m_down->end(lowest) <= from) {
                lowest++;
            }
            for (int y = lowest; y < end && m_down->first[static_cast<size_t>(y)] <= from; y++) {
                run_step<AddScaled<Work>>(static_cast<const Work*>(block.data()),
                                          m_down->weights(y)[from - m_down->first[static_cast<size_t>(y)]],
                                          &between[row(begin, y, m_old_row) + m_form.samples(x)],
                                          m_form.samples(pixels));
            }
        }
    }

    // The old rows are brought to the new width first.
    void enlarge_down(const OldRows& old, int begin, int end, uint8_t* to, size_t row_size) const {
        const int first = m_down->first[static_cast<size_t>(begin)];
        const int last = m_down->end(end - 1);
        std::vector<Work> between(static_cast<size_t>(last - first) * m_new_row + kSlack);
        std::vector<Work> whole(m_across ? m_old_row + kSlack : 0);
        for (int from = first; from < last; from++) {
            Work* numbers = &between[row(first, from, m_new_row)];
            unpack_row(m_form, old.at(from), m_across ? whole.data() : numbers, m_old.width);
            if (m_across) {
                across_row(whole.data(), *m_across, numbers, m_form.bands);
            }
        }
        std::vector<Work> finished(m_new_row);
        for (int y = begin; y < end; y++, to += row_size) {
            const Work* numbers = &between[row(first, m_down->first[static_cast<size_t>(y)], m_new_row)];
            run_step<WeightedSum<Work>>(numbers, m_new_row, m_down->weights(y),
                                        static_cast<size_t>(m_down->count[static_cast<size_t>(y)]), finished.data(),
                                        m_new_row);
            pack_row(m_form, finished.data(), to, m_new.width);
        }
    }

    static size_t row(int begin, int y, size_t size) { return static_cast<size_t>(y - begin) * size; }

    SampleForm m_form;
    Size m_old;
    Size m_new;
    std::optional<Pass<Work>> m_across;
    std::optional<Pass<Work>> m_down;
    size_t m_old_row;  // samples
    size_t m_new_row;
};

// The weights of both passes, of which the sides that stay as they are need none.
struct Weights {
    std::optional<ResamplingWeights> across;
    std::optional<ResamplingWeights> down;

    // The lengths of the old sides may be a part of a pixel less than the pixels that there are.
    Weights(Resampling resampling, Size from, Size to, double width, double height) {
        if (from.width != to.width) {
            across = resampling_weights(resampling, from.width, to.width, width);
        }
        if (from.height != to.height) {
            down = resampling_weights(resampling, from.height, to.height, height);
        }
    }

    // Sums of so many terms lose bits: beyond that, single precision could change a sample.
    bool lose_bits(VipsBandFormat format) const {
        const size_t terms = std::max(across ? across->stride : 0, down ? down->stride : 0);
        return !fits_single(format) || terms > (vips_format_sizeof(format) == 1 ? 4096 : 128);
    }

    template <class Work>
    Resampler<Work> resampler(const SampleForm& form, Size from, Size to) const {
        const auto pass = [](const std::optional<ResamplingWeights>& weights) {
            return weights ? std::make_optional<Pass<Work>>(*weights) : std::nullopt;
        };
        return {form, from, to, pass(across), pass(down)};
    }
};

// Looks each new pixel up at the place of its center, (i + 1/2) * old / new.
class Lookup {
 public:
    Lookup(size_t pixel_size, Size from, Size to)
        : m_pixel_size(pixel_size), m_from(from), m_to(to), m_offsets(static_cast<size_t>(to.width)) {
        for (int x = 0; x < to.width; x++) {
            m_offsets[static_cast<size_t>(x)] = pixel_size * static_cast<size_t>(place(x, from.width, to.width));
        }
    }

    // The old row that a new one is made of.
    int row(int y) const { return place(y, m_from.height, m_to.height); }

    void make(const uint8_t* from, uint8_t* to) const {
        const auto copy = [&](auto known_size) {
            const size_t bytes = known_size == 0 ? m_pixel_size : known_size;
            for (const size_t offset : m_offsets) {
                std::memcpy(to, from + offset, bytes);
                to += bytes;
            }
        };
        // Sizes that the compiler knows become single instructions.
        switch (m_pixel_size) {
            case 1:
                copy(std::integral_constant<size_t, 1>());
                break;
            case 3:
                copy(std::integral_constant<size_t, 3>());
                break;
            case 4:
                copy(std::integral_constant<size_t, 4>());
                break;
            default:
                copy(std::integral_constant<size_t, 0>());
                break;
        }
    }

 private:
    static int place(int i, int from, int to) {
        return static_cast<int>((2 * int64_t{i} + 1) * from / (2 * int64_t{to}));
    }

    size_t m_pixel_size;
    Size m_from;
    Size m_to;
    std::vector<size_t> m_offsets;
};

}  // namespace zelmor::imagework::resampling

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_RESAMPLER_H

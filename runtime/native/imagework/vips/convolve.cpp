// Convolutions, in two passes where the kernel allows it; see convolve.h.
//
// A block of pixels is unpacked with its surroundings into numbers that stay in the cache; the sum down the columns and
// the one across the rows are both sums of rows that lie a fixed step apart.
#include "runtime/native/imagework/vips/convolve.h"

#include <algorithm>
#include <cmath>

#include "runtime/native/imagework/separable.h"
#include "runtime/native/imagework/vips/sample_rows.h"
#include "runtime/native/imagework/vips/strips.h"
#include "runtime/native/imagework/vips/wide_code.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

constexpr int kConvolutionStrip = 64;         // of a block
constexpr size_t kNumbers = size_t{1} << 17;  // of a block with its surroundings

template <class Work>
struct Linear {
    ZELMOR_INLINE void run(Work* row, Work factor, Work bias, size_t size) {
        for (size_t i = 0; i < size; i++) {
            row[i] = row[i] * factor + bias;
        }
    }
};

// A row of the image from a column that may lie outside, its edge pixels going on there.
template <class Work>
void unpack_beyond(const SampleForm& form, const VImage& image, int y, int x, int pixels, Work* to) {
    const int width = image.width();
    const auto bands = static_cast<size_t>(form.bands);
    const int begin = std::clamp(x, 0, width - 1);
    const int end = std::max(begin + 1, std::min(x + pixels, width));
    Work* const known = to + form.samples(std::max(0, std::min(begin - x, pixels - 1)));
    unpack_row(form, row_of(image, std::clamp(y, 0, image.height() - 1), begin), known, end - begin);
    for (Work* at = known; at > to; at -= bands) {
        std::copy_n(at, bands, at - bands);
    }
    Work* const last = to + form.samples(pixels);
    for (Work* at = known + form.samples(end - begin); at < last; at += bands) {
        std::copy_n(at - bands, bands, at);
    }
}

template <class Work>
class Convolver {
 public:
    Convolver(const VImage& source, const VImage& target, const Rect& area, const Convolution& filter, bool weighed,
              double bias)
        : m_source(source),
          m_target(target),
          m_area(area),
          m_form{source.format(), source.bands(), weighed},
          m_reach_x(filter.kernel.width / 2),
          m_reach_y(filter.kernel.height / 2),
          m_factor(static_cast<Work>(filter.factor)),
          m_bias(static_cast<Work>(bias)) {
        const auto numbers = [](const std::vector<double>& from) {
            return std::vector<Work>(from.begin(), from.end());
        };
        if (const auto parts = separable(filter.kernel)) {
            m_column = numbers(parts->column);
            m_row = numbers(parts->row);
            m_middle = static_cast<Work>(parts->middle);
        } else {
            m_weights = numbers(filter.kernel.weights);
        }
    }

    void run() {
        const size_t wanted = kNumbers / (static_cast<size_t>(kConvolutionStrip + 2 * m_reach_y) * m_form.samples(1));
        const int pixels = std::max(4 * m_reach_x, static_cast<int>(wanted) - 2 * m_reach_x);
        const int width = std::clamp(pixels, 64, std::max(64, m_area.width));
        for_strips(m_target, kConvolutionStrip, [&](int begin, int end) {
            for (int x = 0; x < m_area.width; x += width) {
                block(begin, end, x, std::min(width, m_area.width - x));
            }
        });
    }

 private:
    void block(int begin, int end, int x, int pixels) {
        const int wide = pixels + 2 * m_reach_x;
        const int high = end - begin + 2 * m_reach_y;
        const size_t stride = m_form.samples(wide);
        std::vector<Work> numbers(stride * static_cast<size_t>(high));
        for (int y = 0; y < high; y++) {
            unpack_beyond(m_form, m_source, m_area.y + begin + y - m_reach_y, m_area.x + x - m_reach_x, wide,
                          &numbers[static_cast<size_t>(y) * stride]);
        }
        const size_t size = m_form.samples(pixels);
        std::vector<Work> sums(stride);
        std::vector<Work> finished(size);
        for (int y = begin; y < end; y++) {
            const Work* above = &numbers[static_cast<size_t>(y - begin) * stride];
            if (m_weights.empty()) {
                in_two_passes(above, stride, sums, finished);
            } else {
                at_once(above, stride, finished);
            }
            if (m_factor != 1 || m_bias != 0) {
                run_step<Linear<Work>>(finished.data(), m_factor, m_bias, size);
            }
            pack_row(m_form, finished.data(), row_of(m_target, y, x), pixels);
        }
    }

    // `above` is the first of the rows that count for the finished one.
    void in_two_passes(const Work* above, size_t stride, std::vector<Work>& sums, std::vector<Work>& finished) const {
        const auto bands = static_cast<size_t>(m_form.bands);
        run_step<WeightedSum<Work>>(above, stride, m_column.data(), m_column.size(), sums.data(), stride);
        run_step<WeightedSum<Work>>(static_cast<const Work*>(sums.data()), bands, m_row.data(), m_row.size(),
                                    finished.data(), finished.size());
        if (m_middle != 0) {
            const Work* itself = above + static_cast<size_t>(m_reach_y) * stride + m_form.samples(m_reach_x);
            run_step<AddScaled<Work>>(itself, m_middle, finished.data(), finished.size());
        }
    }

    void at_once(const Work* above, size_t stride, std::vector<Work>& finished) const {
        std::fill(finished.begin(), finished.end(), Work(0));
        const Work* weight = m_weights.data();
        for (int y = 0; y <= 2 * m_reach_y; y++, above += stride) {
            for (int x = 0; x <= 2 * m_reach_x; x++, weight++) {
                if (*weight != 0) {
                    run_step<AddScaled<Work>>(above + m_form.samples(x), *weight, finished.data(), finished.size());
                }
            }
        }
    }

    VImage m_source;
    VImage m_target;
    Rect m_area;
    SampleForm m_form;
    int m_reach_x;
    int m_reach_y;
    Work m_factor;
    Work m_bias;
    std::vector<Work> m_column;
    std::vector<Work> m_row;
    Work m_middle = 0;
    std::vector<Work> m_weights;  // of a kernel that is not separable
};

VImage convolved_bands(const VImage& image, const Convolution& filter, const Rect& area, bool weighed) {
    const VImage source = image.copy_memory();
    VImage target = raster_like(source, area.width, area.height, source.bands(), source.format());
    const double bias = filter.bias * channel_max(source) / 255.0;
    if (fits_single(source.format())) {
        Convolver<float>(source, target, area, filter, weighed, bias).run();
    } else {
        Convolver<double>(source, target, area, filter, weighed, bias).run();
    }
    return target;
}

}  // namespace

VImage convolved(const VImage& image, const Convolution& filter, const Rect& area, bool alpha) {
    require_kernel(filter.kernel);
    if (!alpha || (filter.factor == 1.0 && filter.bias == 0.0)) {
        return convolved_bands(image, filter, area, alpha);
    }
    const int colors = image.bands() - 1;
    return convolved_bands(image.extract_band(0, VImage::option()->set("n", colors)), filter, area, false)
        .bandjoin(image.extract_band(colors).extract_area(area.x, area.y, area.width, area.height));
}

}  // namespace zelmor::imagework

// Wiener's filter in the domain of frequencies, F = G * conj(H) / (|H|^2 + noise), block by block; see deconvolve.h.
//
// A transform takes a block for one tile of an endless wall, so that what the filter carries over a block's edge is
// wrong there. How far it carries is seen from its response to a single bright pixel; blocks overlap by that much, and
// only their inside is kept. A block of a few hundred pixels fits the processor's cache, a whole photograph does not.
#include "runtime/native/imagework/vips/deconvolve.h"

#include <fftw3.h>

#include <algorithm>
#include <cassert>
#include <cmath>
#include <complex>
#include <memory>
#include <mutex>

#include "runtime/native/imagework/separable.h"
#include "runtime/native/imagework/vips/sample_rows.h"
#include "runtime/native/imagework/vips/strips.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

constexpr double kCutOff = 2e-4;  // sum of the weights that may lie outside the overlap; those of a blur add up to one
constexpr int kLeastSide = 256;   // of a block
constexpr int kMostSide = 4096;

template <class Number>
struct FreeNumbers {
    void operator()(Number* numbers) const { fftw_free(numbers); }
};
using Reals = std::unique_ptr<double[], FreeNumbers<double>>;
using Complexes = std::unique_ptr<fftw_complex[], FreeNumbers<fftw_complex>>;

// Planning is the one part of the library for Fourier transforms that threads may not do at the same time.
std::mutex& planning() {
    static std::mutex mutex;
    return mutex;
}

// Transforms of square blocks, there and back. Used by many threads at the same time, each with numbers of its own.
class Transform {
 public:
    explicit Transform(int side) : m_side(static_cast<size_t>(side)) {
        const Reals reals = real_numbers();
        const Complexes complexes = complex_numbers();
        const std::lock_guard lock(planning());
        m_there = fftw_plan_dft_r2c_2d(side, side, reals.get(), complexes.get(), FFTW_ESTIMATE);
        m_back = fftw_plan_dft_c2r_2d(side, side, complexes.get(), reals.get(), FFTW_ESTIMATE);
        if (m_there == nullptr || m_back == nullptr) {
            destroy();
            throw PictureError(Failure::kInternal, "the filter could not be planned");
        }
    }
    ~Transform() {
        const std::lock_guard lock(planning());
        destroy();
    }
    Transform(const Transform&) = delete;
    Transform& operator=(const Transform&) = delete;

    size_t side() const { return m_side; }
    size_t columns() const { return m_side / 2 + 1; }  // of the transformed block; the others follow from them
    Reals real_numbers() const { return Reals(required(fftw_alloc_real(m_side * m_side))); }
    Complexes complex_numbers() const { return Complexes(required(fftw_alloc_complex(m_side * columns()))); }

    void there(double* from, fftw_complex* to) const { fftw_execute_dft_r2c(m_there, from, to); }
    void back(fftw_complex* from, double* to) const { fftw_execute_dft_c2r(m_back, from, to); }

 private:
    template <class Number>
    static Number* required(Number* numbers) {
        if (numbers == nullptr) {
            throw std::bad_alloc();
        }
        return numbers;
    }
    void destroy() {
        fftw_destroy_plan(m_there);
        fftw_destroy_plan(m_back);
    }

    size_t m_side;
    fftw_plan m_there = nullptr;
    fftw_plan m_back = nullptr;
};

using Spectrum = std::vector<std::complex<double>>;

// What a block's transform is multiplied by; scaled so that the transform back needs no division.
Spectrum inverse_filter(const Transform& transform, const Deconvolution& filter) {
    const Kernel& kernel = filter.blur;
    const size_t side = transform.side();
    double sum = 0;
    for (const double weight : kernel.weights) {
        sum += weight;
    }
    const Reals block = transform.real_numbers();
    std::fill_n(block.get(), side * side, 0.0);
    const auto wrapped = [&](int place) {
        return static_cast<size_t>(place < 0 ? place + static_cast<int>(side) : place);
    };
    for (int y = 0; y < kernel.height; y++) {
        for (int x = 0; x < kernel.width; x++) {
            block[wrapped(y - kernel.height / 2) * side + wrapped(x - kernel.width / 2)] =
                kernel.weights[static_cast<size_t>(y) * static_cast<size_t>(kernel.width) + static_cast<size_t>(x)] /
                sum;
        }
    }
    const Complexes transformed = transform.complex_numbers();
    transform.there(block.get(), transformed.get());
    Spectrum result(side * transform.columns());
    const double scale = filter.brightness / (static_cast<double>(side) * static_cast<double>(side));
    for (size_t i = 0; i < result.size(); i++) {
        const std::complex<double> blur(transformed[i][0], transformed[i][1]);
        result[i] = std::conj(blur) / (std::norm(blur) + filter.noise) * scale;
    }
    return result;
}

// How far from a pixel the filter has weights that count, in the greater of both directions; -1 if as far as a quarter
// of the block, so that the response itself is not known well.
int reach_of(const Transform& transform, const Spectrum& filter) {
    const int side = static_cast<int>(transform.side());
    const Complexes spectrum = transform.complex_numbers();
    for (size_t i = 0; i < filter.size(); i++) {
        spectrum[i][0] = filter[i].real();
        spectrum[i][1] = filter[i].imag();
    }
    const Reals response = transform.real_numbers();
    transform.back(spectrum.get(), response.get());
    // The weights by their distance from the pixel.
    std::vector<double> rings(static_cast<size_t>(side) / 2 + 1);
    for (int y = 0; y < side; y++) {
        for (int x = 0; x < side; x++) {
            const double weight =
                std::fabs(response[static_cast<size_t>(y) * transform.side() + static_cast<size_t>(x)]);
            rings[static_cast<size_t>(std::max(std::min(x, side - x), std::min(y, side - y)))] += weight;
        }
    }
    double outside = 0;
    for (int reach = side / 2; reach > 0; reach--) {
        outside += rings[static_cast<size_t>(reach)];
        if (outside > kCutOff) {
            return reach < side / 4 ? reach : -1;
        }
    }
    return 0;
}

// The place in a row of so many that a place outside of it shows in a mirror.
int mirrored(int place, int count) {
    const int64_t period = 2 * int64_t{count};
    const int64_t inside = ((place % period) + period) % period;
    return static_cast<int>(inside < count ? inside : period - 1 - inside);
}

class Deconvolver {
 public:
    Deconvolver(const VImage& source, const VImage& target, const Rect& area, const Transform& transform,
                const Spectrum& filter, int reach)
        : m_source(source),
          m_target(target),
          m_area(area),
          m_form{source.format(), source.bands(), false},
          m_transform(transform),
          m_filter(filter),
          m_reach(reach),
          m_inside(static_cast<int>(transform.side()) - 2 * reach) {
        const int side = static_cast<int>(transform.side());
        const int columns = (area.width + m_inside - 1) / m_inside;
        for (int x = 0; x < (columns - 1) * m_inside + side; x++) {
            m_columns.push_back(mirrored(area.x - reach + x, source.width()));
        }
    }

    void run() {
        for_strips(m_target, m_inside, [&](int begin, int end) { strip(begin, end); });
    }

 private:
    void strip(int begin, int end) {
        const size_t side = m_transform.side();
        const auto bands = static_cast<size_t>(m_form.bands);
        // The rows of the blocks as they are in the image, and the finished ones.
        const size_t stride = m_form.samples(m_source.width());
        std::vector<double> rows(side * stride);
        for (size_t y = 0; y < side; y++) {
            const int place = mirrored(m_area.y + begin - m_reach + static_cast<int>(y), m_source.height());
            unpack_row(m_form, row_of(m_source, place), &rows[y * stride], m_source.width());
        }
        const size_t new_stride = m_form.samples(m_area.width);
        std::vector<double> finished(static_cast<size_t>(end - begin) * new_stride);
        const Reals block = m_transform.real_numbers();
        const Complexes spectrum = m_transform.complex_numbers();
        for (int x = 0; x < m_area.width; x += m_inside) {
            const int pixels = std::min(m_inside, m_area.width - x);
            for (size_t band = 0; band < bands; band++) {
                for (size_t y = 0; y < side; y++) {
                    const double* from = &rows[y * stride + band];
                    for (size_t i = 0; i < side; i++) {
                        block[y * side + i] = from[static_cast<size_t>(m_columns[static_cast<size_t>(x) + i]) * bands];
                    }
                }
                filter_block(block.get(), spectrum.get());
                for (int y = 0; y < end - begin; y++) {
                    const double* from = &block[static_cast<size_t>(y + m_reach) * side + static_cast<size_t>(m_reach)];
                    double* to = &finished[static_cast<size_t>(y) * new_stride + m_form.samples(x) + band];
                    for (int i = 0; i < pixels; i++, to += bands) {
                        *to = from[i];
                    }
                }
            }
        }
        for (int y = begin; y < end; y++) {
            pack_row(m_form, &finished[static_cast<size_t>(y - begin) * new_stride], row_of(m_target, y), m_area.width);
        }
    }

    void filter_block(double* block, fftw_complex* spectrum) const {
        m_transform.there(block, spectrum);
        for (size_t i = 0; i < m_filter.size(); i++) {
            const double real = spectrum[i][0];
            const double imaginary = spectrum[i][1];
            spectrum[i][0] = real * m_filter[i].real() - imaginary * m_filter[i].imag();
            spectrum[i][1] = real * m_filter[i].imag() + imaginary * m_filter[i].real();
        }
        m_transform.back(spectrum, block);
    }

    VImage m_source;
    VImage m_target;
    Rect m_area;
    SampleForm m_form;
    const Transform& m_transform;
    const Spectrum& m_filter;
    int m_reach;
    int m_inside;                // side of the part of a block that is kept
    std::vector<int> m_columns;  // of the image, for each column of the blocks beside each other
};

}  // namespace

VImage deconvolved(const VImage& image, const Deconvolution& filter, const Rect& area) {
    require_kernel(filter.blur);
    const VImage source = image.copy_memory();
    VImage target = raster_like(source, area.width, area.height, source.bands(), source.format());
    const int blur = std::max(filter.blur.width, filter.blur.height);
    int side = kLeastSide;
    while (side < 4 * blur) {
        side *= 2;
    }
    for (;; side *= 2) {
        const Transform transform(side);
        const Spectrum inverse = inverse_filter(transform, filter);
        int reach = reach_of(transform, inverse);
        if (reach < 0 && side < kMostSide) {
            continue;
        }
        if (reach < 0) {  // very little noise: as far as the greatest block goes
            reach = side / 4;
        }
        Deconvolver(source, target, area, transform, inverse, reach).run();
        return target;
    }
}

}  // namespace zelmor::imagework

// Kernels by their formulas; see resampling_weights.h.
//
//   name          half width   what it is
//   bilinear      1            a triangle
//   bell          1.5          the quadratic B-spline
//   B-spline      2            the cubic B-spline, Mitchell and Netravali's family with B = 1, C = 0
//   Mitchell      2            Mitchell and Netravali 1988, B = C = 1/3
//   Catmull-Rom   2            B = 0, C = 1/2; the same curve as Keys' cubic convolution with a = -1/2
//   Lanczos       3            sinc(x) sinc(x / 3)
//   sinc          4            sinc(x) under the window of Hann, (1 + cos(pi x / 4)) / 2
#include "runtime/native/imagework/resampling_weights.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <numbers>

namespace zelmor::imagework {
namespace {

double sinc(double x) {
    return x == 0 ? 1 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
}

// The functions below get the distance from the center, from zero up to the half width.

double triangle(double x) {
    return 1 - x;
}

double bell(double x) {
    return x < 0.5 ? 0.75 - x * x : 0.5 * (x - 1.5) * (x - 1.5);
}

double cubic(double x, double b, double c) {
    if (x < 1) {
        return ((12 - 9 * b - 6 * c) * x * x * x + (-18 + 12 * b + 6 * c) * x * x + (6 - 2 * b)) / 6;
    }
    return ((-b - 6 * c) * x * x * x + (6 * b + 30 * c) * x * x + (-12 * b - 48 * c) * x + (8 * b + 24 * c)) / 6;
}

double lanczos(double x) {
    return sinc(x) * sinc(x / 3);
}

double windowed_sinc(double x) {
    return sinc(x) * (1 + std::cos(std::numbers::pi * x / 4)) / 2;
}

struct ResamplingKernel {
    double half_width;
    double (*at)(double distance);
};

ResamplingKernel kernel_of(Resampling resampling) {
    switch (resampling) {
        case Resampling::kBilinear:
            return {1, triangle};
        case Resampling::kBell:
            return {1.5, bell};
        case Resampling::kBSpline:
            return {2, [](double x) { return cubic(x, 1, 0); }};
        case Resampling::kMitchell:
            return {2, [](double x) { return cubic(x, 1.0 / 3, 1.0 / 3); }};
        case Resampling::kCatmullRom:
            return {2, [](double x) { return cubic(x, 0, 0.5); }};
        case Resampling::kSinc:
            return {4, windowed_sinc};
        case Resampling::kLanczos:
        case Resampling::kAdaptive:
        case Resampling::kNearest:  // looks pixels up and asks for no weights
            break;
    }
    return {3, lanczos};
}

}  // namespace

ResamplingWeights resampling_weights(Resampling resampling, int from, int to, double extent) {
    assert(from > 0 && to > 0 && resampling != Resampling::kNearest && extent > from - 1);
    assert(extent <= from || (extent < from + 1 && extent >= 2.0 * to));
    const ResamplingKernel kernel = kernel_of(resampling);
    const double step = extent / to;
    const double width = std::max(1.0, step);
    const double reach = kernel.half_width * width;
    ResamplingWeights result;
    result.stride = std::min(static_cast<size_t>(from), static_cast<size_t>(std::ceil(reach)) * 2 + 1);
    result.first.resize(static_cast<size_t>(to));
    result.count.resize(static_cast<size_t>(to));
    result.values.resize(static_cast<size_t>(to) * result.stride);
    for (int i = 0; i < to; i++) {
        const double center = (i + 0.5) * step;
        const int first = std::max(0, static_cast<int>(std::floor(center - reach + 0.5)));
        const int end = std::min(
            {from, static_cast<int>(std::floor(center + reach + 0.5)), first + static_cast<int>(result.stride)});
        double* weights = &result.values[static_cast<size_t>(i) * result.stride];
        double sum = 0;
        for (int place = first; place < end; place++) {
            weights[place - first] = kernel.at(std::fabs(place + 0.5 - center) / width);
            sum += weights[place - first];
        }
        for (int place = first; place < end; place++) {
            weights[place - first] /= sum;
        }
        result.first[static_cast<size_t>(i)] = first;
        result.count[static_cast<size_t>(i)] = end - first;
    }
    return result;
}

}  // namespace zelmor::imagework

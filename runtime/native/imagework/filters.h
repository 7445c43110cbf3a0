// Filters, which compute each pixel from the pixels around it.
//
// Plain data: the caller makes the kernels, and knows the managed API's names for the filters.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FILTERS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FILTERS_H

#include <variant>
#include <vector>

namespace zelmor::imagework {

// Weights around a pixel, row by row; sides are odd.
struct Kernel {
    int width;
    int height;
    std::vector<double> weights;
};

// The weighted sum, times the factor, plus the bias in 1/255 of a channel's range.
struct Convolution {
    Kernel kernel;
    double factor = 1.0;
    double bias = 0.0;
};

// The middle one of the values in a square.
struct Median {
    int size;
};

// A mean of the pixels in a square that counts the less, the farther a pixel is and the more it differs.
struct Bilateral {
    int size;
    double spatial_factor;
    double spatial_power;
    double color_factor;  // in 1/255 of a channel's range
    double color_power;
};

// Undoes the blur of a kernel as well as noise allows (Wiener).
struct Deconvolution {
    Kernel blur;
    double noise;       // power of the noise against that of the signal
    double brightness;  // factor of the result
    bool grayscale;
};

using Filter = std::variant<Convolution, Median, Bilateral, Deconvolution>;

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FILTERS_H

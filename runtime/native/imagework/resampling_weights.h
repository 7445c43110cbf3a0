// The published kernels of resampling, and the weights that they give to the pixels of a row.
//
// Needs no image library.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_RESAMPLING_WEIGHTS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_RESAMPLING_WEIGHTS_H

#include <cstddef>
#include <vector>

#include "runtime/native/imagework/resampling.h"

namespace zelmor::imagework {

// For each new pixel of a row (or column) the old pixels that it is made of: `count` neighbors from `first` on, with
// the weights from at(pixel) on, which add up to one. Both ends of these spans never go back from pixel to pixel.
struct ResamplingWeights {
    std::vector<int> first;
    std::vector<int> count;
    size_t stride = 0;  // the greatest of the counts
    std::vector<double> values;
};

// The kernel lies around the place of the new pixel's center, (i + 1/2) * from / to, and is as many times wider as the
// row gets shorter. What lies outside the row has no weight. The last of the old pixels may stand for a part of one, or
// a part of one be missing behind it, if the row becomes half as long or less: the row is `extent` of them long.
ResamplingWeights resampling_weights(Resampling resampling, int from, int to, double extent);
inline ResamplingWeights resampling_weights(Resampling resampling, int from, int to) {
    return resampling_weights(resampling, from, to, from);
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_RESAMPLING_WEIGHTS_H

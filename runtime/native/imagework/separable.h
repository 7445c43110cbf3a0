// Kernels that are the product of a column and a row, which are applied in two passes; and what every kernel has to be.
//
// Needs no image library.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_SEPARABLE_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_SEPARABLE_H

#include <optional>
#include <vector>

#include "runtime/native/imagework/filters.h"

namespace zelmor::imagework {

// Refuses a kernel without a middle, or with another number of weights than it has places.
void require_kernel(const Kernel& kernel);

// The weight at (x, y) is column[y] * row[x], and `middle` is added to that in the middle.
struct SeparableKernel {
    std::vector<double> column;
    std::vector<double> row;
    double middle = 0;
};

// The kernel in that form, if it has rank one but for its middle: every kernel of Gauss, every box, and what is made of
// them by adding to the pixel itself, as sharpening does. Weights may be off by 1e-10 of the greatest.
std::optional<SeparableKernel> separable(const Kernel& kernel);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_SEPARABLE_H

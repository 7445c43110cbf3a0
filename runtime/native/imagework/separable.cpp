// Takes kernels apart by their rank; see separable.h.
#include "runtime/native/imagework/separable.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

constexpr double kTolerance = 1e-10;  // of the greatest weight

// The column and the row through a weight, which tell all others if the kernel has rank one. Where that weight is
// nearly nothing, so is the product.
SeparableKernel through(const Kernel& kernel, int x, int y, double least) {
    const auto at = [&](int column, int row) {
        return kernel
            .weights[static_cast<size_t>(row) * static_cast<size_t>(kernel.width) + static_cast<size_t>(column)];
    };
    SeparableKernel result;
    const double crossing = at(x, y);
    for (int row = 0; row < kernel.height; row++) {
        result.column.push_back(std::fabs(crossing) <= least ? 0 : at(x, row) / crossing);
    }
    for (int column = 0; column < kernel.width; column++) {
        result.row.push_back(at(column, y));
    }
    return result;
}

}  // namespace

void require_kernel(const Kernel& kernel) {
    if (kernel.width < 1 || kernel.height < 1 || kernel.width % 2 == 0 || kernel.height % 2 == 0 ||
        kernel.weights.size() != static_cast<size_t>(kernel.width) * static_cast<size_t>(kernel.height)) {
        throw PictureError(Failure::kArgument, "a kernel has a middle and a weight for each of its places", "options");
    }
}

std::optional<SeparableKernel> separable(const Kernel& kernel) {
    const int middle_x = kernel.width / 2;
    const int middle_y = kernel.height / 2;
    // The greatest weight beside the middle's column and row, of which the kernel must not be a single line.
    const bool is_line = kernel.width == 1 || kernel.height == 1;
    int pivot_x = middle_x;
    int pivot_y = middle_y;
    double greatest = 0;
    double most = -1;
    for (int y = 0; y < kernel.height; y++) {
        for (int x = 0; x < kernel.width; x++) {
            const double weight = std::fabs(
                kernel.weights[static_cast<size_t>(y) * static_cast<size_t>(kernel.width) + static_cast<size_t>(x)]);
            greatest = std::max(greatest, weight);
            if (weight > most && (is_line || (x != middle_x && y != middle_y))) {
                most = weight;
                pivot_x = x;
                pivot_y = y;
            }
        }
    }
    assert(most >= 0);
    SeparableKernel result = through(kernel, pivot_x, pivot_y, kTolerance * greatest);
    for (int y = 0; y < kernel.height; y++) {
        for (int x = 0; x < kernel.width; x++) {
            const double difference =
                kernel.weights[static_cast<size_t>(y) * static_cast<size_t>(kernel.width) + static_cast<size_t>(x)] -
                result.column[static_cast<size_t>(y)] * result.row[static_cast<size_t>(x)];
            if (x == middle_x && y == middle_y) {
                result.middle = std::fabs(difference) > kTolerance * greatest ? difference : 0;
            } else if (!(std::fabs(difference) <= kTolerance * greatest)) {
                return std::nullopt;
            }
        }
    }
    return result;
}

}  // namespace zelmor::imagework

// The choice of the filter for each row of a PNG picture.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_FILTERS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_FILTERS_H

#include <cstddef>
#include <cstdint>

namespace zelmor::imagework {

// The filter whose differences are smallest in sum, which deflate then packs best as a rule. Of two equal ones the one
// that is quicker to decode. The rows are those of the file, `row_size` bytes long; `step` is the size of a pixel; the
// row above the first is zero.
int best_png_filter(const uint8_t* row, const uint8_t* above, size_t row_size, size_t step);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_FILTERS_H

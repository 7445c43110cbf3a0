// The predictors of PNG for rows of PDF streams.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_ROW_PREDICTOR_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_ROW_PREDICTOR_H

#include <cstdint>
#include <span>
#include <vector>

namespace zelmor::imagework {

class RowPredictor {
 public:
    // `step`: how many bytes lie between those that are compared in a row.
    RowPredictor(size_t row_size, size_t step) : m_step(step), m_above(row_size) {}

    // Appends the number of the predictor whose differences are the least, and the differences.
    void add(std::span<const uint8_t> row, std::vector<uint8_t>& out);

 private:
    size_t m_step;
    std::vector<uint8_t> m_above;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_ROW_PREDICTOR_H

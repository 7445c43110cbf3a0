// Deflated rows of PDF, with the predictors and the way of compression that suit each part of a picture.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_PREDICTED_FLATE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_PREDICTED_FLATE_H

#include "runtime/native/formats/pdf/deflater.h"
#include "runtime/native/formats/pdf/row_filters.h"
#include "runtime/native/formats/pdf/row_predictor.h"

namespace zelmor::imagework {

// Photographs are smallest as differences, which have hardly any repetitions to look for; pages of text and flat colors
// as they are, or as differences with repetitions. A strip of rows is compressed in the way that is smallest for
// some of them.
class PredictedFlate final : public RowFilter {
 public:
    PredictedFlate(const PackedRows& rows, ByteSink& out);
    void write(std::span<const uint8_t> row) override;
    void finish() override;
    std::string entries() const override;

 private:
    void write_strip();
    std::span<const uint8_t> sample_of(const std::vector<uint8_t>& strip);

    PackedRows m_rows;
    ByteSink& m_out;
    Deflater m_stream, m_trial;
    RowPredictor m_predictor;
    std::vector<uint8_t> m_plain, m_differences;  // rows of the strip, each with the number of its predictor
    std::vector<uint8_t> m_sample;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PDF_PREDICTED_FLATE_H

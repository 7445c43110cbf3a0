// Resampling of rows as they come; see resample.h.
#include <algorithm>
#include <cassert>
#include <span>
#include <utility>
#include <vector>

#include "runtime/native/imagework/vips/resample.h"
#include "runtime/native/imagework/vips/resampler.h"
#include "runtime/native/imagework/vips/rows_image.h"

namespace zelmor::imagework {

using namespace resampling;

namespace {

// The last rows of a reader that were read, as many as are needed.
class Window {
 public:
    explicit Window(std::unique_ptr<RowReader> before)
        : m_before(std::move(before)),
          m_pixel_size(m_before->header().form.pixel_size()),
          m_row_size(m_pixel_size * static_cast<size_t>(m_before->header().width)) {}

    const RowsHeader& header() const { return m_before->header(); }

    // The rows from `first` to before `end`; neither of them goes back from call to call.
    OldRows rows(int first, int end) {
        assert(first >= m_top);
        const auto gone = static_cast<size_t>(std::min(first, m_end) - m_top) * m_row_size;
        m_rows.erase(m_rows.begin(), m_rows.begin() + static_cast<std::ptrdiff_t>(gone));
        m_top = first;
        for (; m_end < first; m_end++) {  // nobody needs them
            m_rows.resize(m_row_size);
            m_before->read(1, m_rows);
            m_rows.clear();
        }
        if (end > m_end) {
            const size_t had = m_rows.size();
            const auto more = static_cast<size_t>(end - m_end) * m_row_size;
            m_rows.resize(had + more);
            m_before->read(end - m_end, std::span(m_rows).subspan(had));
            m_end = end;
        }
        return {m_rows.data(), m_row_size, m_pixel_size, m_top};
    }

 private:
    std::unique_ptr<RowReader> m_before;
    size_t m_pixel_size;
    size_t m_row_size;
    int m_top = 0;
    int m_end = 0;
    std::vector<uint8_t> m_rows;
};

template <class Work>
class ResampledRows final : public RowReader {
 public:
    ResampledRows(std::unique_ptr<RowReader> before, RowsHeader header, Resampler<Work> resampler)
        : m_window(std::move(before)), m_header(std::move(header)), m_resampler(std::move(resampler)) {}
    const RowsHeader& header() const override { return m_header; }

    void read(int32_t count, std::span<uint8_t> rows) override {
        const size_t row_size = m_header.form.pixel_size() * static_cast<size_t>(m_header.width);
        uint8_t* to = rows.data();
        for (const int end = m_next + count; m_next < end;) {
            const int next = std::min(end, m_next + m_resampler.rows_together());
            const OldRows old = m_window.rows(m_resampler.first_needed(m_next), m_resampler.end_needed(next));
            m_resampler.make(old, m_next, next, to, row_size);
            to += static_cast<size_t>(next - m_next) * row_size;
            m_next = next;
        }
    }

 private:
    Window m_window;
    RowsHeader m_header;
    Resampler<Work> m_resampler;
    int m_next = 0;
};

class NearestRows final : public RowReader {
 public:
    NearestRows(std::unique_ptr<RowReader> before, RowsHeader header)
        : m_window(std::move(before)),
          m_header(std::move(header)),
          m_lookup(m_header.form.pixel_size(), {m_window.header().width, m_window.header().height},
                   {m_header.width, m_header.height}) {}
    const RowsHeader& header() const override { return m_header; }

    void read(int32_t count, std::span<uint8_t> rows) override {
        const size_t row_size = m_header.form.pixel_size() * static_cast<size_t>(m_header.width);
        for (int32_t i = 0; i < count; i++, m_next++) {
            const int row = m_lookup.row(m_next);
            m_lookup.make(m_window.rows(row, row + 1).at(row), rows.data() + static_cast<size_t>(i) * row_size);
        }
    }

 private:
    Window m_window;
    RowsHeader m_header;
    Lookup m_lookup;
    int m_next = 0;
};

}  // namespace

std::unique_ptr<RowReader> resampled_rows(std::unique_ptr<RowReader> before, const ReducedSides& sides,
                                          const RowsHeader& header, Resampling resampling) {
    const Size from{before->header().width, before->header().height};
    const Size to{header.width, header.height};
    assert(from.width != to.width || from.height != to.height);
    if (resampling == Resampling::kNearest) {
        return std::make_unique<NearestRows>(std::move(before), header);
    }
    const Weights weights(resampling, from, to, sides.width, sides.height);
    const SampleForm form{band_format(header.form.sample), header.form.bands(), header.form.alpha};
    if (weights.lose_bits(form.format)) {
        return std::make_unique<ResampledRows<double>>(std::move(before), header,
                                                       weights.resampler<double>(form, from, to));
    }
    return std::make_unique<ResampledRows<float>>(std::move(before), header, weights.resampler<float>(form, from, to));
}

}  // namespace zelmor::imagework

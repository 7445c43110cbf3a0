// Choosing how strips of rows are deflated; see predicted_flate.h.
#include "runtime/native/formats/pdf/predicted_flate.h"

#include <algorithm>

namespace zelmor::imagework {
namespace {

constexpr size_t kStrip = 1024 * 1024;
// Bytes of a strip that are tried, and in how many places.
constexpr size_t kSampled = 64 * 1024, kPlaces = 8;
// A sample has fewer repetitions than the whole: not to look for them has to be so much smaller.
constexpr double kAdvantage = 0.96;

struct Way {
    bool differences;
    int strategy;
};
constexpr Way kWays[] = {{false, Z_DEFAULT_STRATEGY}, {true, Z_DEFAULT_STRATEGY}, {true, Z_RLE}};

}  // namespace

PredictedFlate::PredictedFlate(const PackedRows& rows, ByteSink& out)
    : m_rows(rows), m_out(out), m_predictor(rows.size(), rows.pixel_size()) {}

void PredictedFlate::write(std::span<const uint8_t> row) {
    m_plain.push_back(0);
    m_plain.insert(m_plain.end(), row.begin(), row.end());
    m_predictor.add(row, m_differences);
    if (m_plain.size() >= kStrip) {
        write_strip();
    }
}

// Rows from all over the strip, as many in each place.
std::span<const uint8_t> PredictedFlate::sample_of(const std::vector<uint8_t>& strip) {
    const size_t row_size = m_rows.size() + 1;
    const size_t rows = strip.size() / row_size;
    const size_t sampled = std::max<size_t>(1, kSampled / row_size);
    if (rows <= sampled) {
        return strip;
    }
    const size_t places = std::min(sampled, kPlaces);
    const size_t count = sampled / places;
    m_sample.clear();
    for (size_t place = 0; place < places; ++place) {
        const size_t first = places > 1 ? (rows - count) * place / (places - 1) : (rows - count) / 2;
        const auto begin = strip.begin() + static_cast<ptrdiff_t>(first * row_size);
        m_sample.insert(m_sample.end(), begin, begin + static_cast<ptrdiff_t>(count * row_size));
    }
    return m_sample;
}

void PredictedFlate::write_strip() {
    const auto bytes_of = [&](const Way& way) -> const std::vector<uint8_t>& {
        return way.differences ? m_differences : m_plain;
    };
    const Way* best = nullptr;
    double least = 0;
    for (const Way& way : kWays) {
        const auto size = static_cast<double>(m_trial.packed_size(sample_of(bytes_of(way)), way.strategy));
        const double counts = way.strategy == Z_RLE ? size / kAdvantage : size;
        if (best == nullptr || counts < least) {
            best = &way;
            least = counts;
        }
    }
    m_stream.set_strategy(best->strategy, m_out);
    m_stream.write(bytes_of(*best), m_out);
    m_plain.clear();
    m_differences.clear();
}

void PredictedFlate::finish() {
    if (!m_plain.empty()) {
        write_strip();
    }
    m_stream.finish(m_out);
}

std::string PredictedFlate::entries() const {
    return " /Filter /FlateDecode" + png_predictor_entries(m_rows);
}

}  // namespace zelmor::imagework

// Compressing rows; see row_filters.h.
#include "runtime/native/formats/pdf/row_filters.h"

#include <algorithm>
#include <cassert>
#include <vector>

#include "runtime/native/formats/pdf/deflater.h"
#include "runtime/native/formats/pdf/predicted_flate.h"
#include "runtime/native/formats/pdf/row_predictor.h"
#include "runtime/native/formats/psd/pack_bits.h"

namespace zelmor::imagework {
namespace {

constexpr size_t kPiece = 64 * 1024;

class Unfiltered final : public RowFilter {
 public:
    explicit Unfiltered(ByteSink& out) : m_out(out) {}
    void write(std::span<const uint8_t> row) override { m_out.write(row); }
    void finish() override {}
    std::string entries() const override { return {}; }

 private:
    ByteSink& m_out;
};

class RunLength final : public RowFilter {
 public:
    explicit RunLength(ByteSink& out) : m_out(out) {}
    void write(std::span<const uint8_t> row) override {
        pack_bits(row, m_bytes);
        if (m_bytes.size() >= kPiece) {
            flush();
        }
    }
    void finish() override {
        m_bytes.push_back(128);  // the end of the data
        flush();
    }
    std::string entries() const override { return " /Filter /RunLengthDecode"; }

 private:
    void flush() {
        m_out.write(m_bytes);
        m_bytes.clear();
    }
    ByteSink& m_out;
    std::vector<uint8_t> m_bytes;
};

class Flate final : public RowFilter {
 public:
    explicit Flate(ByteSink& out) : m_out(out) {}
    void write(std::span<const uint8_t> row) override { m_stream.write(row, m_out); }
    void finish() override { m_stream.finish(m_out); }
    std::string entries() const override { return " /Filter /FlateDecode"; }

 private:
    ByteSink& m_out;
    Deflater m_stream;
};

// Codes of 9 to 12 bits, the highest bit first. A code becomes longer one entry before the table needs it.
class Lzw final : public RowFilter {
 public:
    explicit Lzw(ByteSink& out) : m_out(out) {
        put(kClear);
        clear();
    }
    void write(std::span<const uint8_t> row) override {
        for (const uint8_t byte : row) {
            add(byte);
        }
        if (m_bytes.size() >= kPiece) {
            flush();
        }
    }
    void finish() override {
        if (m_prefix >= 0) {
            put(m_prefix);
            grow();
        }
        put(kEnd);
        if (m_held > 0) {
            m_bytes.push_back(static_cast<uint8_t>(m_bits << (8 - m_held)));
        }
        flush();
    }
    std::string entries() const override { return " /Filter /LZWDecode"; }

 private:
    static constexpr int kClear = 256, kEnd = 257, kFirst = 258;
    static constexpr int kMost = 4093;  // entries; the code of 12 bits is never the last
    static constexpr size_t kPlaces = size_t{1} << 14;

    void clear() {
        m_next = kFirst;
        m_length = 9;
        m_table.assign(kPlaces, Entry{});
    }
    void add(uint8_t byte) {
        if (m_prefix < 0) {
            m_prefix = byte;
            return;
        }
        const uint32_t key = static_cast<uint32_t>(m_prefix) << 8 | byte;
        size_t place = (key * 2654435761U) >> 18;
        while (m_table[place].code != 0 && m_table[place].key != key) {
            place = (place + 1) % kPlaces;
        }
        if (m_table[place].code != 0) {
            m_prefix = m_table[place].code;
            return;
        }
        put(m_prefix);
        m_table[place] = {key, m_next};
        grow();
        m_prefix = byte;
    }
    // The table has one entry more.
    void grow() {
        ++m_next;
        if (m_next > kMost) {
            put(kClear);
            clear();
        } else if (m_next + 1 > 1 << m_length) {
            ++m_length;
        }
    }
    void put(int code) {
        m_bits = m_bits << m_length | static_cast<uint32_t>(code);
        m_held += m_length;
        while (m_held >= 8) {
            m_held -= 8;
            m_bytes.push_back(static_cast<uint8_t>(m_bits >> m_held));
        }
        m_bits &= (1U << m_held) - 1;
    }
    void flush() {
        m_out.write(m_bytes);
        m_bytes.clear();
    }

    struct Entry {
        uint32_t key = 0;  // the code before and the byte behind it
        int code = 0;      // 0 of a free place
    };
    ByteSink& m_out;
    std::vector<uint8_t> m_bytes;
    std::vector<Entry> m_table;
    uint32_t m_bits = 0;
    int m_held = 0;
    int m_next = kFirst;
    int m_length = 9;
    int m_prefix = -1;
};

std::string predictor_entries(int predictor, const PackedRows& rows) {
    return " /DecodeParms << /Predictor " + std::to_string(predictor) + " /Colors " + std::to_string(rows.samples) +
           " /BitsPerComponent " + std::to_string(rows.bits) + " /Columns " + std::to_string(rows.width) + " >>";
}

// Each sample of 8 bits becomes its difference to that of the pixel before.
class Differences final : public RowFilter {
 public:
    Differences(const PackedRows& rows, std::unique_ptr<RowFilter> next) : m_rows(rows), m_next(std::move(next)) {
        assert(rows.bits == 8);
    }
    void write(std::span<const uint8_t> row) override {
        const size_t pixel = m_rows.pixel_size();
        m_row.assign(row.begin(), row.end());
        for (size_t i = m_row.size(); i-- > pixel;) {
            m_row[i] = static_cast<uint8_t>(m_row[i] - m_row[i - pixel]);
        }
        m_next->write(m_row);
    }
    void finish() override { m_next->finish(); }
    std::string entries() const override { return m_next->entries() + predictor_entries(2, m_rows); }

 private:
    PackedRows m_rows;
    std::unique_ptr<RowFilter> m_next;
    std::vector<uint8_t> m_row;
};

// The predictors of PNG: each row has the one whose differences are the least.
class BestPredictor final : public RowFilter {
 public:
    BestPredictor(const PackedRows& rows, std::unique_ptr<RowFilter> next)
        : m_rows(rows), m_next(std::move(next)), m_predictor(rows.size(), rows.pixel_size()) {}
    void write(std::span<const uint8_t> row) override {
        m_row.clear();
        m_predictor.add(row, m_row);
        m_next->write(m_row);
    }
    void finish() override { m_next->finish(); }
    std::string entries() const override { return m_next->entries() + png_predictor_entries(m_rows); }

 private:
    PackedRows m_rows;
    std::unique_ptr<RowFilter> m_next;
    RowPredictor m_predictor;
    std::vector<uint8_t> m_row;
};

}  // namespace

std::string png_predictor_entries(const PackedRows& rows) {
    return predictor_entries(15, rows);
}

std::unique_ptr<RowFilter> make_row_filter(PdfCompression compression, const PackedRows& rows, bool plain,
                                           ByteSink& out) {
    const bool predicts = !plain && rows.bits >= 8;
    switch (compression) {
        case PdfCompression::kRunLength:
            return std::make_unique<RunLength>(out);
        case PdfCompression::kFlate:
            if (predicts) {
                return std::make_unique<PredictedFlate>(rows, out);
            }
            return std::make_unique<Flate>(out);
        case PdfCompression::kLzw: {
            auto lzw = std::make_unique<Lzw>(out);
            if (predicts && rows.bits == 8) {
                return std::make_unique<Differences>(rows, std::move(lzw));
            }
            return lzw;
        }
        case PdfCompression::kLzwOptimized: {
            auto lzw = std::make_unique<Lzw>(out);
            if (predicts) {
                return std::make_unique<BestPredictor>(rows, std::move(lzw));
            }
            return lzw;
        }
        default:
            assert(compression == PdfCompression::kNone);
            return std::make_unique<Unfiltered>(out);
    }
}

}  // namespace zelmor::imagework

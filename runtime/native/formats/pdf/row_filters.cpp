// Compressing rows; see row_filters.h.
#include "runtime/native/formats/pdf/row_filters.h"

#include <zlib.h>

#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <vector>

#include "runtime/native/formats/psd/pack_bits.h"
#include "runtime/native/imagework/picture_error.h"

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
    explicit Flate(ByteSink& out) : m_out(out), m_piece(kPiece) {
        if (deflateInit(&m_zip, Z_DEFAULT_COMPRESSION) != Z_OK) {
            throw PictureError(Failure::kInternal, "the compression cannot be started");
        }
    }
    ~Flate() override { deflateEnd(&m_zip); }
    Flate(const Flate&) = delete;
    Flate& operator=(const Flate&) = delete;

    void write(std::span<const uint8_t> row) override { run(row, Z_NO_FLUSH); }
    void finish() override { run({}, Z_FINISH); }
    std::string entries() const override { return " /Filter /FlateDecode"; }

 private:
    void run(std::span<const uint8_t> row, int flush) {
        m_zip.next_in = const_cast<uint8_t*>(row.data());
        m_zip.avail_in = static_cast<uInt>(row.size());
        do {
            m_zip.next_out = m_piece.data();
            m_zip.avail_out = static_cast<uInt>(m_piece.size());
            deflate(&m_zip, flush);
            if (m_zip.avail_out < m_piece.size()) {
                m_out.write({m_piece.data(), m_piece.size() - m_zip.avail_out});
            }
        } while (m_zip.avail_out == 0);
    }

    ByteSink& m_out;
    z_stream m_zip{};
    std::vector<uint8_t> m_piece;
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

uint8_t paeth(int left, int above, int corner) {
    const int guess = left + above - corner;
    const int to_left = std::abs(guess - left), to_above = std::abs(guess - above);
    const int to_corner = std::abs(guess - corner);
    return static_cast<uint8_t>(to_left <= to_above && to_left <= to_corner ? left
                                : to_above <= to_corner                     ? above
                                                                            : corner);
}

// The predictors of PNG: each row has the one whose differences are the least.
class BestPredictor final : public RowFilter {
 public:
    BestPredictor(const PackedRows& rows, std::unique_ptr<RowFilter> next)
        : m_rows(rows), m_next(std::move(next)), m_above(rows.size()) {
        for (auto& candidate : m_candidates) {
            candidate.resize(rows.size() + 1);
        }
    }
    void write(std::span<const uint8_t> row) override {
        const size_t pixel = m_rows.pixel_size();
        for (uint8_t type = 0; type < kTypes; ++type) {
            m_candidates[type][0] = type;
        }
        std::copy(row.begin(), row.end(), m_candidates[0].begin() + 1);
        for (size_t i = 0; i < row.size(); ++i) {
            const int left = i < pixel ? 0 : row[i - pixel];
            const int above = m_above[i];
            const int corner = i < pixel ? 0 : m_above[i - pixel];
            m_candidates[1][i + 1] = static_cast<uint8_t>(row[i] - left);
            m_candidates[2][i + 1] = static_cast<uint8_t>(row[i] - above);
            m_candidates[3][i + 1] = static_cast<uint8_t>(row[i] - (left + above) / 2);
            m_candidates[4][i + 1] = static_cast<uint8_t>(row[i] - paeth(left, above, corner));
        }
        const auto* best = &m_candidates[0];
        uint64_t least = UINT64_MAX;
        for (const auto& candidate : m_candidates) {
            uint64_t sum = 0;
            for (size_t i = 1; i < candidate.size(); ++i) {
                sum += static_cast<uint64_t>(std::abs(static_cast<int8_t>(candidate[i])));
            }
            if (sum < least) {
                least = sum;
                best = &candidate;
            }
        }
        m_next->write(*best);
        std::copy(row.begin(), row.end(), m_above.begin());
    }
    void finish() override { m_next->finish(); }
    std::string entries() const override { return m_next->entries() + predictor_entries(15, m_rows); }

 private:
    static constexpr uint8_t kTypes = 5;
    PackedRows m_rows;
    std::unique_ptr<RowFilter> m_next;
    std::vector<uint8_t> m_above;
    std::vector<uint8_t> m_candidates[kTypes];
};

}  // namespace

std::unique_ptr<RowFilter> make_row_filter(PdfCompression compression, const PackedRows& rows, bool plain,
                                           ByteSink& out) {
    const bool predicts = !plain && rows.bits >= 8;
    switch (compression) {
        case PdfCompression::kRunLength:
            return std::make_unique<RunLength>(out);
        case PdfCompression::kFlate: {
            auto flate = std::make_unique<Flate>(out);
            if (predicts) {
                return std::make_unique<BestPredictor>(rows, std::move(flate));
            }
            return flate;
        }
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

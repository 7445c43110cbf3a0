// Coding the samples of lossless JPEG (process 14 of ITU-T T.81): each is the difference to what its neighbors
// foretell, with a Huffman code for the length of the difference; see lossless_frame.h.
#include "runtime/native/formats/jpeg/lossless_frame.h"

#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include <vector>

#include "runtime/native/formats/jpeg/jpeg_markers.h"
#include "runtime/native/formats/jpeg/lossless_codes.h"
#include "runtime/native/formats/jpeg/lossless_prediction.h"

namespace zelmor::imagework {
namespace {

constexpr int kPredictors = 7;

// Modulo 2^16, as the standard counts: -32767 to 32768.
int32_t wrapped(int32_t difference) {
    const auto low = static_cast<int16_t>(static_cast<uint16_t>(difference));
    return low == INT16_MIN ? 32768 : low;
}

size_t length_of(int32_t difference) {
    return static_cast<size_t>(std::bit_width(static_cast<uint32_t>(difference < 0 ? -difference : difference)));
}

// Calls visit(band, difference) for the samples of a row in their order. Above the first row nothing counts.
template <int predictor, class Visit>
void each_difference(const uint16_t* row, const uint16_t* above, size_t width, size_t bands, int32_t first,
                     Visit visit) {
    for (size_t band = 0; band < bands; band++) {
        visit(band, wrapped(row[band] - (above == nullptr ? first : above[band])));
    }
    const size_t end = width * bands;
    for (size_t i = bands; i < end;) {
        for (size_t band = 0; band < bands; band++, i++) {
            const int32_t guess = above == nullptr
                                      ? row[i - bands]
                                      : predicted_sample(predictor, row[i - bands], above[i], above[i - bands]);
            visit(band, wrapped(row[i] - guess));
        }
    }
}

class LosslessEncoder {
 public:
    LosslessEncoder(const LosslessFrame& frame, std::span<const uint16_t> samples, ByteSink& out)
        : m_frame(frame),
          m_samples(samples),
          m_width(static_cast<size_t>(frame.width)),
          m_height(static_cast<size_t>(frame.height)),
          m_bands(static_cast<size_t>(frame.bands)),
          m_out(out) {
        assert(samples.size() == m_width * m_height * m_bands);
    }

    void encode(std::span<const uint8_t> segments) {
        const int predictor = m_frame.predictor != 0 ? m_frame.predictor : best_predictor();
        Frequencies found(m_bands);
        with_predictor(predictor, [&]<int number>() {
            for (size_t y = 0; y < m_height; y++) {
                count<number>(y, found);
            }
        });
        std::vector<LosslessCodes> codes;
        for (const LosslessFrequencies& band : found) {
            codes.push_back(make_lossless_codes(band));
        }
        put_word(0xFF00 | kJpegStart);
        m_file.insert(m_file.end(), segments.begin(), segments.end());
        put_head(predictor, codes);
        with_predictor(predictor, [&]<int number>() {
            for (size_t y = 0; y < m_height; y++) {
                each_difference<number>(row(y), y == 0 ? nullptr : row(y - 1), m_width, m_bands, first(),
                                        [&](size_t band, int32_t difference) { put(codes[band], difference); });
                send(false);
            }
        });
        if (m_held > 0) {
            put_bits((1U << (8 - m_held)) - 1, 8 - m_held);  // the last byte is filled up with ones
        }
        put_word(0xFF00 | kJpegEnd);
        send(true);
    }

 private:
    using Frequencies = std::vector<LosslessFrequencies>;  // of each band

    int32_t first() const { return int32_t{1} << (m_frame.bits - 1); }
    const uint16_t* row(size_t y) const { return m_samples.data() + y * m_width * m_bands; }

    template <int predictor>
    void count(size_t y, Frequencies& found) const {
        each_difference<predictor>(row(y), y == 0 ? nullptr : row(y - 1), m_width, m_bands, first(),
                                   [&](size_t band, int32_t difference) { found[band][length_of(difference)]++; });
    }

    // About the bits that so many differences take.
    static double cost(const Frequencies& found) {
        double bits = 0;
        for (const LosslessFrequencies& band : found) {
            double all = 0;
            for (const uint64_t each : band) {
                all += static_cast<double>(each);
            }
            for (size_t length = 0; length < band.size(); length++) {
                if (band[length] > 0) {
                    const auto each = static_cast<double>(band[length]);
                    bits += each * (std::log2(all / each) + static_cast<double>(length));
                }
            }
        }
        return bits;
    }

    // Calls a template with the number of a predictor.
    template <class Call>
    static void with_predictor(int predictor, Call call) {
        switch (predictor) {
            case 1:
                return call.template operator()<1>();
            case 2:
                return call.template operator()<2>();
            case 3:
                return call.template operator()<3>();
            case 4:
                return call.template operator()<4>();
            case 5:
                return call.template operator()<5>();
            case 6:
                return call.template operator()<6>();
            default:
                return call.template operator()<7>();
        }
    }

    // The one with which the file is shortest, as far as every eighth row tells. The first of several.
    int best_predictor() const {
        constexpr size_t kStep = 8;
        int best = 1;
        double least = 0;
        for (int predictor = 1; predictor <= kPredictors; predictor++) {
            Frequencies found(m_bands);
            with_predictor(predictor, [&]<int number>() {
                for (size_t y = std::min<size_t>(1, m_height - 1); y < m_height; y += kStep) {
                    count<number>(y, found);
                }
            });
            const double bits = cost(found);
            if (predictor == 1 || bits < least) {
                least = bits;
                best = predictor;
            }
        }
        return best;
    }

    void put(const LosslessCodes& codes, int32_t difference) {
        const size_t length = length_of(difference);
        const LosslessCodes::Code code = codes.codes[length];
        put_bits(code.bits, code.length);
        if (length > 0 && length < 16) {
            const auto negative = static_cast<int32_t>(difference < 0);
            put_bits(static_cast<uint32_t>(difference - negative) & ((1U << length) - 1), static_cast<int>(length));
        }
    }

    void put_bits(uint32_t bits, int count) {
        m_bits_held = m_bits_held << count | bits;
        m_held += count;
        while (m_held >= 8) {
            m_held -= 8;
            const auto byte = static_cast<uint8_t>(m_bits_held >> m_held);
            m_file.push_back(byte);
            if (byte == 0xFF) {
                m_file.push_back(kJpegStuffing);
            }
        }
    }

    void put_word(size_t value) {
        m_file.push_back(static_cast<uint8_t>(value >> 8));
        m_file.push_back(static_cast<uint8_t>(value));
    }
    void put_segment(JpegMarker marker, std::span<const uint8_t> data) {
        put_word(size_t{0xFF00} | marker);
        put_word(2 + data.size());
        m_file.insert(m_file.end(), data.begin(), data.end());
    }

    void put_head(int predictor, const std::vector<LosslessCodes>& codes) {
        std::vector<uint8_t> frame{static_cast<uint8_t>(m_frame.bits)};
        for (const int32_t side : {m_frame.height, m_frame.width}) {
            frame.push_back(static_cast<uint8_t>(side >> 8));
            frame.push_back(static_cast<uint8_t>(side));
        }
        std::vector<uint8_t> scan{static_cast<uint8_t>(m_bands)};
        frame.push_back(scan[0]);
        for (size_t band = 0; band < m_bands; band++) {
            frame.insert(frame.end(), {static_cast<uint8_t>(band + 1), 0x11, 0});
            scan.insert(scan.end(), {static_cast<uint8_t>(band + 1), static_cast<uint8_t>(band << 4)});
        }
        scan.insert(scan.end(), {static_cast<uint8_t>(predictor), 0, 0});
        put_segment(kJpegLosslessFrame, frame);
        for (size_t band = 0; band < m_bands; band++) {
            std::vector<uint8_t> table{static_cast<uint8_t>(band)};
            table.insert(table.end(), codes[band].counts.begin(), codes[band].counts.end());
            table.insert(table.end(), codes[band].values.begin(), codes[band].values.end());
            put_segment(kJpegHuffmanTables, table);
        }
        put_segment(kJpegScan, scan);
    }

    // Gives the file on in pieces.
    void send(bool all) {
        constexpr size_t kPiece = size_t{64} << 10;
        if (all || m_file.size() >= kPiece) {
            m_out.write(m_file);
            m_file.clear();
        }
    }

    const LosslessFrame& m_frame;
    std::span<const uint16_t> m_samples;
    size_t m_width;
    size_t m_height;
    size_t m_bands;
    ByteSink& m_out;
    std::vector<uint8_t> m_file;  // what was not given on yet
    uint64_t m_bits_held = 0;
    int m_held = 0;
};

}  // namespace

void encode_lossless_jpeg(const LosslessFrame& frame, std::span<const uint16_t> samples,
                          std::span<const uint8_t> segments, ByteSink& out) {
    assert(frame.bits >= 2 && frame.bits <= 16 && frame.bands >= 1 && frame.bands <= 4);
    LosslessEncoder(frame, samples, out).encode(segments);
}

}  // namespace zelmor::imagework

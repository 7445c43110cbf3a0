// Decoding JPEG as its standard describes it (ITU-T T.81); see coded_jpeg.h.
#include "runtime/native/formats/jpeg/coded_jpeg.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <cstring>
#include <numbers>
#include <optional>
#include <string>

#include "runtime/native/formats/jpeg/jpeg_markers.h"
#include "runtime/native/formats/jpeg/lossless_prediction.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

// The order in which the coefficients of a block are stored: the places of the rows that they belong to.
constexpr std::array<uint8_t, 64> kZigzag = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                             12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                             35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                             58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

[[noreturn]] void damaged(const std::string& text) {
    throw PictureError(Failure::kDamaged, text);
}
[[noreturn]] void unsupported(const std::string& text) {
    throw PictureError(Failure::kUnsupported, text);
}

// The data of a scan end, or have no meaning: what came before holds.
struct EndOfData {};

class Huffman {
 public:
    Huffman() = default;
    // The numbers of the codes of each length, and the values in the order of the codes.
    Huffman(std::span<const uint8_t> counts, std::span<const uint8_t> values) : m_values(values.begin(), values.end()) {
        uint32_t code = 0;
        uint32_t index = 0;
        for (size_t length = 1; length <= 16; length++) {
            m_first[length] = static_cast<int32_t>(index) - static_cast<int32_t>(code);
            code += counts[length - 1];
            index += counts[length - 1];
            if (code > uint32_t{1} << length) {
                damaged("a table of Huffman codes has too many of them");
            }
            m_end[length] = code;
            code <<= 1;
        }
        for (uint32_t bits = 0; bits < m_short.size(); bits++) {
            for (uint32_t length = 1; length <= kShort && m_short[bits].length == 0; length++) {
                const uint32_t prefix = bits >> (kShort - length);
                const auto at = static_cast<size_t>(static_cast<int64_t>(prefix) + m_first[length]);
                if (prefix < m_end[length] && at < m_values.size()) {
                    m_short[bits] = {static_cast<uint8_t>(length), m_values[at]};
                }
            }
        }
    }
    bool empty() const { return m_values.empty(); }

    template <class Bits>
    uint8_t decode(Bits& bits) const {
        if (const auto next = bits.next(kShort); next && m_short[*next].length > 0) {
            bits.take(m_short[*next].length);
            return m_short[*next].value;
        }
        uint32_t code = 0;
        for (size_t length = 1; length <= 16; length++) {
            code = code << 1 | bits.take(1);
            if (code < m_end[length]) {
                const auto at = static_cast<size_t>(static_cast<int64_t>(code) + m_first[length]);
                if (at < m_values.size()) {
                    return m_values[at];
                }
                break;
            }
        }
        throw EndOfData();
    }

 private:
    static constexpr uint32_t kShort = 9;
    struct Short {
        uint8_t length = 0;  // 0: the code is longer
        uint8_t value = 0;
    };
    std::vector<uint8_t> m_values;
    std::array<Short, 1U << kShort> m_short{};  // by the bits that come next
    std::array<int32_t, 17> m_first{};          // what is added to a code of a length for its place among the values
    std::array<uint32_t, 17> m_end{};           // behind the last code of a length
};

// The bits of a scan. A marker ends them.
class ScanBits {
 public:
    ScanBits(std::span<const uint8_t> data, size_t at) : m_data(data), m_at(at) {}

    uint32_t take(int count) {
        assert(count <= 16);
        if (m_count < count) {
            fill();
        }
        if (m_count < count) {
            throw EndOfData();
        }
        m_count -= count;
        return static_cast<uint32_t>(m_held >> m_count & ((uint64_t{1} << count) - 1));
    }

    // The bits that come next, which stay; nothing where the data have fewer.
    std::optional<uint32_t> next(int count) {
        if (m_count < count) {
            fill();
        }
        if (m_count < count) {
            return std::nullopt;
        }
        return static_cast<uint32_t>(m_held >> (m_count - count) & ((uint64_t{1} << count) - 1));
    }

    // A number of so many bits, of which the lower half is negative.
    int32_t take_signed(int count) {
        const auto value = static_cast<int32_t>(take(count));
        return count > 0 && value < int32_t{1} << (count - 1) ? value - (int32_t{1} << count) + 1 : value;
    }

    // Goes behind the next restart marker. False where there is none.
    bool restart() {
        m_count = 0;
        while (m_at + 1 < m_data.size() && m_data[m_at] == 0xFF && m_data[m_at + 1] == 0xFF) {
            m_at++;
        }
        const bool there = m_at + 1 < m_data.size() && m_data[m_at] == 0xFF && (m_data[m_at + 1] & 0xF8) == 0xD0;
        m_at += there ? 2 : 0;
        return there;
    }

    // Behind the data of the scan.
    size_t position() const { return m_at; }

 private:
    // Holds more than 32 bits, or all that there are before a marker or the end of the data.
    void fill() {
        while (m_count <= 32) {
            if (m_data.size() - m_at >= 4) {
                uint32_t four;
                std::memcpy(&four, m_data.data() + m_at, sizeof(four));
                four = __builtin_bswap32(four);
                constexpr uint32_t kOnes = 0x01010101, kHighest = 0x80808080;
                if (((~four - kOnes) & four & kHighest) == 0) {  // none of them is 0xFF
                    m_held = m_held << 32 | four;
                    m_count += 32;
                    m_at += 4;
                    continue;
                }
            }
            if (m_at >= m_data.size()) {
                return;
            }
            const uint8_t byte = m_data[m_at];
            if (byte == 0xFF && (m_at + 1 >= m_data.size() || m_data[m_at + 1] != 0)) {
                return;
            }
            m_at += byte == 0xFF ? 2 : 1;
            m_held = m_held << 8 | byte;
            m_count += 8;
        }
    }

    std::span<const uint8_t> m_data;
    size_t m_at;
    uint64_t m_held = 0;
    int m_count = 0;
};

struct Component {
    uint8_t id = 0;
    int across = 1;  // blocks, or samples, in a unit
    int down = 1;
    uint8_t quantization = 0;
    int columns = 0;  // samples that have been decoded
    std::vector<uint16_t> plane = {};
    int rows_done = 0;  // rows that are sound
};

class Decoder {
 public:
    Decoder(std::span<const uint8_t> data, const JpegFrameSize& size) : m_data(data), m_size(size) {}

    JpegPlanes decode(bool keeps_part) {
        m_keeps_part = keeps_part;
        size_t at = 2;
        while (at + 4 <= m_data.size() && m_scans < 16) {
            if (m_data[at] != 0xFF || m_data[at + 1] == 0xFF || m_data[at + 1] == 0) {
                at++;
                continue;
            }
            const uint8_t marker = m_data[at + 1];
            at += 2;
            if (marker == 0xD9) {
                break;
            }
            if (is_bare_jpeg_marker(marker)) {
                continue;
            }
            const size_t length = word(at);
            if (length < 2 || m_data.size() - at < length) {
                break;
            }
            const auto segment = m_data.subspan(at + 2, length - 2);
            at += length;
            if (marker == 0xDA) {
                at = scan(segment, at);
            } else {
                take_segment(marker, segment);
            }
        }
        return joined();
    }

 private:
    size_t word(size_t at) const {
        return at + 1 < m_data.size() ? static_cast<size_t>(m_data[at] << 8 | m_data[at + 1]) : 0;
    }

    void take_segment(uint8_t marker, std::span<const uint8_t> segment) {
        switch (marker) {
            case 0xC4:
                return take_codes(segment);
            case 0xDB:
                return take_quantization(segment);
            case 0xDD:
                if (segment.size() >= 2) {
                    m_restart = segment[0] << 8 | segment[1];
                }
                return;
            case 0xC0:
            case 0xC1:
            case 0xC3:
                return take_frame(segment, marker == 0xC3);
            default:
                return require_coded_jpeg(marker);
        }
    }

    void take_codes(std::span<const uint8_t> segment) {
        while (segment.size() >= 17) {
            const uint8_t place = segment[0];
            const auto counts = segment.subspan(1, 16);
            size_t values = 0;
            for (const uint8_t count : counts) {
                values += count;
            }
            if (values > 256 || segment.size() < 17 + values || (place & 0xF) > 3 || place >> 4 > 1) {
                damaged("a table of Huffman codes makes no sense");
            }
            m_codes[place >> 4][place & 0xF] = Huffman(counts, segment.subspan(17, values));
            segment = segment.subspan(17 + values);
        }
    }

    void take_quantization(std::span<const uint8_t> segment) {
        while (!segment.empty()) {
            const uint8_t place = segment[0];
            const size_t size = place >> 4 == 0 ? 1 : 2;
            if (segment.size() < 1 + 64 * size || (place & 0xF) > 3) {
                damaged("a table of quantization makes no sense");
            }
            for (size_t i = 0; i < 64; i++) {
                m_quantization[place & 0xF][kZigzag[i]] =
                    size == 1 ? segment[1 + i] : static_cast<uint16_t>(segment[1 + 2 * i] << 8 | segment[2 + 2 * i]);
            }
            segment = segment.subspan(1 + 64 * size);
        }
    }

    void take_frame(std::span<const uint8_t> segment, bool lossless) {
        if (segment.size() < 6 || !m_parts.empty()) {
            damaged("the header of a frame makes no sense");
        }
        m_lossless = lossless;
        m_bits = segment[0];
        const int height = segment[1] << 8 | segment[2];
        const int width = segment[3] << 8 | segment[4];
        const size_t count = segment[5];
        if (width != m_size.width || height != m_size.height || count != static_cast<size_t>(m_size.components) ||
            segment.size() < 6 + 3 * count) {
            damaged("a frame has " + std::to_string(width) + " by " + std::to_string(height) + " pixels of " +
                    std::to_string(count) + " samples, where the header tells of " + std::to_string(m_size.width) +
                    " by " + std::to_string(m_size.height) + " of " + std::to_string(m_size.components));
        }
        if (lossless ? m_bits < 2 || m_bits > 16 : m_bits != 12 && m_bits != 8) {
            damaged("a frame of JPEG cannot have " + std::to_string(m_bits) + " bits");
        }
        for (size_t i = 0; i < count; i++) {
            const auto part = segment.subspan(6 + 3 * i, 3);
            m_parts.push_back({part[0], part[1] >> 4, part[1] & 0xF, static_cast<uint8_t>(part[2] & 3)});
            const Component& added = m_parts.back();
            if (added.across < 1 || added.across > 4 || added.down < 1 || added.down > 4) {
                damaged("a component of JPEG makes no sense");
            }
            m_across = std::max(m_across, added.across);
            m_down = std::max(m_down, added.down);
        }
        if (count == 1) {  // whose units are single blocks whatever it says
            m_parts[0].across = m_parts[0].down = m_across = m_down = 1;
        }
        if (lossless && (m_across > 1 || m_down > 1)) {
            unsupported("this is lossless JPEG whose colors have fewer samples than pixels, which is not read");
        }
        for (const Component& part : m_parts) {
            if (m_across % part.across != 0 || m_down % part.down != 0) {
                unsupported("this is JPEG of uneven samples, which is not read");
            }
        }
    }

    // Where the data behind the scan begin.
    size_t scan(std::span<const uint8_t> segment, size_t at) {
        if (m_parts.empty() || segment.empty() || segment.size() < 4 + 2 * size_t{segment[0]} || segment[0] == 0) {
            damaged("a scan makes no sense");
        }
        m_scans++;
        m_members.clear();
        for (size_t i = 0; i < segment[0]; i++) {
            const uint8_t id = segment[1 + 2 * i];
            const uint8_t tables = segment[2 + 2 * i];
            const auto found = std::find_if(m_parts.begin(), m_parts.end(), [&](const auto& p) { return p.id == id; });
            if (found == m_parts.end() || (tables >> 4) > 3 || (tables & 0xF) > 3) {
                damaged("a scan has a component that the frame has not");
            }
            m_members.push_back({&*found, &m_codes[0][tables >> 4], &m_codes[1][tables & 0xF]});
            if (m_members.back().dc->empty() || (!m_lossless && m_members.back().ac->empty()) ||
                !found->plane.empty()) {
                damaged("a scan has no table of Huffman codes, or a component for the second time");
            }
        }
        const auto tail = segment.subspan(1 + 2 * size_t{segment[0]}, 3);
        ScanBits bits(m_data, at);
        try {
            m_lossless ? lossless_scan(bits, tail[0], tail[2] & 0xF) : sequential_scan(bits);
        } catch (const EndOfData&) {
            if (!m_keeps_part) {
                damaged("the data of a frame end too early or make no sense");
            }
        }
        return bits.position();
    }

    struct Member {
        Component* part;
        const Huffman* dc;
        const Huffman* ac;
        int32_t before = 0;
    };

    // ---- Lossless: each sample is the difference to what those beside it foretell

    void lossless_scan(ScanBits& bits, int predictor, int shift) {
        if (predictor < 1 || predictor > 7 || shift >= m_bits) {
            damaged("a scan of lossless JPEG has no predictor");
        }
        const auto width = static_cast<size_t>(m_size.width);
        if (m_restart % m_size.width != 0) {
            damaged("a scan of lossless JPEG is interrupted within a row");
        }
        const int rows_between = m_restart / m_size.width;
        const int32_t first = int32_t{1} << (m_bits - shift - 1);
        bool fresh = true;  // nothing above counts
        struct Row {
            uint16_t* samples;
            const Huffman* codes;
        };
        std::vector<Row> rows;
        for (int y = 0; y < m_size.height; y++) {
            if (rows_between > 0 && y > 0 && y % rows_between == 0) {
                if (!bits.restart()) {
                    throw EndOfData();
                }
                fresh = true;
            }
            for (const Member& member : m_members) {  // so that memory is taken for sound data only
                member.part->plane.reserve(width * static_cast<size_t>(m_size.height));
                member.part->plane.resize(width * (static_cast<size_t>(y) + 1));
            }
            rows.clear();
            for (const Member& member : m_members) {
                rows.push_back({member.part->plane.data() + width * static_cast<size_t>(y), member.dc});
            }
            for (const Row& row : rows) {
                row.samples[0] = static_cast<uint16_t>(
                    (fresh ? first : row.samples[-static_cast<std::ptrdiff_t>(width)]) + difference(bits, *row.codes));
            }
            for (size_t x = 1; x < width; x++) {
                for (const Row& row : rows) {
                    uint16_t* const at = row.samples + x;
                    const uint16_t* const above = at - (fresh ? 0 : width);
                    const int32_t guess =
                        fresh || predictor == 1 ? at[-1] : predicted_sample(predictor, at[-1], *above, above[-1]);
                    *at = static_cast<uint16_t>(guess + difference(bits, *row.codes));
                }
            }
            fresh = false;
            for (const Member& member : m_members) {
                member.part->rows_done = y + 1;
            }
        }
        if (shift > 0) {
            for (const Member& member : m_members) {
                for (uint16_t& sample : member.part->plane) {
                    sample = static_cast<uint16_t>(sample << shift);
                }
            }
        }
        for (const Member& member : m_members) {
            member.part->columns = m_size.width;
        }
    }

    static int32_t difference(ScanBits& bits, const Huffman& codes) {
        const int size = codes.decode(bits);
        if (size > 16) {
            throw EndOfData();
        }
        return size == 16 ? 32768 : size == 0 ? 0 : bits.take_signed(size);
    }

    // ---- Sequential: blocks of 8 by 8 samples, as sums of waves

    void sequential_scan(ScanBits& bits) {
        const int unit_columns = m_members.size() == 1 ? 8 * m_across / m_members[0].part->across : 8 * m_across;
        const int unit_rows = m_members.size() == 1 ? 8 * m_down / m_members[0].part->down : 8 * m_down;
        const int across = (m_size.width + unit_columns - 1) / unit_columns;
        const int down = (m_size.height + unit_rows - 1) / unit_rows;
        for (const Member& member : m_members) {
            const int blocks = m_members.size() == 1 ? 1 : member.part->across;
            member.part->columns = 8 * across * blocks;
        }
        int until_restart = m_restart;
        for (int y = 0; y < down; y++) {
            for (const Member& member : m_members) {
                const int blocks = m_members.size() == 1 ? 1 : member.part->down;
                member.part->plane.resize(static_cast<size_t>(member.part->columns) * 8 *
                                          static_cast<size_t>(blocks * (y + 1)));
            }
            for (int x = 0; x < across; x++) {
                if (m_restart > 0 && until_restart-- == 0) {
                    if (!bits.restart()) {
                        throw EndOfData();
                    }
                    until_restart = m_restart - 1;
                    for (Member& member : m_members) {
                        member.before = 0;
                    }
                }
                for (Member& member : m_members) {
                    const bool alone = m_members.size() == 1;
                    const int columns = alone ? 1 : member.part->across;
                    const int rows = alone ? 1 : member.part->down;
                    for (int by = 0; by < rows; by++) {
                        for (int bx = 0; bx < columns; bx++) {
                            block(bits, member, x * columns + bx, y * rows + by);
                        }
                    }
                }
            }
            for (const Member& member : m_members) {
                member.part->rows_done = std::min(m_size.height, (y + 1) * unit_rows);
            }
        }
    }

    void block(ScanBits& bits, Member& member, int x, int y) {
        const auto& steps = m_quantization[member.part->quantization];
        std::array<float, 64> values{};
        const int size = member.dc->decode(bits);
        if (size > 16) {
            throw EndOfData();
        }
        // The greatest numbers that a sound file has are far from the ends of 32 bits.
        member.before = std::clamp(member.before + bits.take_signed(size), -(1 << 20), 1 << 20);
        values[0] = static_cast<float>(member.before) * steps[0];
        for (size_t i = 1; i < 64; i++) {
            const uint8_t code = member.ac->decode(bits);
            const int length = code & 0xF;
            const auto zeros = static_cast<size_t>(code >> 4);
            if (length == 0) {
                if (zeros != 15) {
                    break;
                }
                i += 15;
                continue;
            }
            i += zeros;
            if (i > 63) {
                throw EndOfData();
            }
            values[kZigzag[i]] = static_cast<float>(bits.take_signed(length)) * steps[kZigzag[i]];
        }
        put_block(values, *member.part, x, y);
    }

    void put_block(const std::array<float, 64>& values, Component& part, int bx, int by) const {
        static const std::array<float, 64> waves = [] {
            std::array<float, 64> table{};
            for (size_t place = 0; place < 8; place++) {
                for (size_t wave = 0; wave < 8; wave++) {
                    const double angle = static_cast<double>((2 * place + 1) * wave) * std::numbers::pi / 16;
                    table[place * 8 + wave] =
                        static_cast<float>(std::cos(angle) * (wave == 0 ? std::numbers::sqrt2 / 4 : 0.5));
                }
            }
            return table;
        }();
        std::array<float, 64> rows{};
        for (size_t y = 0; y < 8; y++) {
            for (size_t x = 0; x < 8; x++) {
                float sum = 0;
                for (size_t wave = 0; wave < 8; wave++) {
                    sum += values[y * 8 + wave] * waves[x * 8 + wave];
                }
                rows[y * 8 + x] = sum;
            }
        }
        const auto middle = static_cast<float>(1 << (m_bits - 1));
        const auto top = static_cast<float>((1 << m_bits) - 1);
        for (size_t y = 0; y < 8; y++) {
            uint16_t* const out = part.plane.data() +
                                  (static_cast<size_t>(by) * 8 + y) * static_cast<size_t>(part.columns) +
                                  static_cast<size_t>(bx) * 8;
            for (size_t x = 0; x < 8; x++) {
                float sum = middle + 0.5F;
                for (size_t wave = 0; wave < 8; wave++) {
                    sum += rows[wave * 8 + x] * waves[y * 8 + wave];
                }
                out[x] = static_cast<uint16_t>(std::clamp(sum, 0.0F, top));
            }
        }
    }

    // ----

    JpegPlanes joined() {
        JpegPlanes planes{m_size.width, m_size.height, m_size.components};
        int rows = m_parts.empty() ? 0 : m_size.height;
        for (const Component& part : m_parts) {
            rows = std::min(rows, part.rows_done);
        }
        if (rows < m_size.height && (!m_keeps_part || rows == 0)) {
            damaged("a frame has no data, or too few");
        }
        if (m_parts.size() == 1 && m_parts[0].columns == m_size.width) {
            planes.samples = std::move(m_parts[0].plane);
            planes.samples.resize(static_cast<size_t>(rows) * static_cast<size_t>(m_size.width));
            return planes;
        }
        planes.samples.resize(static_cast<size_t>(rows) * static_cast<size_t>(m_size.width) * m_parts.size());
        for (size_t i = 0; i < m_parts.size(); i++) {
            const Component& part = m_parts[i];
            const int right = m_across / part.across;
            const int below = m_down / part.down;
            const int columns = m_lossless ? m_size.width : part.columns;
            uint16_t* out = planes.samples.data() + i;
            for (int y = 0; y < rows; y++) {
                const uint16_t* const row =
                    part.plane.data() + static_cast<size_t>(y / below) * static_cast<size_t>(columns);
                for (int x = 0; x < m_size.width; x++, out += m_parts.size()) {
                    *out = row[x / right];
                }
            }
        }
        return planes;
    }

    std::span<const uint8_t> m_data;
    JpegFrameSize m_size;
    bool m_keeps_part = false;
    bool m_lossless = false;
    int m_bits = 0;
    int m_across = 1;
    int m_down = 1;
    int m_restart = 0;
    int m_scans = 0;
    std::vector<Component> m_parts;
    std::vector<Member> m_members;
    std::array<std::array<Huffman, 4>, 2> m_codes;
    std::array<std::array<uint16_t, 64>, 4> m_quantization{};
};

}  // namespace

void require_coded_jpeg(int marker) {
    if (!is_jpeg_frame(marker) || marker == kJpegFirstFrame || marker == kJpegFirstFrame + 1 ||
        marker == kJpegLosslessFrame) {
        return;
    }
    unsupported(marker == kJpegFirstFrame + 2
                    ? "this is progressive JPEG of more than 8 bits, which is not read"
                    : "this is arithmetic or differential JPEG, lossless or of more than 8 bits, which is not read");
}

JpegPlanes decode_coded_jpeg(std::span<const uint8_t> frame, const JpegFrameSize& size, bool keeps_part) {
    return Decoder(frame, size).decode(keeps_part);
}

}  // namespace zelmor::imagework

// Reading JPEG-LS; see jpegls_codec.h. The decoder is this runtime's own: the library that files are written with ends
// the process where data make no sense.
//
// A sample is told by its neighbors: that on the left (a), those above (b), above on the left (c) and above on the
// right (d). Where they are equal, a *run* of equal samples may begin. Otherwise the differences between them choose a
// *context*, whose statistics tell how the error of the prediction is coded.
#include <algorithm>
#include <array>
#include <cassert>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "runtime/native/formats/jpeg/jpeg_markers.h"
#include "runtime/native/formats/jpegls/jpegls_codec.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/memory_budget.h"
#include "runtime/native/imagework/pixels/single_frame.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {
namespace {

[[noreturn]] void damaged(const char* what) {
    throw PictureError(Failure::kDamaged, what);
}

// ---- Bits

// The data of a scan, up to the next marker. The byte behind 0xFF has seven bits.
class ScanBits {
 public:
    ScanBits(std::span<const uint8_t> file, size_t at) : m_file(file), m_at(at) {}

    // Where the next marker is.
    size_t position() const { return m_at; }

    int bit() {
        if (m_left == 0) {
            next();
        }
        return m_byte >> --m_left & 1;
    }
    int bits(int count) {
        int value = 0;
        while (count-- > 0) {
            value = value << 1 | bit();
        }
        return value;
    }

 private:
    void next() {
        if (m_at >= m_file.size()) {
            damaged("the data end early");
        }
        const bool stuffed = m_byte == 0xFF;
        const uint8_t byte = m_file[m_at];
        const bool at_marker = byte == 0xFF && (m_at + 1 >= m_file.size() || m_file[m_at + 1] >= 0x80);
        if (at_marker || (stuffed && byte >= 0x80)) {
            damaged("the data of a scan end early");
        }
        m_at++;
        m_byte = byte;
        m_left = stuffed ? 7 : 8;
    }

    std::span<const uint8_t> m_file;
    size_t m_at;
    uint8_t m_byte = 0;
    int m_left = 0;
};

// ---- The coding

// The numbers of a scan, by the segment that presets them or by the standard.
struct Coding {
    int maximum = 0;
    int near = 0;  // the greatest error of a sample
    std::array<int, 3> thresholds = {};
    int reset = 64;

    int step() const { return 2 * near + 1; }
    int range() const { return (maximum + 2 * near) / step() + 1; }
};

int bits_of(int values) {
    int bits = 0;
    while (1 << bits < values) {
        bits++;
    }
    return bits;
}

std::array<int, 3> usual_thresholds(int maximum, int near) {
    const auto clamped = [&](int value, int least) { return value > maximum || value < least ? least : value; };
    std::array<int, 3> found{};
    if (maximum >= 128) {
        const int factor = (std::min(maximum, 4095) + 128) / 256;
        found[0] = clamped(factor + 2 + 3 * near, near + 1);
        found[1] = clamped(factor * 4 + 3 + 5 * near, found[0]);
        found[2] = clamped(factor * 17 + 4 + 7 * near, found[1]);
    } else {
        const int factor = 256 / (maximum + 1);
        found[0] = clamped(std::max(2, 3 / factor + 3 * near), near + 1);
        found[1] = clamped(std::max(3, 7 / factor + 5 * near), found[0]);
        found[2] = clamped(std::max(4, 21 / factor + 7 * near), found[1]);
    }
    return found;
}

constexpr std::array<uint8_t, 32> kRunBits{0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,  2,  3,  3,  3,  3,
                                           4, 4, 5, 5, 6, 6, 7, 7, 8, 9, 10, 11, 12, 13, 14, 15};

// Statistics of the errors in one context.
struct Context {
    int errors = 0;  // sum of their sizes
    int bias = 0;    // sum of them
    int correction = 0;
    int count = 1;
    int negative = 0;  // of runs: how many were below zero

    int golomb(int sum) const {
        int k = 0;
        while (k < 24 && count << k < sum) {
            k++;
        }
        return k;
    }
};

// One component: the row before, and the one that is decoded. Each has a sample more on both sides.
struct Line {
    std::vector<int> above;
    std::vector<int> row;
    int run_index = 0;
};

class ScanDecoder {
 public:
    ScanDecoder(ScanBits bits, const Coding& coding, int width)
        : m_bits(bits), m_coding(coding), m_width(width), m_value_bits(bits_of(coding.range())) {
        const int sample_bits = std::max(2, bits_of(coding.maximum + 1));
        m_limit = 2 * (sample_bits + std::max(8, sample_bits));
        for (Context& context : m_contexts) {
            context.errors = std::max(2, (coding.range() + 32) / 64);
        }
    }

    size_t position() const { return m_bits.position(); }

    void row(Line& line) { rows({&line, 1}); }

    // A row of several components, sample by sample.
    void rows(std::span<Line> lines) {
        for (Line& line : lines) {
            line.above[static_cast<size_t>(m_width) + 1] = line.above[static_cast<size_t>(m_width)];
            line.row[0] = line.above[1];
        }
        for (int x = 1; x <= m_width;) {
            const bool flat =
                std::all_of(lines.begin(), lines.end(), [&](const Line& line) { return is_flat(line, x); });
            if (flat) {
                x += run(lines, x);
                continue;
            }
            for (Line& line : lines) {
                line.row[static_cast<size_t>(x)] = sample(line, x);
            }
            x++;
        }
        for (Line& line : lines) {
            std::swap(line.above, line.row);
        }
    }

 private:
    static int at(const std::vector<int>& row, int x) { return row[static_cast<size_t>(x)]; }

    bool is_flat(const Line& line, int x) const {
        const int a = at(line.row, x - 1);
        const int b = at(line.above, x);
        const int c = at(line.above, x - 1);
        const int d = at(line.above, x + 1);
        return std::abs(d - b) <= m_coding.near && std::abs(b - c) <= m_coding.near && std::abs(c - a) <= m_coding.near;
    }

    int quantized(int difference) const {
        const auto& [t1, t2, t3] = m_coding.thresholds;
        const int size = std::abs(difference);
        const int level = size <= m_coding.near ? 0 : size < t1 ? 1 : size < t2 ? 2 : size < t3 ? 3 : 4;
        return difference < 0 ? -level : level;
    }

    int coded(int k, int limit) {
        int zeros = 0;
        while (m_bits.bit() == 0) {
            if (++zeros > limit) {
                damaged("a code of the data is too long");
            }
        }
        return zeros < limit - m_value_bits - 1 ? (zeros << k) + m_bits.bits(k) : m_bits.bits(m_value_bits) + 1;
    }

    int rebuilt(int predicted, int error) const {
        const int whole = m_coding.range() * m_coding.step();
        int value = predicted + error * m_coding.step();
        if (value < -m_coding.near) {
            value += whole;
        } else if (value > m_coding.maximum + m_coding.near) {
            value -= whole;
        }
        return std::clamp(value, 0, m_coding.maximum);
    }

    int sample(const Line& line, int x) {
        const int a = at(line.row, x - 1);
        const int b = at(line.above, x);
        const int c = at(line.above, x - 1);
        const int d = at(line.above, x + 1);
        int number = 81 * quantized(d - b) + 9 * quantized(b - c) + quantized(c - a);
        const int sign = number < 0 ? -1 : 1;
        number *= sign;
        Context& context = m_contexts[static_cast<size_t>(number)];
        int predicted = c >= std::max(a, b) ? std::min(a, b) : c <= std::min(a, b) ? std::max(a, b) : a + b - c;
        predicted = std::clamp(predicted + sign * context.correction, 0, m_coding.maximum);
        const int k = context.golomb(context.errors);
        const int code = coded(k, m_limit);
        int error = (code & 1) != 0 ? -(code + 1) / 2 : code / 2;
        if (m_coding.near == 0 && k == 0 && 2 * context.bias <= -context.count) {
            error = -error - 1;
        }
        update(context, error);
        return rebuilt(predicted, sign * error);
    }

    void update(Context& context, int error) const {
        context.bias += error * m_coding.step();
        context.errors += std::abs(error);
        if (context.count == m_coding.reset) {
            context.errors >>= 1;
            context.bias >>= 1;  // to the lower number
            context.count >>= 1;
        }
        context.count++;
        if (context.bias <= -context.count) {
            context.bias = std::max(context.bias + context.count, -context.count + 1);
            context.correction = std::max(context.correction - 1, -128);
        } else if (context.bias > 0) {
            context.bias = std::min(context.bias - context.count, 0);
            context.correction = std::min(context.correction + 1, 127);
        }
    }

    // How many samples of the row came.
    int run(std::span<Line> lines, int x) {
        int& index = lines[0].run_index;
        const int left = m_width + 1 - x;
        int length = 0;
        bool ends = false;
        while (length < left && !ends) {
            const int piece = 1 << kRunBits[static_cast<size_t>(index)];
            if (m_bits.bit() != 0) {
                if (piece <= left - length && index < 31) {
                    index++;
                }
                length += std::min(piece, left - length);
            } else {
                length += m_bits.bits(kRunBits[static_cast<size_t>(index)]);
                ends = true;
            }
        }
        if (length > left || (ends && length == left)) {
            damaged("a run of the data goes beyond its row");
        }
        for (Line& line : lines) {
            std::fill_n(line.row.begin() + x, length, at(line.row, x - 1));
        }
        if (!ends) {
            return length;
        }
        for (Line& line : lines) {
            line.row[static_cast<size_t>(x + length)] = interruption(line, x + length, index, lines.size() > 1);
        }
        index = std::max(index - 1, 0);
        return length + 1;
    }

    // The sample behind a run. Samples of several components have one context for all.
    int interruption(const Line& line, int x, int index, bool several) {
        const int a = at(line.row, x - 1);
        const int b = at(line.above, x);
        const bool same = !several && std::abs(a - b) <= m_coding.near;
        Context& context = m_contexts[kContexts + (same ? 1 : 0)];
        const int k = context.golomb(same ? context.errors + (context.count >> 1) : context.errors);
        const int code = coded(k, m_limit - kRunBits[static_cast<size_t>(index)] - 1);
        const int doubled = code + (same ? 1 : 0);
        const int odd = doubled & 1;
        const bool often_negative = k != 0 || 2 * context.negative >= context.count;
        const int size = (doubled + odd) / 2;
        const int error = (odd != 0) == often_negative ? -size : size;
        if (error < 0) {
            context.negative++;
        }
        context.errors += (code + 1 - (same ? 1 : 0)) >> 1;
        if (context.count == m_coding.reset) {
            context.errors >>= 1;
            context.count >>= 1;
            context.negative >>= 1;
        }
        context.count++;
        return same ? rebuilt(a, error) : rebuilt(b, a > b ? -error : error);
    }

    static constexpr size_t kContexts = 365;

    ScanBits m_bits;
    Coding m_coding;
    int m_width;
    int m_value_bits;
    int m_limit = 0;
    std::array<Context, kContexts + 2> m_contexts;
};

// ---- The file

struct Frame {
    int width = 0;
    int height = 0;
    int bits = 0;
    int components = 0;
};

// Decodes all scans into samples of 16 bits, the components of a pixel together.
class FileDecoder {
 public:
    FileDecoder(std::span<const uint8_t> file, const Frame& frame) : m_file(file), m_in(file, true), m_frame(frame) {
        m_preset.maximum = (1 << frame.bits) - 1;
    }

    std::vector<uint16_t> samples() {
        m_samples.resize(static_cast<size_t>(m_frame.width) * static_cast<size_t>(m_frame.height) *
                         static_cast<size_t>(m_frame.components));
        size_t at = 2;
        while (m_done < m_frame.components) {
            if (!m_in.has(at, 4) || m_in.u8(at) != 0xFF) {
                damaged("there are fewer scans than the picture needs");
            }
            const int marker = m_in.u8(at + 1);
            const size_t length = m_in.u16(at + 2);
            if (marker == kJpegFill) {
                at++;
                continue;
            }
            if (length < 2 || !m_in.has(at, 2 + length)) {
                damaged("a segment ends early");
            }
            segment(marker, at + 4, length - 2);
            at += 2 + length;
            if (marker == kJpegScan) {
                at = scan(at - length + 2, at);
            }
        }
        // Segments may stand before the end marker; a file without it was cut off.
        while (m_in.has(at, 4) && m_in.u8(at) == 0xFF && m_in.u8(at + 1) != kJpegEnd && m_in.u16(at + 2) >= 2) {
            at += 2 + m_in.u16(at + 2);
        }
        if (m_in.u8(at) != 0xFF || m_in.u8(at + 1) != kJpegEnd) {
            damaged("the data end early");
        }
        return std::move(m_samples);
    }

 private:
    void segment(int marker, size_t at, size_t length) {
        constexpr int kPresets = 0xF8;
        constexpr int kRestartInterval = 0xDD;
        if (marker == kRestartInterval && length >= 2 && m_in.u16(at) != 0) {
            throw PictureError(Failure::kUnsupported, "JPEG-LS data with restart markers are not read");
        }
        if (marker == kJpegApp8 && m_in.starts_with(at, "mrfx") && length >= 5 && m_in.u8(at + 4) != 0) {
            throw PictureError(Failure::kUnsupported, "JPEG-LS data with transformed colors are not read");
        }
        if (marker != kPresets) {
            return;
        }
        if (length < 11 || m_in.u8(at) != 1) {
            throw PictureError(Failure::kUnsupported, "JPEG-LS data with tables or large sizes are not read");
        }
        const int maximum = m_in.u16(at + 1);
        if (maximum > (1 << m_frame.bits) - 1) {
            damaged("the greatest sample is greater than its bits allow");
        }
        m_preset.maximum = maximum != 0 ? maximum : m_preset.maximum;
        for (size_t i = 0; i < 3; i++) {
            m_preset.thresholds[i] = m_in.u16(at + 3 + 2 * i);
        }
        m_preset.reset = m_in.u16(at + 9) != 0 ? m_in.u16(at + 9) : m_preset.reset;
    }

    // Returns where the next marker is. `header` is behind its length, `data` behind the header.
    size_t scan(size_t header, size_t data) {
        const int count = m_in.u8(header);
        const size_t behind = header + 1 + 2 * static_cast<size_t>(count);
        Coding coding = m_preset;
        coding.near = m_in.u8(behind);
        const int interleaving = m_in.u8(behind + 1);
        const bool fits = count >= 1 && m_done + count <= m_frame.components && behind + 3 <= data &&
                          (count == 1 ? interleaving == 0 : interleaving == 1 || interleaving == 2);
        if (!fits || coding.near > std::min(255, coding.maximum / 2)) {
            damaged("the header of a scan makes no sense");
        }
        if ((m_in.u8(behind + 2) & 15) != 0) {
            throw PictureError(Failure::kUnsupported, "JPEG-LS data with a point transform are not read");
        }
        const auto usual = usual_thresholds(coding.maximum, coding.near);
        int least = coding.near + 1;
        for (size_t i = 0; i < 3; i++) {
            int& threshold = coding.thresholds[i];
            threshold = threshold != 0 ? threshold : usual[i];
            if (threshold < least || threshold > coding.maximum) {
                damaged("the thresholds make no sense");
            }
            least = threshold;
        }
        if (coding.reset < 3 || coding.reset > std::max(255, coding.maximum)) {
            damaged("the number of samples between two resets makes no sense");
        }
        ScanDecoder decoder(ScanBits(m_file, data), coding, m_frame.width);
        const auto row_size = static_cast<size_t>(m_frame.width) + 2;
        std::vector<Line> lines(static_cast<size_t>(count), {std::vector<int>(row_size), std::vector<int>(row_size)});
        for (int y = 0; y < m_frame.height; y++) {
            if (interleaving == 2) {
                decoder.rows(lines);
            } else {
                for (Line& line : lines) {
                    decoder.row(line);
                }
            }
            keep(lines, y);
        }
        m_done += count;
        size_t at = decoder.position();
        while (m_in.has(at, 2) && !(m_in.u8(at) == 0xFF && m_in.u8(at + 1) >= 0x80)) {
            at++;  // bits that fill the last byte
        }
        return at;
    }

    // The row of each line is that before the next one.
    void keep(std::span<const Line> lines, int y) {
        const auto components = static_cast<size_t>(m_frame.components);
        for (size_t i = 0; i < lines.size(); i++) {
            uint16_t* out = &m_samples[static_cast<size_t>(y) * static_cast<size_t>(m_frame.width) * components +
                                       static_cast<size_t>(m_done) + i];
            for (int x = 1; x <= m_frame.width; x++, out += components) {
                *out = static_cast<uint16_t>(lines[i].above[static_cast<size_t>(x)]);
            }
        }
    }

    std::span<const uint8_t> m_file;
    ByteReader m_in;
    Frame m_frame;
    Coding m_preset;
    int m_done = 0;  // components
    std::vector<uint16_t> m_samples;
};

// The resolution of the JFIF segment, which is the first of the file.
std::optional<Resolution> resolution_of(const ByteReader& in) {
    constexpr uint64_t kSegment = 2;
    constexpr int kInch = 1;
    constexpr int kCentimeter = 2;
    const int unit = in.u8(kSegment + 11);
    const int horizontal = in.u16(kSegment + 12);
    const int vertical = in.u16(kSegment + 14);
    if (in.u16(kSegment) != 0xFFE0 || !in.starts_with(kSegment + 4, "JFIF") || (unit != kInch && unit != kCentimeter) ||
        horizontal <= 1 || vertical <= 1) {
        return std::nullopt;
    }
    const double per_inch = unit == kCentimeter ? 2.54 : 1.0;
    return Resolution{horizontal * per_inch, vertical * per_inch};
}

class JpegLsReader final : public RowReader {
 public:
    JpegLsReader(SharedSource source, const JpegLsSettings& settings, RowsHeader header, SharedBudget memory)
        : m_source(std::move(source)), m_bits(settings.bits), m_header(std::move(header)), m_memory(std::move(memory)) {
        check_picture_size(m_header.width, m_header.height, static_cast<int>(m_header.form.pixel_size()));
    }

    const RowsHeader& header() const override { return m_header; }

    void read([[maybe_unused]] int32_t count, std::span<uint8_t> rows) override {
        assert(count >= 0 && rows.size() == row_size() * static_cast<size_t>(count));
        if (!m_decoded) {
            decode();
        }
        assert(rows.size() <= m_rows.size() - m_at);
        std::copy_n(m_rows.begin() + static_cast<std::ptrdiff_t>(m_at), rows.size(), rows.begin());
        m_at += rows.size();
    }

 private:
    size_t row_size() const { return m_header.form.pixel_size() * static_cast<size_t>(m_header.width); }

    void decode() {
        if (m_failed) {
            throw PictureError(Failure::kDamaged, "an earlier row could not be decoded");
        }
        m_failed = true;
        const auto pixels = static_cast<size_t>(m_header.width) * static_cast<size_t>(m_header.height);
        const auto bands = static_cast<size_t>(m_header.form.bands());
        const size_t size = row_size() * static_cast<size_t>(m_header.height);
        MemoryShare share(m_memory, size + pixels * bands * sizeof(uint16_t) + m_source->size());
        const std::vector<uint8_t> file = all_bytes(*m_source);
        const std::vector<uint16_t> samples =
            FileDecoder(file, {m_header.width, m_header.height, m_bits, static_cast<int>(bands)}).samples();
        m_rows.resize(size);
        if (m_header.form.sample == SampleType::kUint16) {
            spread<uint16_t>(samples);
        } else {
            spread<uint8_t>(samples);
        }
        m_share = std::move(share);
        m_decoded = true;
        m_failed = false;
    }

    // Over the whole range of their type.
    template <class Sample>
    void spread(std::span<const uint16_t> samples) {
        constexpr uint32_t kTop = static_cast<Sample>(~Sample{0});
        const uint32_t most = (1U << m_bits) - 1;
        for (size_t i = 0; i < samples.size(); i++) {
            const auto sample = static_cast<Sample>((samples[i] * uint64_t{kTop} + most / 2) / most);
            std::memcpy(m_rows.data() + i * sizeof(Sample), &sample, sizeof(Sample));
        }
    }

    SharedSource m_source;
    int m_bits;
    RowsHeader m_header;
    SharedBudget m_memory;
    MemoryShare m_share;
    std::vector<uint8_t> m_rows;
    size_t m_at = 0;
    bool m_decoded = false;
    bool m_failed = false;
};

}  // namespace

SharedFrames open_jpegls(const SharedSource& source, const FileFacts& facts, const DecodeOptions& options) {
    assert(source != nullptr && facts.encoding);
    const JpegLsSettings settings = facts.encoding->get<JpegEncoding>().ls;
    const int components = facts.bits_per_pixel / std::max(1, settings.bits);
    if (components != 1 && components != 3) {
        throw PictureError(Failure::kUnsupported,
                           "a JPEG-LS picture of " + std::to_string(components) + " components is not read");
    }
    if (settings.bits < 2 || settings.bits > 16) {
        throw PictureError(Failure::kDamaged, "JPEG-LS has no samples of " + std::to_string(settings.bits) + " bits");
    }
    RowsHeader header;
    header.width = static_cast<int32_t>(facts.width);
    header.height = static_cast<int32_t>(facts.height);
    header.form.color = components == 1 ? ColorModel::kGray : ColorModel::kRgb;
    if (settings.bits > 8) {
        header.form.sample = SampleType::kUint16;
        header.form.bits = 16;
    }
    SourceBytes bytes(source, SourceBytes::kHeaderWindow);
    header.resolution = resolution_of(ByteReader(bytes, true));
    return std::make_shared<const SingleFrame>(
        facts, [=] { return std::make_unique<JpegLsReader>(source, settings, header, options.memory); });
}

}  // namespace zelmor::imagework

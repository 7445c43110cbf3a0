// Decoding JPEG-LS as its standard describes it (ITU-T T.87); see jpegls_decoder.h. It is our own: the library that
// files are written with does not end on some damaged files, or ends the process.
//
// A sample is foretold by three of its neighbors. How the neighbors differ chooses a context, which has learned how
// far such guesses are off; what is left is stored as a Golomb code. Where neighbors are equal a run is stored instead.
#include "runtime/native/formats/jpegls/jpegls_decoder.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstdlib>
#include <optional>
#include <string>

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

// The data of a scan end, or have no meaning.
struct EndOfData {};

[[noreturn]] void damaged(const std::string& text) {
    throw PictureError(Failure::kDamaged, text);
}
// `what` is a kind of JPEG-LS data: "with restart markers".
[[noreturn]] void unsupported(const std::string& what) {
    throw PictureError(Failure::kUnsupported, "JPEG-LS data " + what + " are not read");
}

// The bits of a scan. Behind a byte of ones only seven bits follow, and a marker ends them.
class ScanBits {
 public:
    ScanBits(std::span<const uint8_t> data, size_t at) : m_data(data), m_at(at) {}

    uint32_t take(int count) {
        assert(count >= 0 && count <= 32);
        while (m_count < count) {
            fill();
        }
        m_count -= count;
        return static_cast<uint32_t>(m_held >> m_count & ((uint64_t{1} << count) - 1));
    }

    // The number of zeros before the next one, which is taken as well; at most `most`.
    int zeros(int most) {
        for (int count = 0; count <= most; count++) {
            if (take(1) != 0) {
                return count;
            }
        }
        throw EndOfData();
    }

    size_t position() const { return m_at; }

 private:
    void fill() {
        if (m_at >= m_data.size()) {
            throw EndOfData();
        }
        const uint8_t byte = m_data[m_at];
        if (byte == 0xFF && (m_at + 1 >= m_data.size() || (m_data[m_at + 1] & 0x80) != 0)) {
            throw EndOfData();
        }
        m_at++;
        const int bits = m_after_ones ? 7 : 8;
        m_after_ones = byte == 0xFF;
        m_held = m_held << bits | byte;
        m_count += bits;
    }

    std::span<const uint8_t> m_data;
    size_t m_at;
    uint64_t m_held = 0;
    int m_count = 0;
    bool m_after_ones = false;
};

struct Settings {
    int32_t top = 255;  // the greatest sample
    int32_t near = 0;   // how far a sample may be off
    int32_t t1 = 0;     // the limits between kinds of differences
    int32_t t2 = 0;
    int32_t t3 = 0;
    int32_t reset = 64;  // samples after which a context forgets half
};

int32_t or_least(int32_t value, int32_t least, int32_t top) {
    return value > top || value < least ? least : value;
}

// What holds where a file does not say otherwise.
Settings usual(int32_t top, int32_t near) {
    Settings settings{top, near};
    if (top >= 128) {
        const int32_t factor = (std::min(top, 4095) + 128) / 256;
        settings.t1 = or_least(factor + 2 + 3 * near, near + 1, top);
        settings.t2 = or_least(factor * 4 + 3 + 5 * near, settings.t1, top);
        settings.t3 = or_least(factor * 17 + 4 + 7 * near, settings.t2, top);
    } else {
        const int32_t factor = 256 / (top + 1);
        settings.t1 = or_least(std::max(2, 3 / factor + 3 * near), near + 1, top);
        settings.t2 = or_least(std::max(3, 7 / factor + 5 * near), settings.t1, top);
        settings.t3 = or_least(std::max(4, 21 / factor + 7 * near), settings.t2, top);
    }
    return settings;
}

int bits_for(int64_t count) {
    int bits = 0;
    while (int64_t{1} << bits < count) {
        bits++;
    }
    return bits;
}

struct Context {
    int32_t a = 0;
    int32_t b = 0;
    int32_t c = 0;
    int32_t n = 1;
};

// How many samples the bits of a run stand for, as a power of two.
constexpr std::array<uint8_t, 32> kRunLengths = {0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 2,  2,  3,  3,  3,  3,
                                                 4, 4, 5, 5, 6, 6, 7, 7, 8, 9, 10, 11, 12, 13, 14, 15};

// The samples of one scan: its contexts, and the steps of decoding a sample.
class Scan {
 public:
    Scan(ScanBits& bits, const Settings& settings) : m_bits(bits), m_set(settings), m_step(2 * settings.near + 1) {
        m_range = (settings.top + 2 * settings.near) / m_step + 1;
        m_range_bits = bits_for(m_range);
        const int depth = std::max(2, bits_for(int64_t{settings.top} + 1));
        m_limit = 2 * (depth + std::max(8, depth));
        const int32_t start = std::max(2, (m_range + 32) / 64);
        for (Context& context : m_contexts) {
            context.a = start;
        }
        for (Context& context : m_runs) {
            context.a = start;
        }
    }

    // A row of one component, which others may follow before its next one. Both rows have a sample before the first
    // and one behind the last.
    void row(int32_t* now, int32_t* above, int width, int& run_index) {
        above[width] = above[width - 1];
        now[-1] = above[0];
        for (int x = 0; x < width;) {
            const int32_t left = now[x - 1];
            const int context = context_of(above[x + 1] - above[x], above[x] - above[x - 1], above[x - 1] - left);
            if (context != 0) {
                now[x] = regular(context, left, above[x], above[x - 1]);
                x++;
                continue;
            }
            x += run_length(width - x, run_index, [&](int i) { now[x + i] = left; });
            if (x < width) {
                now[x] = interruption(left, above[x], run_index);
                run_index = std::max(0, run_index - 1);
                x++;
            }
        }
    }

    // A row of three components, whose samples take turns; run_index is that of all.
    void mixed_row(std::array<int32_t*, 3> now, std::array<int32_t*, 3> above, int width, int& run_index) {
        for (size_t i = 0; i < 3; i++) {
            above[i][width] = above[i][width - 1];
            now[i][-1] = above[i][0];
        }
        for (int x = 0; x < width;) {
            std::array<int, 3> contexts{};
            for (size_t i = 0; i < 3; i++) {
                contexts[i] = context_of(above[i][x + 1] - above[i][x], above[i][x] - above[i][x - 1],
                                         above[i][x - 1] - now[i][x - 1]);
            }
            if (contexts != std::array<int, 3>{}) {
                for (size_t i = 0; i < 3; i++) {
                    now[i][x] = regular(contexts[i], now[i][x - 1], above[i][x], above[i][x - 1]);
                }
                x++;
                continue;
            }
            const int from = x;
            x += run_length(width - x, run_index, [&](int at) {
                for (int32_t* plane : now) {
                    plane[from + at] = plane[from - 1];
                }
            });
            if (x < width) {
                for (size_t i = 0; i < 3; i++) {
                    const int32_t left = now[i][x - 1];
                    const int32_t error = run_error(0, run_index);
                    now[i][x] = rebuilt(above[i][x], above[i][x] < left ? -error : error);
                }
                run_index = std::max(0, run_index - 1);
                x++;
            }
        }
    }

 private:
    int kind(int32_t difference) const {
        const int32_t size = std::abs(difference);
        const int found = size <= m_set.near ? 0 : size < m_set.t1 ? 1 : size < m_set.t2 ? 2 : size < m_set.t3 ? 3 : 4;
        return difference < 0 ? -found : found;
    }
    int context_of(int32_t d1, int32_t d2, int32_t d3) const { return 81 * kind(d1) + 9 * kind(d2) + kind(d3); }

    uint32_t golomb(int k, int limit) {
        const int high = m_bits.zeros(limit);
        if (high >= limit - m_range_bits - 1) {
            return m_bits.take(m_range_bits) + 1;
        }
        return static_cast<uint32_t>(high) << k | m_bits.take(k);
    }

    // The errors of sound samples are less than 2^16, and so is their mean, a / n.
    static int parameter(int32_t n, int64_t a) {
        int k = 0;
        while (int64_t{n} << k < a) {
            k++;
        }
        return k;
    }

    int32_t rebuilt(int32_t guess, int32_t error) const {
        int64_t value = int64_t{guess} + int64_t{error} * m_step;
        const int64_t span = int64_t{m_range} * m_step;
        if (value < -m_set.near) {
            value += span;
        } else if (value > int64_t{m_set.top} + m_set.near) {
            value -= span;
        }
        return static_cast<int32_t>(std::clamp<int64_t>(value, 0, m_set.top));
    }

    int32_t regular(int signed_context, int32_t left, int32_t above, int32_t corner) {
        const bool turned = signed_context < 0;
        Context& context = m_contexts[static_cast<size_t>(std::abs(signed_context))];
        const int32_t least = std::min(left, above);
        const int32_t most = std::max(left, above);
        int32_t guess = corner >= most ? least : corner <= least ? most : left + above - corner;
        guess = std::clamp(guess + (turned ? -context.c : context.c), 0, m_set.top);
        const int k = parameter(context.n, context.a);
        const uint32_t mapped = golomb(k, m_limit);
        auto error = static_cast<int32_t>(mapped >> 1);
        error = (mapped & 1) != 0 ? -error - 1 : error;
        if (m_set.near == 0 && k == 0 && 2 * context.b <= -context.n) {
            error = -error - 1;
        }
        if (std::abs(error) > 65535) {
            throw EndOfData();
        }
        learn(context, error);
        return rebuilt(guess, turned ? -error : error);
    }

    void learn(Context& context, int32_t error) const {
        constexpr int32_t kFar = 1 << 28;  // which no sound data reach
        context.b = static_cast<int32_t>(std::clamp<int64_t>(context.b + int64_t{error} * m_step, -kFar, kFar));
        context.a = std::min(context.a + std::abs(error), kFar);
        if (context.n == m_set.reset) {
            context.a >>= 1;
            context.b = context.b >= 0 ? context.b >> 1 : -((1 - context.b) >> 1);
            context.n >>= 1;
        }
        context.n++;
        constexpr int32_t kMost = 127;
        if (context.b <= -context.n) {
            context.b = std::max(context.b + context.n, 1 - context.n);
            context.c = std::max(context.c - 1, -kMost - 1);
        } else if (context.b > 0) {
            context.b = std::min(context.b - context.n, 0);
            context.c = std::min(context.c + 1, kMost);
        }
    }

    // Gives the places of a run, from 0 on, to the step; how many there are.
    template <class Put>
    int run_length(int room, int& run_index, Put&& put) {
        int length = 0;
        while (length < room && m_bits.take(1) != 0) {
            const int full = 1 << kRunLengths[static_cast<size_t>(run_index)];
            const int count = std::min(full, room - length);
            for (int i = 0; i < count; i++) {
                put(length + i);
            }
            length += count;
            if (count == full) {
                run_index = std::min(run_index + 1, 31);
            }
            if (length == room) {
                return length;
            }
        }
        const auto count = static_cast<int>(m_bits.take(kRunLengths[static_cast<size_t>(run_index)]));
        if (count > room - length) {
            throw EndOfData();
        }
        for (int i = 0; i < count; i++) {
            put(length + i);
        }
        return length + count;
    }

    int32_t interruption(int32_t left, int32_t above, int run_index) {
        if (std::abs(left - above) <= m_set.near) {
            return rebuilt(left, run_error(1, run_index));
        }
        const int32_t error = run_error(0, run_index);
        return rebuilt(above, above < left ? -error : error);
    }

    // Of the sample that ends a run; `like` is 1 where its neighbors are alike. `c` counts the negative ones.
    int32_t run_error(int32_t like, int run_index) {
        Context& context = m_runs[static_cast<size_t>(like)];
        const int k = parameter(context.n, int64_t{context.a} + (context.n >> 1) * like);
        const uint32_t mapped = golomb(k, m_limit - kRunLengths[static_cast<size_t>(run_index)] - 1);
        const auto twice = static_cast<int64_t>(mapped) + like;
        const bool odd = (twice & 1) != 0;
        const auto size = static_cast<int32_t>((twice + (odd ? 1 : 0)) / 2);
        if (size > 65535) {
            throw EndOfData();
        }
        const int32_t error = (k != 0 || 2 * context.c >= context.n) == odd ? -size : size;
        context.c += error < 0 ? 1 : 0;
        constexpr int64_t kFar = 1 << 28;  // which no sound data reach
        context.a = static_cast<int32_t>(std::min(context.a + ((static_cast<int64_t>(mapped) + 1 - like) >> 1), kFar));
        if (context.n == m_set.reset) {
            context.a >>= 1;
            context.c >>= 1;
            context.n >>= 1;
        }
        context.n++;
        return error;
    }

    ScanBits& m_bits;
    Settings m_set;
    int32_t m_step;
    int32_t m_range = 0;
    int m_range_bits = 0;
    int m_limit = 0;
    std::array<Context, 365> m_contexts{};
    std::array<Context, 2> m_runs{};
};

class Decoder {
 public:
    Decoder(std::span<const uint8_t> data, const JpegFrameSize& size) : m_data(data), m_size(size) {}

    JpegPlanes decode(bool keeps_part) {
        m_keeps_part = keeps_part;
        size_t at = 2;
        while (at + 4 <= m_data.size()) {
            if (m_data[at] != 0xFF || m_data[at + 1] < 0xC0 || m_data[at + 1] == 0xFF) {
                at++;
                continue;
            }
            const uint8_t marker = m_data[at + 1];
            at += 2;
            if (marker == 0xD9 || (marker == 0xDA && done())) {
                break;
            }
            if (marker >= 0xD0 && marker <= 0xD8) {
                continue;
            }
            const auto length = static_cast<size_t>(m_data[at] << 8 | m_data[at + 1]);
            if (length < 2 || m_data.size() - at < length) {
                break;
            }
            const auto segment = m_data.subspan(at + 2, length - 2);
            at += length;
            switch (marker) {
                case 0xF7:
                    take_frame(segment);
                    break;
                case 0xF8:
                    take_settings(segment);
                    break;
                case 0xDD:
                    if (std::any_of(segment.begin(), segment.end(), [](uint8_t byte) { return byte != 0; })) {
                        unsupported("with restart markers");
                    }
                    break;
                case 0xE8:
                    if (segment.size() > 4 && std::equal(segment.begin(), segment.begin() + 4, "mrfx") &&
                        segment[4] != 0) {
                        unsupported("with transformed colors");
                    }
                    break;
                case 0xDA:
                    at = scan(segment, at);
                    break;
                default:
                    break;
            }
        }
        return joined();
    }

 private:
    bool done() const {
        return !m_rows_done.empty() &&
               std::all_of(m_rows_done.begin(), m_rows_done.end(), [this](int rows) { return rows == m_size.height; });
    }

    void take_frame(std::span<const uint8_t> segment) {
        if (segment.size() < 6 || !m_rows_done.empty()) {
            damaged("the header of a frame makes no sense");
        }
        m_bits = segment[0];
        const int height = segment[1] << 8 | segment[2];
        const int width = segment[3] << 8 | segment[4];
        const size_t count = segment[5];
        if (width != m_size.width || height != m_size.height || count != static_cast<size_t>(m_size.components) ||
            segment.size() < 6 + 3 * count || m_bits < 2 || m_bits > 16) {
            damaged("a frame has " + std::to_string(width) + " by " + std::to_string(height) + " pixels of " +
                    std::to_string(count) + " samples of " + std::to_string(m_bits) +
                    " bits, where the header tells of " + std::to_string(m_size.width) + " by " +
                    std::to_string(m_size.height) + " of " + std::to_string(m_size.components));
        }
        for (size_t i = 0; i < count; i++) {
            m_ids.push_back(segment[6 + 3 * i]);
            if (segment[7 + 3 * i] != 0x11) {
                unsupported("whose colors have fewer samples than pixels");
            }
        }
        m_rows_done.assign(count, 0);
        m_planes.resize(count);
    }

    void take_settings(std::span<const uint8_t> segment) {
        if (segment.empty() || segment[0] != 1) {
            unsupported("with tables or large sizes");
        }
        if (segment.size() < 11) {
            damaged("the settings of JPEG-LS are cut off");
        }
        const auto word = [&](size_t i) { return segment[1 + 2 * i] << 8 | segment[2 + 2 * i]; };
        m_own = Settings{word(0), 0, word(1), word(2), word(3), word(4)};
    }

    Settings settings(int32_t near) const {
        const int32_t most = (1 << m_bits) - 1;
        const int32_t top = m_own && m_own->top != 0 ? m_own->top : most;
        if (top > most || near > std::min(255, top / 2)) {
            damaged("the settings of JPEG-LS make no sense");
        }
        Settings settings = usual(top, near);
        if (m_own) {
            settings.t1 = m_own->t1 != 0 ? m_own->t1 : settings.t1;
            settings.t2 = m_own->t2 != 0 ? m_own->t2 : settings.t2;
            settings.t3 = m_own->t3 != 0 ? m_own->t3 : settings.t3;
            settings.reset = m_own->reset != 0 ? m_own->reset : settings.reset;
        }
        if (settings.t1 <= near || settings.t2 < settings.t1 || settings.t3 < settings.t2 || settings.t3 > top ||
            settings.reset < 3) {
            damaged("the settings of JPEG-LS make no sense");
        }
        return settings;
    }

    size_t scan(std::span<const uint8_t> segment, size_t at) {
        if (m_rows_done.empty() || segment.empty() || segment[0] == 0 || segment.size() < 4 + 2 * size_t{segment[0]}) {
            damaged("a scan makes no sense");
        }
        std::vector<size_t> members;
        for (size_t i = 0; i < segment[0]; i++) {
            const auto found = std::find(m_ids.begin(), m_ids.end(), segment[1 + 2 * i]);
            const auto member = static_cast<size_t>(found - m_ids.begin());
            if (found == m_ids.end() || m_rows_done[member] > 0) {
                damaged("a scan has a component that the frame has not, or one for the second time");
            }
            if (segment[2 + 2 * i] != 0) {
                unsupported("with tables");
            }
            members.push_back(member);
        }
        const auto tail = segment.subspan(1 + 2 * size_t{segment[0]}, 3);
        const uint8_t order = tail[1];
        if (order > 2 || (order == 0) != (members.size() == 1) || (order == 2 && members.size() != 3) ||
            (tail[2] & 0xF) != 0) {
            unsupported("whose samples are in this order or with a point transform");
        }
        ScanBits bits(m_data, at);
        try {
            rows(bits, settings(tail[0]), members, order == 2);
        } catch (const EndOfData&) {
            if (!m_keeps_part) {
                damaged("the data of a frame end too early or make no sense");
            }
        }
        return bits.position();
    }

    void rows(ScanBits& bits, const Settings& settings, const std::vector<size_t>& members, bool mixed) {
        Scan scan(bits, settings);
        const auto width = static_cast<size_t>(m_size.width);
        // Two rows of each component that change places, with a sample before the first and one behind the last.
        std::vector<std::vector<int32_t>> now(members.size(), std::vector<int32_t>(width + 2));
        std::vector<std::vector<int32_t>> above = now;
        std::vector<int> run_indices(members.size());
        for (int y = 0; y < m_size.height; y++) {
            if (mixed) {
                scan.mixed_row({now[0].data() + 1, now[1].data() + 1, now[2].data() + 1},
                               {above[0].data() + 1, above[1].data() + 1, above[2].data() + 1}, m_size.width,
                               run_indices[0]);
            }
            for (size_t i = 0; i < members.size(); i++) {
                if (!mixed) {
                    scan.row(now[i].data() + 1, above[i].data() + 1, m_size.width, run_indices[i]);
                }
                std::vector<uint16_t>& plane = m_planes[members[i]];
                plane.reserve(width * static_cast<size_t>(m_size.height));
                for (size_t x = 0; x < width; x++) {
                    plane.push_back(static_cast<uint16_t>(now[i][x + 1]));
                }
            }
            for (size_t i = 0; i < members.size(); i++) {
                m_rows_done[members[i]] = y + 1;
                std::swap(now[i], above[i]);
            }
        }
    }

    JpegPlanes joined() {
        JpegPlanes planes{m_size.width, m_size.height, m_size.components};
        const int rows = m_rows_done.empty() ? 0 : *std::min_element(m_rows_done.begin(), m_rows_done.end());
        if (rows < m_size.height && (!m_keeps_part || rows == 0)) {
            damaged("a frame has no data, or too few");
        }
        const size_t pixels = static_cast<size_t>(rows) * static_cast<size_t>(m_size.width);
        if (m_planes.size() == 1) {
            planes.samples = std::move(m_planes[0]);
            planes.samples.resize(pixels);
            return planes;
        }
        planes.samples.resize(pixels * m_planes.size());
        for (size_t band = 0; band < m_planes.size(); band++) {
            for (size_t i = 0; i < pixels; i++) {
                planes.samples[i * m_planes.size() + band] = m_planes[band][i];
            }
        }
        return planes;
    }

    std::span<const uint8_t> m_data;
    JpegFrameSize m_size;
    bool m_keeps_part = false;
    int m_bits = 8;
    std::optional<Settings> m_own;
    std::vector<uint8_t> m_ids;
    std::vector<int> m_rows_done;
    std::vector<std::vector<uint16_t>> m_planes;
};

}  // namespace

JpegPlanes decode_jpegls(std::span<const uint8_t> file, const JpegFrameSize& size, bool keeps_part) {
    return Decoder(file, size).decode(keeps_part);
}

}  // namespace zelmor::imagework

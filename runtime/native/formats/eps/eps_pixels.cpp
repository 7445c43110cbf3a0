// Samples, runs and letters; see eps_pixels.h. The loops run for each sample, so that this file has all of the
// optimization.
#include "runtime/native/formats/eps/eps_pixels.h"

#include <algorithm>
#include <span>
#include <vector>

namespace zelmor::embed {

namespace {

using imagework::Argb;

constexpr int32_t kRowsAtOnce = 16;

// Five letters for four bytes, as the filter ASCII85Decode reads them.
class Letters {
 public:
    // Bytes that do not fill four wait for the next ones.
    void add(std::span<const uint8_t> bytes) {
        size_t at = 0;
        while (m_waiting != 0 && at < bytes.size()) {
            add_waiting(bytes[at++]);
        }
        const size_t groups = (bytes.size() - at) / 4;
        m_text.resize(m_end + groups * 6);  // with a line feed behind each of them at most
        char* to = m_text.data() + m_end;
        for (size_t i = 0; i < groups; ++i, at += 4) {
            to = put_group(uint32_t{bytes[at]} << 24 | uint32_t{bytes[at + 1]} << 16 | uint32_t{bytes[at + 2]} << 8 |
                               bytes[at + 3],
                           to);
        }
        m_end = static_cast<size_t>(to - m_text.data());
        while (at < bytes.size()) {
            add_waiting(bytes[at++]);
        }
    }
    std::string take() {
        m_text.resize(m_end + 6);
        if (m_waiting > 0) {  // one letter more than bytes
            put_word(m_word << 8 * (4 - m_waiting), m_text.data() + m_end);
            m_end += static_cast<size_t>(m_waiting) + 1;
        }
        m_text.resize(m_end);
        return std::move(m_text) + "~>\n";
    }

 private:
    static constexpr int kLine = 75;  // letters

    void add_waiting(uint8_t byte) {
        m_word = m_word << 8 | byte;
        if (++m_waiting == 4) {
            m_text.resize(m_end + 6);
            m_end = static_cast<size_t>(put_group(m_word, m_text.data() + m_end) - m_text.data());
            m_word = 0;
            m_waiting = 0;
        }
    }
    char* put_group(uint32_t word, char* to) {
        if (word == 0) {
            *to++ = 'z';
            m_column += 1;
        } else {
            to = put_word(word, to);
            m_column += 5;
        }
        if (m_column > kLine - 5) {
            *to++ = '\n';
            m_column = 0;
        }
        return to;
    }
    static char* put_word(uint32_t word, char* to) {
        constexpr uint32_t kThreeLetters = 85 * 85 * 85;
        const uint32_t first = word / kThreeLetters, last = word % kThreeLetters;
        for (const uint32_t digit : {first / 85, first % 85, last / (85 * 85), last / 85 % 85, last % 85}) {
            *to++ = static_cast<char>('!' + digit);
        }
        return to;
    }

    std::string m_text;
    size_t m_end = 0;  // of the letters in the text
    uint32_t m_word = 0;
    int m_waiting = 0;
    int m_column = 0;
};

// Runs and other bytes, as the filter RunLengthDecode reads them.
void add_runs(std::span<const uint8_t> bytes, std::vector<uint8_t>& out) {
    constexpr size_t kMost = 128;
    for (size_t at = 0; at < bytes.size();) {
        size_t run = 1;
        while (run < kMost && at + run < bytes.size() && bytes[at + run] == bytes[at]) {
            run++;
        }
        if (run > 2) {
            out.push_back(static_cast<uint8_t>(257 - run));
            out.push_back(bytes[at]);
            at += run;
            continue;
        }
        size_t count = run;
        const size_t most = std::min(kMost, bytes.size() - at);
        while (count < most) {
            const uint8_t* next = bytes.data() + at + count;
            if (at + count + 2 < bytes.size() && next[0] == next[1] && next[1] == next[2]) {
                break;
            }
            count++;
        }
        out.push_back(static_cast<uint8_t>(count - 1));
        out.insert(out.end(), bytes.begin() + static_cast<ptrdiff_t>(at),
                   bytes.begin() + static_cast<ptrdiff_t>(at + count));
        at += count;
    }
}

uint8_t on_paper(Argb color, Argb paper, int shift) {
    const uint32_t alpha = color >> 24;
    const uint32_t over = color >> shift & 0xFF;
    return static_cast<uint8_t>(alpha == 255 ? over
                                             : (over * alpha + (paper >> shift & 0xFF) * (255 - alpha) + 127) / 255);
}

void add_samples(std::span<const Argb> row, bool gray, Argb paper, std::vector<uint8_t>& samples) {
    samples.resize(row.size() * (gray ? 1 : 3));
    uint8_t* to = samples.data();
    for (const Argb color : row) {
        if (!gray) {
            *to++ = on_paper(color, paper, 16);
            *to++ = on_paper(color, paper, 8);
        }
        *to++ = on_paper(color, paper, 0);
    }
}

}  // namespace

std::string eps_pixels(const imagework::Picture& picture, bool gray, Argb paper) {
    const auto width = static_cast<size_t>(picture.width());
    Letters letters;
    std::vector<Argb> rows(width * kRowsAtOnce);
    std::vector<uint8_t> samples, packed;
    for (int32_t y = 0; y < picture.height(); y += kRowsAtOnce) {
        const int32_t count = std::min(kRowsAtOnce, picture.height() - y);
        const std::span<Argb> read = std::span(rows).first(width * static_cast<size_t>(count));
        picture.read_argb({0, y, picture.width(), count}, read);
        packed.clear();
        for (size_t row = 0; row < static_cast<size_t>(count); ++row) {
            add_samples(read.subspan(row * width, width), gray, paper, samples);
            add_runs(samples, packed);
        }
        letters.add(packed);
    }
    constexpr uint8_t kEnd[] = {128};  // of the run-length data
    letters.add(kEnd);
    return letters.take();
}

}  // namespace zelmor::embed

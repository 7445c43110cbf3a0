// Reading JPEG; see jpeg_codec.h.
#include <algorithm>
#include <cassert>
#include <cstdlib>
#include <utility>

#include "runtime/native/formats/jpeg/jpeg_codec.h"
#include "runtime/native/formats/jpeg/jpeg_header.h"
#include "runtime/native/formats/jpeg/jpeg_input.h"
#include "runtime/native/imagework/pixels/source_bytes.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::imagework {
namespace {

constexpr int kMostReduction = 8;

struct JpegReading {
    Recovery recovery;
    SharedBudget memory;
    int divisor;
};

// Files have the samples of CMYK inverted.
void invert(uint8_t* samples, size_t count) {
    for (size_t i = 0; i < count; i++) {
        samples[i] ^= 0xFF;
    }
}

// Whether a pixel is the medium tone, which the decoder gives to blocks that it has no data for. Colors of RGB are no
// measure of their own: the decoder mixes those of the last blocks into the pixels behind them.
bool is_fill(const uint8_t* pixel, int bands) {
    constexpr int kMedium = 128;
    constexpr int kSlack = 4;
    const auto near = [](int value) { return std::abs(value - kMedium) <= kSlack; };
    const int tone = bands == 1 ? pixel[0] : (299 * pixel[0] + 587 * pixel[1] + 114 * pixel[2] + 500) / 1000;
    return near(tone) && (bands < 4 || near(pixel[3]));
}

class JpegReader final : public RowReader {
 public:
    JpegReader(SharedSource source, JpegReading reading) : m_source(std::move(source)), m_reading(std::move(reading)) {
        open(UINT64_MAX);
        m_header = rows_header_of(*m_input);
        m_row_size = m_header.form.pixel_size() * static_cast<size_t>(m_header.width);
    }

    const RowsHeader& header() const override { return m_header; }

    void read(int32_t count, std::span<uint8_t> rows) override {
        assert(count >= 0 && m_next_row + count <= m_header.height);
        assert(rows.size() == m_row_size * static_cast<size_t>(count));
        if (count == 0) {
            return;
        }
        if (m_input == nullptr) {
            throw PictureError(Failure::kDamaged, "an earlier row could not be decoded");
        }
        try {
            if (!m_started) {
                start();
                m_started = true;
            }
            decode(count, rows.data());
        } catch (...) {
            m_input = nullptr;  // the library goes on behind no error
            m_coefficients.reset();
            throw;
        }
        note_lost(count, rows.data());
        if (m_header.form.color == ColorModel::kCmyk) {
            invert(rows.data(), rows.size());
        }
        m_next_row += count;
        if (m_next_row == m_header.height && m_reading.recovery == Recovery::kNone) {
            end();
        }
    }

    std::vector<Rect> lost() const override {
        std::vector<Rect> areas;
        const int32_t top = std::min(m_lost_from, m_next_row);
        const int32_t bottom = std::min(m_lost_from + m_lost_rows, m_next_row);
        if (top < bottom && m_lost_column < m_header.width) {
            areas.push_back({m_lost_column, top, m_header.width - m_lost_column, bottom - top});
        }
        if (bottom < m_next_row) {
            areas.push_back({0, bottom, m_header.width, m_next_row - bottom});
        }
        return areas;
    }

 private:
    // Reads the header of the file, whose bytes from `end` on do not count.
    void open(uint64_t end) {
        m_input = std::make_unique<JpegInput>(m_source, m_reading.recovery == Recovery::kMaximal, end);
        m_input->read_header();
        jpeg_decompress_struct* const codec = m_input->codec();
        codec->scale_num = 1;
        codec->scale_denom = static_cast<unsigned>(m_reading.divisor);
        m_input->run([codec] { jpeg_calc_output_dimensions(codec); });
    }

    void start() {
        take_coefficients();
        try {
            m_input->start();
        } catch (const PictureError& error) {
            const uint64_t sound = m_input->sound_until();
            if (m_reading.recovery != Recovery::kMaximal || error.kind() != Failure::kDamaged || sound == 0) {
                throw;
            }
            // An error in a later scan: the picture is what the scans before it make.
            open(sound);
            m_input->start();
        }
    }

    // Of several scans the library keeps the coefficients of all pixels, 16 bits each, in whole units.
    void take_coefficients() {
        jpeg_decompress_struct* const codec = m_input->codec();
        if (jpeg_has_multiple_scans(codec) == FALSE) {
            return;
        }
        uint64_t bytes = 0;
        for (int i = 0; i < codec->num_components; i++) {
            const jpeg_component_info& part = codec->comp_info[i];
            bytes += (uint64_t{part.width_in_blocks} + static_cast<uint64_t>(part.h_samp_factor)) *
                     (uint64_t{part.height_in_blocks} + static_cast<uint64_t>(part.v_samp_factor)) * sizeof(JBLOCK);
        }
        m_coefficients = MemoryShare(m_reading.memory ? m_reading.memory : std::make_shared<MemoryBudget>(), bytes);
    }

    void decode(int32_t count, uint8_t* rows) {
        jpeg_decompress_struct* const codec = m_input->codec();
        const size_t row_size = m_row_size;
        m_input->run([=] {
            constexpr int32_t kAtOnce = 16;
            JSAMPROW pointers[kAtOnce];
            for (int32_t done = 0; done < count;) {
                const int32_t wanted = std::min(kAtOnce, count - done);
                for (int32_t i = 0; i < wanted; i++) {
                    pointers[i] = rows + row_size * static_cast<size_t>(done + i);
                }
                done += static_cast<int32_t>(jpeg_read_scanlines(codec, pointers, static_cast<JDIMENSION>(wanted)));
            }
        });
    }

    // Data that end in a row of units are missing from some column on, and all rows behind it are.
    void note_lost(int32_t count, const uint8_t* rows) {
        const auto units = m_input->lost_from();
        if (!units) {
            return;
        }
        const jpeg_decompress_struct& codec = *m_input->codec();
        m_lost_rows = codec.max_v_samp_factor * codec.min_DCT_scaled_size;
        m_lost_from = static_cast<int32_t>(*units) * m_lost_rows;
        const int bands = m_header.form.bands();
        for (int32_t i = 0; i < count; i++) {
            const int32_t y = m_next_row + i;
            if (y < m_lost_from || y >= m_lost_from + m_lost_rows) {
                continue;
            }
            const uint8_t* const row = rows + m_row_size * static_cast<size_t>(i);
            int32_t column = m_header.width;
            while (column > 0 && is_fill(row + static_cast<std::ptrdiff_t>(column - 1) * bands, bands)) {
                column--;
            }
            m_lost_column = std::max(m_lost_column, column);
        }
    }

    // Reads up to the end marker. Other damage behind the last pixel does not count.
    void end() {
        jpeg_decompress_struct* const codec = m_input->codec();
        try {
            m_input->run([codec] { jpeg_finish_decompress(codec); });
            m_coefficients.reset();
        } catch (const PictureError& error) {
            if (m_input->reached_end() || error.kind() != Failure::kDamaged) {
                throw;
            }
        }
    }

    SharedSource m_source;
    JpegReading m_reading;
    MemoryShare m_coefficients;          // of a file of several scans, as long as the library keeps them
    std::unique_ptr<JpegInput> m_input;  // null after an error
    RowsHeader m_header;
    size_t m_row_size = 0;
    bool m_started = false;
    int32_t m_next_row = 0;
    int32_t m_lost_from = INT32_MAX / 2;  // the rows of units in which the data end
    int32_t m_lost_rows = 0;
    int32_t m_lost_column = 0;
};

class JpegFrame final : public FrameSource {
 public:
    JpegFrame(SharedSource source, const FileFacts& facts, Recovery recovery, SharedBudget memory)
        : m_source(std::move(source)), m_recovery(recovery), m_memory(std::move(memory)) {
        m_header.facts = facts;
        m_header.area = {0, 0, static_cast<int32_t>(m_header.facts.width), static_cast<int32_t>(m_header.facts.height)};
    }

    const SharedSource& file() const { return m_source; }
    Recovery recovery() const { return m_recovery; }

    size_t count() const override { return 1; }
    FrameHeader header([[maybe_unused]] size_t index) const override {
        assert(index == 0);
        return m_header;
    }
    std::unique_ptr<RowReader> open(size_t index) const override { return open_reduced(index, 1); }
    int reduction([[maybe_unused]] size_t index, int most) const override {
        assert(index == 0);
        int divisor = 1;
        while (divisor < kMostReduction && 2 * divisor <= most) {
            divisor *= 2;
        }
        return divisor;
    }
    std::unique_ptr<RowReader> open_reduced([[maybe_unused]] size_t index, int divisor) const override {
        assert(index == 0 && divisor == reduction(0, divisor));
        return std::make_unique<JpegReader>(m_source, JpegReading{m_recovery, m_memory, divisor});
    }

 private:
    SharedSource m_source;
    Recovery m_recovery;
    SharedBudget m_memory;
    FrameHeader m_header;
};

}  // namespace

SharedFrames open_jpeg(SharedSource source, const FileFacts& facts, Recovery recovery, SharedBudget memory) {
    assert(source != nullptr);
    return std::make_shared<const JpegFrame>(std::move(source), facts, recovery, std::move(memory));
}

SharedFrames open_jpeg(const SharedSource& source, Recovery recovery, SharedBudget memory) {
    SourceBytes bytes(source, SourceBytes::kHeaderWindow);
    return open_jpeg(source, probe(bytes), recovery, std::move(memory));
}

SharedSource jpeg_file_of(const FrameSource& frames) {
    const auto* jpeg = dynamic_cast<const JpegFrame*>(&frames);
    return jpeg != nullptr && jpeg->recovery() == Recovery::kNone ? jpeg->file() : nullptr;
}

}  // namespace zelmor::imagework

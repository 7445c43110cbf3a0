// Samples that are not compressed, and run-length coded ones; see stored_samples.h.
#include "runtime/native/formats/dicom/stored_samples.h"

#include <algorithm>
#include <cassert>
#include <vector>

#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {

void dicom_damaged(const std::string& text) {
    throw PictureError(Failure::kDamaged, text);
}
void dicom_unsupported(const std::string& text) {
    throw PictureError(Failure::kUnsupported, text);
}

namespace {

// From the bits that are allocated for a sample to its value.
class Stored {
 public:
    explicit Stored(const DicomHeader& header)
        : m_shift(header.high_bit + 1 - header.stored),
          m_mask(static_cast<uint32_t>((uint64_t{1} << header.stored) - 1)),
          m_sign(header.is_signed ? uint32_t{1} << (header.stored - 1) : 0) {}
    uint32_t value(uint32_t allocated) const { return (allocated >> m_shift & m_mask) ^ m_sign; }

 private:
    int m_shift;
    uint32_t m_mask;
    uint32_t m_sign;
};

class RawSamples final : public StoredSamples {
 public:
    RawSamples(const SharedSource& source, const DicomHeader& header, uint64_t bit)
        : m_bytes(source), m_header(header), m_stored(header), m_bit(bit) {
        bits = header.stored;
        m_swapped = header.order.big_endian && (header.pixels->type == dicom_type("OW") || header.allocated > 8);
        m_shared = header.color == DicomColor::kYbrFull422 || header.color == DicomColor::kYbrPartial422;
    }

    void next(std::span<uint32_t> row) override {
        const auto columns = static_cast<uint64_t>(m_header.columns);
        const auto samples = static_cast<size_t>(m_header.samples);
        assert(row.size() == columns * samples);
        const uint64_t y = m_row++;
        if (m_shared) {
            return next_shared(row, y);
        }
        if (samples == 1 || m_header.planar == 0) {
            take(y * row.size(), row.size(), [&](size_t i, uint32_t value) { row[i] = value; });
            return;
        }
        for (size_t band = 0; band < samples; band++) {
            const uint64_t plane = band * columns * static_cast<uint64_t>(m_header.rows);
            take(plane + y * columns, static_cast<size_t>(columns),
                 [&](size_t i, uint32_t value) { row[i * samples + band] = value; });
        }
    }

 private:
    // Two luminances, then the two differences that both pixels have.
    void next_shared(std::span<uint32_t> row, uint64_t y) {
        const size_t count = row.size() / 3 * 2;
        take(y * count, count, [&](size_t i, uint32_t value) {
            const size_t pair = i / 4 * 6;
            switch (i % 4) {
                case 0:
                    row[pair] = value;
                    return;
                case 1:
                    row[pair + 3] = value;
                    return;
                case 2:
                    row[pair + 1] = row[pair + 4] = value;
                    return;
                default:
                    row[pair + 2] = row[pair + 5] = value;
                    return;
            }
        });
    }

    // Gives so many samples of the frame, from one on, to the step.
    template <class Step>
    void take(uint64_t first, size_t count, Step&& step) {
        const auto allocated = static_cast<uint64_t>(m_header.allocated);
        const uint64_t from_bit = m_bit + first * allocated;
        // Words in which the bytes are swapped are read as a whole.
        const uint64_t from = from_bit / 8 / 2 * 2;
        const uint64_t to = ((from_bit + count * allocated + 7) / 8 + 1) / 2 * 2;
        m_row_bytes.assign(static_cast<size_t>(to - from), 0);
        const uint64_t needed = (from_bit + count * allocated + 7) / 8 - from;
        // A value begins at an even place, so that words do not lie across its beginning.
        const size_t there = m_bytes.copy(m_header.pixels->at + from, m_row_bytes);
        const bool last_is_cut = m_swapped && needed % 2 != 0 && there == needed;
        if (there < needed || last_is_cut) {
            dicom_damaged("the pixels end too early");
        }
        if (m_swapped) {
            for (size_t i = 0; i + 1 < m_row_bytes.size(); i += 2) {
                std::swap(m_row_bytes[i], m_row_bytes[i + 1]);
            }
        }
        if (allocated == 1) {
            for (size_t i = 0; i < count; i++) {
                const uint64_t bit = from_bit - from * 8 + i;
                step(i, m_row_bytes[bit / 8] >> bit % 8 & 1);
            }
            return;
        }
        const size_t size = allocated / 8;
        const uint8_t* at = m_row_bytes.data() + (from_bit / 8 - from);
        for (size_t i = 0; i < count; i++, at += size) {
            uint32_t value = 0;
            for (size_t byte = size; byte-- > 0;) {
                value = value << 8 | at[byte];
            }
            step(i, m_stored.value(value));
        }
    }

    SourceBytes m_bytes;
    const DicomHeader& m_header;
    Stored m_stored;
    uint64_t m_bit;  // of the frame, from the first of all pixels
    bool m_swapped = false;
    bool m_shared = false;
    uint64_t m_row = 0;
    std::vector<uint8_t> m_row_bytes;
};

// A segment: bytes that are packed in runs.
class Runs {
 public:
    Runs(const SharedSource& source, uint64_t at, uint64_t end) : m_bytes(source), m_at(at), m_end(end) {}

    void read(std::span<uint8_t> out) {
        for (size_t done = 0; done < out.size();) {
            if (m_left == 0) {
                start();
                continue;
            }
            const size_t count = std::min<size_t>(m_left, out.size() - done);
            if (m_copies) {
                if (m_end - m_at < count || m_bytes.copy(m_at, out.subspan(done, count)) != count) {
                    cut_off();
                }
                m_at += count;
            } else {
                std::fill_n(out.begin() + static_cast<std::ptrdiff_t>(done), count, m_byte);
            }
            m_left -= count;
            done += count;
        }
    }

 private:
    [[noreturn]] static void cut_off() { dicom_damaged("a segment of runs ends too early"); }
    uint8_t byte() {
        const auto found = m_at < m_end ? m_bytes.at(m_at, 1) : std::span<const uint8_t>();
        if (found.empty()) {
            cut_off();
        }
        m_at++;
        return found[0];
    }
    void start() {
        const uint8_t head = byte();
        if (head == 128) {
            return;  // says nothing
        }
        m_copies = head < 128;
        m_left = m_copies ? head + size_t{1} : size_t{257} - head;
        if (!m_copies) {
            m_byte = byte();
        }
    }

    SourceBytes m_bytes;
    uint64_t m_at;
    uint64_t m_end;
    size_t m_left = 0;
    bool m_copies = false;
    uint8_t m_byte = 0;
};

class RleSamples final : public StoredSamples {
 public:
    RleSamples(const SharedSource& frame, const DicomHeader& header)
        : m_header(header), m_stored(header), m_size(static_cast<size_t>(header.allocated / 8)) {
        bits = header.stored;
        constexpr uint64_t kHeader = 64;
        SourceBytes bytes(frame, SourceBytes::kHeaderWindow);
        const ByteReader in(bytes);
        const uint32_t count = in.u32(0);
        if (!in.ok() || count != m_size * static_cast<size_t>(header.samples)) {
            dicom_damaged("a frame has " + std::to_string(count) + " segments of runs, where its samples need " +
                          std::to_string(m_size * static_cast<size_t>(header.samples)));
        }
        for (uint32_t i = 0; i < count; i++) {
            const uint64_t at = in.u32(4 + 4 * uint64_t{i});
            const uint64_t end = i + 1 < count ? in.u32(8 + 4 * uint64_t{i}) : frame->size();
            if (!in.ok() || at < kHeader || end < at) {
                dicom_damaged("the segments of a frame do not follow each other");
            }
            m_segments.push_back(std::make_unique<Runs>(frame, at, std::min(end, frame->size())));
        }
    }

    // The bytes of the samples have segments of their own, the highest byte first.
    void next(std::span<uint32_t> row) override {
        const auto samples = static_cast<size_t>(m_header.samples);
        m_bytes.resize(static_cast<size_t>(m_header.columns));
        std::fill(row.begin(), row.end(), 0);
        for (size_t band = 0; band < samples; band++) {
            for (size_t byte = 0; byte < m_size; byte++) {
                m_segments[band * m_size + byte]->read(m_bytes);
                for (size_t x = 0; x < m_bytes.size(); x++) {
                    uint32_t& value = row[x * samples + band];
                    value = value << 8 | m_bytes[x];
                }
            }
        }
        for (uint32_t& value : row) {
            value = m_stored.value(value);
        }
    }

 private:
    const DicomHeader& m_header;
    Stored m_stored;
    size_t m_size;
    std::vector<std::unique_ptr<Runs>> m_segments;
    std::vector<uint8_t> m_bytes;
};

}  // namespace

std::unique_ptr<StoredSamples> raw_samples(const SharedSource& source, const DicomHeader& header, uint64_t bit) {
    assert(header.pixels);
    return std::make_unique<RawSamples>(source, header, bit);
}

std::unique_ptr<StoredSamples> rle_samples(const SharedSource& frame, const DicomHeader& header) {
    return std::make_unique<RleSamples>(frame, header);
}

}  // namespace zelmor::imagework

// Reading the tables of a palette; see dicom_palette.h.
#include "runtime/native/formats/dicom/dicom_palette.h"

#include <algorithm>

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

constexpr uint32_t kMostBytes = 1U << 20;

// Segments: runs of values, straight lines between two values, and segments that are used again.
class Segments {
 public:
    Segments(const std::vector<uint16_t>& words, size_t most) : m_words(words), m_most(most) {}

    std::vector<uint16_t> values() {
        run(0, m_words.size(), SIZE_MAX, true);
        return std::move(m_values);
    }

 private:
    // At most so many segments from a word on; how many words they take.
    void run(size_t at, size_t end, size_t segments, bool may_use_others) {
        for (; segments > 0 && at + 2 <= end && m_values.size() < m_most; segments--) {
            const uint16_t code = m_words[at];
            const size_t length = m_words[at + 1];
            at += 2;
            if (code == 0) {
                for (size_t i = 0; i < length && at < end; i++) {
                    put(m_words[at++]);
                }
            } else if (code == 1 && at < end) {
                line(length, m_words[at++]);
            } else if (code == 2 && at + 2 <= end && may_use_others) {
                const size_t offset = (m_words[at] | static_cast<size_t>(m_words[at + 1]) << 16) / 2;
                at += 2;
                run(offset, end, length, false);
            } else {
                return;
            }
        }
    }
    void put(uint16_t value) {
        if (m_values.size() < m_most) {
            m_values.push_back(value);
        }
    }
    void line(size_t length, uint16_t to) {
        const int64_t from = m_values.empty() ? 0 : m_values.back();
        for (size_t i = 1; i <= length; i++) {
            const int64_t step = (int64_t{to} - from) * static_cast<int64_t>(i);
            const auto count = static_cast<int64_t>(length);
            put(static_cast<uint16_t>(from + (step + (step < 0 ? -count : count) / 2) / count));
        }
    }

    const std::vector<uint16_t>& m_words;
    size_t m_most;
    std::vector<uint16_t> m_values;
};

}  // namespace

std::vector<uint16_t> dicom_table(const ByteReader& file, const DicomLookup& lookup) {
    const ByteReader in = file.in_order(lookup.data.order.big_endian);
    const size_t wanted = lookup.entries;
    const uint32_t length = lookup.data.length == kDicomUndefined ? 0 : std::min(lookup.data.length, kMostBytes);
    std::vector<uint16_t> values;
    // Bytes stand two in a word, or one in each.
    const bool packed = lookup.bits == 8 && !lookup.segmented && length < 2 * wanted;
    for (uint32_t i = 0; i + 1 < length; i += 2) {
        const uint16_t word = in.u16(lookup.data.at + i);
        if (!in.ok()) {
            break;
        }
        if (packed) {
            values.push_back(word & 0xFF);
            values.push_back(word >> 8);
        } else {
            values.push_back(word);
        }
    }
    if (lookup.segmented) {
        values = Segments(values, wanted).values();
    }
    values.resize(std::min(values.size(), wanted));
    if (lookup.bits == 8) {
        for (uint16_t& value : values) {
            value &= 0xFF;
        }
    }
    return values;
}

DicomPalette dicom_palette(const ByteReader& file, const DicomHeader& header) {
    DicomPalette palette;
    palette.first = header.palette[0].first;
    palette.deep = std::any_of(header.palette.begin(), header.palette.end(),
                               [](const DicomLookup& lookup) { return lookup.bits == 16; });
    for (size_t band = 0; band < 3; band++) {
        const DicomLookup& lookup = header.palette[band];
        const std::vector<uint16_t> table = dicom_table(file, lookup);
        if (table.empty()) {
            throw PictureError(Failure::kDamaged, "a table of the palette has no entries");
        }
        if (band == 0) {
            palette.colors.resize(table.size());
        }
        for (size_t i = 0; i < palette.colors.size(); i++) {
            const uint16_t value = table[std::min(i, table.size() - 1)];
            palette.colors[i][band] = palette.deep && lookup.bits == 8 ? static_cast<uint16_t>(value * 257) : value;
        }
    }
    return palette;
}

}  // namespace zelmor::imagework

// Turning every number of a TIFF file around; see tiff_byte_order.h.
#include "runtime/native/imagework/codecs/tiff_byte_order.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/tiff_structure.h"

namespace zelmor::imagework {
namespace {

// Bytes of one number of a field type; a rational is two numbers.
uint64_t number_size(int type) {
    return is_tiff_rational(type) ? tiff_type_size(type) / 2 : std::max<uint64_t>(1, tiff_type_size(type));
}

class Turner {
 public:
    explicit Turner(const EncodedBytes& tiff)
        : m_bytes(tiff.bytes().begin(), tiff.bytes().end()), m_in(tiff.bytes()), m_form(tiff_form(m_in)) {}

    EncodedBytes run() {
        std::fill_n(m_bytes.begin(), 2, static_cast<uint8_t>('M'));
        turn(2, 2, 1);
        if (m_form.big) {
            turn(4, 2, 2);  // the width of offsets, and a reserved number
        }
        turn(m_form.link_at(), m_form.word(), 1);
        uint64_t directory = m_form.read_word(m_in, m_form.link_at());
        while (directory != 0 && m_in.ok()) {
            directory = turn_directory(directory);
        }
        if (!m_in.ok()) {
            throw PictureError(Failure::kInternal, "the TIFF file that was written cannot be read again");
        }
        return to_encoded(std::move(m_bytes));
    }

 private:
    void turn(uint64_t at, uint64_t size, uint64_t count) {
        if (size < 2 || !m_in.has(at, size * count)) {
            return;
        }
        for (uint64_t i = 0; i < count; i++) {
            auto first = m_bytes.begin() + static_cast<std::ptrdiff_t>(at + i * size);
            std::reverse(first, first + static_cast<std::ptrdiff_t>(size));
        }
    }

    // Turns the entries of a directory with what they point to; answers where the next directory is.
    uint64_t turn_directory(uint64_t at) {
        const uint64_t count = m_form.entries(m_in, at);
        uint64_t bits = 8;
        uint64_t compression = kUncompressed;
        std::vector<uint64_t> offsets;
        std::vector<uint64_t> lengths;
        for (uint64_t i = 0; i < count && m_in.ok(); i++) {
            const uint64_t entry = m_form.entry_at(at, i);
            const int tag = m_in.u16(entry);
            if (tag == kTiffBitsPerSample) {
                bits = values(entry).front();
            }
            if (tag == kTiffCompression) {
                compression = values(entry).front();
            }
            if (tag == kTiffStripOffsets || tag == kTiffTileOffsets) {
                offsets = values(entry);
            }
            if (tag == kTiffStripSizes || tag == kTiffTileSizes) {
                lengths = values(entry);
            }
            turn_entry(entry);
        }
        turn(at, m_form.directory_head(), 1);
        const uint64_t next_at = m_form.entry_at(at, count);
        turn(next_at, m_form.word(), 1);
        if (bits == 16 && compression == kUncompressed) {
            for (size_t i = 0; i < std::min(offsets.size(), lengths.size()); i++) {
                turn(offsets[i], 2, lengths[i] / 2);
            }
        }
        return m_form.read_word(m_in, next_at);
    }

    void turn_entry(uint64_t entry) {
        auto [at, count, size] = place(entry);
        turn(at, size, is_tiff_rational(m_in.u16(entry + 2)) ? 2 * count : count);
        const uint64_t value_at = m_form.value_at(entry);
        if (at != value_at) {
            turn(value_at, m_form.word(), 1);
        }
        turn(entry + 4, m_form.word(), 1);
        turn(entry + 2, 2, 1);
        turn(entry, 2, 1);
    }

    struct Place {
        uint64_t at, count, size;
    };
    // Values stand in the entry if they fit there, else where it points.
    Place place(uint64_t entry) const {
        const int type = m_in.u16(entry + 2);
        const uint64_t size = number_size(type);
        const uint64_t count = m_form.values(m_in, entry);
        const uint64_t value_at = m_form.value_at(entry);
        const uint64_t bytes = size * count * (is_tiff_rational(type) ? 2 : 1);
        return {bytes > m_form.word() ? m_form.read_word(m_in, value_at) : value_at, count, size};
    }

    std::vector<uint64_t> values(uint64_t entry) const {
        auto [at, count, size] = place(entry);
        if (count == 0 || !m_in.has(at, size * count)) {
            return {0};
        }
        std::vector<uint64_t> result;
        for (uint64_t i = 0; i < count; i++) {
            result.push_back(read_tiff_number(m_in, at + i * size, size));
        }
        return result;
    }

    static constexpr auto kUncompressed = static_cast<uint64_t>(TiffCompression::kNone);
    std::vector<uint8_t> m_bytes;
    ByteReader m_in;  // over the original, which stays as it is
    TiffForm m_form;
};

}  // namespace

EncodedBytes as_big_endian_tiff(const EncodedBytes& tiff) {
    return Turner(tiff).run();
}

}  // namespace zelmor::imagework

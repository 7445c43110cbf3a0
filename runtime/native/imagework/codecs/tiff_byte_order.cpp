// Turning every number of a TIFF file around; see tiff_byte_order.h.
#include "runtime/native/imagework/codecs/tiff_byte_order.h"

#include <algorithm>
#include <memory>
#include <vector>

#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {
namespace {

// Bytes of one number of a field type; a rational is two numbers of four bytes.
uint64_t number_size(int type) {
    switch (type) {
        case 3:
        case 8:
            return 2;
        case 4:
        case 5:
        case 9:
        case 10:
        case 11:
        case 13:
            return 4;
        case 12:
        case 16:
        case 17:
        case 18:
            return 8;
        default:
            return 1;
    }
}

class Turner {
 public:
    explicit Turner(const EncodedBytes& tiff)
        : m_bytes(std::make_shared<std::vector<uint8_t>>(tiff.data.get(), tiff.data.get() + tiff.size)),
          m_in({tiff.data.get(), tiff.size}),
          m_big(m_in.u16(2) == 43) {}

    EncodedBytes run() {
        std::fill_n(m_bytes->begin(), 2, static_cast<uint8_t>('M'));
        turn(2, 2, 1);
        if (m_big) {
            turn(4, 2, 2);
        }
        turn(m_big ? 8 : 4, word(), 1);
        uint64_t directory = read_word(m_big ? 8 : 4);
        while (directory != 0 && m_in.ok()) {
            directory = turn_directory(directory);
        }
        if (!m_in.ok()) {
            throw PictureError(Failure::kInternal, "the TIFF file that was written cannot be read again");
        }
        return {std::shared_ptr<const uint8_t>(m_bytes, m_bytes->data()), m_bytes->size()};
    }

 private:
    uint64_t word() const { return m_big ? 8 : 4; }
    uint64_t read_word(uint64_t at) const { return m_big ? m_in.u64(at) : m_in.u32(at); }

    void turn(uint64_t at, uint64_t size, uint64_t count) {
        if (size < 2 || !m_in.has(at, size * count)) {
            return;
        }
        for (uint64_t i = 0; i < count; i++) {
            auto first = m_bytes->begin() + static_cast<std::ptrdiff_t>(at + i * size);
            std::reverse(first, first + static_cast<std::ptrdiff_t>(size));
        }
    }

    // Turns the entries of a directory with what they point to; answers where the next directory is.
    uint64_t turn_directory(uint64_t at) {
        uint64_t count_size = m_big ? 8 : 2;
        uint64_t count = m_big ? m_in.u64(at) : m_in.u16(at);
        uint64_t entry_size = m_big ? 20 : 12;
        uint64_t bits = 8;
        uint64_t compression = 1;
        std::vector<uint64_t> offsets;
        std::vector<uint64_t> lengths;
        for (uint64_t i = 0; i < count && m_in.ok(); i++) {
            uint64_t entry = at + count_size + i * entry_size;
            int tag = m_in.u16(entry);
            if (tag == 258) {
                bits = values(entry).front();
            }
            if (tag == 259) {
                compression = values(entry).front();
            }
            if (tag == 273 || tag == 324) {
                offsets = values(entry);
            }
            if (tag == 279 || tag == 325) {
                lengths = values(entry);
            }
            turn_entry(entry);
        }
        turn(at, count_size, 1);
        uint64_t next_at = at + count_size + count * entry_size;
        turn(next_at, word(), 1);
        if (bits == 16 && compression == 1) {
            for (size_t i = 0; i < std::min(offsets.size(), lengths.size()); i++) {
                turn(offsets[i], 2, lengths[i] / 2);
            }
        }
        return read_word(next_at);
    }

    void turn_entry(uint64_t entry) {
        auto [at, count, size] = place(entry);
        bool rational = m_in.u16(entry + 2) == 5 || m_in.u16(entry + 2) == 10;
        turn(at, size, rational ? 2 * count : count);
        uint64_t value_at = entry + 4 + word();
        if (at != value_at) {
            turn(value_at, word(), 1);
        }
        turn(entry + 4, word(), 1);
        turn(entry + 2, 2, 1);
        turn(entry, 2, 1);
    }

    struct Place {
        uint64_t at, count, size;
    };
    // Values stand in the entry if they fit there, else where it points.
    Place place(uint64_t entry) const {
        int type = m_in.u16(entry + 2);
        uint64_t size = number_size(type);
        uint64_t count = read_word(entry + 4);
        uint64_t value_at = entry + 4 + word();
        uint64_t bytes = size * count * (type == 5 || type == 10 ? 2 : 1);
        return {bytes > word() ? read_word(value_at) : value_at, count, size};
    }

    std::vector<uint64_t> values(uint64_t entry) const {
        auto [at, count, size] = place(entry);
        if (count == 0 || !m_in.has(at, size * count)) {
            return {0};
        }
        std::vector<uint64_t> result;
        for (uint64_t i = 0; i < count; i++) {
            uint64_t from = at + i * size;
            result.push_back(size == 2   ? m_in.u16(from)
                             : size == 4 ? m_in.u32(from)
                             : size == 8 ? m_in.u64(from)
                                         : m_in.u8(from));
        }
        return result;
    }

    std::shared_ptr<std::vector<uint8_t>> m_bytes;
    ByteReader m_in;  // over the original, which stays as it is
    bool m_big;
};

}  // namespace

EncodedBytes as_big_endian_tiff(const EncodedBytes& tiff) {
    return Turner(tiff).run();
}

}  // namespace zelmor::imagework

// Joining by moving: each file's bytes are appended, and every offset in its directories is moved by as much.
#include "runtime/native/imagework/codecs/tiff_join.h"

#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/vips/encode_support.h"

namespace zelmor::imagework {
namespace {

constexpr int kStripOffsets = 273;
constexpr int kTileOffsets = 324;

[[noreturn]] void unfit(const char* what) {
    throw PictureError(Failure::kInternal, std::string("a TIFF page that was written has ") + what);
}

uint64_t type_size(int type) {
    static constexpr uint8_t kSizes[] = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0, 8, 8, 8};
    if (type < 1 || static_cast<size_t>(type) >= std::size(kSizes) || kSizes[type] == 0) {
        unfit("an unknown field type");
    }
    return kSizes[type];
}

class Joiner {
 public:
    explicit Joiner(bool big) : m_big(big), m_link_at(big ? 8 : 4) {}

    void append(const EncodedBytes& file) {
        const std::span<const uint8_t> bytes(file.data.get(), file.size);
        if (m_out.empty()) {
            m_out.assign(bytes.begin(), bytes.end());
        } else {
            while (m_out.size() % 16 != 0) {
                m_out.push_back(0);
            }
            m_base = m_out.size() - header();
            m_out.insert(m_out.end(), bytes.begin() + static_cast<std::ptrdiff_t>(header()), bytes.end());
        }
        if (!m_big && m_out.size() > 0xFFFFFFFF) {
            throw PictureError(Failure::kTooLarge, "the pages do not fit the 4 gigabytes of a TIFF file");
        }
        ByteReader in(bytes);
        uint64_t directory = word_at(in, header() - word());
        put(m_link_at, word(), m_base + directory);
        while (directory != 0 && in.ok()) {
            directory = move_directory(in, directory);
        }
        if (!in.ok()) {
            unfit("a directory that cannot be read again");
        }
    }

    std::vector<uint8_t> take() { return std::move(m_out); }

 private:
    uint64_t word() const { return m_big ? 8 : 4; }
    uint64_t header() const { return m_big ? 16 : 8; }
    uint64_t word_at(const ByteReader& in, uint64_t at) const { return m_big ? in.u64(at) : in.u32(at); }
    void put(uint64_t at, uint64_t size, uint64_t value) {
        for (uint64_t i = 0; i < size; i++) {
            m_out[at + i] = static_cast<uint8_t>(value >> 8 * i);
        }
    }

    // Moves what the entries point to; answers where the file's next directory is.
    uint64_t move_directory(const ByteReader& in, uint64_t directory) {
        const uint64_t count_size = m_big ? 8 : 2;
        const uint64_t entry_size = m_big ? 20 : 12;
        const uint64_t count = m_big ? in.u64(directory) : in.u16(directory);
        for (uint64_t i = 0; i < count && in.ok(); i++) {
            move_entry(in, directory + count_size + i * entry_size);
        }
        const uint64_t next_at = directory + count_size + count * entry_size;
        const uint64_t next = word_at(in, next_at);
        m_link_at = m_base + next_at;
        if (in.ok()) {
            put(m_link_at, word(), next == 0 ? 0 : m_base + next);
        }
        return next;
    }

    void move_entry(const ByteReader& in, uint64_t entry) {
        const int tag = in.u16(entry);
        const uint64_t size = type_size(in.u16(entry + 2));
        const uint64_t count = word_at(in, entry + 4);
        const uint64_t value_at = entry + 4 + word();
        const bool elsewhere = count > word() / size;
        const uint64_t data_at = elsewhere ? word_at(in, value_at) : value_at;
        if (tag == 330 || tag == 34665 || tag == 34853) {
            unfit("a directory of its own inside");
        }
        if (elsewhere) {
            put(m_base + value_at, word(), m_base + data_at);
        }
        if (tag != kStripOffsets && tag != kTileOffsets) {
            return;
        }
        if (size < 4 || !in.has(data_at, size * count)) {
            unfit("no place for its offsets");
        }
        for (uint64_t i = 0; i < count; i++) {
            const uint64_t at = data_at + i * size;
            put(m_base + at, size, m_base + (size == 8 ? in.u64(at) : in.u32(at)));
        }
    }

    bool m_big;
    uint64_t m_link_at;  // of the word that says where the next page's directory is
    uint64_t m_base = 0;
    std::vector<uint8_t> m_out;
};

}  // namespace

EncodedBytes joined_tiffs(std::span<const EncodedBytes> files) {
    Joiner joiner(ByteReader({files[0].data.get(), files[0].size}).u16(2) == 43);
    for (const EncodedBytes& file : files) {
        joiner.append(file);
    }
    return to_encoded(joiner.take());
}

}  // namespace zelmor::imagework

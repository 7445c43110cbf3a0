// Joining by moving: each file's bytes are appended, and every offset in its directories is moved by as much.
#include "runtime/native/imagework/codecs/tiff_join.h"

#include <cassert>
#include <string>
#include <utility>
#include <vector>

#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/tiff_structure.h"

namespace zelmor::imagework {
namespace {

[[noreturn]] void unfit(const char* what) {
    throw PictureError(Failure::kInternal, std::string("a TIFF page that was written has ") + what);
}

uint64_t known_type_size(int type) {
    const uint64_t size = tiff_type_size(type);
    if (size == 0) {
        unfit("an unknown field type");
    }
    return size;
}

class Joiner {
 public:
    explicit Joiner(TiffForm form) : m_form(form), m_link_at(form.link_at()) {}

    void append(const EncodedBytes& file) {
        const std::span<const uint8_t> bytes = file.bytes();
        if (m_out.empty()) {
            m_out.assign(bytes.begin(), bytes.end());
        } else {
            while (m_out.size() % 16 != 0) {
                m_out.push_back(0);
            }
            m_base = m_out.size() - m_form.header_size();
            m_out.insert(m_out.end(), bytes.begin() + static_cast<std::ptrdiff_t>(m_form.header_size()), bytes.end());
        }
        if (!m_form.big && m_out.size() > 0xFFFFFFFF) {
            throw PictureError(Failure::kTooLarge, "the pages do not fit the 4 gigabytes of a TIFF file");
        }
        ByteReader in(bytes);
        uint64_t directory = m_form.read_word(in, m_form.link_at());
        put(m_link_at, m_form.word(), m_base + directory);
        while (directory != 0 && in.ok()) {
            directory = move_directory(in, directory);
        }
        if (!in.ok()) {
            unfit("a directory that cannot be read again");
        }
    }

    std::vector<uint8_t> take() { return std::move(m_out); }

 private:
    void put(uint64_t at, uint64_t size, uint64_t value) {
        for (uint64_t i = 0; i < size; i++) {
            m_out[at + i] = static_cast<uint8_t>(value >> 8 * i);
        }
    }

    // Moves what the entries point to; answers where the file's next directory is.
    uint64_t move_directory(const ByteReader& in, uint64_t directory) {
        const uint64_t count = m_form.entries(in, directory);
        for (uint64_t i = 0; i < count && in.ok(); i++) {
            move_entry(in, m_form.entry_at(directory, i));
        }
        const uint64_t next_at = m_form.entry_at(directory, count);
        const uint64_t next = m_form.read_word(in, next_at);
        m_link_at = m_base + next_at;
        if (in.ok()) {
            put(m_link_at, m_form.word(), next == 0 ? 0 : m_base + next);
        }
        return next;
    }

    void move_entry(const ByteReader& in, uint64_t entry) {
        const int tag = in.u16(entry);
        const uint64_t size = known_type_size(in.u16(entry + 2));
        const uint64_t count = m_form.values(in, entry);
        const uint64_t value_at = m_form.value_at(entry);
        const bool elsewhere = count > m_form.word() / size;
        const uint64_t data_at = elsewhere ? m_form.read_word(in, value_at) : value_at;
        if (tag == kTiffSubDirectories || tag == kTiffExifDirectory || tag == kTiffGpsDirectory) {
            unfit("a directory of its own inside");
        }
        if (elsewhere) {
            put(m_base + value_at, m_form.word(), m_base + data_at);
        }
        if (tag != kTiffStripOffsets && tag != kTiffTileOffsets) {
            return;
        }
        if (size < 4 || !in.has(data_at, size * count)) {
            unfit("no place for its offsets");
        }
        for (uint64_t i = 0; i < count; i++) {
            const uint64_t at = data_at + i * size;
            put(m_base + at, size, m_base + read_tiff_number(in, at, size));
        }
    }

    TiffForm m_form;
    uint64_t m_link_at;  // of the word that says where the next page's directory is
    uint64_t m_base = 0;
    std::vector<uint8_t> m_out;
};

}  // namespace

EncodedBytes joined_tiffs(std::span<const EncodedBytes> files) {
    assert(!files.empty());
    Joiner joiner(tiff_form(ByteReader(files[0].bytes())));
    for (const EncodedBytes& file : files) {
        joiner.append(file);
    }
    return to_encoded(joiner.take());
}

}  // namespace zelmor::imagework

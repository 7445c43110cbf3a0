// Reading numbers and texts of a PSD file behind each other.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_CURSOR_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_CURSOR_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "runtime/native/formats/psd/psd_structure.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

// A place in a range of bytes. It does not leave the range: reading beyond it gives zeros and is remembered.
class PsdCursor {
 public:
    PsdCursor(ByteSource& bytes, const PsdRange& range, bool large)
        : m_in(bytes, true), m_at(range.at), m_end(range.end()), m_large(large) {}

    uint64_t at() const { return m_at; }
    uint64_t left() const { return m_end - m_at; }
    bool has(uint64_t count) const { return m_ok && count <= left(); }
    bool ok() const { return m_ok && m_in.ok(); }
    void skip(uint64_t count) {
        m_ok = has(count);
        m_at = m_ok ? m_at + count : m_end;
    }
    uint64_t take(int count) {
        const uint64_t at = m_at;
        skip(static_cast<uint64_t>(count));
        if (!m_ok) {
            return 0;
        }
        return count == 1 ? m_in.u8(at) : count == 2 ? m_in.u16(at) : count == 4 ? m_in.u32(at) : m_in.u64(at);
    }
    // A length, which has 8 bytes in large files where the format says so.
    uint64_t take_length() { return take(m_large ? 8 : 4); }
    bool starts_with(std::string_view text) const { return has(text.size()) && m_in.starts_with(m_at, text); }
    std::string text(uint64_t count) {
        const auto found = has(count) ? m_in.piece(m_at, count) : std::span<const uint8_t>();
        std::string result(found.begin(), found.end());
        skip(count);
        return result;
    }

 private:
    ByteReader m_in;
    uint64_t m_at;
    uint64_t m_end;
    bool m_large;
    bool m_ok = true;
};

// Sizes are padded to even ones.
constexpr uint64_t even_size(uint64_t size) {
    return size + size % 2;
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_CURSOR_H

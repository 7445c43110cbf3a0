// One entry of a TIFF directory: where its values are, and what they are.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_ENTRY_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_ENTRY_H

#include <algorithm>
#include <cstdint>
#include <string>

#include "runtime/native/formats/tiff/tiff_structure.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

// Where an entry's values are, how many, and of how many bytes each.
class TiffEntry {
 public:
    TiffEntry() = default;
    TiffEntry(const ByteReader& in, TiffForm form, uint64_t entry)
        : m_type(in.u16(entry + 2)), m_count(form.values(in, entry)), m_at(form.value_at(entry)) {
        uint64_t bytes = 0;
        if (__builtin_mul_overflow(m_count, size(), &bytes) || bytes > form.word()) {
            m_at = form.read_word(in, m_at);
        }
    }

    bool there() const { return m_count > 0; }
    uint64_t count() const { return m_count; }
    uint64_t at() const { return m_at; }
    int type() const { return m_type; }

    // A whole number; what is none counts as bytes.
    uint64_t number(const ByteReader& in, uint64_t otherwise, uint64_t index = 0) const {
        const bool is_wide = m_type == kTiffShort || m_type == kTiffLong || m_type == kTiffLong8;
        const uint64_t bytes = is_wide ? size() : 1;
        return index < m_count ? read_tiff_number(in, m_at + index * bytes, bytes) : otherwise;
    }
    // A fraction; 0 for what is none.
    double fraction(const ByteReader& in, uint64_t index = 0) const {
        const uint64_t at = m_at + index * 8;
        const bool is_signed = m_type == kTiffSignedRational;
        if (!is_tiff_rational(m_type) || index >= m_count) {
            return 0.0;
        }
        const double above = is_signed ? in.i32(at) : static_cast<double>(in.u32(at));
        const double below = is_signed ? in.i32(at + 4) : static_cast<double>(in.u32(at + 4));
        return below > 0 ? above / below : 0.0;
    }
    // A whole number or a fraction, as some tags may be either.
    double value(const ByteReader& in, uint64_t index) const {
        return is_tiff_rational(m_type) ? fraction(in, index) : static_cast<double>(number(in, 0, index));
    }
    std::string text(const ByteReader& in) const {
        constexpr uint64_t kMost = 4096;
        if (m_type != kTiffAscii) {
            return {};
        }
        const auto bytes = in.piece(m_at, std::min(m_count, kMost));
        const std::string found(bytes.begin(), bytes.end());
        return found.substr(0, found.find('\0'));
    }

 private:
    uint64_t size() const { return std::max<uint64_t>(1, tiff_type_size(m_type)); }

    int m_type = 0;
    uint64_t m_count = 0;
    uint64_t m_at = 0;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_ENTRY_H

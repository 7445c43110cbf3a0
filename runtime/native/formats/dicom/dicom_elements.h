// The elements of a DICOM file, one after the other: each has a tag, mostly a type, a length and a value.
//
// Values of the type SQ are sequences: lists of items, and each item is a list of elements. The walk goes into them and
// tells how deep an element lies. Lengths are only claims: nothing is read but headers, and values that are asked for.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_ELEMENTS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_ELEMENTS_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

// The group in the upper, the element in the lower 16 bits.
using DicomTag = uint32_t;

// The type of a value, by its two letters; 0 where a file does not tell and the tag is not a known one.
using DicomType = uint16_t;
constexpr DicomType dicom_type(const char (&letters)[3]) {
    return static_cast<DicomType>(letters[0] << 8 | letters[1]);
}

constexpr uint32_t kDicomUndefined = 0xFFFFFFFF;  // a length: the value ends with a delimiter

// How the elements of a file are written.
struct DicomOrder {
    bool explicit_types = true;
    bool big_endian = false;
};

struct DicomElement {
    DicomTag tag = 0;
    DicomType type = 0;
    int depth = 0;           // 0 outside of all sequences
    uint64_t header_at = 0;  // in the file
    uint64_t at = 0;         // of the value
    uint32_t length = 0;
    DicomOrder order = {};
};

// Whether the header of an element of the type has a length of four bytes.
bool has_long_length(DicomType type);

class DicomWalk {
 public:
    static constexpr DicomTag kPixelData = 0x7FE00010;

    DicomWalk(const ByteReader& file, uint64_t at, DicomOrder order);

    // The next element, in the order of the file. Nothing at the end of the data, behind pixels whose length is not
    // told, and where the data make no sense.
    std::optional<DicomElement> next();
    // Where the next header stands.
    uint64_t position() const { return m_at; }

 private:
    enum class Kind : uint8_t { kSequence, kItem, kFragments };
    struct Level {
        Kind kind;
        uint64_t end;  // UINT64_MAX: a delimiter ends it
        DicomOrder order;
    };

    ByteReader reader() const { return m_file.in_order(order().big_endian); }
    DicomOrder order() const { return m_levels.empty() ? m_order : m_levels.back().order; }
    bool step_over_delimiter(DicomTag tag, uint32_t length);
    bool push(Kind kind, uint32_t length, DicomOrder order);

    const ByteReader m_file;
    DicomOrder m_order;
    uint64_t m_at;
    bool m_done = false;
    std::vector<Level> m_levels;
};

// Values. All are cut off at `most` bytes.
constexpr uint64_t kMostDicomText = 1024;

// Without the spaces and zeros around it.
std::string dicom_text(const ByteReader& file, const DicomElement& element, uint64_t most = kMostDicomText);
// A number of the list that the value is, whatever its type; nothing where there is none.
std::optional<double> dicom_number(const ByteReader& file, const DicomElement& element, size_t index = 0);
// The same of a count; 0 where there is none or where it does not fit.
uint32_t dicom_count(const ByteReader& file, const DicomElement& element, size_t index = 0);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_ELEMENTS_H

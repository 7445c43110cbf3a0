// Elements of DICOM files, byte by byte, for unit tests.
#ifndef ZELMOR_TESTS_UNIT_FORMATS_DICOM_BYTES_H
#define ZELMOR_TESTS_UNIT_FORMATS_DICOM_BYTES_H

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zelmor::imagework::dicom_bytes {

enum class Written { kExplicit, kImplicit, kBigEndian };

inline std::vector<uint8_t> bytes_of(const std::string& text) {
    return {text.begin(), text.end()};
}

inline std::string number(uint64_t value, size_t size, Written how = Written::kExplicit) {
    std::string text;
    for (size_t i = 0; i < size; i++) {
        text.push_back(static_cast<char>(value >> 8 * i));
    }
    if (how == Written::kBigEndian) {
        std::reverse(text.begin(), text.end());
    }
    return text;
}

inline std::string tag_bytes(uint32_t tag, Written how = Written::kExplicit) {
    return number(tag >> 16, 2, how) + number(tag & 0xFFFF, 2, how);
}

// The header of an element whose length is that of its value or, for what ends with a delimiter, 0xFFFFFFFF.
inline std::string header(uint32_t tag, const std::string& type, uint64_t length, Written how = Written::kExplicit) {
    constexpr std::string_view kLong = "OB OD OF OL OV OW SQ SV UC UN UR UT UV";
    if (how == Written::kImplicit) {
        return tag_bytes(tag, how) + number(length, 4, how);
    }
    return kLong.find(type) != std::string_view::npos
               ? tag_bytes(tag, how) + type + number(0, 2) + number(length, 4, how)
               : tag_bytes(tag, how) + type + number(length, 2, how);
}

inline std::string element(uint32_t tag, const std::string& type, const std::string& value,
                           Written how = Written::kExplicit) {
    return header(tag, type, value.size(), how) + value;
}

inline std::string words(uint32_t tag, std::initializer_list<uint64_t> values, Written how = Written::kExplicit) {
    std::string value;
    for (const uint64_t each : values) {
        value += number(each, 2, how);
    }
    return element(tag, "US", value, how);
}

// What stands between elements: items, and the ends of items and of sequences.
inline std::string delimiter(uint32_t tag, uint64_t length, Written how = Written::kExplicit) {
    return tag_bytes(tag, how) + number(length, 4, how);
}
inline std::string item(const std::string& content, Written how = Written::kExplicit) {
    return delimiter(0xFFFEE000, content.size(), how) + content;
}

}  // namespace zelmor::imagework::dicom_bytes

#endif  // ZELMOR_TESTS_UNIT_FORMATS_DICOM_BYTES_H

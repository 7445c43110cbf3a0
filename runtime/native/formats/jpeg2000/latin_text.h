// Texts of codestream comments: ISO 8859-15 in the file, UTF-8 outside.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_LATIN_TEXT_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_LATIN_TEXT_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zelmor::imagework {

std::string from_latin9(std::span<const uint8_t> text);
// Absent where a character has no place there, or the text is not UTF-8.
std::optional<std::vector<uint8_t>> to_latin9(std::string_view text);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_LATIN_TEXT_H

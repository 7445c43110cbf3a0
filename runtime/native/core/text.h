// Managed text: UTF-16 as .NET has it, and the ways to and from the wire's string view and UTF-8.
//
// Lone surrogates are kept as they are inside UTF-16; in UTF-8 they become U+FFFD.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_TEXT_H
#define ZELMOR_RUNTIME_NATIVE_CORE_TEXT_H

#include <optional>
#include <string>
#include <string_view>

#include "exchange/wire/records.h"

namespace zelmor::embed {

std::u16string to_utf16(std::string_view utf8);
std::string to_utf8(std::u16string_view text);

// The text of a string argument; nothing for a null string (None).
std::optional<std::u16string> read_string(const PyStringArg& arg);
// The same in UTF-8, as file names and messages want it.
std::optional<std::string> read_string_utf8(const PyStringArg& arg);

// Number in the invariant culture, the shortest text that reads back as the same value ("1.5", "0", "NaN").
std::u16string number_text(int64_t value);
std::u16string number_text(float value);
std::u16string number_text(double value);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_TEXT_H

// The beginning of a file that is text, for formats that are told by their words.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_TEXT_HEAD_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_TEXT_HEAD_H

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

// The first characters of a file, without a byte order mark and without white space before the first word; at most
// `most` bytes are looked at, and only a few of a file that begins with another character than one of `beginnings`. Of
// UTF-16 the characters below 256 count, and the others are left out.
std::string text_head(const ByteReader& file, size_t most, std::string_view beginnings);

// The name of the root element of an XML document, with its prefix: "svg", "office:document". Empty where the text is
// no XML, or where the root does not begin in it.
std::string_view xml_root(std::string_view text);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_TEXT_HEAD_H

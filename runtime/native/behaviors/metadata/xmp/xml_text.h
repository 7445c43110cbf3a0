// Text as XML has it: escaping, and what may be a name.
//
// The writing side of XMP is plain text made from these; reading is behind xml_reader.h.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XML_TEXT_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XML_TEXT_H

#include <string>
#include <string_view>

namespace zelmor::embed {

// The text between two tags or inside quotation marks. ArgumentException for a character that XML cannot hold.
std::string xml_escaped(std::string_view utf8);

// Whether the text is a name without a colon, as a prefix or the name behind one is.
bool is_xml_name(std::string_view utf8);
// ArgumentException naming the parameter where it is not; where `qualified`, one prefix may stand in front.
void require_xml_name(std::string_view utf8, const char* parameter, bool qualified = false);

// `name="value"` with a blank in front.
std::string xml_attribute(std::string_view name, std::string_view value);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XML_TEXT_H

// Text in an XML file: references stand for the characters that mean something there.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_ESCAPED_XML_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_ESCAPED_XML_H

#include <string>
#include <string_view>

namespace zelmor::embed {

// For contents and for attributes in double quotes. XML has no control characters but tabs and line feeds, and reads a
// carriage return as a line feed: `control` gives the text that stands for one of these.
template <class Control>
std::string escaped_xml(std::string_view utf8, Control&& control) {
    std::string result;
    result.reserve(utf8.size());
    for (const char c : utf8) {
        switch (c) {
            case '&':
                result += "&amp;";
                break;
            case '<':
                result += "&lt;";
                break;
            case '>':
                result += "&gt;";
                break;
            case '"':
                result += "&quot;";
                break;
            default:
                if (static_cast<unsigned char>(c) >= ' ' || c == '\t' || c == '\n') {
                    result += c;
                } else {
                    result += control(c);
                }
        }
    }
    return result;
}

// Without the characters that XML does not have.
inline std::string escaped_xml(std::string_view utf8) {
    return escaped_xml(utf8, [](char) { return ""; });
}

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_ESCAPED_XML_H

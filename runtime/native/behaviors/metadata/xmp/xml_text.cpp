// Escaping and names; see xml_text.h.
#include "runtime/native/behaviors/metadata/xmp/xml_text.h"

#include "runtime/native/core/managed_exception.h"
#include "runtime/native/formats/escaped_xml.h"

namespace zelmor::embed {

namespace {

// A name may begin with a letter of any script. Bytes above ASCII are accepted here; the reader checks them exactly.
bool begins_name(unsigned char byte) {
    return byte >= 0x80 || byte == '_' || (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z');
}
bool continues_name(unsigned char byte) {
    return begins_name(byte) || byte == '-' || byte == '.' || (byte >= '0' && byte <= '9');
}

}  // namespace

std::string xml_escaped(std::string_view utf8) {
    return escaped_xml(utf8, [](char c) -> std::string {
        if (c == '\r') {
            return "&#13;";
        }
        throw_argument("XML cannot hold the control character with the code " + std::to_string(static_cast<int>(c)) +
                       ".");
    });
}

bool is_xml_name(std::string_view utf8) {
    if (utf8.empty() || !begins_name(static_cast<unsigned char>(utf8.front()))) {
        return false;
    }
    for (const char c : utf8) {
        if (!continues_name(static_cast<unsigned char>(c))) {
            return false;
        }
    }
    return true;
}

void require_xml_name(std::string_view utf8, const char* parameter, bool qualified) {
    const size_t colon = qualified ? utf8.find(':') : std::string_view::npos;
    const bool fits = colon == std::string_view::npos
                          ? is_xml_name(utf8)
                          : is_xml_name(utf8.substr(0, colon)) && is_xml_name(utf8.substr(colon + 1));
    if (!fits) {
        throw_argument(std::string(parameter) + ": '" + std::string(utf8) + "' is not a name that XML allows.");
    }
}

std::string xml_attribute(std::string_view name, std::string_view value) {
    return " " + std::string(name) + "=\"" + xml_escaped(value) + "\"";
}

}  // namespace zelmor::embed

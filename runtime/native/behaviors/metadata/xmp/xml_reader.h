// XML as a tree of elements with resolved namespaces, read by the expat library.
//
// The library is loaded when the first packet is read, so that an import pays nothing for it. Document types are
// refused: a packet has none, and what they declare can be made to grow without end.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XML_READER_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XML_READER_H

#include <cstddef>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace zelmor::embed {

struct XmlName {
    std::string uri;
    std::string prefix;
    std::string name;
    bool is(std::string_view namespace_uri, std::string_view local) const {
        return uri == namespace_uri && name == local;
    }
};

struct XmlElement {
    XmlName name;
    std::vector<std::pair<XmlName, std::string>> attributes;
    std::vector<XmlElement> children;
    std::string text;  // of the element itself, without that of its children
};

struct XmlDocument {
    XmlElement root;
    std::vector<std::pair<std::string, std::string>> instructions;  // target and data
};

// XmlException with the line where the text is not well-formed, DllNotFoundException where the library is missing.
XmlDocument read_xml(std::span<const std::byte> text);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XML_READER_H

// The XML of an OpenDocument file as a tree.
//
// Names have the usual prefix of their namespace ("draw:rect"), whatever prefix the file has for it. Text between
// elements is a node without a name, so that text and elements keep their order.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_NODE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_NODE_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zelmor::embed {

struct OdNode {
    std::string name;  // empty: this is text
    std::string text;
    std::vector<std::pair<std::string, std::string>> attributes;
    std::vector<OdNode> children;

    bool is(std::string_view of_name) const { return name == of_name; }
    // Null where the element has none of the name.
    const std::string* find(std::string_view attribute) const;
    // Empty where the element has none of the name.
    std::string_view get(std::string_view attribute) const;
    // The first child of the name, or null.
    const OdNode* child(std::string_view of_name) const;
    // The text of the element and all elements within it.
    std::string whole_text() const;
};

// PictureError: kDamaged where the text is not well-formed, or has a document type; kTooLarge where it has more
// elements, or they nest deeper, than the limits allow. `part` is the name of the file for messages.
OdNode read_od_xml(std::span<const uint8_t> text, const std::string& part);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_NODE_H

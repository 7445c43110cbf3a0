// A value of XMP's data model as a tree: text, an array, or a structure, with its qualifiers.
//
// A packet is read into nodes. A node that a class of the API can hold becomes an object of the class; all others stay
// nodes, so that nothing of a packet is lost. Text is UTF-8.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_NODE_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_NODE_H

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "generated/runtime/Zelmor.Imaging.Xmp.h"

namespace zelmor::embed {

using XmpArrayKind = api::Xmp::XmpArrayType;

const char* rdf_code(XmpArrayKind kind);  // "rdf:Bag", "rdf:Seq", "rdf:Alt"

constexpr std::string_view kRdfNamespace = "http://www.w3.org/1999/02/22-rdf-syntax-ns#";
constexpr std::string_view kXmlNamespace = "http://www.w3.org/XML/1998/namespace";
constexpr std::string_view kXmpMetaNamespace = "adobe:ns:meta/";

struct XmpNode {
    enum class Kind : uint8_t { kText, kArray, kStruct };

    std::string uri;     // namespace of the field or property that has this value; empty in an array
    std::string prefix;  // of that namespace
    std::string name;
    std::string language = {};  // xml:lang
    Kind kind = Kind::kText;
    XmpArrayKind array = XmpArrayKind::kUnordered;
    std::string text = {};
    std::vector<XmpNode> children = {};    // items of an array, fields of a structure
    std::vector<XmpNode> qualifiers = {};  // other than the language

    std::string qualified_name() const { return prefix + ':' + name; }
    bool is_plain_text() const { return kind == Kind::kText && language.empty() && qualifiers.empty(); }
    // Only text, each with a language.
    bool is_language_alternative() const;
    // Only text without languages and qualifiers.
    bool is_plain_array() const;
};

// The element of a property or field with its value inside, the namespaces of its fields declared where they are used.
std::string node_element(const XmpNode& node);
// What stands inside that element: text, <rdf:Bag>...</rdf:Bag>, or <rdf:Description>...</rdf:Description>.
std::string node_content(const XmpNode& node);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_NODE_H

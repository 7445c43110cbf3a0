// Writing nodes as RDF; see xmp_node.h.
#include "runtime/native/behaviors/metadata/xmp/xmp_node.h"

#include <algorithm>
#include <map>

#include "runtime/native/behaviors/metadata/xmp/xml_text.h"

namespace zelmor::embed {

namespace {

std::string element(const std::string& name, const XmpNode& node, const std::string& declaration = {}) {
    const std::string language = node.language.empty() ? std::string() : xml_attribute("xml:lang", node.language);
    const std::string content = node_content(node);
    return "<" + name + declaration + language + (content.empty() ? "/>" : ">" + content + "</" + name + ">");
}

// The fields, each namespace declared at the structure once.
std::string description(const std::vector<XmpNode>& fields, const std::string& front = {}) {
    std::string head = "<rdf:Description";
    std::map<std::string, std::string> declared;
    std::string body = front;
    for (const XmpNode& field : fields) {
        const std::string declaration = xml_attribute("xmlns:" + field.prefix, field.uri);
        const auto [known, added] = declared.emplace(field.prefix, field.uri);
        if (added) {
            head += declaration;
        }
        // A prefix that stands for another namespace there is declared anew at the field.
        body += element(field.qualified_name(), field, known->second == field.uri ? std::string() : declaration);
    }
    return body.empty() ? head + "/>" : head + ">" + body + "</rdf:Description>";
}

std::string bare_content(const XmpNode& node) {
    switch (node.kind) {
        case XmpNode::Kind::kText:
            return xml_escaped(node.text);
        case XmpNode::Kind::kArray: {
            const std::string code = rdf_code(node.array);
            std::string items;
            for (const XmpNode& item : node.children) {
                items += element("rdf:li", item);
            }
            return items.empty() ? "<" + code + "/>" : "<" + code + ">" + items + "</" + code + ">";
        }
        case XmpNode::Kind::kStruct:
            return description(node.children);
    }
    return {};
}

}  // namespace

const char* rdf_code(XmpArrayKind kind) {
    switch (kind) {
        case XmpArrayKind::kOrdered:
            return "rdf:Seq";
        case XmpArrayKind::kAlternative:
            return "rdf:Alt";
        default:
            return "rdf:Bag";
    }
}

bool XmpNode::is_language_alternative() const {
    return kind == Kind::kArray && array == XmpArrayKind::kAlternative && qualifiers.empty() && !children.empty() &&
           std::all_of(children.begin(), children.end(), [](const XmpNode& item) {
               return item.kind == Kind::kText && !item.language.empty() && item.qualifiers.empty();
           });
}

bool XmpNode::is_plain_array() const {
    return kind == Kind::kArray && language.empty() && qualifiers.empty() &&
           std::all_of(children.begin(), children.end(), [](const XmpNode& item) { return item.is_plain_text(); });
}

std::string node_content(const XmpNode& node) {
    if (node.qualifiers.empty()) {
        return bare_content(node);
    }
    // A qualified value stands in a description of its own, as rdf:value beside its qualifiers.
    const std::string bare = bare_content(node);
    return description(node.qualifiers, "<rdf:value>" + bare + "</rdf:value>");
}

std::string node_element(const XmpNode& node) {
    return element(node.qualified_name(), node);
}

}  // namespace zelmor::embed

// An OpenDocument drawing: its files, pages and styles.
//
// A style inherits from its parent, and at last from the default of its family. Automatic styles belong to one file:
// those of content.xml to the pages, those of styles.xml to the master pages, under the same names. In a flat document
// both are one.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_DOCUMENT_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_DOCUMENT_H

#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/native/formats/opendocument/od_node.h"
#include "runtime/native/formats/opendocument/zip_archive.h"

namespace zelmor::embed {

// Where automatic styles are looked up.
enum class OdScope { kContent, kMaster };

// A style with all that it inherits from, the nearest first.
class OdStyle {
 public:
    // The value of an attribute in the properties element ("style:graphic-properties"), or null.
    const std::string* find(std::string_view properties, std::string_view attribute) const;
    std::string_view get(std::string_view properties, std::string_view attribute) const;
    // Of attributes that say the same in different ways, the one that stands in the nearest style; the first of those
    // in one style. Nothing where no style has any.
    std::pair<std::string_view, const std::string*> nearest(std::string_view properties,
                                                            std::initializer_list<std::string_view> attributes) const;
    // An attribute of the style itself, not inherited.
    std::string_view own(std::string_view attribute) const;
    void inherit(const OdNode& style) { m_chain.push_back(&style); }
    // What this style does not say is looked up in the other one.
    void inherit(const OdStyle& other) { m_chain.insert(m_chain.end(), other.m_chain.begin(), other.m_chain.end()); }

 private:
    std::vector<const OdNode*> m_chain;
};

class OdDocument {
 public:
    // Reads a file of either form. PictureError.
    explicit OdDocument(std::vector<uint8_t> bytes);
    OdDocument(const OdDocument&) = delete;
    OdDocument& operator=(const OdDocument&) = delete;

    const std::vector<const OdNode*>& pages() const { return m_pages; }
    // Null where there is none of the name.
    const OdNode* master_page(std::string_view name) const;
    // The properties of the page layout of a master page, or null.
    const OdNode* page_layout(const OdNode& master) const;
    // office:meta, or null.
    const OdNode* metadata() const { return m_metadata; }
    // Whether the layer is shown on a screen.
    bool shows_layer(std::string_view name) const;

    // The style of a family and name, at least with the default of the family unless this is left out.
    OdStyle style(OdScope scope, std::string_view family, std::string_view name, bool with_default = true) const;
    // A named element that styles refer to: "draw:gradient", "draw:marker"; null where there is none.
    const OdNode* named(std::string_view element, std::string_view name) const;
    // A list style, or null.
    const OdNode* list_style(OdScope scope, std::string_view name) const;
    // The family of a font by the name of its declaration; the name itself without one.
    std::string font_family(std::string_view declared) const;
    // A shape by its identifier, for connectors; null where there is none.
    const OdNode* shape(std::string_view id) const;

    // The bytes of a picture: of an element with binary data within, or of the part of the archive that it refers to.
    // Empty for a picture outside of the file, which is never opened.
    std::vector<uint8_t> picture(const OdNode& element) const;

 private:
    void take_styles(const OdNode& root, OdScope automatic);
    void take_style(const OdNode& style, int scope);
    void find_shapes(const OdNode& node);
    using StyleKey = std::pair<int, std::string>;  // scope (2: common), and family and name

    std::vector<uint8_t> m_bytes;
    std::unique_ptr<imagework::ZipArchive> m_archive;  // null for a flat document
    std::vector<std::unique_ptr<OdNode>> m_roots;
    std::vector<const OdNode*> m_pages;
    std::map<std::string, const OdNode*, std::less<>> m_masters;
    std::map<std::string, const OdNode*, std::less<>> m_layouts;
    std::map<StyleKey, const OdNode*> m_styles;
    std::map<std::string, const OdNode*, std::less<>> m_defaults;  // by family
    std::map<std::string, const OdNode*, std::less<>> m_named;     // element and name
    std::map<std::string, std::string, std::less<>> m_fonts;
    std::map<std::string, const OdNode*, std::less<>> m_shapes;
    std::map<std::string, bool, std::less<>> m_layers;
    const OdNode* m_metadata = nullptr;
};

// Bytes of text in Base64; what is no such letter is left out.
std::vector<uint8_t> from_base64(std::string_view text);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_DOCUMENT_H

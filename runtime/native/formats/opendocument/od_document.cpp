// Files, pages and styles of an OpenDocument drawing; see od_document.h.
#include "runtime/native/formats/opendocument/od_document.h"

#include <algorithm>
#include <array>

#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::embed {

using imagework::Failure;
using imagework::PictureError;

namespace {

constexpr int kCommon = 2;
// Parents of a style that are followed; a style can name itself.
constexpr int kMostParents = 64;

// What cells of tables have of a graphic style.
constexpr std::string_view kGraphicProperties = "style:graphic-properties";
constexpr std::string_view kOfCells = "loext:graphic-properties";

std::string family_key(std::string_view family, std::string_view name) {
    return std::string(family) + '\n' + std::string(name);
}

std::string name_of_style(const OdNode& style) {
    for (const char* attribute : {"style:name", "draw:name", "table:name"}) {
        if (const std::string* name = style.find(attribute)) {
            return *name;
        }
    }
    return {};
}

}  // namespace

const std::string* OdStyle::find(std::string_view properties, std::string_view attribute) const {
    return nearest(properties, {attribute}).second;
}

std::pair<std::string_view, const std::string*> OdStyle::nearest(
    std::string_view properties, std::initializer_list<std::string_view> attributes) const {
    for (const OdNode* style : m_chain) {
        for (const std::string_view attribute : attributes) {
            for (const OdNode& each : style->children) {
                if (each.is(properties) || (properties == kGraphicProperties && each.is(kOfCells))) {
                    if (const std::string* value = each.find(attribute)) {
                        return {attribute, value};
                    }
                }
            }
        }
    }
    return {};
}

std::string_view OdStyle::get(std::string_view properties, std::string_view attribute) const {
    const std::string* value = find(properties, attribute);
    return value != nullptr ? std::string_view(*value) : std::string_view();
}

std::string_view OdStyle::own(std::string_view attribute) const {
    return m_chain.empty() ? std::string_view() : m_chain.front()->get(attribute);
}

OdDocument::OdDocument(std::vector<uint8_t> bytes) : m_bytes(std::move(bytes)) {
    const auto add = [&](std::span<const uint8_t> text, const char* part) -> const OdNode& {
        m_roots.push_back(std::make_unique<OdNode>(read_od_xml(text, part)));
        return *m_roots.back();
    };
    const OdNode* content = nullptr;
    if (imagework::ByteReader(m_bytes).starts_with(0, "PK")) {
        m_archive = std::make_unique<imagework::ZipArchive>(m_bytes);
        if (const auto manifest = m_archive->read("META-INF/manifest.xml");
            manifest && std::string_view(reinterpret_cast<const char*>(manifest->data()), manifest->size())
                                .find("encryption-data") != std::string_view::npos) {
            throw PictureError(Failure::kUnsupported,
                               "the document is encrypted, and this runtime does not decrypt OpenDocument files");
        }
        if (const auto text = m_archive->read("styles.xml")) {
            take_styles(add(*text, "styles.xml"), OdScope::kMaster);
        }
        if (const auto text = m_archive->read("meta.xml")) {
            m_metadata = add(*text, "meta.xml").child("office:meta");
        }
        const auto text = m_archive->read("content.xml");
        if (!text) {
            throw PictureError(Failure::kDamaged, "the archive has no content.xml");
        }
        content = &add(*text, "content.xml");
        take_styles(*content, OdScope::kContent);
    } else {
        content = &add(m_bytes, "the document");
        take_styles(*content, OdScope::kMaster);
        take_styles(*content, OdScope::kContent);
        m_metadata = content->child("office:meta");
    }
    const OdNode* body = content->child("office:body");
    const OdNode* drawing = body != nullptr ? body->child("office:drawing") : nullptr;
    if (drawing == nullptr) {
        throw PictureError(Failure::kDamaged, "the document has no drawing");
    }
    for (const OdNode& page : drawing->children) {
        if (page.is("draw:page")) {
            m_pages.push_back(&page);
            find_shapes(page);
        }
    }
    if (m_pages.empty()) {
        throw PictureError(Failure::kDamaged, "the drawing has no pages");
    }
}

void OdDocument::take_style(const OdNode& style, int scope) {
    if (style.is("style:default-style")) {
        m_defaults.try_emplace(std::string(style.get("style:family")), &style);
    } else if (style.is("style:style")) {
        m_styles.try_emplace({scope, family_key(style.get("style:family"), style.get("style:name"))}, &style);
    } else if (style.is("text:list-style")) {
        m_styles.try_emplace({scope, family_key("list", style.get("style:name"))}, &style);
    } else if (style.is("style:page-layout")) {
        m_layouts.try_emplace(std::string(style.get("style:name")), &style);
    } else if (style.is("style:master-page")) {
        m_masters.try_emplace(std::string(style.get("style:name")), &style);
    } else if (style.is("draw:layer-set")) {
        for (const OdNode& layer : style.children) {
            const std::string_view display = layer.get("draw:display");
            m_layers.try_emplace(std::string(layer.get("draw:name")),
                                 display.empty() || display == "always" || display == "screen");
        }
    } else if (!style.name.empty()) {
        m_named.try_emplace(family_key(style.name, name_of_style(style)), &style);
    }
}

void OdDocument::take_styles(const OdNode& root, OdScope automatic) {
    for (const OdNode& part : root.children) {
        const bool own = part.is("office:automatic-styles");
        if (own || part.is("office:styles") || part.is("office:master-styles")) {
            for (const OdNode& style : part.children) {
                take_style(style, own ? static_cast<int>(automatic) : kCommon);
            }
        } else if (part.is("office:font-face-decls")) {
            for (const OdNode& font : part.children) {
                m_fonts.try_emplace(std::string(font.get("style:name")), font.get("svg:font-family"));
            }
        }
    }
}

void OdDocument::find_shapes(const OdNode& node) {
    for (const OdNode& each : node.children) {
        for (const char* attribute : {"xml:id", "draw:id"}) {
            if (const std::string* id = each.find(attribute)) {
                m_shapes.try_emplace(*id, &each);
            }
        }
        find_shapes(each);
    }
}

const OdNode* OdDocument::master_page(std::string_view name) const {
    const auto found = m_masters.find(name);
    return found != m_masters.end() ? found->second : nullptr;
}

const OdNode* OdDocument::page_layout(const OdNode& master) const {
    const auto found = m_layouts.find(master.get("style:page-layout-name"));
    return found != m_layouts.end() ? found->second->child("style:page-layout-properties") : nullptr;
}

bool OdDocument::shows_layer(std::string_view name) const {
    const auto found = m_layers.find(name);
    return found == m_layers.end() || found->second;
}

OdStyle OdDocument::style(OdScope scope, std::string_view family, std::string_view name, bool with_default) const {
    OdStyle style;
    std::string next(name);
    for (int i = 0; i < kMostParents && !next.empty(); i++) {
        const std::string key = family_key(family, next);
        auto found = m_styles.find({static_cast<int>(scope), key});
        if (found == m_styles.end()) {
            found = m_styles.find({kCommon, key});
        }
        if (found == m_styles.end()) {
            break;
        }
        style.inherit(*found->second);
        next = found->second->get("style:parent-style-name");
    }
    if (const auto found = m_defaults.find(family); with_default && found != m_defaults.end()) {
        style.inherit(*found->second);
    }
    return style;
}

const OdNode* OdDocument::named(std::string_view element, std::string_view name) const {
    const auto found = m_named.find(family_key(element, name));
    return found != m_named.end() ? found->second : nullptr;
}

const OdNode* OdDocument::list_style(OdScope scope, std::string_view name) const {
    for (const int each : {static_cast<int>(scope), kCommon}) {
        if (const auto found = m_styles.find({each, family_key("list", name)}); found != m_styles.end()) {
            return found->second;
        }
    }
    return nullptr;
}

std::string OdDocument::font_family(std::string_view declared) const {
    const auto found = m_fonts.find(declared);
    return found != m_fonts.end() && !found->second.empty() ? found->second : std::string(declared);
}

const OdNode* OdDocument::shape(std::string_view id) const {
    const auto found = m_shapes.find(id);
    return found != m_shapes.end() ? found->second : nullptr;
}

std::vector<uint8_t> OdDocument::picture(const OdNode& element) const {
    if (const OdNode* data = element.child("office:binary-data")) {
        return from_base64(data->whole_text());
    }
    std::string_view reference = element.get("xlink:href");
    if (reference.starts_with("./")) {
        reference.remove_prefix(2);
    }
    if (m_archive == nullptr || reference.empty()) {
        return {};
    }
    return m_archive->read(std::string(reference)).value_or(std::vector<uint8_t>());
}

std::vector<uint8_t> from_base64(std::string_view text) {
    static const std::array<int8_t, 256> values = [] {
        std::array<int8_t, 256> table;
        table.fill(-1);
        int8_t value = 0;
        for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/")) {
            table[static_cast<uint8_t>(c)] = value++;
        }
        return table;
    }();
    std::vector<uint8_t> bytes;
    bytes.reserve(text.size() / 4 * 3);
    uint32_t bits = 0;
    int count = 0;
    for (const char c : text) {
        const int8_t value = values[static_cast<uint8_t>(c)];
        if (value < 0) {
            continue;
        }
        bits = bits << 6 | static_cast<uint32_t>(value);
        count += 6;
        if (count >= 8) {
            count -= 8;
            bytes.push_back(static_cast<uint8_t>(bits >> count));
        }
    }
    return bytes;
}

}  // namespace zelmor::embed

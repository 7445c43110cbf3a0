// Style tables by their published layout; see cdr_styles.h.
#include "runtime/native/formats/cdr/cdr_styles.h"

#include <array>
#include <utility>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.Objects.h"
#include "runtime/native/core/records.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {

namespace cdr_style_objects = api::FileFormats::Cdr::Objects;

namespace {

constexpr uint32_t kCdrNoStyle = 0;

// What a style of a table says, by the numbers of entries in the tables before it.
struct StyleEntry {
    uint32_t id = 0, parent = 0;
    uint32_t fill = 0, outline = 0, font = 0, align = 0, indent = 0;
};

struct FontEntry {
    uint16_t font = 0, charset = 0;
    double size = 0;
};

struct StyleTables {
    std::map<uint32_t, uint32_t> fills, outlines, aligns;
    std::map<uint32_t, FontEntry> fonts;
    std::map<uint32_t, std::array<double, 3>> indents;  // right, first, left
    std::vector<StyleEntry> styles;
    bool whole = false;  // whether all of them were there
    uint64_t left = 0;   // bytes behind the last one
};

class TableReader {
 public:
    TableReader(CdrNumbers in, uint32_t version, bool with_last_set)
        : m_in(in), m_version(version), m_with_last_set(with_last_set) {}

    StyleTables read() {
        const uint32_t count = m_in.u32();
        references(m_found.fills, m_version >= 1300 ? 48 : 0);
        references(m_found.outlines, 0);
        fonts();
        references(m_found.aligns, 0);
        skip_entries(52);   // distances of letters, words and lines
        skip_entries(152);  // a set whose meaning is not public
        skip_entries(784);  // tabulators
        bullets();
        indents();
        skip_entries(m_version >= 1300 ? 36 : 32);  // hyphens
        skip_entries(28);                           // large letters at the start of a paragraph
        if (m_with_last_set) {
            skip_entries(12);
        }
        if (m_in.ok()) {
            styles(count);
        }
        m_found.left = m_in.left();
        return std::move(m_found);
    }

 private:
    // Calls `take` for each entry of the next table, as far as there are bytes for it.
    template <class Take>
    void entries(uint64_t width, Take take) {
        const uint32_t count = m_in.u32();
        for (uint32_t i = 0; i < count; i++) {
            if (!m_in.has(width)) {
                m_in.fail();
                return;
            }
            take();
        }
    }

    void skip_entries(uint64_t width) {
        const uint64_t size = m_in.u32() * width;
        if (!m_in.has(size)) {
            m_in.fail();
        }
        m_in.skip(size);
    }

    // The number of an entry, and of what it stands for.
    void references(std::map<uint32_t, uint32_t>& result, uint64_t more) {
        entries(12 + more, [&] {
            const uint32_t id = m_in.u32();
            m_in.skip(4);
            result[id] = m_in.u32();
            m_in.skip(more);
        });
    }

    void fonts() {
        const uint64_t around = m_version < 1000 ? 12 : 20;
        entries(20 + 2 * around, [&] {
            FontEntry& font = m_found.fonts[m_in.u32()];
            m_in.skip(around);
            font.font = m_in.u16();
            font.charset = m_in.u16();
            m_in.skip(8);
            font.size = m_in.length();
            m_in.skip(around);
        });
    }

    void bullets() {
        constexpr uint64_t kLeast = 56;
        entries(kLeast, [&] {
            m_in.skip(m_version > 1300 ? 44 : 40);
            if (m_version >= 1300) {
                m_in.skip(m_in.u32() != 0 ? 68 : 12);
                return;
            }
            m_in.skip(m_version >= 1000 ? 28 : 20);
            m_in.skip(m_in.u32() != 0 ? 16 : 8);
        });
    }

    void indents() {
        entries(28, [&] {
            std::array<double, 3>& indent = m_found.indents[m_in.u32()];
            m_in.skip(12);
            for (double& each : indent) {
                each = m_in.length();
            }
        });
    }

    void styles(uint32_t count) {
        for (uint32_t i = 0; i < count; i++) {
            const uint32_t kind = m_in.u32();  // 1 for graphics, 2 with a font, 3 with paragraphs
            StyleEntry style;
            style.id = m_in.u32();
            style.parent = m_in.u32();
            m_in.skip(8);
            const uint64_t name = m_in.u32();
            m_in.skip(m_version >= 1200 ? name * 2 : name);
            style.fill = m_in.u32();
            style.outline = m_in.u32();
            if (kind > 1) {
                style.font = m_in.u32();
                style.align = m_in.u32();
                m_in.skip(m_with_last_set ? 12 : 8);
            }
            if (kind > 2) {
                m_in.skip(8);
                style.indent = m_in.u32();
                m_in.skip(8);
            }
            if (!m_in.ok()) {
                return;
            }
            m_found.styles.push_back(style);
        }
        m_found.whole = m_in.within();
    }

    CdrNumbers m_in;
    uint32_t m_version;
    bool m_with_last_set;
    StyleTables m_found;
};

// Some files of version 8 have a further set of entries, which their version does not tell.
StyleTables style_tables(const CdrNumbers& in, uint32_t version) {
    StyleTables found = TableReader(in, version, version > 800).read();
    constexpr uint64_t kPadding = 4;
    if (version == 800 && (!found.whole || found.left >= kPadding)) {
        StyleTables other = TableReader(in, version, true).read();
        if (other.whole && (!found.whole || other.left < found.left)) {
            return other;
        }
    }
    return found;
}

template <class Entries>
const typename Entries::mapped_type* entry_of(const Entries& entries, uint32_t id) {
    const auto found = id == kCdrNoStyle ? entries.end() : entries.find(id);
    return found == entries.end() ? nullptr : &found->second;
}

}  // namespace

void CdrStyles::count() {
    if (++m_count > imagework::limits::kDrawingNodes) {
        throw imagework::PictureError(imagework::Failure::kTooLarge, "the file has too many styles");
    }
}

Ref<ManagedObject> CdrStyles::made() {
    count();
    return make_instance(cdr_style_objects::CdrStyle::kType.name);
}

void CdrStyles::set_font(ManagedObject& style, uint16_t id, uint16_t charset) const {
    if (const auto found = m_fonts.find(id); found != m_fonts.end()) {
        set_property(style, "FontName", std::u16string(found->second.name));
        charset = charset != 0 ? charset : found->second.charset;
    }
    set_property(style, "Charset", static_cast<int32_t>(charset));
}

void CdrStyles::set_fill(ManagedObject& style, uint32_t id) const {
    if (const auto found = m_fills.find(static_cast<int32_t>(id)); found != m_fills.end()) {
        set_property(style, "Fill", Ref<ManagedObject>(found->second));
    }
}

void CdrStyles::set_outline(ManagedObject& style, uint32_t id) const {
    if (const auto found = m_outlines.find(static_cast<int32_t>(id)); found != m_outlines.end()) {
        set_property(style, "OutLine", Ref<ManagedObject>(found->second));
    }
}

std::vector<Ref<ManagedObject>> CdrStyles::table(const CdrNumbers& in, uint32_t version) {
    const StyleTables tables = style_tables(in, version);
    std::vector<Ref<ManagedObject>> result;
    for (const StyleEntry& entry : tables.styles) {
        Ref<ManagedObject> style = made();
        set_property(*style, "Id", static_cast<int32_t>(entry.id));
        set_property(*style, "ParentId", static_cast<int32_t>(entry.parent));
        if (const uint32_t* fill = entry_of(tables.fills, entry.fill)) {
            set_fill(*style, *fill);
        }
        if (const uint32_t* outline = entry_of(tables.outlines, entry.outline)) {
            set_outline(*style, *outline);
        }
        if (const FontEntry* font = entry_of(tables.fonts, entry.font)) {
            set_font(*style, font->font, font->charset);
            set_property(*style, "FontSize", font->size);
        }
        if (const uint32_t* align = entry_of(tables.aligns, entry.align)) {
            set_property(*style, "Align", static_cast<int64_t>(*align));
        }
        if (const std::array<double, 3>* indent = entry_of(tables.indents, entry.indent)) {
            set_property(*style, "RightIndent", (*indent)[0]);
            set_property(*style, "FirstIndent", (*indent)[1]);
            set_property(*style, "LeftIndent", (*indent)[2]);
        }
        m_styles[static_cast<int32_t>(entry.id)] = style;
        result.push_back(std::move(style));
    }
    return result;
}

Ref<ManagedObject> CdrStyles::record(uint16_t id, const CdrNumbers& in, uint32_t version) {
    Ref<ManagedObject> style = made();
    set_property(*style, "Id", static_cast<int32_t>(id));
    CdrNumbers head = in;
    head.count();  // the size
    const uint32_t count = head.count();
    const uint32_t places = head.count(), kinds = head.count();
    set_property(*style, "ParentId", static_cast<int32_t>(head.count()));
    const uint64_t width = head.is_long() ? 4 : 2;
    if (!head.ok() || count > in.left() / width) {
        return style;
    }
    CdrNumbers place = in;
    place.skip(places);
    for (uint32_t i = 0; i < count; i++) {
        CdrNumbers kind = in, part = in;
        kind.skip(kinds + (count - 1 - i) * width);  // in the opposite order
        part.skip(place.count());
        constexpr uint32_t kFill = 0xCD, kOutline = 0xD2, kFont = 0xDC, kAlign = 0xE1;
        switch (kind.count()) {
            case kFill:
                set_fill(*style, part.u32());
                break;
            case kOutline:
                set_outline(*style, part.u32());
                break;
            case kFont: {
                part.skip(version >= kCdrLongNumbers ? 4 : 0);
                const bool is_long = part.is_long();
                const auto font = static_cast<uint16_t>(is_long ? part.u16() : part.u8());
                set_font(*style, font, is_long ? part.u16() : part.u8());
                part.skip(version >= kCdrLongNumbers ? 8 : 0);
                set_property(*style, "FontSize", part.length());
                break;
            }
            case kAlign:
                set_property(*style, "Align", static_cast<int64_t>(part.count()));
                break;
            default:
                break;
        }
    }
    m_styles[id] = style;
    return style;
}

uint16_t CdrStyles::charset(const ManagedObject* style, int32_t based_on) const {
    constexpr int kMostParents = 100;  // styles may be based on each other
    for (int i = 0; i < kMostParents; i++) {
        if (style != nullptr && (property_string(*style, "FontName") || property_int(*style, "Charset") != 0)) {
            return static_cast<uint16_t>(property_int(*style, "Charset"));
        }
        const auto found = m_styles.find(based_on);
        if (found == m_styles.end()) {
            break;
        }
        style = found->second.get();
        based_on = static_cast<int32_t>(property_int(*style, "ParentId"));
    }
    return 0;
}

}  // namespace zelmor::embed

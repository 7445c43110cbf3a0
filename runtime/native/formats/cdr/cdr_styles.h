// The styles of a CDR drawing, and what they refer to by numbers: fonts, fills and outlines.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_CDR_STYLES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_CDR_STYLES_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "runtime/native/core/values.h"
#include "runtime/native/formats/cdr/cdr_numbers.h"

namespace zelmor::embed {

// Files have what is referred to before the styles, and the styles before the texts, so that each is looked up where it
// is read. A number that nothing has stays without an object.
class CdrStyles {
 public:
    // Of several fonts with one number the first counts; the others stand in where it is missing.
    void add_font(uint16_t id, uint16_t charset, const std::u16string& name) { m_fonts.try_emplace(id, charset, name); }
    void add_fill(int32_t id, Ref<ManagedObject> fill) { m_fills[id] = std::move(fill); }
    void add_outline(int32_t id, Ref<ManagedObject> outline) { m_outlines[id] = std::move(outline); }

    // A new CdrStyle. PictureError when the file has too many objects of text.
    Ref<ManagedObject> made();
    // Counts an object of text that is made elsewhere. PictureError as above.
    void count();
    void set_font(ManagedObject& style, uint16_t id, uint16_t charset) const;
    void set_fill(ManagedObject& style, uint32_t id) const;
    void set_outline(ManagedObject& style, uint32_t id) const;

    // The styles of a table, of version 7 on, in the order of the file. A table that ends early has those before.
    std::vector<Ref<ManagedObject>> table(const CdrNumbers& in, uint32_t version);
    // Fills a style from a record of parts, of the versions before 7; `in` stands behind the style's number.
    Ref<ManagedObject> record(uint16_t id, const CdrNumbers& in, uint32_t version);
    // The character set of a style's font: its own, or that of the nearest style that it is based on. 0 if none has
    // one.
    uint16_t charset(const ManagedObject* style, int32_t based_on) const;

 private:
    struct Font {
        Font(uint16_t of_charset, std::u16string of_name) : charset(of_charset), name(std::move(of_name)) {}
        uint16_t charset;
        std::u16string name;
    };
    std::map<uint16_t, Font> m_fonts;
    std::map<int32_t, Ref<ManagedObject>> m_fills, m_outlines;
    std::map<int32_t, Ref<ManagedObject>> m_styles;
    uint64_t m_count = 0;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_CDR_STYLES_H

// Text chunks by their published layout; see cdr_paragraphs.h.
#include "runtime/native/formats/cdr/cdr_paragraphs.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Cdr.Objects.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/records.h"
#include "runtime/native/formats/metafile/player/charsets.h"

namespace zelmor::embed {

namespace cdr_text_objects = api::FileFormats::Cdr::Objects;

extern template Ref<ManagedList> make_array<uint64_t>(std::vector<uint64_t>);

namespace {

constexpr uint32_t kMixedWidths = 1200;  // characters of one and two bytes from here on

class ParagraphReader {
 public:
    ParagraphReader(CdrNumbers in, uint32_t version, CdrStyles& styles)
        : m_in(in), m_version(version), m_known(styles) {}

    int32_t read(const std::function<Ref<ManagedObject>()>& add) {
        frames();
        const uint32_t count = std::max<uint32_t>(m_in.u32(), 1);
        for (uint32_t i = 0; i < count && (i == 0 || m_in.has(kLeast)); i++) {
            m_known.count();
            const Ref<ManagedObject> text = add();
            set_property(*text, "Id", m_id);
            if (m_version < 700) {
                old_paragraph(*text);
            } else {
                paragraph(*text);
            }
        }
        return m_id;
    }

 private:
    static constexpr uint64_t kLeast = 12;  // bytes of a paragraph

    // Where the text stands.
    void frames() {
        const bool artistic = m_in.u32() == 0;
        m_in.skip(m_version < 700 ? 24 : m_version >= 1500 ? 33 : 32);
        if (m_version <= 700) {
            on_path();
        }
        const uint32_t count = m_in.u32();
        constexpr uint64_t kFrame = 52;
        for (uint32_t i = 0; i < count && m_in.has(kFrame); i++) {
            m_id = static_cast<int32_t>(m_in.u32());
            m_in.skip(48);  // a matrix
            if (m_version > 700) {
                on_path();
            }
            if (artistic) {
                m_in.skip(m_version >= 1500   ? 40
                          : m_version >= 1400 ? 36
                          : m_version > 800   ? 34
                          : m_version >= 800  ? 32
                          : m_version >= 700  ? 36
                                              : 8);
            } else if (m_version >= 1500) {
                m_in.skip(4);
            }
        }
        m_artistic = artistic;
    }

    // How text follows a line.
    void on_path() {
        if (m_in.u32() == 1) {
            m_in.skip(m_version >= 1500 ? 48 : m_version > 1200 ? 40 : 32);
        } else if (m_version >= 1500) {
            m_in.skip(8);
        }
    }

    void paragraph(ManagedObject& text) {
        const auto style_id = static_cast<int32_t>(m_in.u32());
        set_property(text, "StyleId", style_id);
        m_in.skip(m_version > 1200 && !m_artistic ? 2 : 1);
        const uint32_t count = m_in.u32();
        std::vector<Value> styles;
        for (uint32_t i = 0; i < count && m_in.has(3); i++) {
            styles.emplace_back(style());
        }
        const uint32_t length = m_in.u32();
        const bool mixed = m_version >= kMixedWidths;
        std::vector<uint64_t> descriptions;
        for (uint32_t i = 0; i < length && m_in.has(mixed ? 8 : 4); i++) {
            descriptions.push_back(m_in.u32());
            if (mixed) {
                descriptions.back() |= uint64_t{m_in.u32()} << 32;
            }
        }
        const uint32_t size = mixed ? m_in.u32() : length;
        const auto bytes = m_in.piece(size);
        m_in.skip(1);
        set_text(text, style_id, std::move(styles), std::move(descriptions), bytes);
    }

    // The style of some characters: what it has a flag for.
    Ref<ManagedObject> style() {
        Ref<ManagedObject> made = m_known.made();
        m_in.skip(2);
        const uint8_t flags = m_in.u8();
        const uint8_t more = m_version >= 800 ? m_in.u8() : 0;
        if ((flags & 1) != 0) {
            set_font(*made, m_in);
        }
        m_in.skip((flags & 2) != 0 ? 4 : 0);
        if ((flags & 4) != 0) {
            set_property(*made, "FontSize", m_in.length());
        }
        for (const uint8_t skipped : {0x08, 0x10, 0x20}) {  // a turn and moves
            m_in.skip((flags & skipped) != 0 ? 4 : 0);
        }
        if ((flags & 0x40) != 0) {
            m_known.set_fill(*made, m_in.u32());
            m_in.skip(m_version >= 1300 ? 48 : 0);
        }
        if ((flags & 0x80) != 0) {
            m_known.set_outline(*made, m_in.u32());
        }
        if ((more & 8) != 0) {
            m_in.skip(m_version >= 1300 ? uint64_t{m_in.u32()} * 2 : 4);
        }
        if ((more & 0x20) != 0 && CdrNumbers(m_in).u8() != 0) {
            m_in.skip(m_version >= 1500 ? 52 : 4);
        }
        return made;
    }

    void set_font(ManagedObject& style, CdrNumbers& in) const {
        const uint16_t font = in.u16(), charset = in.u16();
        set_property(style, "Id", static_cast<int32_t>(font));
        m_known.set_font(style, font, charset);
    }

    // Version 6 has records of a fixed size.
    void old_paragraph(ManagedObject& text) {
        const auto style_id = static_cast<int32_t>(m_in.u32());
        set_property(text, "StyleId", style_id);
        const uint32_t count = m_in.u32();
        std::vector<Value> styles;
        for (uint32_t i = 0; i < count && m_in.has(60); i++) {
            Ref<ManagedObject> style = m_known.made();
            const uint8_t flags = m_in.u8();
            m_in.skip(3);
            CdrNumbers font = m_in;
            m_in.skip(8);
            if ((flags & 1) != 0) {
                set_font(*style, font);
            }
            const double size = m_in.length();
            set_property(*style, "FontSize", (flags & 4) != 0 ? size : 0.0);
            m_in.skip(44);
            if ((flags & 0x10) != 0) {
                m_known.set_fill(*style, m_in.u32());
            }
            if ((flags & 0x20) != 0) {
                m_known.set_outline(*style, m_in.u32());
            }
            styles.emplace_back(std::move(style));
        }
        const uint32_t length = m_in.u32();
        m_in.skip(4);
        std::vector<uint64_t> descriptions;
        std::vector<uint8_t> bytes;
        for (uint32_t i = 0; i < length && m_in.has(8); i++) {
            bytes.push_back(m_in.u8());
            m_in.skip(5);
            descriptions.push_back(uint64_t{m_in.u8()} << 1);
            m_in.skip(5);
        }
        set_text(text, style_id, std::move(styles), std::move(descriptions), bytes);
    }

    void set_text(ManagedObject& text, int32_t style_id, std::vector<Value> styles, std::vector<uint64_t> descriptions,
                  std::span<const uint8_t> bytes) {
        std::vector<uint16_t> charsets;
        charsets.reserve(styles.size());
        for (const Value& style : styles) {
            charsets.push_back(m_known.charset(std::get<Ref<ManagedObject>>(style).get(), style_id));
        }
        set_property(text, "Text", characters(bytes, descriptions, charsets, m_known.charset(nullptr, style_id)));
        set_property(text, "Styles",
                     Ref<ManagedObject>(make_ref<ValueList>(
                         ListShape::kArray, element_of(Wire::kClass, cdr_text_objects::CdrStyle::kType.name),
                         std::move(styles))));
        set_property(text, "CharDescriptions", Ref<ManagedObject>(make_array<uint64_t>(std::move(descriptions))));
    }

    // A bit of its description says that a character has two bytes. Others are bytes in the character set of their
    // style. Some files set the bit though there is one byte for each.
    std::u16string characters(std::span<const uint8_t> bytes, const std::vector<uint64_t>& descriptions,
                              const std::vector<uint16_t>& charsets, uint16_t usual) const {
        const bool mixed = m_version >= kMixedWidths;
        const auto is_wide = [](uint64_t description) { return (description & 1) != 0; };
        const auto wide_count = static_cast<size_t>(std::count_if(descriptions.begin(), descriptions.end(), is_wide));
        const bool any_wide = mixed && bytes.size() >= descriptions.size() + wide_count;
        std::u16string result, run;
        uint16_t run_set = usual;
        const auto end_run = [&] {
            std::vector<double> no_advances;
            constexpr uint16_t kOneByte = 0x100;
            result +=
                run_set < kOneByte ? metafile::decoded_text(run, static_cast<uint8_t>(run_set), no_advances) : run;
            run.clear();
        };
        size_t at = 0;
        for (const uint64_t description : descriptions) {
            const bool wide = any_wide && is_wide(description);
            if (at + (wide ? 2 : 1) > bytes.size()) {
                break;
            }
            if (wide) {
                end_run();
                result += static_cast<char16_t>(bytes[at] | bytes[at + 1] << 8);
                at += 2;
                continue;
            }
            // The number of the style, in the upper bits of one byte.
            const size_t style = (m_version < 700 ? description >> 1 : description >> 17) & 0x7F;
            const uint16_t charset = style < charsets.size() ? charsets[style] : usual;
            if (charset != run_set) {
                end_run();
                run_set = charset;
            }
            run += static_cast<char16_t>(bytes[at++]);
        }
        end_run();
        return result;
    }

    CdrNumbers m_in;
    uint32_t m_version;
    CdrStyles& m_known;
    int32_t m_id = 0;
    bool m_artistic = false;
};

}  // namespace

int32_t take_cdr_paragraphs(CdrNumbers in, uint32_t version, CdrStyles& styles,
                            const std::function<Ref<ManagedObject>()>& add) {
    return ParagraphReader(in, version, styles).read(add);
}

}  // namespace zelmor::embed

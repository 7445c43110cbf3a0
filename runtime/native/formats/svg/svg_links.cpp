// Taking links out of a document; see svg_links.h.
#include "runtime/native/formats/svg/svg_links.h"

#include <algorithm>
#include <array>
#include <string>

#include "runtime/native/formats/svg/svg_numbers.h"

namespace zelmor::imagework {
namespace {

// The characters of a start tag, in units of one byte or of two. Those that are not ASCII are all the same.
class Tag {
 public:
    Tag(std::vector<uint8_t>& document, size_t at) : m_document(document), m_at(at) {
        m_unit = byte(0) == 0 || byte(1) == 0 ? 2 : 1;
        m_low = byte(0) == 0 ? 1 : 0;
    }

    // 0 behind the end.
    char at(size_t index) const {
        const size_t place = m_unit * index;
        const bool is_ascii = byte(place + m_low) < 0x80 && (m_unit == 1 || byte(place + 1 - m_low) == 0);
        return is_ascii ? static_cast<char>(byte(place + m_low)) : '?';
    }
    void set(size_t index, char value) { m_document[m_at + m_unit * index + m_low] = static_cast<uint8_t>(value); }

 private:
    uint8_t byte(size_t offset) const { return m_at + offset < m_document.size() ? m_document[m_at + offset] : 0; }

    std::vector<uint8_t>& m_document;
    size_t m_at;
    size_t m_unit = 1;
    size_t m_low = 0;
};

bool is_space(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

}  // namespace

bool may_make_group(std::string_view text) {
    constexpr std::array<std::string_view, 8> kWords{"opacity", "mask",      "filter",  "clip-path",
                                                     "blend",   "isolation", "pattern", "\\"};
    const std::string lower = lower_case(text);
    return std::any_of(kWords.begin(), kWords.end(),
                       [&](std::string_view word) { return lower.find(word) != std::string::npos; });
}

bool take_out_links(std::vector<uint8_t>& document, const std::vector<size_t>& tags) {
    for (const size_t at : tags) {
        Tag tag(document, at);
        if (tag.at(0) != '<') {
            return false;
        }
        bool found = false;
        char quote = 0;
        for (size_t i = 1; tag.at(i) != 0 && (quote != 0 || tag.at(i) != '>'); i++) {
            const char c = tag.at(i);
            if (quote != 0) {
                quote = c == quote ? 0 : quote;
            } else if (c == '"' || c == '\'') {
                quote = c;
            } else if (c == 'h' && tag.at(i + 1) == 'r' && tag.at(i + 2) == 'e' && tag.at(i + 3) == 'f' &&
                       (is_space(tag.at(i + 4)) || tag.at(i + 4) == '=') &&
                       (is_space(tag.at(i - 1)) || tag.at(i - 1) == ':')) {
                tag.set(i + 3, '_');
                found = true;
            }
        }
        if (!found) {
            return false;
        }
    }
    return true;
}

}  // namespace zelmor::imagework

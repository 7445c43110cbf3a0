// The root element of an SVG document as text: where it stands, its attributes, and the size that they give the
// picture. Nothing here needs a library, and nothing else of the document is looked at.
//
// A text is in UTF-8 or in any other encoding that has the characters of ASCII as single bytes.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_ROOT_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_ROOT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zelmor::imagework {

// An attribute of a start tag: its name and its value, without quotes and as it stands in the text, and where the whole
// of it stands, from the first letter of the name to behind the closing quote.
struct SvgAttribute {
    std::string_view name, value;
    size_t begin = 0, end = 0;
};

struct SvgRoot {
    std::string_view name;  // with its prefix
    size_t begin = 0;       // of the start tag: its "<"
    size_t tag_end = 0;     // behind the start tag
    std::vector<SvgAttribute> attributes;
    const SvgAttribute* find(std::string_view attribute) const;
};

// The text of a document without a byte order mark; one in UTF-16 becomes UTF-8, and says so in its declaration.
std::string svg_text(std::span<const uint8_t> document);

// Nothing where the text has no complete start tag of a root element.
std::optional<SvgRoot> svg_root(std::string_view text);
// Where the root element ends: behind its end tag. Nothing where comments alone, or nothing of that kind, are at the
// end of the text.
std::optional<size_t> svg_end(std::string_view text, const SvgRoot& root);

// The size of the picture in pixels of 1/96 inch. A side that the root does not tell (it may be a part of the space
// that a page has for the picture) follows from the other and the view box; without either it is 0.
struct SvgSize {
    double width = 0, height = 0;
};
SvgSize svg_size(const SvgRoot& root);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_ROOT_H

// Links of an SVG document, and how they are taken out of it.
//
// The vector surfaces of cairo 1.16 write links, and free what those within a group need before they are read. So a
// document that may have such links is drawn without links.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_LINKS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_LINKS_H

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace zelmor::imagework {

// Whether an element, an attribute or a rule of a style sheet can make a group: by its words, or an escape that hides
// them.
bool may_make_group(std::string_view text);

// The document, with the addresses of the start tags at these places, in bytes, under a name that means nothing. False
// if there is no such tag at one of them, since it stands in an entity.
bool take_out_links(std::vector<uint8_t>& document, const std::vector<size_t>& tags);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_LINKS_H

// How long the filters and masks of an SVG document may take, estimated from what it says.
//
// A filter works on pixels, and references draw an element again and again: ten groups that each refer ten times to the
// one before draw an element 10^10 times. So a document of a few hundred bytes can take days.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_FILTERING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_FILTERING_H

#include <cstddef>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

namespace zelmor::imagework {

using SvgAttributeValues = std::span<const std::pair<std::string_view, std::string_view>>;

// Nanoseconds for a pixel that a step of a filter, or a mask, takes on a usual machine; 0 for any other element.
double svg_filtering(std::string_view element, SvgAttributeValues values);

// Whether an element, such as a mask, is drawn by references alone.
bool is_referred_to(std::string_view element);

struct SvgNode {
    size_t parent = 0;               // its own index for the root, which is the first
    double work = 0;                 // of itself, each time it is drawn
    bool referred_to = false;        // drawn by references alone, and not with its parent
    std::vector<size_t> references;  // what is drawn with it
};

// The work of all nodes for one drawing of the root, each counted as often as children and references draw it. A
// reference to what is just being drawn counts nothing; the library refuses it.
double svg_work(std::span<const SvgNode> nodes);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_FILTERING_H

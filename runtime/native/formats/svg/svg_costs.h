// What an SVG document asks of the library that draws it, as far as a document of a few bytes can ask for more than
// there is memory and time for, or for what the library does not survive. It is estimated before the document is drawn.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_COSTS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_COSTS_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zelmor::imagework {

// Sizes are those of the picture in its own size. Transformations and fonts are multiplied along the nesting of
// elements and of references, so that they are no less than the greatest ones, and may be more.
struct SvgCosts {
    // In pixels. The library makes a polygon of each stroke, with corners that grow with its width.
    double widest_stroke = 0;
    // About how many dashes the outlines have whose dashes are long enough to be drawn one by one.
    double dashes = 0;
    // In pixels, before transformations. The library ends the process where a text is higher than its numbers go.
    double largest_font = 0;
    // Layers of noise that one turbulence adds up.
    double octaves = 0;
    // Whether the numbers of a convolution are more than the library takes, which ends the process.
    bool has_wide_kernel = false;
    // Nanoseconds for a pixel of the page that all filters and masks may take, by all references that draw them again.
    double filtering = 0;
    // The places of the start tags of links, in bytes, and whether links may lie within groups.
    std::vector<size_t> links = {};
    bool has_groups = false;
    // Whether a style sheet stands in a data URI, where nothing of this is seen.
    bool hides_styles = false;
    // What is wrong with the XML; empty for a document that can be read. The library might read a part of another.
    std::string unreadable;
};

SvgCosts svg_costs(std::span<const uint8_t> document);

// PictureError(kTooLarge) where something exceeds its limit in a picture that is enlarged by this factor, (kDamaged)
// for a text that is no XML, (kUnsupported) for style sheets that are not seen.
void check_svg_costs(const SvgCosts& costs, double enlarged);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_COSTS_H

// Numbers in the attributes of SVG: lists, lengths, transformations and paths, read for their size alone.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_NUMBERS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_NUMBERS_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zelmor::imagework {

// The number that a text begins with, behind white space. Its unit is left out.
std::optional<double> svg_number(std::string_view text);
// All numbers of a list with white space or commas between them, up to anything else.
std::vector<double> svg_numbers(std::string_view text);

// With the ASCII letters in lower case, as names and units of CSS are compared.
std::string lower_case(std::string_view text);

// How much a list of transformations enlarges lengths at most: no less than it does.
double svg_transform_scale(std::string_view text);

// About how long a path is: the sum of the steps between its points, in both directions.
double svg_path_length(std::string_view path);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_NUMBERS_H

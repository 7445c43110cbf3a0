// Look-up of the numbered colors of the managed side. Every color that has a number has a name.
#ifndef ZELMOR_SIBLINGS_PYDRAWING_KNOWN_COLORS_H
#define ZELMOR_SIBLINGS_PYDRAWING_KNOWN_COLORS_H

#include <string_view>

#include "exchange/wire/known_colors.h"

namespace zelmor::siblings {

// Null if no color has that number.
const KnownColorRow* known_color(int number);

// The number of the web color of that managed name, in any case; 0 if there is none.
int find_web_color(std::string_view name);

}  // namespace zelmor::siblings

#endif  // ZELMOR_SIBLINGS_PYDRAWING_KNOWN_COLORS_H

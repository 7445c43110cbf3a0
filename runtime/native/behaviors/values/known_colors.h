// The named colors of the runtime: those of the web.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_KNOWN_COLORS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_KNOWN_COLORS_H

#include <cstdint>
#include <span>
#include <string_view>

#include "exchange/wire/known_colors.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {

// The colors of the web, in the order of KnownColor, from kFirstKnownColor on.
using NamedColor = KnownColorRow;
constexpr int16_t kFirstKnownColor = kFirstWebColor;
constexpr std::span<const NamedColor> kNamedColors =
    std::span(kKnownColors).subspan(kFirstWebColor - 1, kLastWebColor - kFirstWebColor + 1);

// The known color with this number, or the empty color where there is none.
ColorValue known_color(int16_t number);
// The known color of a name, in any case; the empty color where there is none.
ColorValue find_color(std::string_view name);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_KNOWN_COLORS_H

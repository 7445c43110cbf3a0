// The colors that the runtime knows by name and number: those of the web.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_KNOWN_COLORS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_KNOWN_COLORS_H

#include <cstdint>
#include <span>
#include <string_view>

#include "exchange/wire/known_colors.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {

// In the order of their numbers, from kFirstKnownColor on.
using NamedColor = KnownColorRow;
constexpr int16_t kFirstKnownColor = kFirstWebColor;
constexpr std::span<const NamedColor> kNamedColors =
    std::span(kKnownColors).subspan(kFirstWebColor - 1, kLastWebColor - kFirstWebColor + 1);

constexpr uint32_t argb_of(api::KnownColor color) {
    return kKnownColors[static_cast<int>(color) - 1].argb;
}

// The known color with this number; the empty color if there is none.
ColorValue known_color(int16_t number);
// The known color of a name, which may be in capital or small letters; the empty color if there is none.
ColorValue find_color(std::string_view name);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VALUES_KNOWN_COLORS_H

// The absolute units of lengths in SVG (CSS 2.1, 4.3.2).
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_UNITS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_UNITS_H

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>
#include <utility>

#include "runtime/native/imagework/units.h"

namespace zelmor::imagework {

constexpr std::array<std::pair<std::string_view, double>, 7> kSvgUnits{{{"", 1},
                                                                        {"px", 1},
                                                                        {"in", 96},
                                                                        {"cm", 96 / kCentimetersPerInch},
                                                                        {"mm", 96 / kMillimetersPerInch},
                                                                        {"pt", 96.0 / 72},
                                                                        {"pc", 16}}};

// The pixels of an absolute unit in small letters; nothing for any other.
inline std::optional<double> pixels_of_svg_unit(std::string_view unit) {
    const auto known =
        std::find_if(kSvgUnits.begin(), kSvgUnits.end(), [&](const auto& entry) { return entry.first == unit; });
    return known == kSvgUnits.end() ? std::nullopt : std::optional(known->second);
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_UNITS_H

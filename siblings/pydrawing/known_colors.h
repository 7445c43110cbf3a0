// The numbered colors of the managed side: a color that has a number has a name.
//
// Numbers are those of .NET's KnownColor. The colors of the desktop (numbers up to 26, and from 168) have names here
// but no values: theirs are whatever the managed side says.
#pragma once

#include <cstdint>
#include <string_view>

namespace zelmor::siblings {

constexpr int kFirstWebColor = 27;  // Transparent
constexpr int kLastWebColor = 167;
constexpr int kLastKnownColor = 174;

struct KnownColor {
    const char* name;  // managed name
    uint32_t argb;     // 0 for a color of the desktop
};

// Null for a number that no color has.
const KnownColor* known_color(int number);

// The number of the web color of that managed name, in any case; 0 if there is none.
int find_web_color(std::string_view name);

}  // namespace zelmor::siblings

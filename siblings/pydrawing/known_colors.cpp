// Look-up of the numbered colors.
#include "siblings/pydrawing/known_colors.h"

#include <strings.h>

namespace zelmor::siblings {

const KnownColorRow* known_color(int number) {
    return number >= 1 && number <= kLastKnownColor ? &kKnownColors[number - 1] : nullptr;
}

int find_web_color(std::string_view name) {
    for (int number = kFirstWebColor; number <= kLastWebColor; ++number) {
        const std::string_view candidate = known_color(number)->name;
        if (candidate.size() == name.size() && strncasecmp(candidate.data(), name.data(), name.size()) == 0) {
            return number;
        }
    }
    return 0;
}

}  // namespace zelmor::siblings

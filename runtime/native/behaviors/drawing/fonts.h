// What a user chose about fonts for the whole process.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_FONTS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_FONTS_H

#include <string>
#include <vector>

namespace zelmor::embed {

struct FontChoice {
    std::vector<std::string> folders;  // empty for those of the system
    std::string default_name;          // stands in for fonts that there are not; empty for the system's choice
    bool may_replace = true;           // the system's choice stands in for a font that there is not
};

FontChoice font_choice();

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_FONTS_H

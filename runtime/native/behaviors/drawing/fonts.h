// The choices about fonts that a user made for the whole process.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_FONTS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_FONTS_H

#include <string>
#include <vector>

namespace zelmor::embed {

struct FontChoice {
    std::vector<std::string> folders;  // empty for those of the system
    std::string default_name;          // replaces missing fonts; empty for the system's choice
    bool may_replace = true;           // the system's choice may replace a missing font
};

FontChoice font_choice();

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_DRAWING_FONTS_H

// Drawing PostScript in a process of its own.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_EPS_POSTSCRIPT_PROCESS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_EPS_POSTSCRIPT_PROCESS_H

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zelmor::embed {

// Exit codes of the program, draw_postscript.cpp.
enum class PostScriptExit { kNoLibrary = 3, kFailed = 4 };

struct PostScriptPage {
    int32_t width = 0, height = 0;            // pixels
    double dots_across = 72, dots_down = 72;  // per inch
    double left = 0, bottom = 0;              // points: what becomes the left lower corner
    bool smooth = true, smooth_text = true;   // the edges of shapes, and of characters

    bool operator==(const PostScriptPage&) const = default;
};

// The first page of the program as a PNG file. PictureError: kUnsupported where Ghostscript's library is not installed,
// kDamaged where the program fails, draws nothing, or takes longer or more memory than it may.
std::vector<uint8_t> drawn_postscript(std::span<const uint8_t> program, const PostScriptPage& page);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_EPS_POSTSCRIPT_PROCESS_H

// Running the program that draws, and what its end means; see postscript_process.h.
#include "runtime/native/formats/eps/postscript_process.h"

#include <csignal>
#include <string>
#include <string_view>

#include "runtime/native/core/child_program.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {

namespace limits = imagework::limits;
using imagework::Failure;
using imagework::PictureError;

std::vector<uint8_t> drawn_postscript(std::span<const uint8_t> program, const PostScriptPage& page) {
    // A program without "showpage" is shown at its end.
    static constexpr std::string_view kShow = "\nshowpage\n";
    std::vector<uint8_t> text(program.begin(), program.end());
    text.insert(text.end(), kShow.begin(), kShow.end());
    using End = ChildResult::End;
    ChildResult result =
        run_child("zelmor.embed.postscript",
                  {std::to_string(page.width), std::to_string(page.height), std::to_string(page.dots_across),
                   std::to_string(page.dots_down), std::to_string(page.left), std::to_string(page.bottom),
                   std::to_string(limits::kPostScriptSeconds), std::to_string(limits::kPostScriptBytes),
                   page.smooth ? "1" : "0", page.smooth_text ? "1" : "0"},
                  text, 2 * limits::kPostScriptSeconds, limits::kCodecBytes);
    if (result.end == End::kNotStarted) {
        throw PictureError(Failure::kInternal, "the program that draws PostScript cannot be started");
    }
    if (result.end == End::kExited && result.code == static_cast<int>(PostScriptExit::kNoLibrary)) {
        throw PictureError(Failure::kUnsupported,
                           "drawing PostScript needs Ghostscript's library (the Debian package libgs10), which is not "
                           "installed; the preview of a file can be exported without it");
    }
    const bool out_of_time = result.end == End::kTimedOut ||
                             (result.end == End::kSignaled && (result.code == SIGXCPU || result.code == SIGKILL));
    if (out_of_time) {
        throw PictureError(Failure::kDamaged, "the PostScript program takes too long");
    }
    if (result.end == End::kTooMuch || result.end == End::kSignaled) {
        throw PictureError(Failure::kDamaged, "the PostScript program takes too much memory, or writes files");
    }
    if (result.output.empty()) {
        throw PictureError(Failure::kDamaged, "the PostScript program fails before it draws a page");
    }
    return std::move(result.output);
}

}  // namespace zelmor::embed

// Running the program that converts, and what its end means; see converted_drawing.h.
#include "runtime/native/formats/cdr/converted_drawing.h"

#include <string>

#include "runtime/native/core/child_program.h"
#include "runtime/native/core/load_failure.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {

namespace limits = imagework::limits;
using imagework::Failure;
using imagework::PictureError;

std::vector<uint8_t> converted_drawing(std::span<const uint8_t> file, bool cmx) {
    const std::string name = cmx ? "CMX" : "CDR";
    ChildResult result =
        run_child("zelmor.embed.drawings",
                  {cmx ? "cmx" : "cdr", std::to_string(limits::kDrawingSeconds), std::to_string(limits::kDrawingBytes)},
                  file, 2 * limits::kDrawingSeconds, limits::kInflatedBytes * 4);
    using End = ChildResult::End;
    if (result.end == End::kNotStarted) {
        throw PictureError(Failure::kInternal, "the program that reads " + name + " files cannot be started");
    }
    if (result.end == End::kExited && result.code == kLinkerExit) {
        throw PictureError(Failure::kUnsupported, "the program that reads " + name +
                                                      " files cannot be started, since a shared library is missing" +
                                                      packages_to_install({}));
    }
    if (result.end == End::kTooMuch) {
        throw PictureError(Failure::kTooLarge, "the " + name + " drawing is too large");
    }
    if (result.end == End::kExited && result.code == static_cast<int>(ConvertExit::kUnknown)) {
        throw PictureError(Failure::kUnsupported, "the " + name + " file has a version that libcdr does not read");
    }
    if (result.end != End::kExited || result.code != static_cast<int>(ConvertExit::kGood)) {
        throw PictureError(Failure::kDamaged, "the " + name + " data are damaged");
    }
    return std::move(result.output);
}

}  // namespace zelmor::embed

// Running the program that draws a document for nobody; see svg_rehearsal.h.
#include "runtime/native/formats/svg/svg_rehearsal.h"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <string>

#include "runtime/native/core/child_program.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::embed {

namespace limits = imagework::limits;
using imagework::Failure;
using imagework::PictureError;

bool needs_rehearsal(double filtering, double width, double height) {
    constexpr double kNanoseconds = 1e9;
    return filtering * width * height > limits::kSvgSeconds * kNanoseconds;
}

void rehearse(std::span<const uint8_t> document, double width, double height) {
    static constexpr double kLargestSurface = 32767;
    const auto side = [](double length) {
        return std::to_string(std::lround(std::clamp(std::ceil(length), 1.0, kLargestSurface)));
    };
    using End = ChildResult::End;
    const ChildResult result =
        run_child("zelmor.embed.rehearsal",
                  {side(width), side(height), std::to_string(limits::kSvgSeconds), std::to_string(limits::kSvgBytes)},
                  document, 2 * limits::kSvgSeconds, 0);
    if (result.end == End::kNotStarted || (result.end == End::kExited && result.code == kLinkerExit)) {
        throw PictureError(Failure::kInternal, "the program that tries SVG documents cannot be started");
    }
    if (result.end == End::kTimedOut ||
        (result.end == End::kSignaled && (result.code == SIGXCPU || result.code == SIGKILL))) {
        throw PictureError(Failure::kDamaged,
                           "its filters and masks take more than " + std::to_string(limits::kSvgSeconds) + " seconds");
    }
    // What else goes wrong there goes wrong here, too, and is reported by its name.
}

}  // namespace zelmor::embed

// Calls of librsvg that a panic of it does not turn into the end of the process.
//
// Librsvg is written in Rust, whose panics stand for faults of a program. It panics for some documents that are wrong
// in unusual ways. A panic unwinds the stack to the caller, and ends the process if C++ code catches it and goes on, or
// if another one comes while it is being handled.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_RSVG_CALLS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_RSVG_CALLS_H

#include <functional>

namespace zelmor::imagework {

// Makes calls of the library, which throw nothing else. PictureError(kUnsupported) if they end in a panic; what they
// work on must not be used or freed afterwards then.
void make_rsvg_calls(const std::function<void()>& calls);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_RSVG_CALLS_H

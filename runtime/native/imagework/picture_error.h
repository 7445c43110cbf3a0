// The one exception that leaves the image backend.
//
// It tells what kind of failure it was and describes it without naming a file: the backend sees bytes, not paths.
// Whoever called adds the path and picks the managed exception.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

namespace zelmor::imagework {

enum class Failure : uint8_t {
    kDamaged,      // the bytes are not a complete picture of their format
    kUnsupported,  // a feature of the format or of the request that has no implementation
    kArgument,     // an argument outside its range; `parameter` names it
    kTooLarge,     // more pixels than a picture may have
    kEncoding,     // the picture cannot be written in the wanted form
    kInternal,     // an operation failed for a reason that the caller cannot mend
};

class PictureError : public std::runtime_error {
 public:
    PictureError(Failure kind, const std::string& text, std::string parameter = {})
        : std::runtime_error(text), kind_(kind), parameter_(std::move(parameter)) {}

    Failure kind() const { return kind_; }
    const std::string& parameter() const { return parameter_; }

 private:
    Failure kind_;
    std::string parameter_;
};

}  // namespace zelmor::imagework

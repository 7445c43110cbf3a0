// The one exception that leaves the image backend.
//
// It tells what kind of failure it was and describes it without naming a file: the backend sees bytes, not paths.
// The caller adds the path and picks the managed exception.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PICTURE_ERROR_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PICTURE_ERROR_H

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
        : std::runtime_error(text), m_kind(kind), m_parameter(std::move(parameter)) {}

    Failure kind() const { return m_kind; }
    const std::string& parameter() const { return m_parameter; }

 private:
    Failure m_kind;
    std::string m_parameter;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PICTURE_ERROR_H

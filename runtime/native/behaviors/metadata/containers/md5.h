// The MD5 digest, by which the parts of a long XMP packet name each other.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_MD5_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_MD5_H

#include <span>
#include <string>

#include "runtime/native/core/value.h"

namespace zelmor::embed {

// As 32 hexadecimal digits in upper case.
std::string md5_text(std::span<const std::byte> data);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_CONTAINERS_MD5_H

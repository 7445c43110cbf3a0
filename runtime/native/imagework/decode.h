// From the bytes of a file to a picture in memory.
#pragma once

#include <memory>
#include <span>

#include "runtime/native/imagework/backend.h"

namespace zelmor::imagework {

std::unique_ptr<Picture> decode(std::span<const uint8_t> data, const DecodeOptions& options);

}  // namespace zelmor::imagework

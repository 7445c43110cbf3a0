// The comment segment of a JPEG file, which the image library does not write.
#pragma once

#include <string>

#include "runtime/native/imagework/backend.h"

namespace zelmor::imagework {

// The same file with a comment behind its application segments; at most 65533 bytes of text.
EncodedBytes with_jpeg_comment(const EncodedBytes& jpeg, const std::string& comment);

}  // namespace zelmor::imagework

// The segments of a JPEG file that the image library does not write: its JFIF header and a comment.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_JPEG_SEGMENTS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_JPEG_SEGMENTS_H

#include <optional>
#include <string>

#include "runtime/native/imagework/encoded_bytes.h"
#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

// The same file with a JFIF header that holds the resolution, if one is given, in front of everything else, and with a
// comment behind the application segments, if there is text for one. At most 65533 bytes of text.
EncodedBytes with_jpeg_segments(const EncodedBytes& jpeg, const std::optional<Resolution>& resolution,
                                const std::string& comment);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_CODECS_JPEG_SEGMENTS_H

// Writing the comment segment; see jpeg_comment.h.
#include "runtime/native/imagework/jpeg_comment.h"

#include <algorithm>
#include <memory>
#include <vector>

namespace zelmor::imagework {

EncodedBytes with_jpeg_comment(const EncodedBytes& jpeg, const std::string& comment) {
    constexpr size_t kMostText = 65533;
    if (comment.size() > kMostText) {
        throw PictureError(Failure::kEncoding,
                           "a JPEG comment has at most 65533 bytes, this one has " + std::to_string(comment.size()));
    }
    const uint8_t* bytes = jpeg.data.get();
    size_t at = 2;  // behind the start marker, then behind APP0 to APP15, which have to come first
    while (at + 4 <= jpeg.size && bytes[at] == 0xFF && (bytes[at + 1] & 0xF0) == 0xE0) {
        at += 2 + static_cast<size_t>(bytes[at + 2] << 8 | bytes[at + 3]);
    }
    at = std::min(at, jpeg.size);
    auto result = std::make_shared<std::vector<uint8_t>>();
    result->reserve(jpeg.size + comment.size() + 4);
    result->insert(result->end(), bytes, bytes + at);
    size_t length = comment.size() + 2;
    for (size_t byte : {size_t{0xFF}, size_t{0xFE}, length >> 8, length & 0xFF}) {
        result->push_back(static_cast<uint8_t>(byte));
    }
    result->insert(result->end(), comment.begin(), comment.end());
    result->insert(result->end(), bytes + at, bytes + jpeg.size);
    return {std::shared_ptr<const uint8_t>(result, result->data()), result->size()};
}

}  // namespace zelmor::imagework

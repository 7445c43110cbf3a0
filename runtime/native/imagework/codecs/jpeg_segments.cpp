// Writing segments into a JPEG file; see jpeg_segments.h.
#include "runtime/native/imagework/codecs/jpeg_segments.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/jpeg_markers.h"

namespace zelmor::imagework {
namespace {

void put_u16(std::vector<uint8_t>& out, size_t value) {
    out.push_back(static_cast<uint8_t>(value >> 8));
    out.push_back(static_cast<uint8_t>(value));
}

void put_jfif(std::vector<uint8_t>& out, const Resolution& resolution) {
    auto density = [](double dpi) { return static_cast<size_t>(std::clamp(std::round(dpi), 1.0, 65535.0)); };
    out.insert(out.end(), {0xFF, kJpegApp0, 0, 16, 'J', 'F', 'I', 'F', 0, 1, 1, 1});  // version 1.1, dots per inch
    put_u16(out, density(resolution.horizontal));
    put_u16(out, density(resolution.vertical));
    out.insert(out.end(), {0, 0});  // no thumbnail
}

void put_comment(std::vector<uint8_t>& out, const std::string& comment) {
    out.insert(out.end(), {0xFF, kJpegComment});
    put_u16(out, comment.size() + 2);
    out.insert(out.end(), comment.begin(), comment.end());
}

}  // namespace

EncodedBytes with_jpeg_segments(const EncodedBytes& jpeg, const std::optional<Resolution>& resolution,
                                const std::string& comment) {
    constexpr size_t kMostText = 65533;
    if (comment.size() > kMostText) {
        throw PictureError(Failure::kEncoding,
                           "a JPEG comment has at most 65533 bytes, this one has " + std::to_string(comment.size()));
    }
    const uint8_t* bytes = jpeg.data.get();
    size_t start = std::min<size_t>(2, jpeg.size);  // behind the start marker
    size_t at = start;                              // behind APP0 to APP15
    while (at + 4 <= jpeg.size && bytes[at] == 0xFF && (bytes[at + 1] & 0xF0) == kJpegApp0) {
        at += 2 + static_cast<size_t>(bytes[at + 2] << 8 | bytes[at + 3]);
    }
    at = std::min(at, jpeg.size);
    std::vector<uint8_t> result;
    result.reserve(jpeg.size + comment.size() + 32);
    result.insert(result.end(), bytes, bytes + start);
    if (resolution) {
        put_jfif(result, *resolution);
    }
    result.insert(result.end(), bytes + start, bytes + at);
    if (!comment.empty()) {
        put_comment(result, comment);
    }
    result.insert(result.end(), bytes + at, bytes + jpeg.size);
    return to_encoded(std::move(result));
}

}  // namespace zelmor::imagework

// Names and defaults of the formats, and the limit on the size of a picture.
#include "runtime/native/imagework/formats.h"

#include <cassert>
#include <cstdint>
#include <string>

#include "runtime/native/formats/format_room.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/memory_budget.h"

namespace zelmor::imagework {

const char* format_name(Format format) {
    return format == Format::kUnknown ? "unknown format" : room_of(format).name;
}

Encoding default_encoding(Format format) {
    if (format == Format::kUnknown || room_of(format).default_settings == nullptr) {
        throw PictureError(Failure::kUnsupported, "there is no such format to save to");
    }
    Encoding encoding;
    encoding.format = room_of(format).default_settings();
    return encoding;
}

namespace {

// Of the filters' widest pixels. The product with two sides stays below 2^63.
constexpr int kMostBytesPerPixel = static_cast<int>(limits::kSamplesOfPixel * sizeof(double));
static_assert(limits::kSide * limits::kSide <= INT64_MAX / kMostBytesPerPixel);

}  // namespace

void check_picture_size(int64_t width, int64_t height, int bytes_per_pixel) {
    using limits::kDecodedBytes;
    using limits::kSide;
    constexpr auto kMost = static_cast<int64_t>(kDecodedBytes);
    assert(bytes_per_pixel > 0 && bytes_per_pixel <= kMostBytesPerPixel);
    if (width < 1 || height < 1) {
        throw PictureError(Failure::kDamaged, "a picture of " + std::to_string(width) + " by " +
                                                  std::to_string(height) + " pixels has no pixel");
    }
    if (width > kSide || height > kSide || width * height * bytes_per_pixel > kMost) {
        throw PictureError(Failure::kTooLarge, "a picture of " + std::to_string(width) + " by " +
                                                   std::to_string(height) + " pixels is larger than the limit of " +
                                                   std::to_string(kMost) + " bytes or " + std::to_string(kSide) +
                                                   " pixels to a side");
    }
}

}  // namespace zelmor::imagework

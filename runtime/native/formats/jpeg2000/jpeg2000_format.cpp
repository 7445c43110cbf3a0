// JPEG 2000: boxes, of which the first is the signature, or the codestream alone.
#include <string_view>

#include "runtime/native/formats/format_room.h"

namespace zelmor::imagework {
namespace {

bool begins_jpeg2000(const ByteReader& in) {
    constexpr std::string_view kSignature("\0\0\0\x0CjP  \r\n\x87\n", 12);
    return in.starts_with(0, kSignature) || in.starts_with(0, "\xFF\x4F\xFF\x51");
}

constexpr const char* kExtensions[] = {"j2c", "j2k", "jp2", "jpc", "jpf", "jpx"};

}  // namespace

extern const FormatRoom kJpeg2000Room;
const FormatRoom kJpeg2000Room{
    .format = Format::kJpeg2000,
    .name = "JPEG 2000",
    .extensions = kExtensions,
    .begins = &begins_jpeg2000,
};

}  // namespace zelmor::imagework

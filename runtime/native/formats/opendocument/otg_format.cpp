// OpenDocument templates of drawings: a zip archive.
#include "runtime/native/formats/format_room.h"
#include "runtime/native/imagework/probe/packed_head.h"

namespace zelmor::imagework {
namespace {

bool begins_otg(const ByteReader& in) {
    return is_zip_of_type(in, "application/vnd.oasis.opendocument.graphics-template");
}

// The size of the pages stands in a part of the archive.
void probe_otg(const ByteReader&, FileFacts& facts) {
    facts.readable = true;
    facts.bits_per_pixel = 32;
    facts.has_alpha = true;
}

constexpr const char* kOtgExtensions[] = {"otg"};

}  // namespace

extern const FormatRoom kOtgRoom;
const FormatRoom kOtgRoom{
    .format = Format::kOtg,
    .name = "OTG",
    .extensions = kOtgExtensions,
    .begins = &begins_otg,
    .probe = &probe_otg,
};

}  // namespace zelmor::imagework

// DjVu: an IFF form behind four letters, of one page or of several.
#include "runtime/native/formats/format_room.h"

namespace zelmor::imagework {
namespace {

bool begins_djvu(const ByteReader& in) {
    return in.starts_with(0, "AT&TFORM") && (in.starts_with(12, "DJVU") || in.starts_with(12, "DJVM"));
}

constexpr const char* kExtensions[] = {"djvu", "djv"};

}  // namespace

extern const FormatRoom kDjvuRoom;
const FormatRoom kDjvuRoom{
    .format = Format::kDjvu,
    .name = "DjVu",
    .extensions = kExtensions,
    .begins = &begins_djvu,
};

}  // namespace zelmor::imagework

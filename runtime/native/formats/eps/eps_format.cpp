// EPS: PostScript, or the header of a file that has a preview besides.
#include "runtime/native/formats/format_room.h"

namespace zelmor::imagework {
namespace {

bool begins_eps(const ByteReader& in) {
    return in.starts_with(0, "%!PS") || in.starts_with(0, "\xC5\xD0\xD3\xC6");
}

constexpr const char* kExtensions[] = {"eps", "ps"};

}  // namespace

extern const FormatRoom kEpsRoom;
const FormatRoom kEpsRoom{
    .format = Format::kEps,
    .name = "EPS",
    .extensions = kExtensions,
    .begins = &begins_eps,
};

}  // namespace zelmor::imagework

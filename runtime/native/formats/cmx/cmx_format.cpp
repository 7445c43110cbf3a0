// CMX: a RIFF container, in either byte order.
#include "runtime/native/formats/format_room.h"

namespace zelmor::imagework {
namespace {

bool begins_cmx(const ByteReader& in) {
    return (in.starts_with(0, "RIFF") || in.starts_with(0, "RIFX")) && in.starts_with(8, "CMX1");
}

constexpr const char* kExtensions[] = {"cmx"};

}  // namespace

extern const FormatRoom kCmxRoom;
const FormatRoom kCmxRoom{
    .format = Format::kCmx,
    .name = "CMX",
    .extensions = kExtensions,
    .begins = &begins_cmx,
};

}  // namespace zelmor::imagework

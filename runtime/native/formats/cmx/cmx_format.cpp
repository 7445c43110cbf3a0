// CMX: a RIFF container, in either byte order.
#include "runtime/native/formats/format_room.h"

namespace zelmor::imagework {
namespace {

bool begins_cmx(const ByteReader& in) {
    return (in.starts_with(0, "RIFF") || in.starts_with(0, "RIFX")) && in.starts_with(8, "CMX1");
}

// The size of the pages stands among the chunks, some of which are packed.
void probe_cmx(const ByteReader&, FileFacts& facts) {
    facts.readable = true;
    facts.bits_per_pixel = 32;
    facts.has_alpha = true;
}

constexpr const char* kCmxExtensions[] = {"cmx"};

}  // namespace

extern const FormatRoom kCmxRoom;
const FormatRoom kCmxRoom{
    .format = Format::kCmx,
    .name = "CMX",
    .extensions = kCmxExtensions,
    .begins = &begins_cmx,
    .probe = &probe_cmx,
};

}  // namespace zelmor::imagework

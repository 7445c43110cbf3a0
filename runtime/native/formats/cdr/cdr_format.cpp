// CDR: a RIFF container, or since its fourteenth version a zip archive that has one.
#include "runtime/native/formats/format_room.h"
#include "runtime/native/imagework/probe/packed_head.h"

namespace zelmor::imagework {
namespace {

bool begins_cdr(const ByteReader& in) {
    // The fourth letter is the version.
    const bool riff = (in.starts_with(0, "RIFF") || in.starts_with(0, "RIFX")) &&
                      (in.starts_with(8, "CDR") || in.starts_with(8, "cdr"));
    return riff || has_zip_entry(in, "content/riffData.cdr") || has_zip_entry(in, "content/root.dat");
}

constexpr const char* kExtensions[] = {"cdr"};

}  // namespace

extern const FormatRoom kCdrRoom;
const FormatRoom kCdrRoom{
    .format = Format::kCdr,
    .name = "CDR",
    .extensions = kExtensions,
    .begins = &begins_cdr,
};

}  // namespace zelmor::imagework

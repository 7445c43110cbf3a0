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

// The size of the pages stands among the chunks, some of which are packed.
void probe_cdr(const ByteReader&, FileFacts& facts) {
    facts.readable = true;
    facts.bits_per_pixel = 32;
    facts.has_alpha = true;
}

constexpr const char* kCdrExtensions[] = {"cdr"};

}  // namespace

extern const FormatRoom kCdrRoom;
const FormatRoom kCdrRoom{
    .format = Format::kCdr,
    .name = "CDR",
    .extensions = kCdrExtensions,
    .begins = &begins_cdr,
    .probe = &probe_cdr,
};

}  // namespace zelmor::imagework

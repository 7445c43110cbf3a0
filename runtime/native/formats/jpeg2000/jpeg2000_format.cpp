// JPEG 2000: boxes, of which the first is the signature, or the codestream alone.
#include "runtime/native/formats/format_room.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_encoding.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_probe.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_structure.h"

namespace zelmor::imagework {
namespace {

void probe_jpeg2000_room(const ByteReader& file, FileFacts& facts) {
    facts = probe_jpeg2000(file).facts;
}

constexpr const char* kJpeg2000Extensions[] = {"j2c", "j2k", "jp2", "jpc", "jpf", "jpx"};

}  // namespace

extern const FormatRoom kJpeg2000Room;
const FormatRoom kJpeg2000Room{
    .format = Format::kJpeg2000,
    .name = "JPEG 2000",
    .extensions = kJpeg2000Extensions,
    .begins = &is_jpeg2000,
    .probe = &probe_jpeg2000_room,
    .default_settings = &default_settings_of<Jpeg2000Encoding>,
};

}  // namespace zelmor::imagework

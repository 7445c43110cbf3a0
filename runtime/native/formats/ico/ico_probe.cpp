// Recognizing ICO and CUR files; see ico_codec.h.
#include "runtime/native/formats/ico/ico_codec.h"
#include "runtime/native/formats/ico/ico_directory.h"

namespace zelmor::imagework {

IcoProbe probe_ico(const ByteReader& file) {
    const ByteReader in = file.in_order(false);
    IcoProbe probe;
    probe.recognized = is_ico(in);
    if (!probe.recognized) {
        return probe;
    }
    const IcoDirectory directory = read_ico_directory(in);
    const IcoEntry first = read_ico_entry(in, directory, 0);
    probe.kind = directory.kind;
    FileFacts& facts = probe.facts;
    facts.frame_count = directory.count;
    facts.width = first.width;
    facts.height = first.height;
    facts.bits_per_pixel = first.bits_per_pixel;
    facts.has_alpha = true;
    facts.readable = in.has(0, IcoDirectory::kHeaderSize + directory.count * IcoDirectory::kEntrySize);
    if (!facts.readable) {
        probe.refusal = "the directory of the " +
                        std::string(directory.kind == IcoKind::kCursor ? "cursors" : "icons") + " is incomplete";
    }
    return probe;
}

}  // namespace zelmor::imagework

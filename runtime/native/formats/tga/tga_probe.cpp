// Recognizing TGA files; see tga_codec.h.
#include "runtime/native/formats/tga/tga_areas.h"
#include "runtime/native/formats/tga/tga_codec.h"
#include "runtime/native/formats/tga/tga_header.h"
#include "runtime/native/formats/tga/tga_rows.h"

namespace zelmor::imagework {

TgaProbe probe_tga(const ByteReader& file, std::optional<uint64_t> size) {
    const ByteReader in = file.in_order(false);
    TgaProbe probe;
    if (!in.has(0, TgaHeader::kSize)) {
        return probe;
    }
    const TgaHeader header = read_tga_header(in);
    const bool footer = size && has_tga_footer(in, *size);
    // A header alone is no file; so other data that look like one are told apart where there are few of them.
    probe.recognized = footer || (is_plausible_tga(header) && (!size || *size > header.pixels_at()));
    if (!probe.recognized) {
        return probe;
    }
    probe.refusal = tga_refusal(header);
    if (probe.refusal.empty()) {
        probe.refusal = tga_damage(header);
    }
    FileFacts& facts = probe.facts;
    facts.readable = probe.refusal.empty();
    facts.width = header.width;
    facts.height = header.height;
    facts.bits_per_pixel = header.depth;
    facts.has_alpha = tga_alpha(header, std::nullopt) != TgaAlpha::kNone;
    return probe;
}

}  // namespace zelmor::imagework

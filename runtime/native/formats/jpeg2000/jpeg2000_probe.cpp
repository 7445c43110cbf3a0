// Facts of the header; see jpeg2000_probe.h.
#include "runtime/native/formats/jpeg2000/jpeg2000_probe.h"

#include "runtime/native/formats/jpeg2000/jpeg2000_encoding.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_layout.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_structure.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {

Jpeg2000Facts probe_jpeg2000(const ByteReader& file) {
    Jpeg2000Facts found;
    FileFacts& facts = found.facts;
    facts.format = Format::kJpeg2000;
    try {
        Jpeg2000Structure structure = jpeg2000_structure(file);
        const Jpeg2000Layout layout = jpeg2000_layout(file, structure);
        facts.width = layout.width;
        facts.height = layout.height;
        facts.bits_per_pixel = layout.form.bits < 8 ? layout.form.bits : static_cast<int>(8 * layout.form.pixel_size());
        facts.has_alpha = layout.form.alpha;
        facts.has_resolution = structure.resolution.has_value();
        facts.palette = layout.palette;
        facts.readable = true;
        Jpeg2000Encoding encoding;
        encoding.codec = structure.codec;
        encoding.irreversible = !structure.coding.usual.reversible;
        encoding.bit_depth = layout.bits;
        encoding.comments = std::move(structure.comments);
        facts.encoding = std::move(encoding);
    } catch (const PictureError& error) {
        found.unreadable = error.what();
        if (error.kind() == Failure::kUnsupported) {
            facts.obstacle = error.what();
        }
    }
    return found;
}

}  // namespace zelmor::imagework

// Facts of the header; see djvu_probe.h.
#include "runtime/native/formats/djvu/djvu_probe.h"

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {

FileFacts djvu_page_facts(const DjvuPagePlace& page) {
    const PixelForm form = page.form();
    FileFacts facts;
    facts.format = Format::kDjvu;
    facts.width = page.width;
    facts.height = page.height;
    facts.bits_per_pixel = form.bits < 8 ? form.bits : static_cast<int>(8 * form.pixel_size());
    facts.has_resolution = true;
    facts.readable = true;
    return facts;
}

DjvuFacts probe_djvu(const ByteReader& file) {
    DjvuFacts found;
    try {
        found.facts = djvu_page_facts(djvu_structure(file, true, 1).pages.front());
    } catch (const PictureError& error) {
        found.unreadable = error.what();
        if (error.kind() == Failure::kUnsupported) {
            found.facts.obstacle = error.what();
        }
    }
    return found;
}

}  // namespace zelmor::imagework

// The facts of a PSD file; see psd_facts.h.
#include "runtime/native/formats/psd/psd_facts.h"

namespace zelmor::imagework {
namespace {

PsdEncoding settings_of(const PsdFile& file) {
    PsdEncoding encoding;
    encoding.large = file.large;
    encoding.color = file.mode;
    encoding.compression = file.compression;
    encoding.bits = file.depth;
    encoding.channels = file.planes + (file.form.alpha ? 1 : 0);
    return encoding;
}

}  // namespace

FileFacts psd_facts(const PsdFile& file, ByteSource& bytes) {
    FileFacts facts;
    facts.format = Format::kPsd;
    facts.readable = true;
    facts.width = file.width;
    facts.height = file.height;
    facts.bits_per_pixel = file.depth * (file.planes + (file.form.alpha ? 1 : 0));
    facts.has_alpha = file.form.alpha;
    facts.has_resolution = psd_resolution(file, bytes).has_value();
    if (file.mode == PsdColorMode::kIndexed) {
        facts.palette = psd_palette(file, bytes);
        facts.palette.resize(psd_used_colors(file, bytes));
    }
    facts.encoding = settings_of(file);
    return facts;
}

}  // namespace zelmor::imagework

// The facts of a PSD file; see psd_probe.h.
#include "runtime/native/formats/psd/psd_probe.h"

#include <algorithm>

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {

FileFacts psd_facts(const PsdFile& file, ByteSource& bytes) {
    FileFacts facts;
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
    return facts;
}

PsdEncoding psd_encoding(const PsdFile& file) {
    PsdEncoding encoding;
    encoding.large = file.large;
    encoding.color = file.mode;
    encoding.compression = file.compression;
    encoding.bits = file.depth;
    encoding.channels = file.planes + (file.form.alpha ? 1 : 0);
    return encoding;
}

PsdFacts probe_psd(ByteSource& bytes, uint64_t file_size) {
    PsdFacts result;
    try {
        const PsdFile file = read_psd_structure(bytes, file_size);
        result.facts = psd_facts(file, bytes);
        result.encoding = psd_encoding(file);
    } catch (const PictureError& error) {
        result.facts = {};
        result.refusal = error.what();
    }
    return result;
}

uint64_t psd_end(ByteSource& bytes, uint64_t file_size) {
    try {
        const PsdFile file = read_psd_structure(bytes, file_size);
        const uint64_t data = file.image.at + 2;
        const uint64_t rows = static_cast<uint64_t>(file.channels) * static_cast<uint64_t>(file.height);
        if (file.compression == PsdCompression::kRaw) {
            return std::min(file_size, data + rows * file.row_bytes());
        }
        if (file.compression == PsdCompression::kPackBits) {
            const uint64_t digits = file.large ? 4 : 2;
            const ByteReader in(bytes, true);
            uint64_t end = data + rows * digits;
            for (uint64_t row = 0; row < rows && in.ok() && end < file_size; row++) {
                end += digits == 4 ? in.u32(data + 4 * row) : in.u16(data + 2 * row);
            }
            return std::min(file_size, end);
        }
    } catch (const PictureError&) {
        // The decoder reports what is wrong with the file.
    }
    return file_size;
}

}  // namespace zelmor::imagework

// The facts that the header of a picture file gives: format, size, and the settings that it was saved with.
//
// It needs no image library, so that asking for a format costs nothing, and it never trusts a length that it reads.
// It decodes no pixel: a file whose header is in order can still turn out to be damaged.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_PROBE_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_PROBE_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

struct FileFacts {
    Format format = Format::kUnknown;
    bool readable = false;        // the header was complete and made sense; the facts below hold only then
    bool header_goes_on = false;  // longer than limits::kHeaderBytes, not counting what is skipped
    int64_t width = 0;
    int64_t height = 0;
    int bits_per_pixel = 0;
    bool has_alpha = false;
    bool has_resolution = false;        // in dots per some length
    bool has_still = false;             // besides an animation there is a picture for programs that know no animations
    int frame_count = 1;                // as far as the header tells: APNG; otherwise the decoder's answer counts
    Variant variant = Variant::kUsual;  // of the format; generated/formats/format_list.h has their names
    // Why a file whose format is known is not read: "this runtime does not read CDR files"; empty for one that is.
    std::string obstacle = {};
    std::optional<Argb> transparent_color;   // one color or palette entry that stands for "nothing here"
    std::optional<FormatEncoding> encoding;  // the settings to save it again as it was
    std::vector<Argb> palette;               // of an indexed picture
};

// The settings of the file, if they are those of the format asked for; null otherwise.
template <class E>
E* settings_as(FileFacts& facts) {
    return facts.encoding ? facts.encoding->template as<E>() : nullptr;
}
template <class E>
const E* settings_as(const FileFacts& facts) {
    return facts.encoding ? facts.encoding->template as<E>() : nullptr;
}

// Which format the first bytes belong to.
Format sniff(std::span<const uint8_t> data);

FileFacts probe(std::span<const uint8_t> data);
// The same of a file that is not in memory: only the bytes that the header needs are asked for.
FileFacts probe(ByteSource& file);

// Throws PictureError(kUnsupported) for a file of a format that this runtime knows and does not read.
void require_readable_format(const FileFacts& facts);
// Throws PictureError for a file whose header shows that it cannot be decoded.
void require_decodable(const FileFacts& facts, const DecodeOptions& options);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_PROBE_H

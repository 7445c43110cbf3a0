// PSD and PSB files, read and written as rows of samples.
//
// The picture of a file is its composite. Inks are amounts of ink in memory, where files have the rest of the paper;
// duotones are read as gray.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_CODEC_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_CODEC_H

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "runtime/native/formats/psd/psd_encoding.h"
#include "runtime/native/formats/psd/psd_structure.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// The file of one picture as a source of one frame. Rows are read and decompressed as they are asked for. Of damaged
// data Recovery::kConsistent gives the rows before the first that lacks a channel, kMaximal all rows that have one,
// with the lacking samples as no color. PictureError: kDamaged, kUnsupported or kTooLarge.
SharedFrames open_psd(const SharedSource& source, const DecodeOptions& options);

// What of a file goes into the file that its picture is written to.
struct PsdKept {
    SharedSource source;  // null: nothing
    // Whether the picture is still that of the file, so that its layers and its further channels are too. They are
    // written where the new file has the same color mode, depth, channels and lengths (PSD or PSB).
    bool unchanged = false;
};

// The file of a picture whose pixels are still those of a PSD file that was read without recovery; null for others.
SharedSource psd_file_of(const FrameOrigin& origin);
// Whether such a picture has the form, the profile and the palette of its file too.
bool is_as_in_psd_file(const FrameOrigin& origin, const RowsHeader& header);

// The form that the rows of a picture have to be brought to for the encoding. PictureError(kEncoding) for settings that
// do not go together.
PixelForm psd_form(const RowsHeader& header, const PsdEncoding& encoding);

// The rows of a small picture, of any form without alpha and palette, as red, green and blue of sRGB of 8 bits.
using StandardColors = std::function<std::vector<uint8_t>(const RowsHeader& header, std::vector<uint8_t> rows)>;

// Writes rows of the form that psd_form() gives. Resources of `kept` are written again, but for those that the picture
// gives (resolution, profile, palette) and those that tell of layers or channels which are not written. A picture with
// alpha gets a layer of its own, as the format's programs do; its composite is mixed with white.
// PictureError(kEncoding) for a picture that the format does not hold. The file is in `out` when the writer has
// finished. `colors` makes those of a new thumbnail, where the encoding asks for one.
std::unique_ptr<RowWriter> make_psd_writer(const RowsHeader& header, const PsdEncoding& encoding, PsdKept kept,
                                           std::vector<uint8_t>& out, StandardColors colors = {});

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_CODEC_H

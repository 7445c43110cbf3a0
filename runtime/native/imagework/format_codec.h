// The codec part of a format's room: opening the files of the format, and writing them.
//
// formats/CMakeLists.txt lists the rooms that have one; CMake makes the table behind codec_of(). The codecs of common
// formats are linked into the image backend. A codec over a heavy library is a shared object of its own, which is
// loaded when the first file of its format is opened or written; it exports one function, `zelmor_format_codec`.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FORMAT_CODEC_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FORMAT_CODEC_H

#include <cstdint>
#include <memory>
#include <span>

#include "runtime/native/imagework/backend.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/byte_sink.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/rows.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::imagework {

class VipsPicture;

// The form that a picture is brought to before a codec writes it.
struct WantedRows {
    PixelForm form;
    bool keeps_profile = false;  // otherwise the colors become sRGB
    int palette_size = 256;      // of an indexed form: the most colors
};

struct FormatCodec {
    Format format;

    // ---- Reading

    // All pictures of a file, found by their headers. Null: the format is not read.
    SharedFrames (*open)(const SharedSource& source, const FileFacts& facts, const DecodeOptions& options) = nullptr;
    // The picture for programs that know no animations, of a file whose facts tell of one.
    SharedFrames (*open_still)(const SharedSource& source, const FileFacts& facts,
                               const DecodeOptions& options) = nullptr;
    // What a recovery fails with: "the TIFF data has no complete row".
    const char* damage_of_recovery = "is damaged or incomplete";
    // Only the control of a frame makes pixels of it transparent: others that are, are lost.
    bool control_tells_transparency = false;

    // ---- Writing

    int32_t longest_side = INT32_MAX;
    // A file has a palette: that of the settings is applied before the frame is encoded.
    bool is_indexed = false;

    // Writes one picture, by the pair
    WantedRows (*wanted)(const FormatEncoding& settings, const RowsHeader& header) = nullptr;
    std::unique_ptr<RowWriter> (*make_writer)(const RowsHeader& header, const FormatEncoding& settings,
                                              ByteSink& out) = nullptr;
    // or, in a codec that is part of the image backend, as it needs it: it may bring the picture into another form.
    void (*encode)(VipsPicture& picture, const Encoding& encoding, ByteSink& out) = nullptr;

    // Writes several pictures into one file. Null: the format holds one picture.
    void (*encode_frames)(std::span<const FrameToWrite> frames, ByteSink& out) = nullptr;
    // Several frames have to be of one size.
    bool has_one_size = true;
};

// Null where the format has none. Loads the codec's shared object; PictureError(kUnsupported) where it cannot be
// loaded.
const FormatCodec* codec_of(Format format);

// The entry point of a codec in a shared object of its own. The codec lives as long as the process.
using FormatCodecFunction = const FormatCodec* (*)();
constexpr const char* kFormatCodecSymbol = "zelmor_format_codec";

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FORMAT_CODEC_H

// The codec of WebP in the image backend.
#include "runtime/native/formats/webp/webp_codec.h"
#include "runtime/native/formats/webp/webp_encoding.h"
#include "runtime/native/imagework/format_codec.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/vips_picture.h"

namespace zelmor::imagework {
namespace {

SharedFrames open_webp(const SharedSource& source, const FileFacts&, const DecodeOptions& options) {
    return open_webp(source, options.recovery, options.memory);
}

void encode_webp(VipsPicture& picture, const Encoding& encoding, ByteSink& out) {
    const auto& webp = encoding.format.get<WebpEncoding>();
    picture.to_form(form_of_8_bits(ColorModel::kRgb, picture));
    const auto writer = make_webp_writer(picture.rows_header(), webp, out);
    write_rows(picture, *writer);
    writer->finish();
}

void encode_webp_frames(std::span<const FrameToWrite> frames, ByteSink& out) {
    const Encoding& encoding = *frames[0].encoding;
    check_sides(*frames[0].picture, Format::kWebp);
    if (frames.size() == 1) {
        return frames[0].picture->encode(encoding, out);
    }
    const auto writer = make_webp_animation_writer(frames[0].picture->width(), frames[0].picture->height(),
                                                   encoding.format.get<WebpEncoding>(), out);
    for (const FrameToWrite& frame : frames) {
        const DecodedToWrite decoded(*frame.picture);
        const auto own = frame.picture->copy();
        prepare_for_encoding(*own, *frame.encoding);
        auto& picture = static_cast<VipsPicture&>(*own);
        picture.to_srgb();  // one profile cannot stand for several frames
        picture.to_form(form_of_8_bits(ColorModel::kRgb, picture));
        const auto rows = writer->frame(picture.rows_header(), frame.duration);
        write_rows(picture, *rows);
        rows->finish();
    }
    writer->finish();
}

}  // namespace

extern const FormatCodec kWebpCodec;
const FormatCodec kWebpCodec{
    .format = Format::kWebp,
    .open = &open_webp,
    .longest_side = 16383,
    .encode = &encode_webp,
    .encode_frames = &encode_webp_frames,
};

}  // namespace zelmor::imagework

// The codec of JPEG-LS.
#include "runtime/native/formats/jpegls/jpegls_codec.h"

#include "runtime/native/imagework/format_codec.h"

namespace zelmor::imagework {
namespace {

// The colors are stored as they are: the format has none but those of its samples.
WantedRows wanted(const FormatEncoding& settings, const RowsHeader& header) {
    const auto& jpeg = settings.get<JpegEncoding>();
    const bool gray = jpeg.color == JpegColor::kGray || header.form.color == ColorModel::kGray;
    PixelForm form{gray ? ColorModel::kGray : ColorModel::kRgb};
    if (jpeg.ls.bits > 8) {
        form.sample = SampleType::kUint16;
        form.bits = 16;
    }
    return {form};
}

std::unique_ptr<RowWriter> make_writer(const RowsHeader& header, const FormatEncoding& settings, ByteSink& out) {
    return make_jpegls_writer(header, settings.get<JpegEncoding>(), out);
}

}  // namespace

extern const FormatCodec kJpegLsCodec;
const FormatCodec kJpegLsCodec{
    .format = Format::kJpeg,
    .open = &open_jpegls,
    .longest_side = 65535,
    .wanted = &wanted,
    .make_writer = &make_writer,
};

}  // namespace zelmor::imagework

// The codec of TGA in the image backend.
#include "runtime/native/formats/tga/tga_codec.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "runtime/native/formats/tga/tga_encoding.h"
#include "runtime/native/imagework/format_codec.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/vips_picture.h"

namespace zelmor::imagework {
namespace {

SharedFrames open_tga(const SharedSource& source, const FileFacts&, const DecodeOptions& options) {
    return open_tga(source, options);
}

// Gray, colors and indices stay what they are.
void to_writable_form(VipsPicture& picture, const Encoding& encoding) {
    picture.to_srgb();  // the format has no place for a profile
    const auto own = picture.palette();
    if (!encoding.palette.empty() &&
        !std::equal(own.begin(), own.end(), encoding.palette.begin(), encoding.palette.end())) {
        picture.reduce(encoding.palette, encoding.diffuse);
    }
    if (picture.form().color != ColorModel::kIndexed) {
        const ColorModel color = picture.is_gray() ? ColorModel::kGray : ColorModel::kRgb;
        picture.to_form(form_of_8_bits(color, picture));
    }
}

void encode_tga(VipsPicture& picture, const Encoding& encoding, ByteSink& out) {
    auto tga = encoding.format.get<TgaEncoding>();
    if (tga.stamp && picture.changed_at() != 0) {
        tga.stamp->pixels.clear();  // the writer makes them of the picture as it is now
    }
    to_writable_form(picture, encoding);
    const RowsHeader header = picture.rows_header();
    std::vector<uint8_t> file;
    const auto writer = make_tga_writer(header, fitting_tga(tga, header), file);
    write_rows(picture, *writer);
    writer->finish();
    out.write_whole(to_encoded(std::move(file)));
}

}  // namespace

extern const FormatCodec kTgaCodec;
const FormatCodec kTgaCodec{
    .format = Format::kTga,
    .open = &open_tga,
    .longest_side = 65535,
    .encode = &encode_tga,
};

}  // namespace zelmor::imagework

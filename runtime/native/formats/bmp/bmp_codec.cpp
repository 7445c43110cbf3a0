// The codec of BMP in the image backend.
#include <algorithm>
#include <utility>
#include <vector>

#include "runtime/native/formats/bmp/bmp_codec.h"
#include "runtime/native/formats/bmp/bmp_encoding.h"
#include "runtime/native/imagework/format_codec.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/vips_picture.h"

namespace zelmor::imagework {
namespace {

SharedFrames open_bmp(const SharedSource& source, const FileFacts&, const DecodeOptions& options) {
    return open_bmp(source, options);
}

void write(const VipsPicture& picture, std::vector<Argb> palette, const BmpEncoding& bmp, ByteSink& out) {
    RowsHeader header = picture.rows_header();
    header.palette = std::move(palette);
    write_editable(out, [&](EditableFile& file) {
        const auto writer = make_bmp_writer(header, bmp, file);
        write_rows(picture, *writer);
        writer->finish();
    });
}

void encode_bmp(VipsPicture& picture, const Encoding& encoding, ByteSink& out) {
    const auto& wanted = encoding.format.get<BmpEncoding>();
    check_bmp_encoding(wanted);
    BmpEncoding bmp = wanted;
    const PixelForm own_form = picture.form();
    const bool is_bilevel =
        own_form.bits == 1 && !own_form.alpha && encoding.palette.empty() && bmp.compression == BmpCompression::kRgb;
    if (wanted.keeps_bilevel && is_bilevel) {
        bmp.bits_per_pixel = 1;
    }
    if (bmp.bits_per_pixel == 1 && is_bilevel && own_form.color == ColorModel::kGray && !picture.profile()) {
        return write(picture, {kBlack, kWhite}, bmp, out);
    }
    picture.to_srgb();  // the format has no place for a profile
    std::vector<Argb> palette = encoding.palette;
    if (palette.empty() && picture.palette().size() <= size_t{1} << std::min(8, bmp.bits_per_pixel)) {
        palette.assign(picture.palette().begin(), picture.palette().end());
    }
    if (bmp.bits_per_pixel != 32 && (bmp.bits_per_pixel != 16 || bmp.masks[3] == 0)) {
        picture.lose_alpha(encoding);
        for (Argb& color : palette) {
            color |= kBlack;
        }
    }
    const auto own = picture.palette();
    const bool has_palette = !own.empty() && own.size() <= size_t{1} << std::min(8, bmp.bits_per_pixel) &&
                             std::equal(own.begin(), own.end(), palette.begin(), palette.end());
    if (bmp.bits_per_pixel > 8 || !has_palette) {
        picture.to_form(form_of_8_bits(ColorModel::kRgb, picture));
        if (encoding.may_widen && bmp.bits_per_pixel <= 8 &&
            !has_at_most_colors(picture.image(), size_t{1} << bmp.bits_per_pixel)) {
            bmp = BmpEncoding{};
        }
        if (bmp.bits_per_pixel <= 8) {
            picture.reduce(palette.empty() ? picture.close_palette(1 << bmp.bits_per_pixel, false) : palette,
                           encoding.diffuse);
        }
    }
    const auto colors = picture.palette();
    write(picture, {colors.begin(), colors.end()}, bmp, out);
}

}  // namespace

extern const FormatCodec kBmpCodec;
const FormatCodec kBmpCodec{
    .format = Format::kBmp,
    .open = &open_bmp,
    .encode = &encode_bmp,
};

}  // namespace zelmor::imagework

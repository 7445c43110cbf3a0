// The codec of JPEG in the image backend.

#include "runtime/native/formats/jpeg/jpeg_codec.h"
#include "runtime/native/formats/jpeg/jpeg_encoding.h"
#include "runtime/native/imagework/companion_codec.h"
#include "runtime/native/imagework/format_codec.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/vips_picture.h"

namespace zelmor::imagework {
namespace {

// Of data that are coded in another way inside of the same markers.
const FormatCodec& jpeg_ls() {
    return companion_codec("jpegls", "JPEG-LS");
}

SharedFrames open_jpeg(const SharedSource& source, const FileFacts& facts, const DecodeOptions& options) {
    if (const auto* jpeg = settings_as<JpegEncoding>(facts); jpeg != nullptr && jpeg->is_ls) {
        return jpeg_ls().open(source, facts, options);
    } else if (jpeg != nullptr && (jpeg->is_lossless || jpeg->bits != 8)) {
        return open_coded_jpeg(source, facts, options);
    }
    return open_jpeg(source, facts, options.recovery, options.memory);
}

// The color model that the file is to have.
ColorModel model_of(const JpegEncoding& jpeg, const VipsPicture& picture, const Encoding& encoding) {
    const bool cmyk = picture.form().color == ColorModel::kCmyk;
    switch (jpeg.color) {
        case JpegColor::kGray:
            return ColorModel::kGray;
        case JpegColor::kYcc:
        case JpegColor::kRgb:
            return jpeg.is_lossless && picture.is_gray() ? ColorModel::kGray : ColorModel::kRgb;
        case JpegColor::kCmyk:
        case JpegColor::kYcck:
            // A picture that is saved as it was follows what became of its colors.
            if (cmyk || !encoding.may_widen) {
                return ColorModel::kCmyk;
            }
            break;
        case JpegColor::kAuto:
            if (cmyk) {
                return ColorModel::kCmyk;
            }
            break;
    }
    return picture.is_gray() ? ColorModel::kGray : ColorModel::kRgb;
}

void encode_jpeg(VipsPicture& picture, const Encoding& encoding, ByteSink& out) {
    const auto& jpeg = encoding.format.get<JpegEncoding>();
    picture.lose_alpha(encoding);
    if (jpeg.is_ls) {
        encode_rows(jpeg_ls(), picture, encoding, out);
        return;
    }
    const ColorModel model = model_of(jpeg, picture, encoding);
    if (const ProfileBytes& wanted = model == ColorModel::kCmyk ? encoding.cmyk_profile : encoding.rgb_profile;
        wanted != nullptr && model != ColorModel::kGray) {
        picture.to_space({model, wanted});
    }
    PixelForm form = form_of_8_bits(model, picture);
    if (jpeg.is_lossless && jpeg.bits > 8) {
        form.sample = SampleType::kUint16;
        form.bits = 16;
    }
    picture.to_form(form);
    const auto writer = jpeg.is_lossless ? make_lossless_jpeg_writer(picture.rows_header(), jpeg, out)
                                         : make_jpeg_writer(picture.rows_header(), jpeg, out);
    write_rows(picture, *writer);
    writer->finish();
}

}  // namespace

extern const FormatCodec kJpegCodec;
const FormatCodec kJpegCodec{
    .format = Format::kJpeg,
    .open = &open_jpeg,
    .longest_side = 65535,
    .encode = &encode_jpeg,
};

}  // namespace zelmor::imagework

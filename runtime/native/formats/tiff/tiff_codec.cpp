// Writing TIFF: the picture is brought to the form that the settings ask for, and its rows go to the writer.
#include <algorithm>
#include <optional>

#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/formats/tiff/tiff_pages.h"
#include "runtime/native/formats/tiff/tiff_writer.h"
#include "runtime/native/formats/tiff/writable_forms.h"
#include "runtime/native/imagework/format_codec.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/vips_picture.h"

namespace zelmor::imagework {
namespace {

bool is_opaque_tiff(std::span<const Argb> palette) {
    return std::all_of(palette.begin(), palette.end(), [](Argb color) { return color >> 24 == 0xFF; });
}

SampleType sample_type(int bits, TiffNumbers numbers) {
    if (numbers == TiffNumbers::kFloatingPoint) {
        return bits == 64 ? SampleType::kDouble : SampleType::kFloat;
    }
    const bool is_signed = numbers == TiffNumbers::kSigned;
    return bits == 32   ? (is_signed ? SampleType::kInt32 : SampleType::kUint32)
           : bits == 16 ? (is_signed ? SampleType::kInt16 : SampleType::kUint16)
                        : (is_signed ? SampleType::kInt8 : SampleType::kUint8);
}

struct ColorsAndAlpha {
    ColorModel color;
    std::optional<bool> alpha;  // absent: as the picture has it
};
ColorsAndAlpha wanted_colors(TiffColor color, ColorModel own) {
    switch (color) {
        case TiffColor::kAuto:
            break;
        case TiffColor::kBilevel:
        case TiffColor::kGray:
            return {ColorModel::kGray, false};
        case TiffColor::kGrayAlpha:
            return {ColorModel::kGray, true};
        case TiffColor::kRgb:
            return {ColorModel::kRgb, false};
        case TiffColor::kRgba:
            return {ColorModel::kRgb, true};
        case TiffColor::kIndexed:
            return {ColorModel::kIndexed, false};
        case TiffColor::kCmyk:
            return {ColorModel::kCmyk, false};
        case TiffColor::kCmyka:
            return {ColorModel::kCmyk, true};
        case TiffColor::kLab:
            return {ColorModel::kLab, std::nullopt};
    }
    return {own, std::nullopt};
}

// Indices, of as many bits as the settings say.
PixelForm to_indices(VipsPicture& picture, const TiffEncoding& tiff, const Encoding& encoding) {
    const int bits = tiff.bit_depth == 0 ? 8 : tiff.bit_depth;
    const size_t most = size_t{1} << std::min(bits, 8);
    const bool has_own = picture.form().color == ColorModel::kIndexed && is_opaque_tiff(picture.palette()) &&
                         picture.palette().size() <= most;
    if (!encoding.palette.empty() || !has_own) {
        picture.lose_alpha(encoding);
        const auto palette =
            encoding.palette.empty() ? picture.close_palette(static_cast<int>(most), false) : encoding.palette;
        if (palette.size() > most) {
            unfit("the palette has " + std::to_string(palette.size()) + " colors, and " + std::to_string(bits) +
                  " bits hold " + std::to_string(most));
        }
        picture.reduce(palette, encoding.diffuse);
    }
    PixelForm form = picture.form();
    form.bits = bits;
    return form;
}

// The form that the settings ask for.
PixelForm to_wanted_form(VipsPicture& picture, const TiffEncoding& tiff, const Encoding& encoding) {
    const bool jpeg = tiff.compression == TiffCompression::kJpeg && !tiff.of_file;
    const ColorsAndAlpha wanted = wanted_colors(tiff.color, picture.form().color);
    if (wanted.color == ColorModel::kIndexed && tiff.color == TiffColor::kIndexed) {
        return to_indices(picture, tiff, encoding);
    }
    if (wanted.color == ColorModel::kIndexed) {
        if (is_opaque_tiff(picture.palette()) && !jpeg) {
            return picture.form();
        }
        picture.to_direct();  // a TIFF palette has no transparent colors
    }
    PixelForm form = picture.form();
    form.color = wanted.color == ColorModel::kIndexed ? form.color : wanted.color;
    form.alpha = wanted.alpha.value_or(picture.has_alpha()) && !jpeg;
    const int bits = jpeg ? 8 : tiff.color == TiffColor::kBilevel ? 1 : tiff.bit_depth;
    if (bits != 0) {
        form.sample = sample_type(bits, jpeg ? TiffNumbers::kUnsigned : tiff.numbers);
        form.bits = bits;
    } else if (picture.form().color == ColorModel::kIndexed) {
        form.bits = 8;
    }
    if (!form.alpha) {
        picture.lose_alpha(encoding);
    }
    picture.to_form(form);
    return form;
}

void write_tiff_page(TiffFile& file, const TiffEncoding& tiff, VipsPicture& picture, const Encoding& encoding) {
    TiffEncoding settings = tiff;
    if (tiff.of_file) {
        settings.color = TiffColor::kAuto;
        settings.bit_depth = 0;
    }
    if (tiff.without_profile) {
        picture.to_srgb();
    }
    const PixelForm form = to_wanted_form(picture, settings, encoding);
    RowsHeader header = picture.rows_header();
    header.form.bits = form.bits;
    header.resolution = picture.resolution();  // the format wants one
    if (tiff.without_profile) {
        header.profile.reset();
    }
    // A file that tells no dots per inch stays so until the picture is given some.
    if (tiff.of_file && tiff.unit == TiffUnit::kNone) {
        if (header.resolution == kDefaultResolution) {
            header.resolution.reset();
        } else {
            settings.unit = TiffUnit::kInch;
            settings.resolution.reset();
        }
    }
    const auto page = file.add_page(header, tiff.of_file ? fitted(header, settings) : settings);
    write_rows(picture, *page);
    page->finish();
}

void encode_tiff(VipsPicture& picture, const Encoding& encoding, ByteSink& out) {
    const auto& tiff = encoding.format.get<TiffEncoding>();
    write_editable(out, [&](EditableFile& to) {
        TiffFile file(to, tiff.big_tiff, tiff.big_endian);
        write_tiff_page(file, tiff, picture, encoding);
    });
}

void encode_tiff_frames(std::span<const FrameToWrite> frames, ByteSink& out) {
    const auto& first = frames[0].encoding->format.get<TiffEncoding>();
    write_editable(out, [&](EditableFile& to) {
        TiffFile file(to, first.big_tiff, first.big_endian);
        for (const FrameToWrite& frame : frames) {
            auto tiff = frame.encoding->format.get<TiffEncoding>();
            tiff.big_tiff = first.big_tiff;
            tiff.big_endian = first.big_endian;
            check_sides(*frame.picture, Format::kTiff);
            const auto own = frame.picture->copy();
            prepare_for_encoding(*own, *frame.encoding);
            write_tiff_page(file, tiff, static_cast<VipsPicture&>(*own), *frame.encoding);
        }
    });
}

SharedFrames open_tiff(const SharedSource& source, const FileFacts&, const DecodeOptions& options) {
    return open_tiff(source, options);
}

}  // namespace

extern const FormatCodec kTiffCodec;
const FormatCodec kTiffCodec{
    .format = Format::kTiff,
    .open = &open_tiff,
    .damage_of_recovery = "has no complete row",
    .encode = &encode_tiff,
    .encode_frames = &encode_tiff_frames,
    .has_one_size = false,
};

}  // namespace zelmor::imagework

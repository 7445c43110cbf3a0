// The codec of PSD in the image backend.
#include <algorithm>
#include <span>
#include <utility>
#include <vector>

#include "runtime/native/formats/psd/psd_codec.h"
#include "runtime/native/formats/psd/psd_encoding.h"
#include "runtime/native/imagework/format_codec.h"
#include "runtime/native/imagework/pixels/whole_rows.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/vips_picture.h"
#include "runtime/native/imagework/vips/vips_support.h"

namespace zelmor::imagework {
namespace {

constexpr int kMostColors = 256;
constexpr Argb kHalf = 128;  // a color of a palette of less alpha becomes transparent, another one opaque

SharedFrames open_psd(const SharedSource& source, const FileFacts&, const DecodeOptions& options) {
    return open_psd(source, options);
}

bool has_half_transparent(std::span<const Argb> palette) {
    return std::any_of(palette.begin(), palette.end(),
                       [](Argb color) { return color >> 24 != 0 && color >> 24 != 255; });
}

// Whether an Indexed file can hold the picture as it is.
bool is_exact_as_indices(const VipsPicture& picture) {
    const PixelForm& form = picture.form();
    if (form.color == ColorModel::kIndexed) {
        return !has_half_transparent(picture.palette());
    }
    return form.color == ColorModel::kRgb && form.sample == SampleType::kUint8 &&
           has_at_most_colors(picture.image(), kMostColors) &&
           !has_half_transparent(picture.close_palette(kMostColors, true));
}

// A picture that is saved as it was follows what became of its colors; settings that still suit them hold.
PsdEncoding settings_for(const VipsPicture& picture, const Encoding& encoding, const PsdKept& kept) {
    PsdEncoding psd = encoding.format.get<PsdEncoding>();
    if (!encoding.may_widen) {
        return psd;
    }
    const auto suits = [&] {
        if (psd.color == PsdColorMode::kIndexed) {
            return is_exact_as_indices(picture);
        }
        const RowsHeader header = picture.rows_header();
        const bool has_inks = psd.color != PsdColorMode::kDuotone || kept.source != nullptr;
        return has_inks && psd_form(header, psd) == header.form;
    };
    if (!suits()) {
        psd.color = PsdColorMode::kAuto;
        psd.bits = 0;
        psd.channels = 0;
    }
    return psd;
}

// Indices of the palette of the encoding, or of the colors that suit the picture best.
void make_indexed(VipsPicture& picture, const Encoding& encoding) {
    const auto own = picture.palette();
    if (!encoding.palette.empty()) {
        if (!std::equal(own.begin(), own.end(), encoding.palette.begin(), encoding.palette.end())) {
            picture.reduce(encoding.palette, encoding.diffuse);
        }
    } else if (own.empty() || has_half_transparent(own)) {
        std::vector<Argb> palette = picture.close_palette(kMostColors, true);
        std::transform(palette.begin(), palette.end(), palette.begin(),
                       [](Argb color) { return color >> 24 < kHalf ? color & 0xFFFFFF : color | kBlack; });
        picture.reduce(palette, encoding.diffuse);
    }
}

std::vector<uint8_t> standard_colors(const RowsHeader& header, std::vector<uint8_t> rows) {
    const auto picture = read_picture(*whole_rows(header, std::move(rows)));
    picture->to_standard_colors();
    std::vector<Argb> colors(static_cast<size_t>(header.width) * static_cast<size_t>(header.height));
    picture->read_argb({0, 0, header.width, header.height}, colors);
    std::vector<uint8_t> rgb(3 * colors.size());
    from_argb(PixelForm{}, colors, rgb.data());
    return rgb;
}

void encode_psd(VipsPicture& picture, const Encoding& encoding, ByteSink& out) {
    PsdKept kept{psd_file_of(picture.origin()), false};
    const PsdEncoding psd = settings_for(picture, encoding, kept);
    const PixelForm form = psd_form(picture.rows_header(), psd);
    if (form.color == ColorModel::kIndexed) {
        make_indexed(picture, encoding);
    } else {
        if (!form.alpha) {
            picture.lose_alpha(encoding);
        }
        picture.to_form(form);
    }
    RowsHeader header = picture.rows_header();
    if (header.form.color == ColorModel::kIndexed) {
        header.form.bits = form.bits;
    }
    kept.unchanged = is_as_in_psd_file(picture.origin(), header);
    std::vector<uint8_t> file;
    const auto writer = make_psd_writer(header, psd, std::move(kept), file, &standard_colors);
    write_rows(picture, *writer);
    writer->finish();
    out.write_whole(to_encoded(std::move(file)));
}

}  // namespace

extern const FormatCodec kPsdCodec;
const FormatCodec kPsdCodec{
    .format = Format::kPsd,
    .open = &open_psd,
    .longest_side = kPsbMostSide,
    .encode = &encode_psd,
};

}  // namespace zelmor::imagework

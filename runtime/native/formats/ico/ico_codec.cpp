// The codec of icons and cursors in the image backend.
#include "runtime/native/formats/ico/ico_codec.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "runtime/native/formats/ico/ico_encoding.h"
#include "runtime/native/imagework/format_codec.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/vips_picture.h"

namespace zelmor::imagework {
namespace {

SharedFrames open_ico(const SharedSource& source, const FileFacts&, const DecodeOptions& options) {
    return open_ico(source, options);
}

// Brings the picture into the form of the entry; the rows that it then has.
RowsHeader to_entry_form(VipsPicture& picture, const IcoEntryEncoding& entry, const Encoding& encoding) {
    picture.to_srgb();
    const PixelForm form = form_of_ico_entry(entry, picture.has_alpha());
    if (form.color == ColorModel::kGray && !picture.is_gray()) {
        unfit("a PNG entry of 16 bits per pixel has gray and alpha, and the picture is not gray");
    }
    if (form.color != ColorModel::kIndexed) {
        if (!form.alpha) {
            picture.lose_alpha(encoding);
        }
        picture.to_form(form);
        return picture.rows_header();
    }
    const size_t most = size_t{1} << entry.bits_per_pixel;
    const auto own = picture.palette();
    const auto& wanted = encoding.palette;
    if (wanted.size() > most) {
        unfit("the palette has " + std::to_string(wanted.size()) + " colors, and " +
              std::to_string(entry.bits_per_pixel) + " bits hold " + std::to_string(most));
    }
    if (!wanted.empty()) {
        if (!std::equal(own.begin(), own.end(), wanted.begin(), wanted.end())) {
            picture.reduce(wanted, encoding.diffuse);
        }
    } else if (own.empty() || own.size() > most) {
        picture.to_form(form_of_8_bits(ColorModel::kRgb, picture));
        picture.reduce(picture.close_palette(static_cast<int>(most), true), encoding.diffuse);
    }
    RowsHeader header = picture.rows_header();
    header.form.bits = entry.bits_per_pixel;
    return header;
}

// A picture that is still that of an entry is written as it stands there, unless its settings are others.
void write_entry(IcoWriter& icons, VipsPicture& picture, const Encoding& encoding) {
    auto ico = encoding.format.get<IcoEncoding>();
    const FrameOrigin origin = picture.origin();
    if (const auto* file = dynamic_cast<const IcoFrames*>(origin.source.get()); file != nullptr) {
        const auto own = picture.palette();
        const auto& wanted = encoding.palette;
        const bool keeps = wanted.empty() || std::equal(own.begin(), own.end(), wanted.begin(), wanted.end());
        if (keeps && file->encoding(origin.index) == ico.entry) {
            picture.image().avg();  // reads all of it: a damaged entry is an error here as in every other format
            return icons.copy(*file, origin.index);
        }
        ico.hot_spot = file->entry(origin.index).hot_spot;
    }
    const RowsHeader header = to_entry_form(picture, ico.entry, encoding);
    const auto rows = icons.start(header, ico.entry, ico.hot_spot);
    write_rows(picture, *rows);
    rows->finish();
}

void encode_ico_frames(std::span<const FrameToWrite> frames, ByteSink& out) {
    std::vector<uint8_t> file;
    IcoWriter icons(frames[0].encoding->format.get<IcoEncoding>().kind, file);
    for (const FrameToWrite& frame : frames) {
        check_sides(*frame.picture, Format::kIco);
        const auto own = frame.picture->copy();
        prepare_for_encoding(*own, *frame.encoding);  // the origin is lost where this changes pixels
        write_entry(icons, static_cast<VipsPicture&>(*own), *frame.encoding);
    }
    icons.finish();
    out.write_whole(to_encoded(std::move(file)));
}

void encode_ico(VipsPicture& picture, const Encoding& encoding, ByteSink& out) {
    std::vector<uint8_t> file;
    IcoWriter icons(encoding.format.get<IcoEncoding>().kind, file);
    write_entry(icons, picture, encoding);
    icons.finish();
    out.write_whole(to_encoded(std::move(file)));
}

}  // namespace

extern const FormatCodec kIcoCodec;
const FormatCodec kIcoCodec{
    .format = Format::kIco,
    .open = &open_ico,
    .longest_side = 256,
    .encode = &encode_ico,
    .encode_frames = &encode_ico_frames,
    .has_one_size = false,
};

}  // namespace zelmor::imagework

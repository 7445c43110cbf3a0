// Writing PNG.
#include <algorithm>
#include <string>
#include <vector>

#include "runtime/native/formats/png/apng.h"
#include "runtime/native/formats/png/png_codec.h"
#include "runtime/native/formats/png/png_encoding.h"
#include "runtime/native/formats/png/png_frames.h"
#include "runtime/native/imagework/format_codec.h"
#include "runtime/native/imagework/pixels/single_frame.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/vips_picture.h"

namespace zelmor::imagework {

namespace {

// The form as it is; `png.bit_depth` counts for indices alone.
void write(const VipsPicture& picture, const PngEncoding& png, ByteSink& out) {
    RowsHeader header = picture.rows_header();
    if (header.form.color == ColorModel::kIndexed) {
        header.form.bits = png.bit_depth;
    }
    const auto writer = make_png_writer(header, png, out);
    write_rows(picture, *writer);
    writer->finish();
}

bool has_key(const PngKey& key, const VipsPicture& picture) {
    const RowsHeader header = picture.rows_header();
    const size_t size = header.form.pixel_size() * static_cast<size_t>(header.width);
    for (int32_t y = 0; y < header.height; y++) {
        if (!has_png_key(key, header, {row_of(picture.image(), y), size})) {
            return false;
        }
    }
    return true;
}

SharedFrames open_still(const SharedSource& source, const FileFacts& facts, const DecodeOptions& options) {
    const PngReading reading{options.recovery != Recovery::kNone, options.recovery == Recovery::kMaximal,
                             options.memory};
    return std::make_shared<const SingleFrame>(facts, [=] { return open_png(source, reading); });
}

SharedFrames open_png(const SharedSource& source, const FileFacts& facts, const DecodeOptions& options) {
    return facts.variant == Variant::kApng ? open_apng(source, options.recovery != Recovery::kNone, options.memory)
                                           : open_still(source, facts, options);
}

void encode_png(VipsPicture& picture, const Encoding& encoding, ByteSink& out) {
    const auto& wanted = encoding.format.get<PngEncoding>();
    PngEncoding png = wanted;
    png.key = {};
    if (picture.changed_at() != 0) {
        const bool indexed = picture.form().color == ColorModel::kIndexed;  // by a palette that may be another one now
        std::erase_if(png.notes, [=](const PngNote& note) {
            return note.about == PngNote::About::kUntouched || (indexed && note.about == PngNote::About::kForm);
        });
    }
    const PixelForm source = picture.form();
    if (png.color == PngColor::kAuto && source.color == ColorModel::kIndexed) {
        png.color = PngColor::kIndexed;
    }
    const bool own_palette = encoding.palette.empty() && source.color == ColorModel::kIndexed;
    const std::vector<Argb> palette =
        own_palette ? std::vector<Argb>(picture.palette().begin(), picture.palette().end()) : encoding.palette;
    if (png.color == PngColor::kIndexed && !palette.empty()) {
        if (own_palette && png.bit_depth == 0) {
            png.bit_depth = source.bits;
        }
        png.bit_depth = png.bit_depth == 0 ? 8 : png.bit_depth;
        if (!own_palette) {
            picture.reduce(palette, encoding.diffuse);
        }
        return write(picture, png, out);
    }
    const bool own_depth = png.bit_depth == 0;
    int depth = own_depth ? std::min(16, source.bits) : png.bit_depth;
    bool alpha = picture.has_alpha();
    ColorModel color = picture.is_gray() ? ColorModel::kGray : ColorModel::kRgb;
    if (png.color == PngColor::kGray || png.color == PngColor::kTruecolor) {
        picture.lose_alpha(encoding);
        alpha = false;
    }
    if (png.color == PngColor::kGrayAlpha || png.color == PngColor::kTruecolorAlpha) {
        picture.add_alpha();
        alpha = true;
    }
    if (png.color != PngColor::kAuto) {
        const bool gray = png.color == PngColor::kGray || png.color == PngColor::kGrayAlpha;
        color = gray ? ColorModel::kGray : ColorModel::kRgb;
    }
    bool indexed = png.color == PngColor::kIndexed;
    const bool gray = color == ColorModel::kGray && !alpha;
    if (indexed && depth > 8) {
        unfit("an indexed PNG has at most 8 bits per pixel");
    }
    if (depth < 8 && !gray && !indexed) {
        if (png.color != PngColor::kAuto && !own_depth) {
            unfit("PNG has no form of " + std::to_string(depth) + " bits per channel for this color type");
        }
        depth = 8;
    }
    PixelForm form;
    form.color = color;
    form.alpha = alpha;
    form.sample = depth == 16 ? SampleType::kUint16 : SampleType::kUint8;
    form.bits = gray ? depth : std::max(8, depth);
    picture.to_form(form);
    if (indexed && !(encoding.may_widen && !has_at_most_colors(picture.image(), size_t{1} << depth))) {
        picture.reduce(picture.close_palette(1 << depth, true), encoding.diffuse);
        png.bit_depth = depth;
        return write(picture, png, out);
    }
    if (png.color == PngColor::kAuto && wanted.key && alpha && has_key(*wanted.key, picture)) {
        png.key = wanted.key;
    }
    write(picture, png, out);
}

// Whether one header goes for all frames as they are.
bool of_one_form(std::span<const Picture* const> pictures) {
    const Picture& first = *pictures[0];
    const auto palette = first.palette();
    return std::all_of(pictures.begin(), pictures.end(), [&](const Picture* picture) {
        const auto own = picture->palette();
        return picture->form() == first.form() && picture->profile() == first.profile() &&
               std::equal(palette.begin(), palette.end(), own.begin(), own.end());
    });
}

void encode_png_frames(std::span<const FrameToWrite> frames, ByteSink& out) {
    const Encoding& encoding = *frames[0].encoding;
    Encoding each = encoding;
    auto& png = each.format.get<PngEncoding>();
    if (png.color == PngColor::kIndexed && each.palette.empty()) {
        throw PictureError(Failure::kEncoding, "the frames of an indexed PNG animation need one palette for all");
    }
    png.key = {};  // of one picture
    std::vector<const Picture*> pictures;
    for (const FrameToWrite& frame : frames) {
        pictures.push_back(frame.picture);
    }
    const Picture* const still = frames[0].still;
    if (still != nullptr) {
        if (still->width() != pictures[0]->width() || still->height() != pictures[0]->height()) {
            unfit("the default image has " + std::to_string(still->width()) + " by " + std::to_string(still->height()) +
                  " pixels, and the animation " + std::to_string(pictures[0]->width()) + " by " +
                  std::to_string(pictures[0]->height()));
        }
        pictures.push_back(still);
    }
    if (png.color == PngColor::kAuto && !of_one_form(pictures)) {
        const bool alpha =
            std::any_of(pictures.begin(), pictures.end(), [](const Picture* picture) { return picture->has_alpha(); });
        png.color = alpha ? PngColor::kTruecolorAlpha : PngColor::kTruecolor;
        png.bit_depth = png.bit_depth == 0 ? 8 : png.bit_depth;
    }
    ApngJoiner joiner(frames.size(), png.plays, out);
    if (still != nullptr) {
        joiner.start_still();
        still->encode(each, joiner);
    }
    for (const FrameToWrite& frame : frames) {
        const DecodedToWrite decoded(*frame.picture);
        joiner.start_frame(frame.duration);
        frame.picture->encode(each, joiner);
    }
    joiner.finish();
}

}  // namespace

extern const FormatCodec kPngCodec;
const FormatCodec kPngCodec{
    .format = Format::kPng,
    .open = &open_png,
    .open_still = &open_still,
    .encode = &encode_png,
    .encode_frames = &encode_png_frames,
};

}  // namespace zelmor::imagework

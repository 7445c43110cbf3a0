// One file of several pictures; see encode_frames.h.
#include "runtime/native/imagework/vips/encode_frames.h"

#include <algorithm>
#include <cassert>

#include "runtime/native/imagework/codecs/apng.h"
#include "runtime/native/imagework/tiff/tiff_writer.h"
#include "runtime/native/imagework/vips/encode_gif.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/vips_picture.h"
#include "runtime/native/imagework/webp/webp_codec.h"

namespace zelmor::imagework {
namespace {

void require_one_size(std::span<const FrameToWrite> frames) {
    for (const FrameToWrite& frame : frames) {
        if (frame.picture->width() != frames[0].picture->width() ||
            frame.picture->height() != frames[0].picture->height()) {
            throw PictureError(Failure::kEncoding, "the frames of an animation have to be of one size");
        }
    }
}

EncodedBytes encode_tiff_pages(std::span<const FrameToWrite> frames) {
    const auto& first = std::get<TiffEncoding>(frames[0].encoding->format);
    TiffFile file(first.big_tiff, first.big_endian);
    for (const FrameToWrite& frame : frames) {
        auto tiff = std::get<TiffEncoding>(frame.encoding->format);
        tiff.big_tiff = first.big_tiff;
        tiff.big_endian = first.big_endian;
        check_sides(*frame.picture, Format::kTiff);
        const auto own = frame.picture->copy();
        prepare_for_encoding(*own, *frame.encoding);
        write_tiff_page(file, tiff, static_cast<VipsPicture&>(*own), *frame.encoding);
    }
    return file.finish();
}

EncodedBytes encode_webp(std::span<const FrameToWrite> frames, const Encoding& encoding) {
    std::vector<uint8_t> out;
    const auto writer = make_webp_animation_writer(frames[0].picture->width(), frames[0].picture->height(),
                                                   std::get<WebpEncoding>(encoding.format), out);
    for (const FrameToWrite& frame : frames) {
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
    return to_encoded(std::move(out));
}

// Whether one header goes for all frames as they are.
bool of_one_form(std::span<const FrameToWrite> frames) {
    const Picture& first = *frames[0].picture;
    const auto palette = first.palette();
    return std::all_of(frames.begin(), frames.end(), [&](const FrameToWrite& frame) {
        const Picture& picture = *frame.picture;
        const auto own = picture.palette();
        return picture.form() == first.form() && picture.profile() == first.profile() &&
               std::equal(palette.begin(), palette.end(), own.begin(), own.end());
    });
}

EncodedBytes encode_apng(std::span<const FrameToWrite> frames, const Encoding& encoding) {
    Encoding each = encoding;
    auto& png = std::get<PngEncoding>(each.format);
    if (png.color == PngColor::kIndexed && each.palette.empty()) {
        throw PictureError(Failure::kEncoding, "the frames of an indexed PNG animation need one palette for all");
    }
    png.key = {};  // of one picture
    if (png.color == PngColor::kAuto && !of_one_form(frames)) {
        bool alpha = false;
        for (const FrameToWrite& frame : frames) {
            alpha = alpha || frame.picture->has_alpha();
        }
        png.color = alpha ? PngColor::kTruecolorAlpha : PngColor::kTruecolor;
        png.bit_depth = png.bit_depth == 0 ? 8 : png.bit_depth;
    }
    std::vector<ApngFrame> parts;
    for (const FrameToWrite& frame : frames) {
        parts.push_back({frame.picture->encode(each), frame.duration});
    }
    return joined_apng(parts, png.plays);
}

}  // namespace

EncodedBytes encode_frames(std::span<const FrameToWrite> frames) {
    assert(!frames.empty());
    const Encoding& encoding = *frames[0].encoding;
    const Format format = format_of(encoding);
    const std::string what = std::string("the frames could not be written as ") + format_name(format);
    return guarded(Failure::kEncoding, what.c_str(), [&] {
        if (format == Format::kTiff) {
            return encode_tiff_pages(frames);
        }
        if (frames.size() > 1 && format != Format::kGif) {
            require_one_size(frames);
        }
        switch (format) {
            case Format::kGif:
                return encode_gif_frames(frames);
            case Format::kWebp:
                check_sides(*frames[0].picture, format);
                return frames.size() == 1 ? frames[0].picture->encode(encoding) : encode_webp(frames, encoding);
            case Format::kPng:
                return encode_apng(frames, encoding);
            default:
                throw PictureError(Failure::kUnsupported,
                                   std::string(format_name(format)) + " holds one picture, not several");
        }
    });
}

}  // namespace zelmor::imagework

// One file of several pictures; see encode_frames.h.
#include "runtime/native/imagework/vips/encode_frames.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "runtime/native/imagework/codecs/apng.h"
#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/tiff/tiff_writer.h"
#include "runtime/native/imagework/vips/encode_gif.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/quantizer_threads.h"
#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

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

// All frames below each other, as the library takes an animation.
VImage strip_of(std::span<const FrameToWrite> frames) {
    std::vector<VImage> images;
    std::vector<int> delays;
    bool alpha = false;
    for (const FrameToWrite& frame : frames) {
        auto own = frame.picture->copy();
        prepare_for_encoding(*own, *frame.encoding);
        auto& picture = static_cast<VipsPicture&>(*own);
        picture.to_srgb();  // one profile cannot stand for several frames
        picture.to_form(form_of_8_bits(ColorModel::kRgb, picture));
        images.push_back(picture.image());
        alpha = alpha || has_alpha_band(images.back());
        delays.push_back(frame.duration);
    }
    for (VImage& image : images) {
        if (alpha) {
            image = with_alpha(image);
        }
    }
    VImage strip = VImage::arrayjoin(images, VImage::option()->set("across", 1)).copy();
    strip.set("page-height", frames[0].picture->height());
    strip.set("delay", delays);
    return strip;
}

int loops_of(const VImage& source, const std::optional<int>& wanted) {
    if (wanted) {
        return *wanted;
    }
    return source.get_typeof("loop") != 0 ? source.get_int("loop") : 0;
}

// The library has no word for the color behind the frames: it stands in the ANIM chunk, as B, G, R, A.
EncodedBytes with_webp_background(const EncodedBytes& webp, Argb background) {
    std::vector<uint8_t> bytes(webp.data.get(), webp.data.get() + webp.size);
    ByteReader in(bytes);
    for (uint64_t at = 12; in.has(at, 14);) {
        if (std::memcmp(&bytes[at], "ANIM", 4) == 0) {
            for (size_t i = 0; i < 4; i++) {
                bytes[at + 8 + i] = static_cast<uint8_t>(background >> 8 * i);
            }
            break;
        }
        const uint64_t length = in.u32(at + 4);
        at += 8 + length + (length & 1);
    }
    return to_encoded(std::move(bytes));
}

EncodedBytes encode_webp(std::span<const FrameToWrite> frames, const Encoding& encoding) {
    const auto& webp = std::get<WebpEncoding>(encoding.format);
    VImage strip = strip_of(frames);
    strip.set("loop", loops_of(static_cast<const VipsPicture&>(*frames[0].picture).image(), webp.loops));
    const EncodedBytes bytes = save_with_library(
        strip, "webpsave_buffer", VImage::option()->set("lossless", webp.lossless)->set("Q", webp.quality));
    return webp.background ? with_webp_background(bytes, *webp.background) : bytes;
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
                return encode_webp(frames, encoding);
            case Format::kPng:
                return encode_apng(frames, encoding);
            default:
                throw PictureError(Failure::kUnsupported,
                                   std::string(format_name(format)) + " holds one picture, not several");
        }
    });
}

}  // namespace zelmor::imagework

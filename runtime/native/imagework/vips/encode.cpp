// From a picture to the bytes of a file: the options of each format, put into the words of the library.
#include <algorithm>
#include <string>
#include <vector>

#include "runtime/native/imagework/codecs/bmp_codec.h"
#include "runtime/native/imagework/codecs/jpeg_segments.h"
#include "runtime/native/imagework/codecs/tiff_byte_order.h"
#include "runtime/native/imagework/frames.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/png_filter.h"
#include "runtime/native/imagework/vips/quantizer_threads.h"
#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;
using vips::VOption;

namespace zelmor::imagework {

EncodedBytes save_with_library(const VImage& image, const char* saver, VOption* options) {
    OneQuantizerThread one_thread;
    VipsBlob* blob = nullptr;
    image.call(saver, options->set("in", image)->set("buffer", &blob));
    size_t size = 0;
    const void* data = vips_blob_get(blob, &size);
    std::shared_ptr<const uint8_t> owner(static_cast<const uint8_t*>(data),
                                         [blob](const uint8_t*) { vips_area_unref(VIPS_AREA(blob)); });
    return {std::move(owner), size};
}

EncodedBytes to_encoded(std::vector<uint8_t> bytes) {
    auto owner = std::make_shared<std::vector<uint8_t>>(std::move(bytes));
    return {std::shared_ptr<const uint8_t>(owner, owner->data()), owner->size()};
}

namespace {

[[noreturn]] void unfit(const std::string& text) {
    throw PictureError(Failure::kEncoding, text);
}

// Without alpha, over the background or as it is.
VImage opaque(const VImage& image, const Encoding& encoding) {
    if (!has_alpha_band(image)) {
        return image;
    }
    VImage colors = color_bands(image);
    if (!encoding.blend_alpha) {
        return colors;
    }
    VImage flat = image.flatten(
        VImage::option()->set("background", ink(colors, encoding.background))->set("max_alpha", channel_max(image)));
    return rounded_like(flat, image);
}

VImage as_gray(const VImage& image) {
    return with_alpha_of(luma(image), image);
}

VImage as_16_bit(const VImage& image) {
    if (image.format() == VIPS_FORMAT_USHORT) {
        return image;
    }
    VipsInterpretation kind = is_gray_image(image) ? VIPS_INTERPRETATION_GREY16 : VIPS_INTERPRETATION_RGB16;
    return image.linear(257.0, 0.0).cast(VIPS_FORMAT_USHORT).copy(VImage::option()->set("interpretation", kind));
}

VImage as_cmyk(const VImage& image) {
    VImage result = as_rgb(as_8_bit(image))
                        .icc_transform("cmyk", VImage::option()->set("input_profile", "srgb")->set("embedded", true))
                        .copy();
    result.remove(VIPS_META_ICC_NAME);  // the profile is nearly a megabyte, and what readers take without one
    return result;
}

// At most 2^bits colors, as the library's quantizer picks them; no dithering, so that fewer colors stay as they are.
VImage quantized(const VImage& image, int bits) {
    EncodedBytes png = save_with_library(image, "pngsave_buffer",
                                         VImage::option()
                                             ->set("palette", true)
                                             ->set("bitdepth", bits)
                                             ->set("dither", 0.0)
                                             ->set("Q", 100)
                                             ->set("compression", 1));
    VipsBlob* blob = vips_blob_new(nullptr, png.data.get(), png.size);
    VImage result = VImage::pngload_buffer(blob).copy_memory();
    vips_area_unref(VIPS_AREA(blob));
    return result;
}

EncodedBytes encode_as(const BmpEncoding& wanted, const VImage& picture, const Encoding& encoding) {
    check_bmp_encoding(wanted);
    BmpEncoding bmp = wanted;
    if (encoding.may_widen && bmp.bits_per_pixel <= 8 &&
        !has_at_most_colors(as_8_bit(opaque(picture, encoding)), size_t{1} << bmp.bits_per_pixel)) {
        bmp = BmpEncoding{};
    }
    VImage image = as_rgb(as_8_bit(bmp.bits_per_pixel == 32 ? picture : opaque(picture, encoding)));
    if (bmp.bits_per_pixel <= 8) {
        if (encoding.palette.empty()) {
            image = color_bands(as_rgb(as_8_bit(quantized(image, bmp.bits_per_pixel))));
        } else {
            VipsPicture reduced(image);
            reduced.reduce(encoding.palette, encoding.diffuse);
            image = color_bands(as_rgb(reduced.image()));
        }
    }
    image = image.copy_memory();
    Resolution resolution{picture.xres() * 25.4, picture.yres() * 25.4};
    std::span<const uint8_t> pixels(static_cast<const uint8_t*>(image.data()),
                                    VIPS_IMAGE_SIZEOF_IMAGE(image.get_image()));
    return to_encoded(
        encode_bmp(pixels, image.width(), image.height(), image.bands(), bmp, resolution, encoding.palette));
}

EncodedBytes encode_as(const GifEncoding& gif, const VImage& picture, const Encoding& encoding) {
    VImage image = as_rgb(as_8_bit(picture)).copy();
    // Settings of the source that the library would otherwise carry over.
    for (const char* name : {"gif-palette", "n-pages", "page-height", "delay", "loop"}) {
        if (image.get_typeof(name) != 0 && !(std::string(name) == "loop" && !gif.loops)) {
            image.remove(name);
        }
    }
    if (gif.loops) {
        image.set("loop", *gif.loops);
    }
    return save_with_library(image, "gifsave_buffer",
                             VImage::option()
                                 ->set("bitdepth", encoding.may_widen ? 8 : gif.palette_bits)
                                 ->set("dither", encoding.diffuse ? 1.0 : 0.0)
                                 ->set("interlace", gif.interlaced));
}

// Whether the picture carries descriptions of its own. Without any, the library would make up some for its resolution,
// in the place of a JPEG file's own header.
bool has_metadata(const VImage& image) {
    for (const char* name : {VIPS_META_EXIF_NAME, VIPS_META_XMP_NAME, VIPS_META_IPTC_NAME, VIPS_META_ICC_NAME}) {
        if (image.get_typeof(name) != 0) {
            return true;
        }
    }
    return false;
}

EncodedBytes encode_as(const JpegEncoding& jpeg, const VImage& picture, const Encoding& encoding) {
    VImage image = as_8_bit(opaque(picture, encoding));
    switch (jpeg.color) {
        case JpegColor::kAuto:
            break;
        case JpegColor::kGray:
            image = luma(image);
            break;
        case JpegColor::kYcc:
            image = as_rgb(image);
            break;
        case JpegColor::kCmyk:
            image = as_cmyk(image);
            break;
    }
    EncodedBytes bytes = save_with_library(image, "jpegsave_buffer",
                                           VImage::option()
                                               ->set("Q", jpeg.quality)
                                               ->set("interlace", jpeg.progressive)
                                               ->set("strip", !has_metadata(image))
                                               ->set("optimize_coding", true));
    // JFIF is for gray and YCbCr; what has four channels is marked in a way of its own.
    std::optional<Resolution> jfif;
    if (image.bands() < 4) {
        jfif = Resolution{image.xres() * 25.4, image.yres() * 25.4};
    }
    return with_jpeg_segments(bytes, jfif, jpeg.comment);
}

EncodedBytes encode_as(const PngEncoding& png, const VImage& picture, const Encoding& encoding) {
    if (png.color == PngColor::kIndexed && !encoding.palette.empty()) {
        const VipsPicture source(picture);
        return encode_indexed_png(source.indices(encoding.palette, encoding.diffuse), source.width(), source.height(),
                                  encoding.palette, png, source.resolution());
    }
    VImage image = picture;
    int depth = png.bit_depth == 0 ? (picture.format() == VIPS_FORMAT_USHORT ? 16 : 8) : png.bit_depth;
    switch (png.color) {
        case PngColor::kAuto:
            break;
        case PngColor::kGray:
            image = luma(opaque(image, encoding));
            break;
        case PngColor::kTruecolor:
            image = as_rgb(opaque(image, encoding));
            break;
        case PngColor::kIndexed:
            image = as_rgb(image);
            break;
        case PngColor::kGrayAlpha:
            image = with_alpha(as_gray(image));
            break;
        case PngColor::kTruecolorAlpha:
            image = with_alpha(as_rgb(image));
            break;
    }
    bool indexed = png.color == PngColor::kIndexed;
    if (indexed && encoding.may_widen && !has_at_most_colors(as_8_bit(image), size_t{1} << std::min(depth, 8))) {
        indexed = false;
        depth = 8;
    }
    bool gray = image.bands() == 1;
    if (depth < 8 && !indexed && !gray && png.color != PngColor::kAuto) {
        unfit("PNG has no form of " + std::to_string(depth) + " bits per channel for this color type");
    }
    if (depth < 8 && !indexed && !gray) {
        depth = 8;
    }
    if (depth > 8 && indexed) {
        unfit("an indexed PNG has at most 8 bits per pixel");
    }
    image = depth == 16 ? as_16_bit(image) : as_8_bit(image);
    if (depth < 8 && gray && !indexed) {  // the library writes the lower bits of each value
        image = image.linear(((1 << depth) - 1) / 255.0, 0.0).rint().cast(VIPS_FORMAT_UCHAR);
    }
    VOption* options = VImage::option()
                           ->set("compression", png.compression_level)
                           ->set("interlace", png.interlaced)
                           ->set("filter", png_filter(png.filter))
                           ->set("bitdepth", depth);
    if (indexed) {
        options->set("palette", true)->set("dither", encoding.diffuse ? 1.0 : 0.0)->set("Q", 100);
    }
    return save_with_library(image, "pngsave_buffer", options);
}

VipsForeignTiffCompression tiff_compression(TiffCompression compression) {
    switch (compression) {
        case TiffCompression::kNone:
            break;
        case TiffCompression::kLzw:
            return VIPS_FOREIGN_TIFF_COMPRESSION_LZW;
        case TiffCompression::kDeflate:
            return VIPS_FOREIGN_TIFF_COMPRESSION_DEFLATE;
        case TiffCompression::kPackBits:
            return VIPS_FOREIGN_TIFF_COMPRESSION_PACKBITS;
        case TiffCompression::kJpeg:
            return VIPS_FOREIGN_TIFF_COMPRESSION_JPEG;
        case TiffCompression::kFax4:
            return VIPS_FOREIGN_TIFF_COMPRESSION_CCITTFAX4;
    }
    return VIPS_FOREIGN_TIFF_COMPRESSION_NONE;
}

// The numbers of compressed pixels cannot be turned around in the file.
void require_turnable(const TiffEncoding& tiff, bool wide) {
    if (tiff.big_endian && wide && tiff.compression != TiffCompression::kNone) {
        unfit("a big-endian TIFF of 16 bits per sample is written without compression only");
    }
}

VImage black_and_white(const VImage& image) {
    return as_8_bit(luma(image)) > 127;
}

EncodedBytes encode_as(const TiffEncoding& tiff, const VImage& picture, const Encoding& encoding) {
    VImage image = picture;
    bool bilevel = tiff.color == TiffColor::kBilevel;
    switch (tiff.color) {
        case TiffColor::kAuto:
            break;
        case TiffColor::kBilevel:
            image = black_and_white(opaque(image, encoding));
            break;
        case TiffColor::kGray:
            image = luma(opaque(image, encoding));
            break;
        case TiffColor::kRgb:
            image = as_rgb(opaque(image, encoding));
            break;
        case TiffColor::kRgba:
            image = with_alpha(as_rgb(image));
            break;
        case TiffColor::kCmyk:
            image = as_cmyk(opaque(image, encoding));
            break;
    }
    if (tiff.compression == TiffCompression::kFax4 && !bilevel) {
        unfit("fax compression takes pictures of one bit per pixel only");
    }
    if (tiff.compression == TiffCompression::kJpeg) {
        if (bilevel) {
            unfit("JPEG compression takes no pictures of one bit per pixel");
        }
        if (tiff.color != TiffColor::kCmyk) {
            image = as_8_bit(opaque(image, encoding));
        }
    } else if (!bilevel && tiff.color != TiffColor::kCmyk && tiff.bit_depth != 0) {
        image = tiff.bit_depth == 16 ? as_16_bit(image) : as_8_bit(image);
    }
    require_turnable(tiff, image.format() == VIPS_FORMAT_USHORT);
    bool lossless = tiff.compression == TiffCompression::kLzw || tiff.compression == TiffCompression::kDeflate;
    VOption* options =
        VImage::option()
            ->set("compression", tiff_compression(tiff.compression))
            ->set("Q", tiff.quality)
            ->set("predictor", tiff.predictor && lossless && !bilevel ? VIPS_FOREIGN_TIFF_PREDICTOR_HORIZONTAL
                                                                      : VIPS_FOREIGN_TIFF_PREDICTOR_NONE)
            ->set("bigtiff", tiff.big_tiff)
            ->set("rgbjpeg", tiff.rgb_jpeg)
            ->set("premultiply", tiff.premultiplied && has_alpha_band(image))
            ->set("miniswhite", tiff.min_is_white && image.bands() == 1)
            ->set("resunit", VIPS_FOREIGN_TIFF_RESUNIT_INCH);
    if (bilevel) {
        options->set("bitdepth", 1);
    }
    if (tiff.tile_width > 0 && tiff.tile_height > 0) {
        options->set("tile", true)->set("tile_width", tiff.tile_width)->set("tile_height", tiff.tile_height);
    }
    EncodedBytes bytes = save_with_library(image, "tiffsave_buffer", options);
    return tiff.big_endian ? as_big_endian_tiff(bytes) : bytes;
}

EncodedBytes encode_as(const WebpEncoding& webp, const VImage& picture, const Encoding&) {
    VImage image = as_rgb(as_8_bit(picture));
    // A resolution has no place in the format but there.
    bool plain = !has_metadata(image) && image.xres() == dots_per_millimeter(kDefaultResolution.horizontal) &&
                 image.yres() == dots_per_millimeter(kDefaultResolution.vertical);
    return save_with_library(
        image, "webpsave_buffer",
        VImage::option()->set("lossless", webp.lossless)->set("Q", webp.quality)->set("strip", plain));
}

// Pixels of one color become transparent.
VImage with_transparent(const VImage& image, Argb color) {
    VImage source = with_alpha(as_rgb(image));
    VImage colors = color_bands(source);
    VImage matches = (colors == ink(colors, color)).bandand();
    std::vector<double> clear = ink(source, color & 0x00FFFFFF);
    return matches.ifthenelse(clear, source);
}

}  // namespace

void check_sides(const Picture& picture, Format format) {
    const int most = format == Format::kGif || format == Format::kJpeg ? 65535
                     : format == Format::kWebp                         ? 16383
                                                                       : 0x7FFFFFFF;
    if (picture.width() > most || picture.height() > most) {
        unfit(std::string(format_name(format)) + " holds at most " + std::to_string(most) +
              " pixels to a side; the image is " + std::to_string(picture.width()) + " by " +
              std::to_string(picture.height()));
    }
}

void check_tiff_byte_order(const TiffEncoding& tiff, const Picture& picture) {
    require_turnable(tiff, tiff.bit_depth == 16 || (tiff.bit_depth == 0 && picture.bits_per_channel() == 16));
}

void VipsPicture::flatten(Argb background) {
    if (!has_alpha()) {
        return;
    }
    apply("the background could not be put in", [&] {
        Encoding encoding;
        encoding.background = background;
        return opaque(m_image, encoding);
    });
}

void VipsPicture::add_alpha() {
    apply("an alpha channel could not be added", [&] { return with_alpha(m_image); });
}

void VipsPicture::make_transparent(Argb color) {
    apply("the transparent color could not be taken out", [&] { return with_transparent(m_image, color); });
}

void prepare_for_encoding(Picture& picture, const Encoding& encoding) {
    auto& own = static_cast<VipsPicture&>(picture);
    if (encoding.resolution) {
        own.set_resolution(*encoding.resolution);
    }
    if (encoding.flatten) {
        own.flatten(*encoding.flatten);
    }
    if (encoding.transparent_color) {
        own.make_transparent(*encoding.transparent_color);
    }
    const bool reduces = format_of(encoding) == Format::kGif && !encoding.palette.empty();
    if (reduces && !(encoding.may_widen && !own.has_only(encoding.palette))) {
        own.reduce(encoding.palette, encoding.diffuse);
    }
}

EncodedBytes VipsPicture::encode(const Encoding& wanted) const {
    const Format format = format_of(wanted);
    std::string what = std::string("the image could not be written as ") + format_name(format);
    return guarded(Failure::kEncoding, what.c_str(), [&] {
        check_sides(*this, format);
        Encoding encoding = wanted;
        if (encoding.may_widen && !encoding.palette.empty() && !has_only(encoding.palette)) {
            encoding.palette.clear();
        }
        VipsPicture own(*this, Shared{});
        m_exclusive = false;
        prepare_for_encoding(own, encoding);
        return std::visit([&](const auto& kind) { return encode_as(kind, own.image(), encoding); }, encoding.format);
    });
}

}  // namespace zelmor::imagework

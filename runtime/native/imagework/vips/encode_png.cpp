// Writing PNG.
#include <algorithm>
#include <string>
#include <vector>

#include "runtime/native/imagework/codecs/png_chunks.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;
using vips::VOption;

namespace zelmor::imagework {

namespace {

VipsForeignPngFilter png_filter(PngFilter filter) {
    switch (filter) {
        case PngFilter::kNone:
            return VIPS_FOREIGN_PNG_FILTER_NONE;
        case PngFilter::kSub:
            return VIPS_FOREIGN_PNG_FILTER_SUB;
        case PngFilter::kUp:
            return VIPS_FOREIGN_PNG_FILTER_UP;
        case PngFilter::kAverage:
            return VIPS_FOREIGN_PNG_FILTER_AVG;
        case PngFilter::kPaeth:
            return VIPS_FOREIGN_PNG_FILTER_PAETH;
        case PngFilter::kAdaptive:
            break;
    }
    return VIPS_FOREIGN_PNG_FILTER_ALL;
}

// Of exactly the palette given, whose indices are the pixels. The library writes the indices as a gray picture, which
// has the same data, and the header is made to say what they are.
EncodedBytes encode_indexed(std::span<const uint8_t> indices, int32_t width, int32_t height,
                            std::span<const Argb> palette, const PngEncoding& png, Resolution resolution) {
    int depth = png.bit_depth == 0 ? 8 : png.bit_depth;
    if (depth > 8 || palette.size() > size_t{1} << depth) {
        throw PictureError(Failure::kEncoding, "a palette of " + std::to_string(palette.size()) +
                                                   " colors does not fit an indexed PNG of " + std::to_string(depth) +
                                                   " bits per pixel");
    }
    VImage image = VImage::new_from_memory(const_cast<uint8_t*>(indices.data()), indices.size(), width, height, 1,
                                           VIPS_FORMAT_UCHAR);
    image = image.copy(VImage::option()
                           ->set("interpretation", VIPS_INTERPRETATION_B_W)
                           ->set("xres", dots_per_millimeter(resolution.horizontal))
                           ->set("yres", dots_per_millimeter(resolution.vertical)));
    const EncodedBytes gray = save_with_library(image, "pngsave_buffer",
                                                VImage::option()
                                                    ->set("compression", png.compression_level)
                                                    ->set("interlace", png.interlaced)
                                                    ->set("filter", png_filter(png.filter))
                                                    ->set("bitdepth", depth));
    constexpr size_t kColorTypeAt = 9;
    std::vector<uint8_t> out;
    put_png_signature(out);
    bool has_palette = false;
    for (const PngChunk& chunk : png_chunks(gray.bytes())) {
        if (chunk.type == png_type("IHDR")) {
            std::vector<uint8_t> header(chunk.data.begin(), chunk.data.end());
            header[kColorTypeAt] = static_cast<uint8_t>(PngColor::kIndexed);
            put_png_chunk(out, chunk.type, header);
            continue;
        }
        if (chunk.type == png_type("IDAT") && !has_palette) {
            has_palette = true;
            std::vector<uint8_t> colors;
            std::vector<uint8_t> alphas;
            for (const Argb color : palette) {
                for (const int shift : {16, 8, 0}) {
                    colors.push_back(static_cast<uint8_t>(color >> shift));
                }
                alphas.push_back(static_cast<uint8_t>(color >> 24));
            }
            while (!alphas.empty() && alphas.back() == 255) {
                alphas.pop_back();
            }
            put_png_chunk(out, png_type("PLTE"), colors);
            if (!alphas.empty()) {
                put_png_chunk(out, png_type("tRNS"), alphas);
            }
        }
        put_png_chunk(out, chunk.type, chunk.data);
    }
    return to_encoded(std::move(out));
}

}  // namespace

EncodedBytes encode_as(const PngEncoding& wanted, VipsPicture& picture, const Encoding& encoding) {
    PngEncoding png = wanted;
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
        return encode_indexed(picture.indices(palette, encoding.diffuse), picture.width(), picture.height(), palette,
                              png, picture.resolution());
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
    if (indexed && encoding.may_widen && !has_at_most_colors(picture.image(), size_t{1} << std::min(depth, 8))) {
        indexed = false;
        depth = 8;
    }
    VImage image = with_profile(picture);
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

}  // namespace zelmor::imagework

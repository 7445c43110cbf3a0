// Indexed PNG of a given palette: the library writes the indices as a gray picture, which has the same data, and the
// header is made to say what they are.
#include <algorithm>

#include "runtime/native/imagework/codecs/png_chunks.h"
#include "runtime/native/imagework/vips/encode_support.h"
#include "runtime/native/imagework/vips/png_filter.h"

using vips::VImage;

namespace zelmor::imagework {

EncodedBytes encode_indexed_png(std::span<const uint8_t> indices, int32_t width, int32_t height,
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
    std::vector<uint8_t> out;
    put_png_signature(out);
    bool has_palette = false;
    for (const PngChunk& chunk : png_chunks({gray.data.get(), gray.size})) {
        if (chunk.type == png_type("IHDR")) {
            std::vector<uint8_t> header(chunk.data.begin(), chunk.data.end());
            header[9] = 3;  // the color type: indices
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

}  // namespace zelmor::imagework

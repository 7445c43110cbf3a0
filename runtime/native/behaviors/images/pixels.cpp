// Single pixels, blocks and lines of pixels, and the replacing of colors.
//
// With premultiply_components set, pixels are shown and taken with their colors already multiplied by their alpha.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/color_arrays.h"
#include "runtime/native/behaviors/images/pixel_blocks.h"
#include "runtime/native/behaviors/values/cmyk.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/imagework/limits.h"

namespace zelmor::embed {

using imagework::Argb;
using imagework::Rect;

namespace {

Argb premultiplied(Argb color) {
    const Argb alpha = color >> 24;
    const auto scaled = [&](int shift) { return ((color >> shift & 0xFF) * alpha + 127) / 255 << shift; };
    return alpha << 24 | scaled(16) | scaled(8) | scaled(0);
}

Argb straight(Argb color) {
    const Argb alpha = color >> 24;
    if (alpha == 0) {
        return 0;
    }
    const auto scaled = [&](int shift) {
        return std::min<Argb>(255, ((color >> shift & 0xFF) * 255 + alpha / 2) / alpha) << shift;
    };
    return alpha << 24 | scaled(16) | scaled(8) | scaled(0);
}

}  // namespace

size_t pixels_to_read(const imagework::Picture& picture, const Rect& area, size_t element_size) {
    const bool fits =
        area.width > 0 && area.height > 0 && area.width <= picture.width() && area.height <= picture.height();
    const size_t count = fits ? static_cast<size_t>(area.width) * static_cast<size_t>(area.height) : 0;
    if (count > static_cast<size_t>(imagework::limits::kArrayBytes) / element_size) {
        throw ManagedException("OutOfMemoryException", "The pixels of an area of " +
                                                           size_text(area.width, area.height) +
                                                           " would be larger than a managed array can be.");
    }
    return count;
}

std::vector<Argb> read_block(const ImageObject& self, const Rect& area) {
    const imagework::Picture& picture = self.picture();
    std::vector<Argb> pixels(pixels_to_read(picture, area, sizeof(Argb)));
    picture.read_argb(area, pixels);
    if (property_bool(self, "PremultiplyComponents")) {
        std::transform(pixels.begin(), pixels.end(), pixels.begin(), premultiplied);
    }
    return pixels;
}

namespace {

void require_enough(size_t pixels, const Rect& area) {
    const auto needed =
        static_cast<uint64_t>(std::max(0, area.width)) * static_cast<uint64_t>(std::max(0, area.height));
    if (pixels < needed) {
        throw_argument("There are " + std::to_string(pixels) + " pixels for an area of " +
                       size_text(area.width, area.height) + ". (Parameter 'pixels')");
    }
}

}  // namespace

void write_block(ImageObject& self, const Rect& area, std::vector<Argb> pixels) {
    require_enough(pixels.size(), area);
    if (property_bool(self, "PremultiplyComponents")) {
        std::transform(pixels.begin(), pixels.end(), pixels.begin(), straight);
    }
    self.picture().write_argb(area, pixels);
}

namespace {

void require_coordinates(const ImageObject& self, int32_t x, int32_t y) {
    const imagework::Picture& picture = self.picture();
    if (x < 0 || x >= picture.width()) {
        throw_out_of_range("x", "The value " + std::to_string(x) + " is not inside the image, which is " +
                                    std::to_string(picture.width()) + " pixels wide.");
    }
    if (y < 0 || y >= picture.height()) {
        throw_out_of_range("y", "The value " + std::to_string(y) + " is not inside the image, which is " +
                                    std::to_string(picture.height()) + " pixels high.");
    }
}

Rect line(const ImageObject& self, int32_t index) {
    const imagework::Picture& picture = self.picture();
    if (index < 0 || index >= picture.height()) {
        throw_out_of_range("scan_line_index", "The value " + std::to_string(index) + " is not one of the image's " +
                                                  std::to_string(picture.height()) + " lines.");
    }
    return {0, index, picture.width(), 1};
}

int32_t get_argb_32_pixel(ImageObject& self, int32_t x, int32_t y) {
    require_coordinates(self, x, y);
    const Argb color = self.picture().get_argb(x, y);
    return static_cast<int32_t>(property_bool(self, "PremultiplyComponents") ? premultiplied(color) : color);
}
ColorValue get_pixel(ImageObject& self, int32_t x, int32_t y) {
    return ColorValue::from_argb(static_cast<Argb>(get_argb_32_pixel(self, x, y)));
}
void set_argb_32_pixel(ImageObject& self, int32_t x, int32_t y, int32_t argb_32_color) {
    require_coordinates(self, x, y);
    const auto color = static_cast<Argb>(argb_32_color);
    self.picture().set_argb(x, y, property_bool(self, "PremultiplyComponents") ? straight(color) : color);
}
void set_pixel(ImageObject& self, int32_t x, int32_t y, const ColorValue& color) {
    set_argb_32_pixel(self, x, y, static_cast<int32_t>(color.argb));
}

Collection load_argb_32_pixels(ImageObject& self, const RectangleValue& rectangle) {
    return packed(read_block(self, rect_of(rectangle)));
}
Collection load_pixels(ImageObject& self, const RectangleValue& rectangle) {
    return boxed(read_block(self, rect_of(rectangle)));
}
void save_argb_32_pixels(ImageObject& self, const RectangleValue& rectangle, const VariantArg* pixels) {
    write_block(self, rect_of(rectangle), read_packed_colors(pixels, "pixels"));
}
void save_pixels(ImageObject& self, const RectangleValue& rectangle, const VariantArg* pixels) {
    write_block(self, rect_of(rectangle), read_colors(pixels, "pixels"));
}
Collection read_argb_32_scan_line(ImageObject& self, int32_t scan_line_index) {
    return packed(read_block(self, line(self, scan_line_index)));
}
Collection read_scan_line(ImageObject& self, int32_t scan_line_index) {
    return boxed(read_block(self, line(self, scan_line_index)));
}
void write_argb_32_scan_line(ImageObject& self, int32_t scan_line_index, const VariantArg* argb_32_pixels) {
    write_block(self, line(self, scan_line_index), read_packed_colors(argb_32_pixels, "argb_32_pixels"));
}
void write_scan_line(ImageObject& self, int32_t scan_line_index, const VariantArg* pixels) {
    write_block(self, line(self, scan_line_index), read_colors(pixels, "pixels"));
}

// ---- CMYK: the inks of a CMYK image; of others a conversion without a profile, as Color.to_cmyk() has it.

// The samples of an area, and the bytes of one of its rows.
struct SampleBlock {
    SampleBlock(const imagework::Picture& picture, const Rect& area)
        : row_size(picture.form().pixel_size() * static_cast<size_t>(std::max(0, area.width))),
          bytes(picture.form().pixel_size() * pixels_to_read(picture, area, picture.form().pixel_size())) {
        picture.read_samples(area, row_size, bytes);
    }
    size_t row_size;
    std::vector<uint8_t> bytes;
};

std::vector<CmykValue> read_cmyk_block(const ImageObject& self, const Rect& area) {
    const imagework::Picture& picture = self.picture();
    const imagework::PixelForm& form = picture.form();
    std::vector<CmykValue> result;
    if (!form.has_inks()) {
        for (const Argb color : read_block(self, area)) {
            result.push_back(cmyk_of(color));
        }
        return result;
    }
    const SampleBlock samples(picture, area);
    const size_t size = imagework::sample_size(form.sample);
    for (size_t at = 0; at < samples.bytes.size(); at += form.pixel_size()) {
        const uint8_t* high = &samples.bytes[at + size - 1];  // the upper byte of little-endian samples
        result.push_back({high[0], high[size], high[2 * size], high[3 * size]});
    }
    return result;
}

void write_cmyk_block(ImageObject& self, const Rect& area, const std::vector<CmykValue>& pixels) {
    imagework::Picture& picture = self.picture();
    const imagework::PixelForm form = picture.form();
    if (!form.has_inks()) {
        std::vector<Argb> colors;
        for (const CmykValue& color : pixels) {
            colors.push_back(argb_of(color));
        }
        return write_block(self, area, std::move(colors));
    }
    require_enough(pixels.size(), area);
    SampleBlock samples(picture, area);  // an alpha stays
    const size_t size = imagework::sample_size(form.sample);
    uint8_t* to = samples.bytes.data();
    for (size_t i = 0; i < samples.bytes.size() / form.pixel_size(); ++i, to += form.pixel_size()) {
        const CmykValue& color = pixels[i];
        const uint8_t inks[] = {color.c, color.m, color.y, color.k};
        for (size_t band = 0; band < 4; ++band) {
            std::fill_n(to + band * size, size, inks[band]);  // both bytes of 16 bits: times 257
        }
    }
    picture.write_samples(area, samples.row_size, samples.bytes);
}

Collection load_cmyk_32_pixels(ImageObject& self, const RectangleValue& rectangle) {
    return packed(read_cmyk_block(self, rect_of(rectangle)));
}
Collection load_cmyk_pixels(ImageObject& self, const RectangleValue& rectangle) {
    return boxed(read_cmyk_block(self, rect_of(rectangle)));
}
void save_cmyk_32_pixels(ImageObject& self, const RectangleValue& rectangle, const VariantArg* pixels) {
    write_cmyk_block(self, rect_of(rectangle), read_packed_cmyk(pixels, "pixels"));
}
void save_cmyk_pixels(ImageObject& self, const RectangleValue& rectangle, const VariantArg* pixels) {
    write_cmyk_block(self, rect_of(rectangle), read_cmyk(pixels, "pixels"));
}

void replace_argb(ImageObject& self, int32_t old_color_argb, uint8_t old_color_diff, int32_t new_color_argb) {
    self.change([&](imagework::Picture& picture) {
        picture.replace_color(static_cast<Argb>(old_color_argb), old_color_diff, static_cast<Argb>(new_color_argb));
    });
}
void replace_color(ImageObject& self, const ColorValue& old_color, uint8_t old_color_diff,
                   const ColorValue& new_color) {
    self.change(
        [&](imagework::Picture& picture) { picture.replace_color(old_color.argb, old_color_diff, new_color.argb); });
}
void replace_non_transparent_argb(ImageObject& self, int32_t new_color_argb) {
    self.change([&](imagework::Picture& picture) { picture.replace_rgb(static_cast<Argb>(new_color_argb)); });
}
void replace_non_transparent_colors(ImageObject& self, const ColorValue& new_color) {
    self.change([&](imagework::Picture& picture) { picture.replace_rgb(new_color.argb); });
}

using RasterImageApi = api::RasterImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&get_argb_32_pixel, RasterImageApi::call_000_GetArgb32Pixel>(),
    behavior<&get_pixel, RasterImageApi::call_000_GetPixel>(),
    behavior<&set_argb_32_pixel, RasterImageApi::call_000_SetArgb32Pixel>(),
    behavior<&set_pixel, RasterImageApi::call_000_SetPixel>(),
    behavior<&load_argb_32_pixels, RasterImageApi::call_000_LoadArgb32Pixels,
             RasterImageApi::call_000_GetDefaultArgb32Pixels>(),
    behavior<&load_pixels, RasterImageApi::call_000_LoadPixels>(),
    behavior<&save_argb_32_pixels, RasterImageApi::call_000_SaveArgb32Pixels>(),
    behavior<&save_pixels, RasterImageApi::call_000_SavePixels>(),
    behavior<&read_argb_32_scan_line, RasterImageApi::call_000_ReadArgb32ScanLine>(),
    behavior<&read_scan_line, RasterImageApi::call_000_ReadScanLine>(),
    behavior<&write_argb_32_scan_line, RasterImageApi::call_000_WriteArgb32ScanLine>(),
    behavior<&write_scan_line, RasterImageApi::call_000_WriteScanLine>(),
    behavior<&load_cmyk_32_pixels, RasterImageApi::call_000_LoadCmyk32Pixels>(),
    behavior<&load_cmyk_pixels, RasterImageApi::call_000_LoadCmykPixels>(),
    behavior<&save_cmyk_32_pixels, RasterImageApi::call_000_SaveCmyk32Pixels>(),
    behavior<&save_cmyk_pixels, RasterImageApi::call_000_SaveCmykPixels>(),
    behavior<&replace_color, RasterImageApi::call_000_ReplaceColor>(),
    behavior<&replace_argb, RasterImageApi::call_001_ReplaceColor, RasterImageApi::call_000_ReplaceArgb>(),
    behavior<&replace_non_transparent_colors, RasterImageApi::call_000_ReplaceNonTransparentColors>(),
    behavior<&replace_non_transparent_argb, RasterImageApi::call_001_ReplaceNonTransparentColors>(),
});

}  // namespace

}  // namespace zelmor::embed

// Small steps that the operations are made of; see vips_support.h.
#include "runtime/native/imagework/vips/vips_support.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>

#include "runtime/native/imagework/backend.h"
#include "runtime/native/imagework/units.h"
#include "runtime/native/imagework/vips/color_set.h"

using vips::VImage;

namespace zelmor::imagework {

std::string take_vips_error(const vips::VError& error) {
    std::string text = error.what();
    while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) {
        text.pop_back();
    }
    for (size_t at = 0; (at = text.find('\n', at)) != std::string::npos;) {
        text.replace(at, 1, "; ");
    }
    return text;
}

VImage rounded_like(const VImage& image, const VImage& like) {
    const bool exact = vips_band_format_isint(image.format()) != 0 || vips_band_format_isint(like.format()) == 0;
    VImage result = exact ? image : image.rint();
    return result.cast(like.format()).copy(VImage::option()->set("interpretation", like.interpretation()));
}

VImage color_bands(const VImage& image) {
    return has_alpha_band(image) ? image.extract_band(0, VImage::option()->set("n", image.bands() - 1)) : image;
}

VImage with_alpha_of(const VImage& colors, const VImage& from) {
    if (!has_alpha_band(from)) {
        return colors;
    }
    return colors.bandjoin(from.extract_band(from.bands() - 1));
}

VImage as_rgb(const VImage& image) {
    if (!is_gray_image(image)) {
        return image;
    }
    VImage gray = image.extract_band(0);
    VipsInterpretation kind = image.format() == VIPS_FORMAT_USHORT  ? VIPS_INTERPRETATION_RGB16
                              : image.format() == VIPS_FORMAT_UCHAR ? VIPS_INTERPRETATION_sRGB
                                                                    : VIPS_INTERPRETATION_MULTIBAND;
    VImage rgb = VImage::bandjoin({gray, gray, gray}).copy(VImage::option()->set("interpretation", kind));
    return with_alpha_of(rgb, image);
}

VImage luma(const VImage& image) {
    if (is_gray_image(image)) {
        return image.extract_band(0);
    }
    VipsInterpretation kind = image.format() == VIPS_FORMAT_USHORT  ? VIPS_INTERPRETATION_GREY16
                              : image.format() == VIPS_FORMAT_UCHAR ? VIPS_INTERPRETATION_B_W
                                                                    : VIPS_INTERPRETATION_MULTIBAND;
    VImage weights = VImage::new_matrixv(3, 1, 0.299, 0.587, 0.114);
    VImage colors = color_bands(image);
    if (colors.format() == VIPS_FORMAT_UINT) {  // which floats do not hold
        colors = colors.cast(VIPS_FORMAT_DOUBLE);
    }
    return rounded_like(colors.recomb(weights), image).copy(VImage::option()->set("interpretation", kind));
}

bool has_at_most_colors(const VImage& image, size_t most) {
    VImage memory = image.copy_memory();
    const auto* pixel = static_cast<const uint8_t*>(memory.data());
    size_t size = VIPS_IMAGE_SIZEOF_PEL(memory.get_image());
    size_t count = static_cast<size_t>(memory.width()) * static_cast<size_t>(memory.height());
    SmallSet<uint64_t> seen(most);
    for (size_t i = 0; i < count; i++, pixel += size) {
        uint64_t value = 0;
        std::memcpy(&value, pixel, size);
        if (!seen.add(value)) {
            return false;
        }
    }
    return true;
}

VImage as_8_bit(const VImage& image) {
    if (image.format() == VIPS_FORMAT_UCHAR) {
        return image;
    }
    VipsInterpretation kind = is_gray_image(image) ? VIPS_INTERPRETATION_B_W : VIPS_INTERPRETATION_sRGB;
    if (image.format() != VIPS_FORMAT_USHORT) {
        return image.linear(255.0 / channel_max(image), 0.0)
            .rint()
            .cast(VIPS_FORMAT_UCHAR)
            .copy(VImage::option()->set("interpretation", kind));
    }
    return image.cast(VIPS_FORMAT_UCHAR, VImage::option()->set("shift", true))
        .copy(VImage::option()->set("interpretation", kind));
}

std::vector<double> ink(const VImage& image, Argb color) {
    double unit = channel_max(image) / 255.0;
    double a = (color >> 24) * unit;
    double r = (color >> 16 & 0xFF) * unit;
    double g = (color >> 8 & 0xFF) * unit;
    double b = (color & 0xFF) * unit;
    double gray = 0.299 * r + 0.587 * g + 0.114 * b;
    gray = vips_band_format_isint(image.format()) ? std::rint(gray) : gray;
    switch (image.bands()) {
        case 1:
            return {gray};
        case 2:
            return {gray, a};
        case 3:
            return {r, g, b};
        default:
            return {r, g, b, a};
    }
}

void repeat_pixel(std::span<const uint8_t> pixel, int32_t count, uint8_t* row) {
    assert(!pixel.empty() && count > 0);
    const size_t size = pixel.size() * static_cast<size_t>(count);
    std::memcpy(row, pixel.data(), pixel.size());
    for (size_t filled = pixel.size(); filled < size; filled *= 2) {
        std::memcpy(row + filled, row, std::min(filled, size - filled));
    }
}

double dots_per_millimeter(double dots_per_inch) {
    constexpr double kMost = 1e6;  // one nanometer
    return std::clamp(dots_per_inch / kMillimetersPerInch, 1.0 / kMost, kMost);
}

VImage computed(const VImage& image) {
    size_t bytes_per_pixel = VIPS_IMAGE_SIZEOF_PEL(image.get_image());
    check_picture_size(image.width(), image.height(), static_cast<int>(bytes_per_pixel));
    return image.copy_memory();
}

}  // namespace zelmor::imagework

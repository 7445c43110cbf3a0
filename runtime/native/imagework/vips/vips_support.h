// Shared by all files of this folder: the library's headers, its errors as ours, and common pixel steps.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_VIPS_SUPPORT_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_VIPS_SUPPORT_H

#include <span>
#include <string>
#include <utility>
#include <vector>

#include <vips/vips8>

#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/vips/after_fork.h"

namespace zelmor::imagework {

// The text of the library's error without its line breaks.
std::string take_vips_error(const vips::VError& error);

// Runs a step of the library; its error becomes a PictureError of the kind given, behind the words given. The library's
// log of errors is emptied first: a warning of an earlier step, which did not fail, is no part of this one's error.
template <class Step>
auto guarded(Failure kind, const char* what, Step&& step) -> decltype(step()) {
    settle_after_fork();
    vips_error_clear();
    try {
        return std::forward<Step>(step)();
    } catch (const vips::VError& error) {
        std::string text = take_vips_error(error);
        throw PictureError(kind, text.empty() ? what : what + (": " + text));
    }
}

// The value of a channel that stands for all of its range: 1 of floating samples, else the greatest one.
inline double channel_max(const vips::VImage& image) {
    switch (image.format()) {
        case VIPS_FORMAT_UCHAR:
            return 255.0;
        case VIPS_FORMAT_USHORT:
            return 65535.0;
        case VIPS_FORMAT_UINT:
            return 4294967295.0;
        default:
            return 1.0;
    }
}

inline bool is_gray_image(const vips::VImage& image) {
    return image.bands() < 3;
}
inline bool has_alpha_band(const vips::VImage& image) {
    const bool cmyk = image.interpretation() == VIPS_INTERPRETATION_CMYK;
    return cmyk ? image.bands() == 5 : image.bands() == 2 || image.bands() == 4;
}

// Back from the floating point of a calculation to the form of `like`, of integers rounded and clipped.
vips::VImage rounded_like(const vips::VImage& image, const vips::VImage& like);

// The color bands without alpha.
vips::VImage color_bands(const vips::VImage& image);

// The color bands given, with the alpha of `from` if that has one.
vips::VImage with_alpha_of(const vips::VImage& colors, const vips::VImage& from);

// Gray made RGB; others as they are.
vips::VImage as_rgb(const vips::VImage& image);

// One band of luma by the weights of ITU-R BT.601, in the bit depth of the picture, without alpha.
vips::VImage luma(const vips::VImage& image);

// Whether the picture has at most so many different pixels.
bool has_at_most_colors(const vips::VImage& image, size_t most);

// A step over floating samples from 0 to 1 in place of the picture's own. The library multiplies by no alpha of 32
// bits.
template <class Step>
vips::VImage by_shares(const vips::VImage& image, Step&& step) {
    const double top = channel_max(image);
    return rounded_like(step(image.cast(VIPS_FORMAT_DOUBLE).linear(1.0 / top, 0.0)).linear(top, 0.0), image);
}

// 8 bits per channel.
vips::VImage as_8_bit(const vips::VImage& image);

// A gray or RGB color in the bands and the depth of the picture.
std::vector<double> ink(const vips::VImage& image, Argb color);

// A row of an image in memory, from the column given on.
inline uint8_t* row_of(const vips::VImage& image, int32_t y, int32_t x = 0) {
    return reinterpret_cast<uint8_t*>(VIPS_IMAGE_ADDR(image.get_image(), x, y));
}

// Fills a row with so many copies of a pixel.
void repeat_pixel(std::span<const uint8_t> pixel, int32_t count, uint8_t* row);

// Dots per inch in the library's dots per millimeter, within the range that it and the formats take.
double dots_per_millimeter(double dots_per_inch);

// All pixels computed into memory, so that errors show now and nothing of the source is kept.
vips::VImage computed(const vips::VImage& image);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_VIPS_SUPPORT_H

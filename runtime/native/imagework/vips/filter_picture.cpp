// Filters over an area of a picture. The pixels around the area count too; what lies outside the picture, each filter
// says for itself.
#include "runtime/native/imagework/vips/bilateral.h"
#include "runtime/native/imagework/vips/convolve.h"
#include "runtime/native/imagework/vips/deconvolve.h"
#include "runtime/native/imagework/vips/gray.h"
#include "runtime/native/imagework/vips/median.h"
#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

void require_window(int size) {
    if (size < 1) {
        throw PictureError(Failure::kArgument, "the window of " + std::to_string(size) + " pixels has no middle",
                           "options");
    }
}

VImage part(const VImage& image, const Rect& area) {
    return image.extract_area(area.x, area.y, area.width, area.height);
}

VImage filtered(const VImage& image, const Convolution& filter, const Rect& area) {
    return convolved(image, filter, area, has_alpha_band(image));
}

// The other filters leave the alpha as it is.

VImage filtered(const VImage& image, const Median& filter, const Rect& area) {
    require_window(filter.size);
    return with_alpha_of(median_filtered(color_bands(image), filter.size | 1, area), part(image, area));
}

VImage filtered(const VImage& image, const Bilateral& filter, const Rect& area) {
    require_window(filter.size);
    return with_alpha_of(smoothed_bilaterally(color_bands(image), filter, area), part(image, area));
}

VImage filtered(const VImage& image, const Deconvolution& filter, const Rect& area) {
    const VImage colors = filter.grayscale ? gray_of(image) : color_bands(image);
    const VImage result = deconvolved(colors, filter, area);
    return with_alpha_of(filter.grayscale && !is_gray_image(image) ? as_rgb(result) : result, part(image, area));
}

}  // namespace

void VipsPicture::filter(const Rect& area, const Filter& filter) {
    require_inside(area);
    const auto* wiener = std::get_if<Deconvolution>(&filter);
    if (wiener != nullptr && wiener->grayscale) {
        to_colors();
    } else {
        to_direct();
    }
    apply("the image could not be filtered", [&] {
        const VImage result = std::visit([&](const auto& kind) { return filtered(image(), kind, area); }, filter);
        return area.width == width() && area.height == height() ? result : image().insert(result, area.x, area.y);
    });
}

}  // namespace zelmor::imagework

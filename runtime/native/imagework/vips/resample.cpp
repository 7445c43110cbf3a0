// Resizing. The library has kernels for shrinking and interpolators for enlarging; this is what each name gets:
//
//   name          shrinking   enlarging
//   nearest       the source pixel under the center of the new one, both ways
//   bilinear      linear      bilinear
//   Catmull-Rom   cubic       bicubic      both are Catmull-Rom splines, as is Keys' cubic convolution
//   Mitchell      mitchell    bicubic
//   Lanczos       lanczos3    bicubic      the library has no windowed sine for enlarging
//   high quality  lanczos3    bicubic
//   adaptive      lanczos3    lbb          locally bounded bicubic: adapts itself to edges, at ten times the cost
//   B-spline      mitchell    vsqbs        the smoothest of each: a cubic with B = 1/3, a quadratic B-spline
#include <string>

#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

struct Method {
    VipsKernel kernel;
    const char* interpolator;
};

Method method_of(Resampling resampling) {
    switch (resampling) {
        case Resampling::kNearest:
            return {VIPS_KERNEL_NEAREST, "nearest"};
        case Resampling::kBilinear:
            return {VIPS_KERNEL_LINEAR, "bilinear"};
        case Resampling::kCatmullRom:
            return {VIPS_KERNEL_CUBIC, "bicubic"};
        case Resampling::kMitchell:
            return {VIPS_KERNEL_MITCHELL, "bicubic"};
        case Resampling::kLanczos:
            return {VIPS_KERNEL_LANCZOS3, "bicubic"};
        case Resampling::kHighQuality:
            return {VIPS_KERNEL_LANCZOS3, "bicubic"};
        case Resampling::kAdaptive:
            return {VIPS_KERNEL_LANCZOS3, "lbb"};
        case Resampling::kBSpline:
            return {VIPS_KERNEL_MITCHELL, "vsqbs"};
    }
    return {VIPS_KERNEL_LANCZOS3, "bicubic"};
}

// Looks each new pixel up at the place of its center, (x + 1/2) * old / new, rounded down without an error.
VImage nearest(const VImage& image, int32_t width, int32_t height) {
    double old_width = image.width();
    double old_height = image.height();
    VImage places = VImage::xyz(width, height)
                        .cast(VIPS_FORMAT_DOUBLE)
                        .linear({2 * old_width, 2 * old_height}, {old_width, old_height});
    places = (places / std::vector<double>{2.0 * width, 2.0 * height}).floor();
    // Whole pixels are taken, nothing is mixed: no need to weigh colors by alpha.
    return image.mapim(
        places,
        VImage::option()->set("interpolate", vips::VInterpolate::new_from_name("nearest"))->set("premultiplied", true));
}

VImage shrunk(const VImage& image, int32_t width, int32_t height, VipsKernel kernel) {
    VImage result = image;
    if (height < image.height()) {
        result = result.reducev(static_cast<double>(image.height()) / height, VImage::option()->set("kernel", kernel));
    }
    if (width < image.width()) {
        result = result.reduceh(static_cast<double>(image.width()) / width, VImage::option()->set("kernel", kernel));
    }
    return result;
}

// Enlarges so that the outer edges of both pictures meet; beyond them the edge pixels go on.
VImage enlarged(const VImage& image, int32_t width, int32_t height, const char* interpolator) {
    if (width == image.width() && height == image.height()) {
        return image;
    }
    double across = static_cast<double>(width) / image.width();
    double down = static_cast<double>(height) / image.height();
    return image.affine({across, 0, 0, down}, VImage::option()
                                                  ->set("interpolate", vips::VInterpolate::new_from_name(interpolator))
                                                  ->set("odx", across / 2 - 0.5)
                                                  ->set("ody", down / 2 - 0.5)
                                                  ->set("oarea", std::vector<int>{0, 0, width, height})
                                                  ->set("extend", VIPS_EXTEND_COPY)
                                                  ->set("premultiplied", true));
}

}  // namespace

void VipsPicture::resize(int32_t width, int32_t height, Resampling resampling) {
    check_picture_size(width, height, static_cast<int>(VIPS_IMAGE_SIZEOF_PEL(m_image.get_image())));
    if (width == m_image.width() && height == m_image.height()) {
        return;
    }
    if (resampling != Resampling::kNearest) {  // which mixes nothing
        to_direct();
    }
    Method method = method_of(resampling);
    apply("the image could not be resized", [&] {
        if (resampling == Resampling::kNearest) {
            return nearest(m_image, width, height);
        }
        // Colors are weighed by their alpha, so that transparent pixels do not bleed.
        VImage source = has_alpha() ? m_image.premultiply() : m_image;
        VImage result = enlarged(shrunk(source, width, height, method.kernel), width, height, method.interpolator);
        return rounded_like(has_alpha() ? result.unpremultiply() : result, m_image);
    });
    if (this->width() != width || this->height() != height) {
        throw PictureError(Failure::kInternal, "resizing to " + std::to_string(width) + " by " +
                                                   std::to_string(height) + " gave " + std::to_string(this->width()) +
                                                   " by " + std::to_string(this->height()));
    }
}

}  // namespace zelmor::imagework

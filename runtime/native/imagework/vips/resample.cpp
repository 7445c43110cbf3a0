// Resampling of images in memory; see resample.h.
#include "runtime/native/imagework/vips/resample.h"

#include <algorithm>

#include "runtime/native/imagework/vips/resampler.h"
#include "runtime/native/imagework/vips/strips.h"
#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

namespace zelmor::imagework {

using namespace resampling;

namespace {

template <class Work>
void run_over(const Resampler<Work>& resampler, const VImage& source, const VImage& target) {
    const size_t pixel_size = VIPS_IMAGE_SIZEOF_PEL(source.get_image());
    const OldRows old{row_of(source, 0), pixel_size * static_cast<size_t>(source.width()), pixel_size, 0};
    const size_t row_size = pixel_size * static_cast<size_t>(target.width());
    for_strips(target, resampler.rows_together(),
               [&](int begin, int end) { resampler.make(old, begin, end, row_of(target, begin), row_size); });
}

VImage by_kernel(const VImage& image, int width, int height, Resampling resampling, bool alpha) {
    if (image.width() == width && image.height() == height) {
        return image;
    }
    const VImage source = image.copy_memory();
    const Size from{source.width(), source.height()};
    const Size to{width, height};
    const Weights weights(resampling, from, to, from.width, from.height);
    const SampleForm form{source.format(), source.bands(), alpha};
    VImage target = raster_like(source, width, height, source.bands(), source.format());
    if (weights.lose_bits(source.format())) {
        run_over(weights.resampler<double>(form, from, to), source, target);
    } else {
        run_over(weights.resampler<float>(form, from, to), source, target);
    }
    return target;
}

VImage nearest(const VImage& image, int width, int height) {
    const VImage source = image.copy_memory();
    VImage target = raster_like(source, width, height, source.bands(), source.format());
    const Lookup lookup(VIPS_IMAGE_SIZEOF_PEL(source.get_image()), {source.width(), source.height()}, {width, height});
    for_strips(target, 64, [&](int begin, int end) {
        for (int y = begin; y < end; y++) {
            lookup.make(row_of(source, lookup.row(y)), row_of(target, y));
        }
    });
    return target;
}

// Enlarges by the library's locally bounded bicubic, so that the outer edges of both pictures meet.
VImage enlarged_adaptively(const VImage& image, int width, int height, bool alpha) {
    if (width == image.width() && height == image.height()) {
        return image;
    }
    if (alpha && image.format() == VIPS_FORMAT_UINT) {
        return by_shares(image,
                         [&](const VImage& shares) { return enlarged_adaptively(shares, width, height, alpha); });
    }
    const double across = static_cast<double>(width) / image.width();
    const double down = static_cast<double>(height) / image.height();
    const auto top = VImage::option()->set("max_alpha", channel_max(image));
    const VImage source = alpha ? image.premultiply(top) : image;
    const VImage result =
        source.affine({across, 0, 0, down}, VImage::option()
                                                ->set("interpolate", vips::VInterpolate::new_from_name("lbb"))
                                                ->set("odx", across / 2 - 0.5)
                                                ->set("ody", down / 2 - 0.5)
                                                ->set("oarea", std::vector<int>{0, 0, width, height})
                                                ->set("extend", VIPS_EXTEND_COPY)
                                                ->set("premultiplied", true));
    return rounded_like(alpha ? result.unpremultiply(VImage::option()->set("max_alpha", channel_max(image))) : result,
                        image);
}

}  // namespace

VImage resampled(const VImage& image, int width, int height, Resampling resampling, bool alpha) {
    switch (resampling) {
        case Resampling::kNearest:
            return nearest(image, width, height);
        case Resampling::kAdaptive:
            return enlarged_adaptively(
                by_kernel(image, std::min(width, image.width()), std::min(height, image.height()), resampling, alpha),
                width, height, alpha);
        default:
            return by_kernel(image, width, height, resampling, alpha);
    }
}

void VipsPicture::resize(int32_t width, int32_t height, Resampling resampling) {
    check_picture_size(width, height, static_cast<int>(m_form.pixel_size()));
    if (width == this->width() && height == this->height()) {
        return;
    }
    if (resampling != Resampling::kNearest) {  // which mixes nothing
        to_direct();
    }
    const bool adapts = resampling == Resampling::kAdaptive && (width > this->width() || height > this->height());
    if (m_rows != nullptr && !adapts) {
        return take_rows(DeferredRows::resized(m_rows, width, height, resampling));
    }
    apply("the image could not be resized", [&] { return resampled(image(), width, height, resampling, has_alpha()); });
}

}  // namespace zelmor::imagework

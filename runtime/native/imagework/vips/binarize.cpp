// Black and white by a threshold: fixed, found from the histogram, or taken from each pixel's neighborhood.
#include <algorithm>
#include <cmath>

#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

// The threshold between dark and light that makes both as far apart as they can be (Otsu 1979), over 256 levels.
int otsu_threshold(const VImage& gray8) {
    VImage histogram = gray8.hist_find().copy_memory();
    auto* counts = static_cast<const uint32_t*>(histogram.data());
    double total = 0;
    double sum = 0;
    for (int level = 0; level < histogram.width(); level++) {
        total += counts[level];
        sum += static_cast<double>(level) * counts[level];
    }
    double below = 0;
    double below_sum = 0;
    double best = -1;
    int threshold = 0;
    for (int level = 0; level < histogram.width(); level++) {
        below += counts[level];
        below_sum += static_cast<double>(level) * counts[level];
        double above = total - below;
        if (below == 0 || above == 0) {
            continue;
        }
        double distance = below_sum / below - (sum - below_sum) / above;
        double between = below * above * distance * distance;
        if (between > best) {
            best = between;
            threshold = level;
        }
    }
    return threshold;
}

// Sums over a square window of an odd number of pixels, cut off at the edges of the picture. A convolution with ones,
// whose approximation by boxes is exact here and takes the same time for any window.
VImage window_sums(const VImage& image, int32_t window) {
    int32_t half = window / 2;
    VImage ones = VImage::black(window, 1).linear(0.0, 1.0).copy_memory();
    ones.set("scale", 1.0 / window);  // makes the divisor of the box form one
    return image.cast(VIPS_FORMAT_DOUBLE)
        .embed(half, half, image.width() + 2 * half, image.height() + 2 * half)
        .convsep(ones,
                 VImage::option()->set("precision", VIPS_PRECISION_APPROXIMATE)->set("layers", 1)->set("cluster", 1))
        .extract_area(half, half, image.width(), image.height());
}

}  // namespace

void VipsPicture::binarize(const VImage& is_white) {
    apply("the image could not be binarized", [&] {
        VImage result = is_white.copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_B_W));
        return has_alpha() ? with_alpha_of(result, as_8_bit(m_image)) : result;
    });
}

void VipsPicture::binarize_fixed(uint8_t threshold) {
    to_colors();
    binarize(guarded(Failure::kInternal, "the image could not be binarized",
                     [&] { return as_8_bit(luma(m_image)) > threshold; }));
}

void VipsPicture::binarize_otsu() {
    to_colors();
    binarize(guarded(Failure::kInternal, "the image could not be binarized", [&] {
        VImage gray = as_8_bit(luma(m_image));
        return gray > otsu_threshold(gray);
    }));
}

void VipsPicture::binarize_bradley(double difference, int32_t window) {
    to_colors();
    window = std::min(window, 2 * std::max(width(), height())) | 1;  // a window has a middle
    binarize(guarded(Failure::kInternal, "the image could not be binarized", [&] {
        VImage gray = as_8_bit(luma(m_image));
        VImage ones = gray.linear(0.0, 1.0);
        // pixel >= mean * (1 - difference), without a division
        return gray * window_sums(ones, window) >= window_sums(gray, window) * (1.0 - difference);
    }));
}

}  // namespace zelmor::imagework

// Filters over an area of a picture. The pixels around the area count too; the picture's edge is repeated outside.
#include <algorithm>
#include <cmath>

#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

VImage matrix_of(const Kernel& kernel) {
    if (kernel.width < 1 || kernel.height < 1 || kernel.width % 2 == 0 || kernel.height % 2 == 0 ||
        kernel.weights.size() != static_cast<size_t>(kernel.width) * static_cast<size_t>(kernel.height)) {
        throw PictureError(Failure::kArgument, "a kernel has a middle and a weight for each of its places", "options");
    }
    std::vector<double> weights = kernel.weights;  // copied by the library, whose parameter does not say so
    return VImage::new_matrix(kernel.width, kernel.height, weights.data(), static_cast<int>(weights.size()));
}

// Runs a step on colors that are weighed by their alpha, so that transparent pixels do not bleed.
template <class Step>
VImage weighed(const VImage& image, Step&& step) {
    if (!has_alpha_band(image)) {
        return rounded_like(step(image.cast(VIPS_FORMAT_FLOAT)), image);
    }
    VImage source = image.premultiply(VImage::option()->set("max_alpha", channel_max(image)));
    VImage result = step(source).unpremultiply(VImage::option()->set("max_alpha", channel_max(image)));
    return rounded_like(result, image);
}

VImage filtered(const VImage& image, const Convolution& filter) {
    VImage kernel = matrix_of(filter.kernel);
    const double bias = filter.bias * channel_max(image) / 255.0;
    const auto convolved = [&](const VImage& source) {
        return source.conv(kernel, VImage::option()->set("precision", VIPS_PRECISION_FLOAT));
    };
    if (filter.factor == 1.0 && bias == 0.0) {
        return weighed(image, convolved);
    }
    // Only colors are scaled and shifted, not the alpha.
    const VImage colors = color_bands(image);
    const VImage result = convolved(colors.cast(VIPS_FORMAT_FLOAT)).linear(filter.factor, bias);
    return with_alpha_of(rounded_like(result, colors), image);
}

VImage filtered(const VImage& image, const Median& filter) {
    if (filter.size < 1) {
        throw PictureError(Failure::kArgument, "the window of " + std::to_string(filter.size) + " pixels has no middle",
                           "options");
    }
    const int size = filter.size | 1;
    const VImage colors = color_bands(image);
    const int half = size / 2;
    // The library takes windows that lie inside the picture only.
    const VImage wide = colors.embed(half, half, colors.width() + 2 * half, colors.height() + 2 * half,
                                     VImage::option()->set("extend", VIPS_EXTEND_COPY));
    const VImage result =
        wide.rank(size, size, size * size / 2).extract_area(half, half, image.width(), image.height());
    return with_alpha_of(result, image);
}

// exp(-(distance / factor) ^ power / 2), the bell of Gauss for a power of two.
double bell(double distance, double factor, double power) {
    if (distance == 0) {
        return 1;
    }
    return factor > 0 ? std::exp(-0.5 * std::pow(distance / factor, power)) : 0;
}

template <class Channel>
void smooth_bilaterally(const VImage& from, Channel* to, const Bilateral& filter) {
    const int half = filter.size / 2;
    const int bands = from.bands();
    const int width = from.width();
    const int height = from.height();
    const auto* pixels = static_cast<const Channel*>(from.data());
    const auto at = [&](int x, int y) {
        return pixels + (static_cast<size_t>(y) * static_cast<size_t>(width) + static_cast<size_t>(x)) *
                            static_cast<size_t>(bands);
    };
    std::vector<double> near;
    for (int dy = -half; dy <= half; dy++) {
        for (int dx = -half; dx <= half; dx++) {
            near.push_back(bell(std::hypot(dx, dy), filter.spatial_factor, filter.spatial_power));
        }
    }
    // By the sum of the differences of the channels, in 1/255 of their range.
    const int shift = sizeof(Channel) == 2 ? 8 : 0;
    std::vector<double> alike;
    for (int difference = 0; difference <= 255 * bands; difference++) {
        alike.push_back(bell(difference / static_cast<double>(bands), filter.color_factor, filter.color_power));
    }
    for (int y = 0; y < height; y++) {
        for (int x = 0; x < width; x++) {
            const Channel* middle = at(x, y);
            double weights = 0;
            double sums[4] = {};
            size_t place = 0;
            for (int dy = -half; dy <= half; dy++) {
                for (int dx = -half; dx <= half; dx++, place++) {
                    if (x + dx < 0 || x + dx >= width || y + dy < 0 || y + dy >= height) {
                        continue;
                    }
                    const Channel* other = at(x + dx, y + dy);
                    int difference = 0;
                    for (int band = 0; band < bands; band++) {
                        difference += std::abs((other[band] >> shift) - (middle[band] >> shift));
                    }
                    const double weight = near[place] * alike[static_cast<size_t>(difference)];
                    weights += weight;
                    for (int band = 0; band < bands; band++) {
                        sums[band] += weight * other[band];
                    }
                }
            }
            for (int band = 0; band < bands; band++) {
                *to++ = static_cast<Channel>(std::lround(sums[band] / weights));
            }
        }
    }
}

VImage filtered(const VImage& image, const Bilateral& filter) {
    if (filter.size < 1) {
        throw PictureError(Failure::kArgument, "the window of " + std::to_string(filter.size) + " pixels has no middle",
                           "options");
    }
    const VImage colors = color_bands(image).copy_memory();
    VImage result = colors.linear(1.0, 0.0).cast(colors.format()).copy_memory();
    void* to = const_cast<void*>(result.data());
    if (colors.format() == VIPS_FORMAT_USHORT) {
        smooth_bilaterally(colors, static_cast<uint16_t*>(to), filter);
    } else {
        smooth_bilaterally(colors, static_cast<uint8_t*>(to), filter);
    }
    return with_alpha_of(result.copy(VImage::option()->set("interpretation", image.interpretation())), image);
}

// In the domain of frequencies: F = G * conj(H) / (|H|^2 + noise). A transform takes the picture for one tile of an
// endless wall; mirrored by half its size on each side, the tiles meet without a step.
VImage deconvolved_band(const VImage& band, const Deconvolution& filter) {
    const Kernel& kernel = filter.blur;
    const int margin_x = std::max(kernel.width, band.width() / 2);
    const int margin_y = std::max(kernel.height, band.height() / 2);
    const VImage wide = band.embed(margin_x, margin_y, band.width() + 2 * margin_x, band.height() + 2 * margin_y,
                                   VImage::option()->set("extend", VIPS_EXTEND_MIRROR));
    double sum = 0;
    for (const double weight : kernel.weights) {
        sum += weight;
    }
    VImage spread = matrix_of(kernel)
                        .linear(1.0 / sum, 0.0)
                        .embed(0, 0, wide.width(), wide.height())
                        .wrap(VImage::option()
                                  ->set("x", wide.width() - kernel.width / 2)
                                  ->set("y", wide.height() - kernel.height / 2));
    // The library scales a transform by the number of pixels.
    const VImage blur = spread.linear(static_cast<double>(wide.width()) * wide.height(), 0.0).fwfft();
    const VImage power = (blur * blur.conj()).real() + filter.noise;
    const VImage result = (wide.fwfft() * blur.conj() / power).invfft(VImage::option()->set("real", true));
    return result.extract_area(margin_x, margin_y, band.width(), band.height());
}

VImage filtered(const VImage& image, const Deconvolution& filter) {
    const VImage colors = filter.grayscale ? luma(image) : color_bands(image);
    std::vector<VImage> bands;
    for (int band = 0; band < colors.bands(); band++) {
        bands.push_back(deconvolved_band(colors.extract_band(band).cast(VIPS_FORMAT_DOUBLE), filter));
    }
    VImage result = rounded_like(VImage::bandjoin(bands).linear(filter.brightness, 0.0), colors);
    if (filter.grayscale && !is_gray_image(image)) {
        result = as_rgb(result);
    }
    return with_alpha_of(result, image);
}

}  // namespace

void VipsPicture::filter(const Rect& area, const Filter& filter) {
    require_inside(area);
    to_direct();
    apply("the image could not be filtered", [&] {
        VImage result = std::visit([&](const auto& kind) { return filtered(m_image, kind); }, filter);
        if (area.width == width() && area.height == height()) {
            return result;
        }
        return m_image.insert(result.extract_area(area.x, area.y, area.width, area.height), area.x, area.y);
    });
}

}  // namespace zelmor::imagework

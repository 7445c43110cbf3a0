// Blurring, sharpening and the correction of red eyes. The format states what the results are like, not how they are
// computed: the first two are the bell of Gauss with half of the radius as its deviation.
#include "runtime/native/formats/metafile/player/plus_neighbors.h"

#include <algorithm>
#include <cmath>
#include <string_view>

#include "runtime/native/imagework/loader.h"

namespace zelmor::embed::metafile {

namespace {

constexpr double kMostRadius = 255;  // of the format
constexpr int32_t kLongestImage = 32767;

double radius_in(const ManagedObject& effect, const char* name) {
    const double radius = number_in(effect, name);
    return radius > 0 ? std::min(radius, kMostRadius) : 0;
}

imagework::Kernel bell(double radius) {
    const auto reach = static_cast<int>(std::ceil(radius));
    const double deviation = radius / 2;
    std::vector<double> weights;
    double sum = 0;
    for (int i = -reach; i <= reach; ++i) {
        weights.push_back(std::exp(-i * i / (2 * deviation * deviation)));
        sum += weights.back();
    }
    imagework::Kernel kernel{2 * reach + 1, 2 * reach + 1, {}};
    for (const double down : weights) {
        for (const double across : weights) {
            kernel.weights.push_back(down * across / (sum * sum));
        }
    }
    return kernel;
}

void convolve(Pixels& pixels, imagework::Kernel kernel) {
    const auto picture = image_backend().create(pixels.width, pixels.height, true, false, 0);
    const imagework::Rect all{0, 0, pixels.width, pixels.height};
    picture->write_argb(all, pixels.colors);
    picture->filter(all, imagework::Convolution{std::move(kernel)});
    picture->read_argb(all, pixels.colors);
}

// With so many transparent pixels more on each side, or fewer.
Pixels with_margin(const Pixels& from, int32_t margin) {
    Pixels to{from.width + 2 * margin, from.height + 2 * margin, {}};
    to.colors.resize(static_cast<size_t>(to.width) * static_cast<size_t>(to.height));
    for (int32_t y = std::max(margin, 0); y < to.height - std::max(margin, 0); ++y) {
        const auto in = from.colors.begin() + static_cast<ptrdiff_t>(y - margin) * from.width + std::max(-margin, 0);
        std::copy_n(in, std::min(from.width, to.width),
                    to.colors.begin() + static_cast<ptrdiff_t>(y) * to.width + std::max(margin, 0));
    }
    return to;
}

// Outside of the image nothing is: its edges become soft, and are cut off where the image is to keep its size.
int32_t blur(const ManagedObject& effect, Pixels& pixels) {
    const double radius = radius_in(effect, "BlurRadius");
    const auto margin = static_cast<int32_t>(std::ceil(radius));
    if (margin == 0 || std::max(pixels.width, pixels.height) + 2 * margin > kLongestImage) {
        return 0;
    }
    pixels = with_margin(pixels, margin);
    convolve(pixels, bell(radius));
    if (whole_in(effect, "ExpandEdge") != 0) {
        return margin;
    }
    pixels = with_margin(pixels, -margin);
    return 0;
}

// What the image has more than its blur is added once more, at an amount of 100.
void sharpen(const ManagedObject& effect, Pixels& pixels) {
    const double radius = radius_in(effect, "Radius");
    const double amount = std::clamp(number_in(effect, "Amount"), 0.0, 100.0) / 100;
    if (!(radius > 0) || !(amount > 0)) {
        return;
    }
    imagework::Kernel kernel = bell(radius);
    for (double& weight : kernel.weights) {
        weight *= -amount;
    }
    kernel.weights[kernel.weights.size() / 2] += 1 + amount;
    convolve(pixels, std::move(kernel));
}

// A pixel is that of a red eye if its red is half again as strong as the mean of the others, which it becomes.
void correct_red_eyes(const ManagedObject& effect, Pixels& pixels) {
    for (const RectD& area : rects_in(effect, "Areas")) {
        const auto inside = [](double side, int32_t most) {
            return static_cast<int32_t>(std::clamp(side, 0.0, static_cast<double>(most)));
        };
        const int32_t left = inside(area.x, pixels.width), right = inside(area.right(), pixels.width);
        for (int32_t y = inside(area.y, pixels.height); y < inside(area.bottom(), pixels.height); ++y) {
            for (int32_t x = left; x < right; ++x) {
                Argb& color =
                    pixels.colors[static_cast<size_t>(y) * static_cast<size_t>(pixels.width) + static_cast<size_t>(x)];
                const Argb others = (color >> 8 & 0xFF) + (color & 0xFF);
                if (4 * (color >> 16 & 0xFF) > 3 * others) {
                    color = (color & 0xFF00FFFF) | others / 2 << 16;
                }
            }
        }
    }
}

}  // namespace

int32_t apply_neighbor_effect(const ManagedObject& effect, Pixels& pixels) {
    const std::string_view name = effect.type().name;
    if (name == "EmfPlusBlurEffect") {
        return blur(effect, pixels);
    }
    if (name == "EmfPlusSharpenEffect") {
        sharpen(effect, pixels);
    } else if (name == "EmfPlusRedEyeCorrectionEffect") {
        correct_red_eyes(effect, pixels);
    }
    return 0;
}

}  // namespace zelmor::embed::metafile

// Filters by their options, and straightening by the lines of a text.
#include <cmath>

#include "generated/runtime/Zelmor.Imaging.ImageFilters.FilterOptions.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

namespace filters = api::ImageFilters::FilterOptions;

constexpr int64_t kMostPixels = 255;  // to a side of a kernel

double positive(const ManagedObject& options, const char* property) {
    const double value = property_double(options, property);
    if (!(value > 0.0) || std::isinf(value)) {
        throw_out_of_range(property, "The value " + to_utf8(number_text(value)) + " of " +
                                         member_name(options, property) + " is not positive.");
    }
    return value;
}

Kernel box_kernel(int side) {
    return {side, side, std::vector<double>(static_cast<size_t>(side * side), 1.0 / (side * side))};
}

// The bell of Gauss over a square; its weights add up to one.
Kernel bell_kernel(int64_t radius, double sigma) {
    const auto side = static_cast<int>(2 * radius + 1);
    Kernel kernel{side, side, {}};
    double sum = 0;
    for (int64_t y = -radius; y <= radius; y++) {
        for (int64_t x = -radius; x <= radius; x++) {
            kernel.weights.push_back(std::exp(-static_cast<double>(x * x + y * y) / (2 * sigma * sigma)));
            sum += kernel.weights.back();
        }
    }
    for (double& weight : kernel.weights) {
        weight /= sum;
    }
    return kernel;
}

// Adds the difference between the picture and its blur.
Kernel sharpening_kernel(int64_t size, double sigma) {
    Kernel kernel = bell_kernel(size / 2, sigma);
    for (double& weight : kernel.weights) {
        weight = -weight;
    }
    kernel.weights[kernel.weights.size() / 2] += 2;
    return kernel;
}

// A line of the length through the middle, softened across by the bell; the angle is clockwise from the right.
Kernel motion_kernel(int64_t length, double smooth, double angle) {
    const double turn = angle * std::acos(-1.0) / 180.0;
    const double along_x = std::cos(turn);
    const double along_y = std::sin(turn);
    const auto side = static_cast<int>(length | 1);
    const int half = side / 2;
    Kernel kernel{side, side, {}};
    double sum = 0;
    for (int y = -half; y <= half; y++) {
        for (int x = -half; x <= half; x++) {
            const double along = x * along_x + y * along_y;
            const double across = y * along_x - x * along_y;
            const double inside =
                std::min(1.0, std::max(0.0, static_cast<double>(length) / 2 + 0.5 - std::fabs(along)));
            kernel.weights.push_back(inside * std::exp(-across * across / (2 * smooth * smooth)));
            sum += kernel.weights.back();
        }
    }
    for (double& weight : kernel.weights) {
        weight /= sum;
    }
    return kernel;
}

Convolution convolution(const ManagedObject& options, Kernel kernel) {
    return {std::move(kernel), property_double(options, "Factor"), static_cast<double>(property_int(options, "Bias"))};
}
Deconvolution deconvolution(const ManagedObject& options, Kernel kernel) {
    const double brightness = positive(options, "Brightness");
    const double noise = property_double(options, "Snr");
    if (!(noise > 0.0) || std::isinf(noise)) {
        throw_out_of_range("Snr", "The value " + to_utf8(number_text(noise)) + " of " + member_name(options, "Snr") +
                                      " is not positive.");
    }
    return {std::move(kernel), noise, brightness, property_bool(options, "Grayscale")};
}

// How a filter is made from an object of options of its class.
struct FilterClass {
    const TypeName& options;
    Filter (*make)(const ManagedObject& options);
};
constexpr FilterClass kFilters[] = {
    {filters::BigRectangularFilterOptions::kType,
     [](const ManagedObject&) -> Filter { return Convolution{box_kernel(5)}; }},
    {filters::SmallRectangularFilterOptions::kType,
     [](const ManagedObject&) -> Filter { return Convolution{box_kernel(3)}; }},
    {filters::MedianFilterOptions::kType,
     [](const ManagedObject& options) -> Filter {
         return Median{static_cast<int>(ranged(options, "Size", 1, kMostPixels))};
     }},
    {filters::BilateralSmoothingFilterOptions::kType,
     [](const ManagedObject& options) -> Filter {
         return Bilateral{static_cast<int>(ranged(options, "Size", 1, kMostPixels)) | 1,
                          positive(options, "SpatialFactor"), positive(options, "SpatialPower"),
                          positive(options, "ColorFactor"), positive(options, "ColorPower")};
     }},
    {filters::GaussianBlurFilterOptions::kType,
     [](const ManagedObject& options) -> Filter {
         return convolution(options,
                            bell_kernel(ranged(options, "Radius", 1, kMostPixels / 2), positive(options, "Sigma")));
     }},
    {filters::SharpenFilterOptions::kType,
     [](const ManagedObject& options) -> Filter {
         return convolution(options,
                            sharpening_kernel(ranged(options, "Size", 3, kMostPixels), positive(options, "Sigma")));
     }},
    {filters::GaussWienerFilterOptions::kType,
     [](const ManagedObject& options) -> Filter {
         return deconvolution(options,
                              bell_kernel(ranged(options, "Radius", 1, kMostPixels / 2), positive(options, "Smooth")));
     }},
    {filters::MotionWienerFilterOptions::kType,
     [](const ManagedObject& options) -> Filter {
         return deconvolution(options, motion_kernel(ranged(options, "Length", 1, kMostPixels),
                                                     positive(options, "Smooth"), property_double(options, "Angle")));
     }},
};

Filter filter_of(const ManagedObject& options) {
    const std::string_view type = options.type().full_name;
    for (const FilterClass& known : kFilters) {
        if (type == known.options.name) {
            return known.make(options);
        }
    }
    throw_not_supported(std::string("Filtering with ") + options.type().name);
}

void filter(ImageObject& self, const RectangleValue& rectangle, Record* options) {
    self.require_live();
    if (options == nullptr) {
        throw_argument_null("options");
    }
    const Filter chosen = filter_of(*options);
    self.change([&](Picture& picture) {
        picture.filter({rectangle.x, rectangle.y, rectangle.width, rectangle.height}, chosen);
    });
}

float get_skew_angle(ImageObject& self) {
    return static_cast<float>(self.picture().skew_angle());
}
void normalize_angle(ImageObject& self, bool resize_proportionally, const ColorValue& background_color) {
    self.change([&](Picture& picture) {
        const double skew = picture.skew_angle();
        if (skew != 0) {
            picture.rotate(-skew, resize_proportionally, background_color.argb);
        }
    });
}
void normalize_angle_in_place(ImageObject& self) {
    normalize_angle(self, false, ColorValue::from_argb(self.canvas_background()));
}

// Options begin with values that do something without being too much.
template <class... Pairs>
Ref<ManagedObject> with_defaults(const TypeInfo& type, Pairs... pairs) {
    auto record = make_ref<Record>(type);
    (set_property(*record, pairs.first, Value(pairs.second)), ...);
    return record;
}
using Int = std::pair<const char*, int64_t>;
using Real = std::pair<const char*, double>;
const FactoryRegistration ZELMOR_UNNAMED(filters::ConvolutionFilterOptions::kType.name, [](const TypeInfo& type) {
    return with_defaults(type, Real("Factor", 1.0), Int("Bias", 0));
});
const FactoryRegistration ZELMOR_UNNAMED(filters::GaussianBlurFilterOptions::kType.name, [](const TypeInfo& type) {
    return with_defaults(type, Real("Factor", 1.0), Int("Bias", 0), Int("Radius", 5), Real("Sigma", 4.0));
});
const FactoryRegistration ZELMOR_UNNAMED(filters::SharpenFilterOptions::kType.name, [](const TypeInfo& type) {
    return with_defaults(type, Real("Factor", 1.0), Int("Bias", 0), Int("Size", 5), Real("Sigma", 4.0));
});
const FactoryRegistration ZELMOR_UNNAMED(filters::DeconvolutionFilterOptions::kType.name, [](const TypeInfo& type) {
    return with_defaults(type, Real("Snr", 0.007), Real("Brightness", 1.15), std::pair("Grayscale", false),
                         std::pair("IsPartialLoaded", false));
});
const FactoryRegistration ZELMOR_UNNAMED(filters::GaussWienerFilterOptions::kType.name, [](const TypeInfo& type) {
    return with_defaults(type, Real("Snr", 0.007), Real("Brightness", 1.15), std::pair("Grayscale", false),
                         std::pair("IsPartialLoaded", false), Int("Radius", 5), Real("Smooth", 2.0));
});
const FactoryRegistration ZELMOR_UNNAMED(filters::BilateralSmoothingFilterOptions::kType.name,
                                         [](const TypeInfo& type) {
                                             return with_defaults(type, Int("Size", 5), Real("SpatialFactor", 10.0),
                                                                  Real("SpatialPower", 2.0), Real("ColorFactor", 50.0),
                                                                  Real("ColorPower", 2.0));
                                         });

using RasterImageApi = api::RasterImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&filter, RasterImageApi::call_000_Filter>(),
    behavior<&get_skew_angle, RasterImageApi::call_000_GetSkewAngle>(),
    behavior<&normalize_angle_in_place, RasterImageApi::call_000_NormalizeAngle>(),
    behavior<&normalize_angle, RasterImageApi::call_001_NormalizeAngle>(),
});

}  // namespace

}  // namespace zelmor::embed

// Resizing, in all the ways that the API has of asking for it.
//
// Two kinds of ResizeType are told apart: those that resample the picture, and those that change its canvas and leave
// the picture as it is, placed by a corner or the center. Without a type, resampling is by Lanczos' kernel.
#include <algorithm>
#include <cmath>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Dicom.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Gif.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Tiff.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/arguments.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/marks.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/behaviors/images/resize_types.h"
#include "runtime/native/behaviors/images/setting_values.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

using imagework::PictureError;
using imagework::Resampling;

using api::ResizeType;

std::optional<Placement> placement_of(ResizeType type) {
    switch (type) {
        case ResizeType::kNone:
        case ResizeType::kLeftTopToLeftTop:
            return Placement{0, 0};
        case ResizeType::kRightTopToRightTop:
            return Placement{2, 0};
        case ResizeType::kRightBottomToRightBottom:
            return Placement{2, 2};
        case ResizeType::kLeftBottomToLeftBottom:
            return Placement{0, 2};
        case ResizeType::kCenterToCenter:
            return Placement{1, 1};
        default:
            return std::nullopt;
    }
}

namespace {

Resampling resampling_of(ResizeType type) {
    switch (type) {
        case ResizeType::kNearestNeighbourResample:
            return Resampling::kNearest;
        case ResizeType::kAdaptiveResample:
            return Resampling::kAdaptive;
        case ResizeType::kBilinearResample:
            return Resampling::kBilinear;
        case ResizeType::kCatmullRom:
        case ResizeType::kCubicConvolution:  // the same curve by another way
            return Resampling::kCatmullRom;
        case ResizeType::kCubicBSpline:
            return Resampling::kBSpline;
        case ResizeType::kMitchell:
            return Resampling::kMitchell;
        case ResizeType::kBell:
            return Resampling::kBell;
        case ResizeType::kSinC:
            return Resampling::kSinc;
        case ResizeType::kLanczosResample:
        case ResizeType::kHighQualityResample:
            return Resampling::kLanczos;
        default:
            break;
    }
    throw_out_of_range("resize_type", "The value " + std::to_string(number_of(type)) + " is not one of ResizeType.");
}

// Bytes of a pixel once the picture is resized: what is mixed of colors has no index.
int pixel_bytes(const imagework::Picture& picture) {
    const imagework::PixelForm& form = picture.form();
    return form.color == imagework::ColorModel::kIndexed ? static_cast<int>(sizeof(imagework::Argb))
                                                         : static_cast<int>(form.pixel_size());
}

}  // namespace

void require_resize_type(ResizeType type) {
    if (!placement_of(type)) {
        resampling_of(type);
    }
}

void ImageObject::resize_image(int32_t new_width, int32_t new_height, ResizeType resize_type) {
    resize_image(new_width, new_height, resize_type, {});
}

void ImageObject::resize_image(int32_t new_width, int32_t new_height, ResizeType resize_type,
                               const PictureChange& reduce) {
    const auto changed = [&](imagework::Picture& picture, auto&& resize) {
        const bool indexed = !picture.palette().empty();
        resize();
        if (reduce && indexed && picture.palette().empty()) {
            reduce(picture);
        }
    };
    try {
        imagework::check_picture_size(new_width, new_height, pixel_bytes(picture()));
    } catch (const PictureError& error) {
        throw_out_of_range(new_width >= new_height ? "new_width" : "new_height", error.what());
    }
    if (const auto placement = placement_of(resize_type)) {
        // A negative half is rounded down, so that growing and shrinking by the same amount is undone.
        const auto offset = [](int32_t room, int halves) { return halves == 2 ? room : halves == 1 ? room >> 1 : 0; };
        const imagework::Argb background = canvas_background();
        const auto step = [&](imagework::Picture& picture) {
            changed(picture, [&] {
                picture.place(new_width, new_height, offset(new_width - picture.width(), placement->across),
                              offset(new_height - picture.height(), placement->down), background);
            });
        };
        return change_places(*this, step, [&](drawwork::PointD pixel, const FrameSizes& sizes) {
            return drawwork::PointD{pixel.x + offset(new_width - sizes.width, placement->across),
                                    pixel.y + offset(new_height - sizes.height, placement->down)};
        });
    }
    const Resampling resampling = resampling_of(resize_type);
    const auto step = [&](imagework::Picture& picture) {
        changed(picture, [&] { picture.resize(new_width, new_height, resampling); });
    };
    // The corner of a picture stays in its corner.
    change_places(*this, step, [&](drawwork::PointD pixel, const FrameSizes& sizes) {
        return drawwork::PointD{std::floor(pixel.x * new_width / sizes.width),
                                std::floor(pixel.y * new_height / sizes.height)};
    });
}

namespace {

void resize_by_type(ImageBase& self, int32_t new_width, int32_t new_height, ResizeType resize_type) {
    self.require_live();
    require_positive(new_width, "new_width");
    require_positive(new_height, "new_height");
    self.resize_image(new_width, new_height, resize_type);
}

ResizeType type_of_settings(const Record* settings) {
    if (settings == nullptr) {
        throw_argument_null("settings");
    }
    const auto filter = property_enum<api::ImageFilterType>(*settings, "FilterType");
    if (filter != api::ImageFilterType::kNone) {
        throw_not_supported("The value " + std::to_string(number_of(filter)) + " of ImageResizeSettings.FilterType");
    }
    return property_enum<ResizeType>(*settings, "Mode");
}

// How a picture that was indexed, and has more colors once it is resized, becomes indexed again. One entry of the
// palette is kept for transparency where the picture has it.
PictureChange reduction_of(const Record& settings) {
    constexpr int64_t kMost = 256;
    const auto count = static_cast<int>(ranged(settings, "EntriesCount", 1, kMost));
    const auto method = property_enum<api::ColorQuantizationMethod>(settings, "ColorQuantizationMethod");
    if (method != api::ColorQuantizationMethod::kNone && method != api::ColorQuantizationMethod::kPopularity) {
        throw_value_not_supported(settings, "ColorQuantizationMethod", number_of(method));
    }
    const auto comparison = property_enum<api::ColorCompareMethod>(settings, "ColorCompareMethod");
    if (comparison != api::ColorCompareMethod::kEuclidian) {
        throw_value_not_supported(settings, "ColorCompareMethod", number_of(comparison));
    }
    return [count, method](imagework::Picture& picture) {
        if (method == api::ColorQuantizationMethod::kNone) {
            return picture.reduce(picture.close_palette(count, picture.has_alpha()), false);
        }
        const bool keeps_clear = picture.has_alpha() && count > 1;
        std::vector<imagework::Argb> palette = picture.frequent_palette(keeps_clear ? count - 1 : count);
        if (keeps_clear) {
            palette.push_back(0);
        }
        picture.reduce(palette, false);
    };
}

void resize_with_settings(ImageBase& self, int32_t new_width, int32_t new_height, const Record* settings) {
    self.require_live();
    const ResizeType resize_type = type_of_settings(settings);
    const PictureChange reduce = reduction_of(*settings);
    auto* image = dynamic_cast<ImageObject*>(&self);
    if (image == nullptr) {
        return resize_by_type(self, new_width, new_height, resize_type);
    }
    require_positive(new_width, "new_width");
    require_positive(new_height, "new_height");
    image->resize_image(new_width, new_height, resize_type, reduce);
}

int32_t proportional(int32_t of, int32_t to, int32_t wanted) {
    if (of <= 0) {
        throw_invalid_operation("An image without a size has no proportions.");
    }
    const double scaled = static_cast<double>(wanted) * to / of;
    return static_cast<int32_t>(std::min(2147483647.0, std::max(1.0, std::round(scaled))));
}

SizeValue live_size(ImageBase& image) {
    image.require_live();
    return {image.image_width(), image.image_height()};
}

void resize_width_proportionally(ImageBase& self, int32_t new_width, ResizeType resize_type) {
    const SizeValue size = live_size(self);
    require_positive(new_width, "new_width");
    resize_by_type(self, new_width, proportional(size.width, size.height, new_width), resize_type);
}
void resize_height_proportionally(ImageBase& self, int32_t new_height, ResizeType resize_type) {
    const SizeValue size = live_size(self);
    require_positive(new_height, "new_height");
    resize_by_type(self, proportional(size.height, size.width, new_height), new_height, resize_type);
}

constexpr ResizeType kDefaultType = ResizeType::kLanczosResample;

void resize(ImageBase& self, int32_t new_width, int32_t new_height) {
    resize_by_type(self, new_width, new_height, kDefaultType);
}
void resize_by_settings(ImageBase& self, int32_t new_width, int32_t new_height, Record* settings) {
    resize_with_settings(self, new_width, new_height, settings);
}
void resize_width(ImageBase& self, int32_t new_width) {
    resize_width_proportionally(self, new_width, kDefaultType);
}
void resize_width_by_settings(ImageBase& self, int32_t new_width, Record* settings) {
    const SizeValue size = live_size(self);
    require_positive(new_width, "new_width");
    resize_with_settings(self, new_width, proportional(size.width, size.height, new_width), settings);
}
void resize_height(ImageBase& self, int32_t new_height) {
    resize_height_proportionally(self, new_height, kDefaultType);
}
void resize_height_by_settings(ImageBase& self, int32_t new_height, Record* settings) {
    const SizeValue size = live_size(self);
    require_positive(new_height, "new_height");
    resize_with_settings(self, proportional(size.height, size.width, new_height), new_height, settings);
}

// All frames by the same factors, which bring the image to the size given; frames may be of different sizes.
void resize_proportional(ImageObject& self, int32_t new_width, int32_t new_height, ResizeType resize_type) {
    self.require_live();
    require_positive(new_width, "new_width");
    require_positive(new_height, "new_height");
    if (placement_of(resize_type)) {
        return resize_by_type(self, new_width, new_height, resize_type);
    }
    const Resampling resampling = resampling_of(resize_type);
    const double across = static_cast<double>(new_width) / self.picture().width();
    const double down = static_cast<double>(new_height) / self.picture().height();
    const auto scaled = [](int32_t side, double factor) {
        return static_cast<int32_t>(std::clamp(std::round(side * factor), 1.0, 2147483647.0));
    };
    self.change([&](imagework::Picture& picture) {
        const int32_t width = scaled(picture.width(), across);
        const int32_t height = scaled(picture.height(), down);
        imagework::check_picture_size(width, height, pixel_bytes(picture));
        picture.resize(width, height, resampling);
    });
    if (self.frame_count() < 2) {
        return;
    }
    for (const Ref<ImageObject>& frame : self.frames()) {
        frame->left = static_cast<int32_t>(std::round(frame->left * across));
        frame->top = static_cast<int32_t>(std::round(frame->top * down));
    }
}

using DicomImageApi = api::FileFormats::Dicom::DicomImage;
using GifImageApi = api::FileFormats::Gif::GifImage;
using ImageApi = api::Image;
using TiffImageApi = api::FileFormats::Tiff::TiffImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&resize_proportional, GifImageApi::call_000_ResizeProportional, GifImageApi::call_000_ResizeFullFrame,
             TiffImageApi::call_000_ResizeProportional, DicomImageApi::call_000_ResizeProportional>(),
    behavior<&resize, ImageApi::call_000_Resize>(),
    behavior<&resize_by_type, ImageApi::call_001_Resize, ImageApi::call_000_ResizeByType>(),
    behavior<&resize_by_settings, ImageApi::call_002_Resize, ImageApi::call_000_ResizeBySettings>(),
    behavior<&resize_width, ImageApi::call_000_ResizeWidthProportionally>(),
    behavior<&resize_width_proportionally, ImageApi::call_001_ResizeWidthProportionally>(),
    behavior<&resize_width_by_settings, ImageApi::call_002_ResizeWidthProportionally,
             ImageApi::call_000_ResizeWidthProportionallySettings>(),
    behavior<&resize_height, ImageApi::call_000_ResizeHeightProportionally>(),
    behavior<&resize_height_proportionally, ImageApi::call_001_ResizeHeightProportionally>(),
    behavior<&resize_height_by_settings, ImageApi::call_002_ResizeHeightProportionally,
             ImageApi::call_000_ResizeHeightProportionallySettings>(),
});

}  // namespace

}  // namespace zelmor::embed

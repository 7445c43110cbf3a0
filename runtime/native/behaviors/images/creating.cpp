// Creating an empty image for a format, and the calculations of sizes that need no image.
#include "runtime/native/behaviors/images/creating.h"

#include <cassert>
#include <cmath>

#include "generated/runtime/Zelmor.Imaging.Sources.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/arguments.h"
#include "runtime/native/behaviors/images/encoding_options.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/option_rules.h"
#include "runtime/native/behaviors/images/registries.h"
#include "runtime/native/behaviors/streams/sources.h"
#include "runtime/native/behaviors/vector/vector_image.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/files.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/imagework/loader.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

// The pixels of a new image of the format: in the form in which it will be written. Colors without a palette, which is
// chosen at the end, are true colors until then.
NewPixels pixels_for(const Encoding& encoding) {
    const FormatMembers* members = members_of(format_of(encoding));
    assert(members != nullptr);
    return members->new_pixels(encoding.format);
}

// Where the new image will be written: a file of its source, or the stream of its source, or nowhere yet.
void set_target(ImageBase& image, const Record& options) {
    const Ref<ManagedObject> source = property_object(options, "Source");
    if (!source) {
        return;
    }
    const std::string_view type = source->type().full_name;
    if (type == api::Sources::FileCreateSource::kType.name) {
        std::string path = file_path_of(property_string(*source, "FilePath"), "file_path");
        require_writable_target(path);
        image.target_path = absolute_path(std::move(path));
        image.delete_target = property_bool(*source, "IsTemporal");
        return;
    }
    if (type == api::Sources::StreamSource::kType.name) {
        const Ref<ManagedObject> stream = property_object(*source, "Stream");
        if (stream) {
            image.target_stream = Ref<ManagedStream>(&cast_object<ManagedStream>(*stream));
            image.dispose_target_stream = ends_stream_with_image(*source);
        }
        return;
    }
    throw_not_supported("Creating an image over a " + std::string(source->type().name));
}

}  // namespace

PixelForm form_of_new_image(const Encoding& encoding) {
    return pixels_for(encoding).form;
}

int bits_per_pixel_of(const Encoding& encoding) {
    return pixels_for(encoding).bits;
}

namespace {

Ref<ImageObject> blank_image(const Encoding& encoding, int32_t width, int32_t height, FileFacts facts) {
    require_positive(width, "width");
    require_positive(height, "height");
    NewPixels pixels = pixels_for(encoding);
    if (!encoding.palette.empty()) {
        pixels.form = pixel_form(ColorModel::kIndexed, false);
        while (pixels.form.bits > 1 && encoding.palette.size() <= size_t{1} << pixels.form.bits / 2) {
            pixels.form.bits /= 2;
        }
    }
    try {
        check_picture_size(width, height, static_cast<int>(pixels.form.pixel_size()));
    } catch (const PictureError& error) {
        throw_out_of_range(width >= height ? "width" : "height", error.what());
    }
    facts.format = format_of(encoding);
    facts.readable = true;
    facts.width = width;
    facts.height = height;
    facts.bits_per_pixel = pixels.bits;
    facts.has_alpha = pixels.form.alpha;
    facts.encoding = encoding.format;
    require_registered(Trade::kCreating, file_format_of(facts));
    require_uninterrupted();
    // The pixels of an image with a palette begin with its first color.
    auto picture = image_backend().create(width, height, pixels.form, pixels.form.alpha ? 0 : kBlack, encoding.palette);
    if (encoding.resolution) {
        picture->set_resolution(*encoding.resolution);
    }
    auto image = make_ref<ImageObject>(std::move(picture), std::move(facts));
    return image;
}

}  // namespace

Ref<ImageObject> new_image(const Encoding& encoding, int32_t width, int32_t height) {
    return blank_image(encoding, width, height, {});
}

Ref<ImageObject> create_image(Record* image_options, int32_t width, int32_t height) {
    const FileFormat format = file_format_of_options(required_options(image_options, "image_options"));
    FileFacts facts;
    facts.variant = variant_of(format);
    auto image = blank_image(encoding_of_options(*image_options), width, height, std::move(facts));
    if (const FormatMembers* members = members_of(image->facts().format); members->take_creation != nullptr) {
        members->take_creation(*image, *image_options);
    }
    set_target(*image, *image_options);
    return image;
}

Ref<ImageBase> create_any_image(Record* image_options, int32_t width, int32_t height) {
    const FileFormat format = file_format_of_options(required_options(image_options, "image_options"));
    const FormatClasses* classes = classes_of(format);
    if (classes == nullptr ||
        !is_assignable(require_type(api::VectorImage::kType.name), require_type(classes->image.name))) {
        return Ref<ImageBase>(create_image(image_options, width, height));
    }
    require_registered(Trade::kCreating, format);
    require_effective_options(*image_options, true);
    Ref<VectorImageObject> image = make_vector_image(classes->image.name, width, height);
    image->set_image_format(format);
    set_target(*image, *image_options);
    return Ref<ImageBase>(image);
}

namespace {

int32_t proportional(int32_t wanted, int32_t of, int32_t to) {
    const double scaled = static_cast<double>(wanted) * to / of;
    if (scaled > 2147483647.0) {
        throw ManagedException("OverflowException", "The proportional size is too large.");
    }
    return std::max(1, static_cast<int32_t>(std::lround(scaled)));
}
int32_t get_proportional_width(int32_t width, int32_t height, int32_t new_height) {
    require_positive(width, "width");
    require_positive(height, "height");
    require_positive(new_height, "new_height");
    return proportional(width, height, new_height);
}
int32_t get_proportional_height(int32_t width, int32_t height, int32_t new_width) {
    require_positive(width, "width");
    require_positive(height, "height");
    require_positive(new_width, "new_width");
    return proportional(height, width, new_width);
}

// The part of a rectangle that lies inside a picture of the size given.
RectangleValue get_fitting_rectangle(const RectangleValue& rectangle, int32_t width, int32_t height) {
    require_positive(width, "width");
    require_positive(height, "height");
    const int64_t left = std::max<int64_t>(0, rectangle.x);
    const int64_t top = std::max<int64_t>(0, rectangle.y);
    const int64_t right = std::min<int64_t>(width, int64_t{rectangle.x} + rectangle.width);
    const int64_t bottom = std::min<int64_t>(height, int64_t{rectangle.y} + rectangle.height);
    if (right <= left || bottom <= top) {
        throw_argument("The rectangle has no part inside the area of " + size_text(width, height) +
                       " pixels. (Parameter 'rectangle')");
    }
    return {static_cast<int32_t>(left), static_cast<int32_t>(top), static_cast<int32_t>(right - left),
            static_cast<int32_t>(bottom - top)};
}
RectangleValue get_fitting_rectangle_of_pixels(const RectangleValue& rectangle, const VariantArg* pixels, int32_t width,
                                               int32_t height) {
    const size_t count = read_array<int32_t>(pixels, "pixels").size();
    const RectangleValue fitting = get_fitting_rectangle(rectangle, width, height);
    if (static_cast<int64_t>(count) < int64_t{fitting.width} * fitting.height) {
        throw_argument("There are " + std::to_string(count) + " pixels for a rectangle of " +
                       size_text(fitting.width, fitting.height) + ". (Parameter 'pixels')");
    }
    return fitting;
}

using ImageApi = api::Image;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&create_any_image, ImageApi::call_000_Create>(),
    behavior<&get_proportional_width, ImageApi::call_000_GetProportionalWidth>(),
    behavior<&get_proportional_height, ImageApi::call_000_GetProportionalHeight>(),
    behavior<&get_fitting_rectangle, ImageApi::call_000_GetFittingRectangle>(),
    behavior<&get_fitting_rectangle_of_pixels, ImageApi::call_001_GetFittingRectangle>(),
});

}  // namespace

}  // namespace zelmor::embed

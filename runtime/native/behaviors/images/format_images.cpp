// Making images of one format; see format_images.h.
#include "runtime/native/behaviors/images/format_images.h"

#include "runtime/native/behaviors/images/creating.h"
#include "runtime/native/behaviors/images/frame_members.h"
#include "runtime/native/behaviors/images/frames.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/images/palettes.h"
#include "runtime/native/behaviors/metadata/image_metadata.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

using imagework::Encoding;
using imagework::Format;
using imagework::Variant;

using Path = std::optional<std::u16string>;

Encoding encoding_of(imagework::FormatEncoding format) {
    Encoding encoding;
    encoding.format = std::move(format);
    return encoding;
}

// The image itself where it is of the format and nothing else is asked of it; otherwise a copy in the format.
Ref<ImageObject> as_format(const Ref<ImageObject>& image, const Encoding& encoding, bool keeps_settings,
                           const AdaptPicture& adapt) {
    const Format format = imagework::format_of(encoding);
    if (keeps_settings && image->facts().format == format && image->facts().variant == Variant::kUsual) {
        return image;
    }
    auto picture = image->picture().copy();
    if (adapt) {
        adapt(*picture);
    }
    imagework::FileFacts facts = facts_of_picture(format, *picture, bits_per_pixel_of(encoding));
    facts.encoding = encoding.format;
    if (encoding.resolution) {
        picture->set_resolution(*encoding.resolution);
    }
    auto result = make_ref<ImageObject>(std::move(picture), std::move(facts));
    result->offer_palette(image->offered_palette());
    carry_metadata(*image, *result);
    return result;
}
Ref<ImageObject> of_path(const Path& path, const Encoding& encoding, bool keeps_settings) {
    return as_format(image_of_file(path, nullptr, "path"), encoding, keeps_settings);
}
Ref<ImageObject> of_stream(const Ref<ManagedStream>& stream, const Encoding& encoding, bool keeps_settings) {
    return as_format(image_of_stream(stream, nullptr), encoding, keeps_settings);
}
Ref<ImageObject> of_image(ImageObject* raster_image, const Encoding& encoding) {
    return as_format(Ref<ImageObject>(&required_image(raster_image, "raster_image")), encoding, false);
}

}  // namespace zelmor::embed

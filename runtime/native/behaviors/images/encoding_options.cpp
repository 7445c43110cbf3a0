// The settings that an image is saved with, from save options or from the image alone; see encoding_options.h.
#include "runtime/native/behaviors/images/encoding_options.h"

#include <cassert>
#include <cmath>

#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/option_rules.h"
#include "runtime/native/behaviors/images/palettes.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

const FormatMembers& members_of_encoding(const Encoding& encoding) {
    const FormatMembers* members = members_of(format_of(encoding));
    assert(members != nullptr);
    return *members;
}

bool is_indexed(const Encoding& encoding) {
    const FormatMembers& members = members_of_encoding(encoding);
    return members.is_indexed != nullptr && members.is_indexed(encoding.format);
}

}  // namespace

Format format_of_options(const ManagedObject& options) {
    const FormatClasses* known = classes_of(file_format_of_options(options));
    return known != nullptr ? known->codec : Format::kUnknown;
}

Encoding encoding_of_options(const ManagedObject& options, bool of_drawing) {
    Encoding encoding;
    const FormatMembers* known = members_of(format_of_options(options));
    if (known == nullptr || known->settings == nullptr) {
        throw_not_supported(std::string("Saving with ") + options.type().name);
    }
    encoding.format = known->settings(options);
    require_effective_options(options, of_drawing);
    if (const Ref<PaletteObject> palette = palette_property(options, "Palette")) {
        if (!is_indexed(encoding)) {
            throw_not_supported("A palette in " + std::string(options.type().name) +
                                " for a form of the format that has no indexed colors");
        }
        encoding.palette = palette->entries;
    }
    if (const FormatMembers& members = members_of_encoding(encoding); members.take_options != nullptr) {
        members.take_options(options, encoding);
    }
    if (has_property(options, "PreblendAlphaIfPresent")) {
        encoding.blend_alpha = property_bool(options, "PreblendAlphaIfPresent");
    }
    if (const Ref<ManagedObject> setting = property_object(options, "ResolutionSettings")) {
        const Resolution resolution{property_double(*setting, "HorizontalResolution"),
                                    property_double(*setting, "VerticalResolution")};
        for (const double value : {resolution.horizontal, resolution.vertical}) {
            if (!(value > 0.0) || std::isinf(value)) {
                throw_out_of_range("ResolutionSettings", "The resolution " + to_utf8(number_text(value)) +
                                                             " is no positive number of dots per inch.");
            }
        }
        encoding.resolution = resolution;
    }
    return encoding;
}

namespace {

Encoding completed(const ImageObject& image, Encoding encoding) {
    encoding.background = image.flat_background();
    if (!encoding.transparent_color) {
        encoding.transparent_color = image.transparent_color();
    }
    if (const FormatMembers& members = members_of_encoding(encoding); members.complete != nullptr) {
        members.complete(image, encoding.format);
    }
    return encoding;
}

}  // namespace

Encoding encoding_for(const ImageObject& image, const ManagedObject& options) {
    Encoding encoding = encoding_of_options(options, image.is_drawn);
    const bool wants_transparent_color =
        has_property(options, "HasTransparentColor") && property_bool(options, "HasTransparentColor");
    if (wants_transparent_color && !encoding.transparent_color && !image.picture().has_alpha()) {
        throw_not_supported(
            "GifOptions.HasTransparentColor without a GifOptions.BackgroundColor that is to be "
            "transparent, for an image without transparent pixels,");
    }
    return completed(image, std::move(encoding));
}

int32_t usual_duration(const ImageObject& image, const ManagedObject* options) {
    if (options != nullptr && has_property(*options, "DefaultFrameTime")) {
        return static_cast<int32_t>(property_int(*options, "DefaultFrameTime"));
    }
    if (has_property(image, "DefaultFrameTime")) {
        if (const int64_t time = property_int(image, "DefaultFrameTime")) {
            return static_cast<int32_t>(time);
        }
    }
    return 100;
}

Encoding encoding_for(const ImageObject& page, Format format, const ImageObject& image) {
    const FileFacts& facts = page.facts();
    Encoding encoding = default_encoding(format);
    encoding.may_widen = true;
    const FormatMembers& members = members_of_encoding(encoding);
    if (facts.format == format && facts.encoding) {
        encoding.format = *facts.encoding;
        if (members.renew != nullptr) {
            members.renew(encoding.format);
        }
    } else if (members.suit != nullptr) {
        members.suit(encoding.format, page);
    }
    if (is_indexed(encoding)) {
        encoding.palette = page.palette();
    }
    if (members.take_image != nullptr) {
        members.take_image(image, encoding);
    }
    return completed(image, encoding);
}

}  // namespace zelmor::embed

// Color profiles: colors between RGB and CMYK by the image library's own profiles, sRGB and a CMYK of offset print, and
// the profiles of a JpegImage, which say what its numbers mean.
//
// Conversions of single colors by the profiles of a caller have no behavior here.
#include "runtime/native/behaviors/images/color_profiles.h"

#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg.h"
#include "generated/runtime/Zelmor.Imaging.Sources.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/color_arrays.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/values/cmyk.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/imagework/loader.h"

namespace zelmor::embed {

using imagework::Argb;

imagework::ProfileBytes profile_property(const ManagedObject& object, std::string_view name) {
    const Ref<ManagedObject> source = property_object(object, name);
    if (!source) {
        return nullptr;
    }
    const Ref<ManagedObject> held = property_object(*source, "Stream");
    if (!held) {
        return nullptr;
    }
    const Ref<ManagedStream> stream(&cast_object<ManagedStream>(*held));
    const int64_t before = stream->can_seek() ? stream->position() : 0;
    if (stream->can_seek()) {
        stream->set_position(0);
    }
    const std::vector<std::byte> bytes = stream->read_to_end();
    if (stream->can_seek()) {
        stream->set_position(before);
    }
    if (bytes.empty()) {
        throw_argument("The stream of the color profile is empty. (Parameter '" + std::string(name) + "')");
    }
    const auto* data = reinterpret_cast<const uint8_t*>(bytes.data());
    return std::make_shared<const std::vector<uint8_t>>(data, data + bytes.size());
}

void take_target_profiles(const ManagedObject& object, std::string_view rgb_name, std::string_view cmyk_name,
                          imagework::Encoding& encoding) {
    if (auto profile = profile_property(object, rgb_name)) {
        encoding.rgb_profile = std::move(profile);
    }
    if (auto profile = profile_property(object, cmyk_name)) {
        encoding.cmyk_profile = std::move(profile);
    }
}

namespace {

// ---- JpegImage: the profile of the file counts, unless it has none or is to be ignored.

using JpegImageApi = api::FileFormats::Jpeg::JpegImage;

void give_meaning(ImageObject& self) {
    imagework::Picture& picture = self.picture();
    const bool inks = picture.form().color == imagework::ColorModel::kCmyk;
    const imagework::ProfileBytes embedded = self.embedded_profile();
    const bool ignored = embedded == nullptr || property_bool(self, "IgnoreEmbeddedColorProfile");
    picture.set_profile(ignored ? profile_property(self, inks ? "CmykColorProfile" : "RgbColorProfile") : embedded);
}
Ref<ManagedObject> rgb_profile(ImageObject& self) {
    self.require_live();
    return property_object(self, "RgbColorProfile");
}
Ref<ManagedObject> cmyk_profile(ImageObject& self) {
    self.require_live();
    return property_object(self, "CmykColorProfile");
}
bool ignores_embedded(ImageObject& self) {
    self.require_live();
    return property_bool(self, "IgnoreEmbeddedColorProfile");
}
void set_profile(ImageObject& self, const char* name, Record* value) {
    self.embedded_profile();  // remembered before it is replaced
    const Ref<ManagedObject> before = property_object(self, name);
    set_property(self, name, Ref<ManagedObject>(value));
    try {
        give_meaning(self);
    } catch (...) {
        set_property(self, name, before);
        throw;
    }
}
void set_rgb_profile(ImageObject& self, Record* value) {
    set_profile(self, "RgbColorProfile", value);
}
void set_cmyk_profile(ImageObject& self, Record* value) {
    set_profile(self, "CmykColorProfile", value);
}
void set_ignores_embedded(ImageObject& self, bool value) {
    self.embedded_profile();
    set_property(self, "IgnoreEmbeddedColorProfile", value);
    give_meaning(self);
}

const BehaviorTable profile_table({
    property<&rgb_profile, &set_rgb_profile, JpegImageApi::property_RgbColorProfile>(),
    property<&cmyk_profile, &set_cmyk_profile, JpegImageApi::property_CmykColorProfile>(),
    property<&ignores_embedded, &set_ignores_embedded, JpegImageApi::property_IgnoreEmbeddedColorProfile>(),
});

// ---- The conversions themselves, many colors at once.

std::vector<CmykValue> cmyk_of(const std::vector<Argb>& colors) {
    std::vector<uint8_t> bytes(4 * colors.size());
    if (!colors.empty()) {
        image_backend().argb_to_cmyk(colors, bytes);
    }
    std::vector<CmykValue> result(colors.size());
    for (size_t i = 0; i < result.size(); ++i) {
        result[i] = {bytes[4 * i], bytes[4 * i + 1], bytes[4 * i + 2], bytes[4 * i + 3]};
    }
    return result;
}

std::vector<Argb> argb_of(const std::vector<CmykValue>& colors) {
    std::vector<uint8_t> bytes;
    bytes.reserve(4 * colors.size());
    for (const CmykValue& color : colors) {
        bytes.insert(bytes.end(), {color.c, color.m, color.y, color.k});
    }
    std::vector<Argb> result(colors.size());
    if (!colors.empty()) {
        image_backend().cmyk_to_argb(bytes, result);
    }
    return result;
}

CmykValue cmyk_of_one(Argb color) {
    return cmyk_of(std::vector<Argb>{color}).front();
}
Argb argb_of_one(CmykValue color) {
    return argb_of(std::vector<CmykValue>{color}).front();
}

// ---- Color and CmykColor.

CmykValue color_to_cmyk(const ColorValue& pixel) {
    return cmyk_of_one(pixel.argb);
}
Collection colors_to_cmyk(const VariantArg* pixels) {
    return boxed(cmyk_of(read_colors(pixels, "pixels")));
}
ColorValue cmyk_to_color(const CmykValue& cmyk_pixel) {
    return ColorValue::from_argb(argb_of_one(cmyk_pixel));
}
Collection cmyk_to_colors(const VariantArg* cmyk_pixels) {
    return boxed(argb_of(read_cmyk(cmyk_pixels, "cmyk_pixels")));
}

// ---- CmykColorHelper, where CMYK is packed into an integer.

Collection helper_to_colors(const VariantArg* cmyk_pixels) {
    return boxed(argb_of(read_packed_cmyk(cmyk_pixels, "cmyk_pixels")));
}
ColorValue helper_to_color(int32_t cmyk_pixel) {
    return ColorValue::from_argb(argb_of_one(unpacked_cmyk(cmyk_pixel)));
}
Collection helper_from_colors(const VariantArg* pixels) {
    return packed(cmyk_of(read_colors(pixels, "pixels")));
}
Collection helper_from_argb(const VariantArg* pixels) {
    return packed(cmyk_of(read_packed_colors(pixels, "pixels")));
}
int32_t helper_from_color(const ColorValue& pixel) {
    return packed_cmyk(cmyk_of_one(pixel.argb));
}
int32_t helper_from_argb_one(int32_t argb) {
    return packed_cmyk(cmyk_of_one(static_cast<Argb>(argb)));
}

using CmykColorApi = api::CmykColor;
using CmykColorHelperApi = api::CmykColorHelper;
using ColorApi = api::Color;

const BehaviorTable table({
    behavior<&color_to_cmyk, ColorApi::call_000_ToCmykIcc, ColorApi::call_000_ToCmykColorWithDefIcc>(),
    behavior<&colors_to_cmyk, ColorApi::call_001_ToCmykIcc, ColorApi::call_000_ToCmykColorsWithDefIcc>(),
    behavior<&cmyk_to_colors, CmykColorApi::call_000_ToColorIcc, CmykColorApi::call_000_ToColorsWithDefIcc>(),
    behavior<&cmyk_to_color, CmykColorApi::call_001_ToColorIcc, CmykColorApi::call_000_ToColorWithDefIcc>(),
    behavior<&helper_to_colors, CmykColorHelperApi::call_000_ToArgbIcc,
             CmykColorHelperApi::call_000_ToArgbColorsWithDefIcc>(),
    behavior<&helper_to_color, CmykColorHelperApi::call_002_ToArgbIcc,
             CmykColorHelperApi::call_000_ToArgbColorWithDefIcc>(),
    behavior<&helper_from_colors, CmykColorHelperApi::call_002_ToCmykIcc,
             CmykColorHelperApi::call_000_ToCmykArrayWithDefIcc>(),
    behavior<&helper_from_argb, CmykColorHelperApi::call_003_ToCmykIcc,
             CmykColorHelperApi::call_000_Argb32ToCmykArray>(),
    behavior<&helper_from_color, CmykColorHelperApi::call_004_ToCmykIcc,
             CmykColorHelperApi::call_000_ToCmykWithDefIcc>(),
    behavior<&helper_from_argb_one, CmykColorHelperApi::call_005_ToCmykIcc,
             CmykColorHelperApi::call_000_Argb32ToCmyk>(),
});

}  // namespace

}  // namespace zelmor::embed

// Color profiles in the streams of a caller, and those of a JpegImage, which say what its numbers mean.
#include "runtime/native/behaviors/images/color_profiles.h"

#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg.h"
#include "generated/runtime/Zelmor.Imaging.Sources.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

imagework::ProfileBytes profile_property(const ManagedObject& object, std::string_view name) {
    const Ref<ManagedObject> source = property_object(object, name);
    if (!source) {
        return nullptr;
    }
    const Ref<ManagedObject> held = property_object(*source, "Stream");
    if (!held) {
        return nullptr;
    }
    return profile_in(Ref<ManagedStream>(&cast_object<ManagedStream>(*held)), name);
}

imagework::ProfileBytes profile_in(const Ref<ManagedStream>& stream, std::string_view parameter) {
    const int64_t before = stream->can_seek() ? stream->position() : 0;
    if (stream->can_seek()) {
        stream->set_position(0);
    }
    const std::vector<std::byte> bytes = stream->read_to_end();
    if (stream->can_seek()) {
        stream->set_position(before);
    }
    if (bytes.empty()) {
        throw_argument("The stream of the color profile is empty. (Parameter '" + std::string(parameter) + "')");
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

const BehaviorTable ZELMOR_UNNAMED({
    property<&rgb_profile, &set_rgb_profile, JpegImageApi::property_RgbColorProfile>(),
    property<&cmyk_profile, &set_cmyk_profile, JpegImageApi::property_CmykColorProfile>(),
    property<&ignores_embedded, &set_ignores_embedded, JpegImageApi::property_IgnoreEmbeddedColorProfile>(),
});

}  // namespace

}  // namespace zelmor::embed

// Conversion of colors; see color_profiles.h.
//
// The color management library is used directly, with the profiles of the image library: that one sets a conversion
// up anew for each image, which takes tens of milliseconds, too much for a single color.
#include "runtime/native/imagework/vips/color_profiles.h"

#include <lcms2.h>

#include "runtime/native/imagework/vips/vips_support.h"

namespace zelmor::imagework {
namespace {

cmsHPROFILE open_profile(const char* name) {
    VipsBlob* blob = nullptr;
    if (vips_profile_load(name, &blob, nullptr) != 0 || blob == nullptr) {
        vips_error_clear();
        throw PictureError(Failure::kInternal, std::string("the color profile '") + name + "' cannot be loaded");
    }
    size_t size = 0;
    const void* data = vips_blob_get(blob, &size);
    cmsHPROFILE profile = cmsOpenProfileFromMem(data, static_cast<cmsUInt32Number>(size));
    vips_area_unref(VIPS_AREA(blob));
    if (profile == nullptr) {
        throw PictureError(Failure::kInternal, std::string("the color profile '") + name + "' is damaged");
    }
    return profile;
}

cmsHTRANSFORM make_transform(const char* from, cmsUInt32Number from_type, const char* to, cmsUInt32Number to_type) {
    cmsHPROFILE input = open_profile(from);
    cmsHPROFILE output = open_profile(to);
    cmsHTRANSFORM transform =
        cmsCreateTransform(input, from_type, output, to_type, INTENT_RELATIVE_COLORIMETRIC, cmsFLAGS_NOCACHE);
    cmsCloseProfile(input);
    cmsCloseProfile(output);
    if (transform == nullptr) {
        throw PictureError(Failure::kInternal, "the color profiles do not go together");
    }
    return transform;
}

// Colors lie in memory as B, G, R, A, since they are little-endian words.
// A transform is made once and, as it caches nothing, may be used by several threads.
cmsHTRANSFORM to_cmyk() {
    static cmsHTRANSFORM transform = make_transform("srgb", TYPE_BGRA_8, "cmyk", TYPE_CMYK_8);
    return transform;
}
cmsHTRANSFORM from_cmyk() {
    static cmsHTRANSFORM transform = make_transform("cmyk", TYPE_CMYK_8, "srgb", TYPE_BGRA_8);  // as the other
    return transform;
}

}  // namespace

void argb_to_cmyk(std::span<const Argb> colors, std::span<uint8_t> cmyk) {
    cmsDoTransform(to_cmyk(), colors.data(), cmyk.data(), static_cast<cmsUInt32Number>(colors.size()));
}

void cmyk_to_argb(std::span<const uint8_t> cmyk, std::span<Argb> colors) {
    cmsDoTransform(from_cmyk(), cmyk.data(), colors.data(), static_cast<cmsUInt32Number>(colors.size()));
    for (Argb& color : colors) {
        color |= 0xFF000000;
    }
}

}  // namespace zelmor::imagework

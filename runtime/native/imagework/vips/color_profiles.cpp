// Conversion of colors; see color_profiles.h.
//
// The color management library is used directly, with the profiles of the image library: that one sets a conversion up
// anew for each image, which takes tens of milliseconds, too much for a single color.
//
// Gray, RGB and CMYK of 8 and 16 bits, and Lab of 8, cross in the color library's own encodings. Everything else goes
// through rows of doubles in the units of that library: 0..1 for gray and RGB, percent of ink, real L*, a*, b*.
#include "runtime/native/imagework/vips/color_profiles.h"

#include <lcms2.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <list>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/vips/strips.h"
#include "runtime/native/imagework/vips/vips_support.h"

namespace zelmor::imagework {
namespace {

struct CloseProfile {
    void operator()(void* profile) const { cmsCloseProfile(profile); }
};
struct DeleteColorTransform {
    void operator()(void* transform) const { cmsDeleteTransform(transform); }
};
using Profile = std::unique_ptr<void, CloseProfile>;
using ColorTransform = std::unique_ptr<void, DeleteColorTransform>;

Profile checked(cmsHPROFILE profile, const char* what) {
    if (profile == nullptr) {
        throw PictureError(Failure::kInternal, std::string("the color profile '") + what + "' cannot be made");
    }
    return Profile(profile);
}

std::vector<uint8_t> own_profile(const char* name) {
    settle_after_fork();
    VipsBlob* blob = nullptr;
    if (vips_profile_load(name, &blob, nullptr) != 0 || blob == nullptr) {
        vips_error_clear();
        throw PictureError(Failure::kInternal, std::string("the color profile '") + name + "' cannot be loaded");
    }
    size_t size = 0;
    const auto* data = static_cast<const uint8_t*>(vips_blob_get(blob, &size));
    std::vector<uint8_t> bytes(data, data + size);
    vips_area_unref(VIPS_AREA(blob));
    return bytes;
}

Profile opened(const std::vector<uint8_t>& bytes) {
    return Profile(cmsOpenProfileFromMem(bytes.data(), static_cast<cmsUInt32Number>(bytes.size())));
}

cmsColorSpaceSignature signature_of(ColorModel model) {
    switch (model) {
        case ColorModel::kGray:
            return cmsSigGrayData;
        case ColorModel::kCmyk:
            return cmsSigCmykData;
        case ColorModel::kLab:
            return cmsSigLabData;
        default:
            return cmsSigRgbData;
    }
}

// The embedded profile, if it is one for the model; otherwise null.
Profile embedded(const ProfileBytes& bytes, ColorModel model) {
    if (bytes == nullptr || model == ColorModel::kLab) {
        return nullptr;
    }
    Profile profile = opened(*bytes);
    if (profile == nullptr || cmsGetColorSpace(profile.get()) != signature_of(model)) {
        return nullptr;
    }
    return profile;
}

Profile output_profile(const ProfileBytes& bytes, ColorModel model) {
    Profile profile = embedded(bytes, model);
    if (profile != nullptr && !cmsIsMatrixShaper(profile.get()) && model != ColorModel::kGray &&
        !cmsIsIntentSupported(profile.get(), INTENT_RELATIVE_COLORIMETRIC, LCMS_USED_AS_OUTPUT)) {
        return nullptr;
    }
    return profile;
}

// Gray whose steps are those of sRGB's equal amounts of red, green and blue.
Profile gray_profile() {
    constexpr double kCurve[] = {2.4, 1 / 1.055, 0.055 / 1.055, 1 / 12.92, 0.04045};
    cmsToneCurve* curve = cmsBuildParametricToneCurve(nullptr, 4, kCurve);
    cmsHPROFILE profile = cmsCreateGrayProfile(cmsD50_xyY(), curve);
    cmsFreeToneCurve(curve);
    return checked(profile, "gray");
}

Profile standard_profile(ColorModel model) {
    switch (model) {
        case ColorModel::kGray:
            return gray_profile();
        case ColorModel::kCmyk:
            return checked(opened(*standard_cmyk_profile()).release(), "cmyk");
        case ColorModel::kLab:
            return checked(cmsCreateLab4Profile(nullptr), "Lab");
        default:
            return checked(opened(own_profile("srgb")).release(), "srgb");
    }
}

cmsUInt32Number color_type(ColorModel model) {
    switch (model) {
        case ColorModel::kGray:
            return PT_GRAY;
        case ColorModel::kCmyk:
            return PT_CMYK;
        case ColorModel::kLab:
            return PT_Lab;
        default:
            return PT_RGB;
    }
}

int channels_of(ColorModel model) {
    PixelForm form;
    form.color = model;
    return form.color_bands();
}

// The color library's name for samples; 0 for those that it has none for.
cmsUInt32Number encoding_of(const PixelForm& form) {
    const Storage storage = storage_of(form.sample);
    const bool known = storage == Storage::kByte || (storage == Storage::kWord && form.color != ColorModel::kLab);
    if (!known) {
        return 0;
    }
    return COLORSPACE_SH(color_type(form.color)) | CHANNELS_SH(static_cast<unsigned>(form.color_bands())) |
           EXTRA_SH(form.alpha ? 1U : 0U) | BYTES_SH(storage == Storage::kByte ? 1U : 2U);
}
cmsUInt32Number doubles_of(ColorModel model) {
    return FLOAT_SH(1) | COLORSPACE_SH(color_type(model)) | CHANNELS_SH(static_cast<unsigned>(channels_of(model))) |
           BYTES_SH(0);
}

// From samples to the units of the color library, and back.
struct Scale {
    double factor = 1;
    double shift = 0;
};
Scale scale_of(const PixelForm& form, int band) {
    const Storage storage = storage_of(form.sample);
    const double top = sample_top(storage);
    if (form.color == ColorModel::kCmyk) {
        return {100 / top, 0};
    }
    if (form.color != ColorModel::kLab) {
        return {1 / top, 0};
    }
    if (!form.is_integer()) {
        return {1, 0};
    }
    if (band == 0) {
        return {100 / top, 0};
    }
    // a* and b* in two's complement with 8 bits before the point, turned to count from their least value.
    const double step = storage == Storage::kByte ? 1 : storage == Storage::kWord ? 256 : 16777216;
    return {1 / step, -128};
}

template <class Sample>
Sample rounded(double value) {
    if constexpr (std::is_floating_point_v<Sample>) {
        return static_cast<Sample>(value);
    } else {
        if (!(value > 0)) {  // nor a number
            return Sample{0};
        }
        // NOLINTNEXTLINE(bugprone-incorrect-roundings)
        return value < sample_top<Sample>() ? static_cast<Sample>(value + 0.5) : static_cast<Sample>(~uint64_t{0});
    }
}

}  // namespace

struct ColorConversion::State {
    ColorSpace from, to;
    Profile input, output;
    // Conversions by the encodings on both sides, made when a picture needs them.
    mutable std::mutex lock;
    mutable std::map<std::pair<cmsUInt32Number, cmsUInt32Number>, ColorTransform> transforms;

    cmsHTRANSFORM transform(cmsUInt32Number in, cmsUInt32Number out) const {
        const std::lock_guard hold(lock);
        ColorTransform& known = transforms[{in, out}];
        if (known == nullptr) {
            const cmsUInt32Number alpha = T_EXTRA(in) == 1 && T_EXTRA(out) == 1 ? cmsFLAGS_COPY_ALPHA : 0;
            known.reset(cmsCreateTransform(input.get(), in, output.get(), out, INTENT_RELATIVE_COLORIMETRIC, alpha));
            if (known == nullptr) {
                throw PictureError(Failure::kInternal, "the color profiles do not go together");
            }
        }
        return known.get();
    }

    // Calls step(begin, end) for blocks of pixels, in several threads where there are many pixels.
    template <class Step>
    static void in_blocks(size_t count, Step&& step) {
        constexpr size_t kBlock = size_t{1} << 14;  // takes about a millisecond
        if (count <= kBlock) {
            return step(size_t{0}, count);
        }
        guarded(Failure::kInternal, "the colors could not be converted", [&] { for_blocks(count, kBlock, step); });
    }

    // Through doubles, for samples that the color library has no encoding for.
    void run_in_doubles(const PixelForm& in, const void* samples, const PixelForm& out, void* result,
                        size_t count) const {
        constexpr size_t kBlock = 1024;
        const cmsHTRANSFORM step = transform(doubles_of(from.model), doubles_of(to.model));
        const auto in_bands = static_cast<size_t>(in.bands());
        const auto out_bands = static_cast<size_t>(out.bands());
        const auto in_colors = static_cast<size_t>(in.color_bands());
        const auto out_colors = static_cast<size_t>(out.color_bands());
        std::array<Scale, 4> in_scale;
        std::array<Scale, 4> out_scale;
        for (size_t band = 0; band < in_colors; band++) {
            in_scale[band] = scale_of(in, static_cast<int>(band));
        }
        for (size_t band = 0; band < out_colors; band++) {
            out_scale[band] = scale_of(out, static_cast<int>(band));
        }
        const double top = sample_top(storage_of(out.sample));
        std::vector<double> before(4 * kBlock);
        std::vector<double> after(4 * kBlock);
        with_storage(storage_of(in.sample), [&](auto in_sample) {
            with_storage(storage_of(out.sample), [&](auto out_sample) {
                using In = decltype(in_sample);
                using Out = decltype(out_sample);
                const auto* source = static_cast<const In*>(samples);
                auto* target = static_cast<Out*>(result);
                for (size_t done = 0; done < count; done += kBlock) {
                    const size_t now = std::min(kBlock, count - done);
                    for (size_t i = 0; i < now; i++) {
                        for (size_t band = 0; band < in_colors; band++) {
                            const double value = static_cast<double>(source[i * in_bands + band]);
                            before[i * in_colors + band] =
                                std::isfinite(value) ? value * in_scale[band].factor + in_scale[band].shift : 0;
                        }
                    }
                    cmsDoTransform(step, before.data(), after.data(), static_cast<cmsUInt32Number>(now));
                    for (size_t i = 0; i < now; i++) {
                        for (size_t band = 0; band < out_colors; band++) {
                            const double value =
                                (after[i * out_colors + band] - out_scale[band].shift) / out_scale[band].factor;
                            // Colors outside the target's range are clipped, as those of integers are.
                            target[i * out_bands + band] =
                                rounded<Out>(out.color == ColorModel::kLab ? value : std::clamp(value, 0.0, top));
                        }
                        if (out.alpha) {
                            target[i * out_bands + out_colors] = in.alpha
                                                                     ? sample_as<Out>(source[i * in_bands + in_colors])
                                                                     : sample_as<Out>(uint8_t{255});
                        }
                    }
                    source += now * in_bands;
                    target += now * out_bands;
                }
            });
        });
    }
};

ColorConversion::ColorConversion(const ColorSpace& from, const ColorSpace& to) : m_state(std::make_unique<State>()) {
    m_state->from = from;
    m_state->to = to;
    m_state->input = embedded(from.profile, from.model);
    if (m_state->input == nullptr) {
        m_state->input = standard_profile(from.model);
    }
    m_state->output = output_profile(to.profile, to.model);
    if (m_state->output == nullptr) {
        m_state->output = standard_profile(to.model);
    }
}

ColorConversion::~ColorConversion() = default;

void ColorConversion::run(const PixelForm& from, const void* samples, const PixelForm& to, void* out,
                          size_t count) const {
    assert(from.color == m_state->from.model && to.color == m_state->to.model);
    const size_t in_size = from.pixel_size();
    const size_t out_size = to.pixel_size();
    const auto* in_bytes = static_cast<const uint8_t*>(samples);
    auto* out_bytes = static_cast<uint8_t*>(out);
    const cmsUInt32Number in_type = encoding_of(from);
    const cmsUInt32Number out_type = encoding_of(to);
    if (in_type == 0 || out_type == 0) {
        return State::in_blocks(count, [&](size_t begin, size_t end) {
            m_state->run_in_doubles(from, in_bytes + begin * in_size, to, out_bytes + begin * out_size, end - begin);
        });
    }
    const cmsHTRANSFORM step = m_state->transform(in_type, out_type);
    State::in_blocks(count, [&](size_t begin, size_t end) {
        cmsDoTransform(step, in_bytes + begin * in_size, out_bytes + begin * out_size,
                       static_cast<cmsUInt32Number>(end - begin));
        if (to.alpha && !from.alpha) {
            const size_t size = sample_size(to.sample);
            for (size_t i = begin; i < end; i++) {
                std::fill_n(out_bytes + i * out_size + out_size - size, size, uint8_t{255});
            }
        }
    });
}

bool ColorConversion::changes_nothing() const {
    if (m_state->from.model != m_state->to.model) {
        return false;
    }
    PixelForm form;
    form.color = m_state->from.model;
    const auto bands = static_cast<size_t>(form.bands());
    constexpr int kLevels[] = {0, 32, 64, 96, 128, 160, 192, 224, 255};
    std::vector<uint8_t> before;
    const auto add = [&](auto&& self, std::vector<uint8_t> pixel) -> void {
        if (pixel.size() == bands) {
            before.insert(before.end(), pixel.begin(), pixel.end());
            return;
        }
        for (const int level : kLevels) {
            std::vector<uint8_t> longer = pixel;
            longer.push_back(static_cast<uint8_t>(level));
            self(self, std::move(longer));
        }
    };
    add(add, {});
    std::vector<uint8_t> after(before.size());
    run(form, before.data(), form, after.data(), before.size() / bands);
    return std::equal(before.begin(), before.end(), after.begin(),
                      [](uint8_t a, uint8_t b) { return std::abs(int{a} - int{b}) <= 1; });
}

const ColorConversion& standard_conversion(ColorModel from, ColorModel to) {
    // Never destroyed: pictures may outlive static destruction. The lock makes it safe for several threads.
    static auto& lock = *new std::mutex;
    static auto& known = *new std::map<std::pair<ColorModel, ColorModel>, std::unique_ptr<ColorConversion>>;
    const std::lock_guard hold(lock);
    auto& conversion = known[{from, to}];
    if (conversion == nullptr) {
        conversion = std::make_unique<ColorConversion>(ColorSpace{from, {}}, ColorSpace{to, {}});
    }
    return *conversion;
}

bool same_profile(const ProfileBytes& one, const ProfileBytes& other) {
    return one == other || (one != nullptr && other != nullptr && *one == *other);
}

namespace {

// What conversions are kept by: two models and the contents of two profiles.
bool same_space(const ColorSpace& one, const ColorSpace& other) {
    return one.model == other.model && same_profile(one.profile, other.profile);
}

struct KnownConversion {
    ColorSpace from, to;
    SharedConversion conversion;
};
constexpr size_t kKnownConversions = 8;
constexpr size_t kKnownProfileBytes = 4 * limits::kMebibyte;  // of profiles that are larger nothing is kept

}  // namespace

SharedConversion shared_conversion(const ColorSpace& from, const ColorSpace& to) {
    // L*a*b* takes no profile, and whatever a picture has besides does not count.
    const auto plain = [](const ColorSpace& space) {
        return space.profile == nullptr || space.model == ColorModel::kLab;
    };
    if (plain(from) && plain(to)) {
        return {SharedConversion(), &standard_conversion(from.model, to.model)};
    }
    const auto bytes = [](const ColorSpace& space) { return space.profile == nullptr ? 0 : space.profile->size(); };
    if (bytes(from) + bytes(to) > kKnownProfileBytes) {
        return std::make_shared<const ColorConversion>(from, to);
    }
    // Never destroyed: pictures may outlive static destruction. The last one used comes first; the lock makes the list
    // safe for several threads.
    static auto& lock = *new std::mutex;
    static auto& known = *new std::list<KnownConversion>;
    const std::lock_guard hold(lock);
    const auto found = std::find_if(known.begin(), known.end(), [&](const KnownConversion& each) {
        return same_space(each.from, from) && same_space(each.to, to);
    });
    if (found != known.end()) {
        known.splice(known.begin(), known, found);
    } else {
        known.push_front({from, to, std::make_shared<const ColorConversion>(from, to)});
        if (known.size() > kKnownConversions) {
            known.pop_back();
        }
    }
    return known.front().conversion;
}

ProfileBytes standard_cmyk_profile() {
    static const auto& profile = *new ProfileBytes(std::make_shared<const std::vector<uint8_t>>(own_profile("cmyk")));
    return profile;
}

bool is_profile_of(const ProfileBytes& profile, ColorModel model) {
    return embedded(profile, model) != nullptr;
}

bool is_output_profile_of(const ProfileBytes& profile, ColorModel model) {
    return output_profile(profile, model) != nullptr;
}

namespace {

// The profiles of a conversion serve it, or are refused by the name of their parameter.
void require_source(const ProfileBytes& profile, ColorModel model, const char* parameter) {
    if (profile != nullptr && !is_profile_of(profile, model)) {
        throw PictureError(Failure::kArgument, "The stream has no color profile of the model that is needed.",
                           parameter);
    }
}
void require_target(const ProfileBytes& profile, ColorModel model, const char* parameter) {
    require_source(profile, model, parameter);
    if (profile != nullptr && !is_output_profile_of(profile, model)) {
        throw PictureError(Failure::kArgument, "The color profile of the stream has no way from colors to its numbers.",
                           parameter);
    }
}

constexpr const char* kRgbProfile = "rgb_icc_stream";
constexpr const char* kCmykProfile = "cmyk_icc_stream";

constexpr PixelForm kCmyk8{ColorModel::kCmyk};
constexpr PixelForm kRgb8{};

}  // namespace

void argb_to_cmyk(std::span<const Argb> colors, std::span<uint8_t> cmyk, const ProfileBytes& rgb_profile,
                  const ProfileBytes& cmyk_profile) {
    assert(cmyk.size() == 4 * colors.size());
    require_source(rgb_profile, ColorModel::kRgb, kRgbProfile);
    require_target(cmyk_profile, ColorModel::kCmyk, kCmykProfile);
    std::vector<uint8_t> rgb(3 * colors.size());
    from_argb(kRgb8, colors, rgb.data());
    shared_conversion({ColorModel::kRgb, rgb_profile}, {ColorModel::kCmyk, cmyk_profile})
        ->run(kRgb8, rgb.data(), kCmyk8, cmyk.data(), colors.size());
}

void cmyk_to_argb(std::span<const uint8_t> cmyk, std::span<Argb> colors, const ProfileBytes& cmyk_profile,
                  const ProfileBytes& rgb_profile) {
    assert(cmyk.size() == 4 * colors.size());
    require_source(cmyk_profile, ColorModel::kCmyk, kCmykProfile);
    require_target(rgb_profile, ColorModel::kRgb, kRgbProfile);
    std::vector<uint8_t> rgb(3 * colors.size());
    shared_conversion({ColorModel::kCmyk, cmyk_profile}, {ColorModel::kRgb, rgb_profile})
        ->run(kCmyk8, cmyk.data(), kRgb8, rgb.data(), colors.size());
    to_argb(kRgb8, rgb.data(), colors);
}

}  // namespace zelmor::imagework

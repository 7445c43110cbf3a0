// The color type and the bit depth of PngOptions, which know whether they were ever set.
//
// New options show 8 bits and colors with alpha, but a picture that is saved with them keeps its own color type and
// depth: to widen RGB by an alpha that says nothing, or to cut 16 bits to 8, has to be asked for.
#include "runtime/native/formats/png/png_options.h"

#include <string>

#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/formats/png/png_enumerations.h"

namespace zelmor::embed {

namespace {

using PngOptionsApi = api::ImageOptions::PngOptions;

constexpr auto kDefaultColorType = PngColorType::kTruecolorWithAlpha;
constexpr int32_t kUsualDepth = 8;

PngColorType color_type(Record& self) {
    return own_color_type(self).value_or(kDefaultColorType);
}

int32_t bit_depth(Record& self) {
    return own_bit_depth(self).value_or(kUsualDepth);
}

void set_bit_depth(Record& self, int32_t value) {
    if (value != 1 && value != 2 && value != 4 && value != 8 && value != 16) {
        throw_out_of_range("BitDepth", "The value " + std::to_string(value) + " of " + member_name(self, "BitDepth") +
                                           " is none of 1, 2, 4, 8 and 16.");
    }
    set_property(self, "BitDepth", int64_t{value});
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&color_type, PngOptionsApi::get_ColorType>(),
    behavior<&bit_depth, PngOptionsApi::get_BitDepth>(),
    behavior<&set_bit_depth, PngOptionsApi::set_BitDepth>(),
});

}  // namespace

std::optional<PngColorType> own_color_type(const ManagedObject& options) {
    if (is_unset(property(options, "ColorType"))) {
        return std::nullopt;
    }
    return static_cast<PngColorType>(property_int(options, "ColorType"));
}

std::optional<int32_t> own_bit_depth(const ManagedObject& options) {
    if (is_unset(property(options, "BitDepth"))) {
        return std::nullopt;
    }
    return static_cast<int32_t>(property_int(options, "BitDepth"));
}

}  // namespace zelmor::embed

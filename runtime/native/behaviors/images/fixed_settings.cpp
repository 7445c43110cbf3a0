// Properties of images for which this runtime has one way of working, as a table: each keeps the value that names this
// way, and another one is refused when it is set, so that no program relies on what does not happen.
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/image_base.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/core/defaults.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/delegates/row_behavior.h"

namespace zelmor::embed {

namespace {

using ImageApi = api::Image;
using RasterImageApi = api::RasterImage;

struct FixedSetting {
    const PropertyName& property;
    int64_t value;        // the only one
    const char* instead;  // what to use
};

[[noreturn]] void refuse(const FixedSetting& row, const ManagedObject& self, const std::string& value) {
    throw ManagedException("NotSupportedException", "The value " + value + " of " +
                                                        member_name(self, row.property.name) +
                                                        " is not supported by the embedded runtime. " + row.instead);
}

void set_fixed_number(const FixedSetting& row, ImageBase& self, int32_t value) {
    self.require_live();
    if (value != row.value) {
        refuse(row, self, std::to_string(value));
    }
}
void set_fixed_choice(const FixedSetting& row, ImageBase& self, bool value) {
    self.require_live();
    if (static_cast<int64_t>(value) != row.value) {
        refuse(row, self, to_utf8(text_of_value(Value(value))));
    }
}

constexpr FixedSetting kNumbers[] = {
    {ImageApi::property_BufferSizeHint, 0,
     "LoadOptions.BufferSizeHint and Configuration.BufferSizeHint limit the memory of an image, those of save options "
     "that of a save."},
};
constexpr FixedSetting kChoices[] = {
    {ImageApi::property_AutoAdjustPalette, 0,
     "RasterImage.Dither and Image.SetPalette bring colors to a palette; AdjustPalette computes one."},
    {RasterImageApi::property_UseRawData, 1, "Raw data always cross in the form of the image."},
};

BehaviorRow behavior_of_number(const FixedSetting& row) {
    return row_behavior<&set_fixed_number>(row.property.setter, row);
}
BehaviorRow behavior_of_choice(const FixedSetting& row) {
    return row_behavior<&set_fixed_choice>(row.property.setter, row);
}
const BehaviorTable ZELMOR_UNNAMED(each_row(kNumbers, behavior_of_number));
const BehaviorTable ZELMOR_UNNAMED(each_row(kChoices, behavior_of_choice));

constexpr DefaultValue kFixedDefaults[] = {{RasterImageApi::property_UseRawData, true}};
const DefaultTable ZELMOR_UNNAMED(kFixedDefaults);

// Converters of raw data: no class of the API is one, so that None is all that is taken.
template <const PropertyName& kProperty>
void set_converter(ImageBase& self, const VariantArg* value) {
    self.require_live();
    if (read_object(value)) {
        throw_not_supported("A value of " + member_name(self, kProperty.name));
    }
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&set_converter<RasterImageApi::property_RawIndexedColorConverter>,
             RasterImageApi::set_RawIndexedColorConverter>(),
    behavior<&set_converter<RasterImageApi::property_RawCustomColorConverter>,
             RasterImageApi::set_RawCustomColorConverter>(),
});

}  // namespace

}  // namespace zelmor::embed

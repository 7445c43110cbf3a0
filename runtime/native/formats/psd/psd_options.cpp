// PsdOptions: settings that know whether they were ever set, and their ranges.
//
// New options show RGB with 8 bits and four channels, but a picture that is saved with them keeps its own colors and
// depth: to convert them has to be asked for.
#include "runtime/native/formats/psd/psd_options.h"

#include <string>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Psd.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

using imagework::PsdColorMode;
using imagework::PsdCompression;
using imagework::PsdEncoding;

namespace {

using PsdOptionsApi = api::ImageOptions::PsdOptions;
using api::FileFormats::Psd::ColorModes;
using api::FileFormats::Psd::CompressionMethod;
using api::FileFormats::Psd::PsdVersion;

constexpr auto kUsualMode = ColorModes::kRgb;
constexpr int32_t kUsualBits = 8;
constexpr int32_t kUsualChannels = 4;
// The release of the format's own program whose files these are; the layout of its files has not changed since.
constexpr int32_t kVersion = 6;

ColorModes color_mode(Record& self) {
    return is_unset(property(self, "ColorMode")) ? kUsualMode : property_enum<ColorModes>(self, "ColorMode");
}

int32_t number_or(const ManagedObject& options, const char* name, int32_t usual) {
    return is_unset(property(options, name)) ? usual : static_cast<int32_t>(property_int(options, name));
}

int32_t channel_bits(Record& self) {
    return number_or(self, "ChannelBitsCount", kUsualBits);
}

void set_channel_bits(Record& self, int32_t value) {
    if (value != 1 && value != 8 && value != 16 && value != 32) {
        throw_out_of_range("ChannelBitsCount", "The value " + std::to_string(value) + " of " +
                                                   member_name(self, "ChannelBitsCount") +
                                                   " is none of 1, 8, 16 and 32.");
    }
    set_property(self, "ChannelBitsCount", int64_t{value});
}

int32_t channels(Record& self) {
    return number_or(self, "ChannelsCount", kUsualChannels);
}

void set_channels(Record& self, int32_t value) {
    constexpr int32_t kMostChannels = 56;
    if (value < 1 || value > kMostChannels) {
        throw_out_of_range("ChannelsCount", "The value " + std::to_string(value) + " of " +
                                                member_name(self, "ChannelsCount") + " is not between 1 and " +
                                                std::to_string(kMostChannels) + ".");
    }
    set_property(self, "ChannelsCount", int64_t{value});
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&color_mode, PsdOptionsApi::get_ColorMode>(),
    behavior<&channel_bits, PsdOptionsApi::get_ChannelBitsCount>(),
    behavior<&set_channel_bits, PsdOptionsApi::set_ChannelBitsCount>(),
    behavior<&channels, PsdOptionsApi::get_ChannelsCount>(),
    behavior<&set_channels, PsdOptionsApi::set_ChannelsCount>(),
});

[[noreturn]] void refuse_value(const ManagedObject& options, const char* name, int64_t value) {
    throw_not_supported("The value " + std::to_string(value) + " of " + member_name(options, name));
}

// The numbers of both enumerations are those of the format.
template <class Backend>
Backend one_of(const ManagedObject& options, const char* name, int64_t value, std::initializer_list<Backend> all) {
    for (const Backend one : all) {
        if (static_cast<int64_t>(one) == value) {
            return one;
        }
    }
    refuse_value(options, name, value);
}

}  // namespace

PsdEncoding psd_encoding_of_options(const ManagedObject& options) {
    PsdEncoding encoding;
    if (const int64_t version = property_int(options, "Version"); version != kVersion) {
        refuse_value(options, "Version", version);
    }
    const auto container = property_enum<PsdVersion>(options, "PsdVersion");
    if (container != PsdVersion::kPsd && container != PsdVersion::kPsb) {
        refuse_value(options, "PsdVersion", static_cast<int64_t>(container));
    }
    encoding.large = container == PsdVersion::kPsb;
    encoding.compression = one_of(
        options, "CompressionMethod", property_int(options, "CompressionMethod"),
        {PsdCompression::kRaw, PsdCompression::kPackBits, PsdCompression::kZip, PsdCompression::kZipWithPrediction});
    if (!is_unset(property(options, "ColorMode"))) {
        encoding.color =
            one_of(options, "ColorMode", property_int(options, "ColorMode"),
                   {PsdColorMode::kBitmap, PsdColorMode::kGray, PsdColorMode::kIndexed, PsdColorMode::kRgb,
                    PsdColorMode::kCmyk, PsdColorMode::kMultichannel, PsdColorMode::kDuotone, PsdColorMode::kLab});
    }
    encoding.bits = number_or(options, "ChannelBitsCount", 0);
    encoding.channels = number_or(options, "ChannelsCount", 0);
    encoding.without_text_engine = property_bool(options, "RemoveGlobalTextEngineResource");
    encoding.new_thumbnail = property_bool(options, "RefreshImagePreviewData");
    return encoding;
}

void fill_psd_options(ManagedObject& options, const PsdEncoding& encoding) {
    set_property(options, "PsdVersion", encoding.large ? PsdVersion::kPsb : PsdVersion::kPsd);
    set_property(options, "CompressionMethod", static_cast<CompressionMethod>(encoding.compression));
    if (encoding.color != PsdColorMode::kAuto) {
        set_property(options, "ColorMode", static_cast<ColorModes>(encoding.color));
    }
    if (encoding.bits != 0) {
        set_property(options, "ChannelBitsCount", int64_t{encoding.bits});
    }
    if (encoding.channels != 0) {
        set_property(options, "ChannelsCount", int64_t{encoding.channels});
    }
}

}  // namespace zelmor::embed

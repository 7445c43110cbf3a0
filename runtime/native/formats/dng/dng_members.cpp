// DNG in the API: its class, what a raw decoder reports of the file, and load options. There are no save options for
// DNG.
#include <memory>
#include <string>
#include <vector>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Dng.Decoder.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Dng.h"
#include "generated/runtime/Zelmor.Imaging.ImageLoadOptions.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/text.h"
#include "runtime/native/formats/dng/dng_codec.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

using DngImageApi = api::FileFormats::Dng::DngImage;
namespace decoder = api::FileFormats::Dng::Decoder;

// UTF-8 if the bytes are that, otherwise Latin-1. Null where there are none.
Value text_value(const std::string& bytes) {
    if (bytes.empty()) {
        return Ref<ManagedObject>();
    }
    std::u16string text = to_utf16(bytes);
    if (to_utf8(text) != bytes) {
        text.clear();
        for (const char byte : bytes) {
            text += static_cast<char16_t>(static_cast<unsigned char>(byte));
        }
    }
    return text;
}

// Unsigned numbers whose property is a signed one.
Value bits_value(uint32_t number) {
    return int64_t{static_cast<int32_t>(number)};
}

Ref<ManagedObject> image_parameters(const DngReport& report) {
    auto parameters = make_instance(decoder::ImageParameters::kType.name);
    set_property(*parameters, "DngVersion", bits_value(report.version));
    set_property(*parameters, "Description", text_value(report.description));
    set_property(*parameters, "Model", text_value(report.model));
    set_property(*parameters, "CameraManufacturer", text_value(report.make));
    set_property(*parameters, "IsFoveon", static_cast<int64_t>(report.is_foveon));
    set_property(*parameters, "Software", text_value(report.software));
    set_property(*parameters, "RawCount", bits_value(report.raw_count));
    set_property(*parameters, "Filters", bits_value(report.filters));
    set_property(*parameters, "ColorsCount", int64_t{report.colors_count});
    set_property(*parameters, "XmpData", text_value(report.xmp));
    set_property(*parameters, "TranslationCfaDng", text_value(report.colors));
    return parameters;
}

Ref<ManagedObject> other_parameters(const DngReport& report) {
    auto parameters = make_instance(decoder::ImageOtherParameters::kType.name);
    set_property(*parameters, "Description", text_value(report.description));
    set_property(*parameters, "Artist", text_value(report.artist));
    set_property(*parameters, "Timestamp", int64_t{static_cast<int32_t>(report.timestamp)});
    set_property(*parameters, "ShotOrder", bits_value(report.shot_order));
    set_property(*parameters, "Aperture", double{report.aperture});
    set_property(*parameters, "ShutterSpeed", double{report.shutter_speed});
    set_property(*parameters, "GpsData",
                 Ref<ManagedObject>(make_array(std::vector<uint32_t>(report.gps.begin(), report.gps.end()))));
    set_property(*parameters, "FocalLength", double{report.focal_length});
    set_property(*parameters, "IsoSpeed", double{report.iso_speed});
    return parameters;
}

// Made of the file when it is first asked for, unless the program has set another one.
Ref<ManagedObject> get_img_data(ImageObject& self) {
    self.require_live();
    auto known = property_object(self, "ImgData");
    if (known || self.facts().format != Format::kDng || self.file_frame().source == nullptr) {
        return known;
    }
    const auto file = std::static_pointer_cast<const DngFrames>(self.file_frame().source);
    const DngReport report = file->report();
    auto data = make_instance(decoder::RawData::kType.name);
    set_property(*data, "ImageDataParameters", image_parameters(report));
    set_property(*data, "ImageOtherParameters", other_parameters(report));
    set_property(self, "ImgData", data);
    return data;
}

void take_load_options(const Record& load_options, DecodeOptions& options) {
    if (has_property(load_options, "Fbdd")) {
        options.noise_reduction = static_cast<int>(property_int(load_options, "Fbdd"));
        options.white_balance_of_picture = property_bool(load_options, "AdjustWhiteBalance");
    }
}

constexpr FormatClasses kClasses[] = {
    {FileFormat::kDng, Format::kDng, "Dng", DngImageApi::kType, nullptr, nullptr, false},
};

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&get_img_data, DngImageApi::get_ImgData>(),
});

}  // namespace

extern const FormatMembers kDngMembers;
const FormatMembers kDngMembers{
    .format = Format::kDng,
    .classes = kClasses,
    .take_load_options = &take_load_options,
};

}  // namespace zelmor::embed

// JPEG 2000 in the API: its classes, and save options from and to the settings of a file.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Jpeg2000.h"
#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/number_lists.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/behaviors/images/setting_values.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_encoding.h"
#include "runtime/native/formats/jpeg2000/latin_text.h"

namespace zelmor::embed {

using namespace imagework;

namespace {

namespace classes = api::FileFormats::Jpeg2000;

constexpr Counterpart<classes::Jpeg2000Codec, Jpeg2000Codec> kCodecs[] = {
    {classes::Jpeg2000Codec::kJ2k, Jpeg2000Codec::kJ2k},
    {classes::Jpeg2000Codec::kJp2, Jpeg2000Codec::kJp2},
};

std::vector<float> ratios_of(const ManagedObject& options) {
    std::vector<float> ratios;
    int64_t before = INT64_MAX;
    for (const int64_t ratio : numbers_of(options, "CompressionRatios").value_or(std::vector<int64_t>())) {
        if (ratio < 1 || ratio >= before || ratios.size() == kMostJpeg2000Layers) {
            throw_out_of_range("CompressionRatios", "The values of " + member_name(options, "CompressionRatios") +
                                                        " have to fall from layer to layer, to 1 or more, and to be " +
                                                        std::to_string(kMostJpeg2000Layers) + " at most.");
        }
        before = ratio;
        ratios.push_back(static_cast<float>(ratio));
    }
    return ratios;
}

// Of the options or of an image.
std::vector<std::string> comments_of(const ManagedObject& object) {
    std::vector<std::string> comments = texts_of(object, "Comments");
    for (const std::string& comment : comments) {
        if (!to_latin9(comment)) {
            throw_argument("A comment of " + member_name(object, "Comments") +
                           " has characters that ISO 8859-15, in which comments are written, does not have. "
                           "(Parameter 'Comments')");
        }
    }
    return comments;
}

FormatEncoding settings_of(const ManagedObject& options) {
    Jpeg2000Encoding result;
    result.codec = supported(options, "Codec", kCodecs);
    result.compression_ratios = ratios_of(options);
    result.irreversible = property_bool(options, "Irreversible");
    result.comments = comments_of(options);
    return result;  // XMP data go into the file with the metadata
}

classes::Jpeg2000Codec api_codec(const Jpeg2000Encoding& settings) {
    return api_value(kCodecs, settings.codec).value_or(classes::Jpeg2000Codec::kJp2);
}

void fill_options(ManagedObject& options, const FileFacts& facts) {
    const auto& jpeg2000 = facts.encoding->get<Jpeg2000Encoding>();
    put_setting(options, "Codec", api_codec(jpeg2000));
    set_property(options, "Irreversible", jpeg2000.irreversible);
    set_property(options, "Comments", array_of_texts(jpeg2000.comments));
}

NewPixels new_pixels(const FormatEncoding&) {
    return pixels_of(ColorModel::kRgb, false);
}

void take_options(const ManagedObject& options, Encoding& encoding) {
    if (encoding.format.get<Jpeg2000Encoding>().codec == Jpeg2000Codec::kJ2k && property_object(options, "XmpData")) {
        throw_not_supported(member_name(options, "XmpData") + " in a bare codestream, which has no place for it,");
    }
}

// Steps that are finer than those of the file may have come in since.
void renew(FormatEncoding& settings) {
    settings.get<Jpeg2000Encoding>().bit_depth = 0;
}

// The comments of the image, which may have been changed.
void take_image(const ImageObject& image, Encoding& encoding) {
    if (image.facts().format == Format::kJpeg2000) {
        encoding.format.get<Jpeg2000Encoding>().comments = comments_of(image);
    }
}

void complete(const ImageObject& image, FormatEncoding& settings) {
    auto& jpeg2000 = settings.get<Jpeg2000Encoding>();
    if (jpeg2000.comments.empty() && image.facts().format == Format::kJpeg2000) {
        jpeg2000.comments = comments_of(image);
    }
}

// The extensions of bare codestreams and of files with boxes. Another name keeps what the image has.
void take_extension(const std::string& extension, FormatEncoding& settings) {
    auto& jpeg2000 = settings.get<Jpeg2000Encoding>();
    if (extension == "j2k" || extension == "j2c" || extension == "jpc") {
        jpeg2000.codec = Jpeg2000Codec::kJ2k;
    } else if (extension == "jp2" || extension == "jpf" || extension == "jpx") {
        jpeg2000.codec = Jpeg2000Codec::kJp2;
    }
}

void take_file(ImageObject& image) {
    const auto& jpeg2000 = image.facts().encoding->get<Jpeg2000Encoding>();
    set_property(image, "Codec", api_codec(jpeg2000));
    set_property(image, "Comments", array_of_texts(jpeg2000.comments));
}

void take_load_options(const Record& load_options, DecodeOptions& options) {
    if (has_property(load_options, "MaximumDecodingTime")) {
        options.most_time = property_int(load_options, "MaximumDecodingTime");
        options.most_time_of_part = property_int(load_options, "MaximumDecodingTimeForTile");
    }
}

constexpr FormatClasses kClasses[] = {
    {FileFormat::kJpeg2000, Format::kJpeg2000, "Jpeg2000", classes::Jpeg2000Image::kType,
     api::ImageOptions::Jpeg2000Options::kType, nullptr, false},
};

}  // namespace

extern const FormatMembers kJpeg2000Members;
const FormatMembers kJpeg2000Members{
    .format = Format::kJpeg2000,
    .classes = kClasses,
    .settings = &settings_of,
    .take_options = &take_options,
    .fill_options = &fill_options,
    .new_pixels = &new_pixels,
    .renew = &renew,
    .take_image = &take_image,
    .complete = &complete,
    .take_extension = &take_extension,
    .take_file = &take_file,
    .take_load_options = &take_load_options,
};

}  // namespace zelmor::embed

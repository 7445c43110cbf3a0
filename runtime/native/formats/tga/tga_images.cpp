// Making TGA images, and the checks of their properties: what a file has no room for is refused when it is set.
#include <cctype>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Tga.h"
#include "runtime/native/behaviors/images/arguments.h"
#include "runtime/native/behaviors/images/format_images.h"
#include "runtime/native/behaviors/images/format_members.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/formats/tga/tga_encoding.h"
#include "runtime/native/formats/tga/tga_values.h"

namespace zelmor::embed {

using imagework::ColorModel;
using imagework::Encoding;
using imagework::PictureError;
using imagework::TgaEncoding;
using imagework::TgaExtension;

namespace {

using Path = std::optional<std::u16string>;
using OptionalText = std::optional<std::u16string>;

// ---- Images

Encoding tga_for(const imagework::Picture& picture) {
    TgaEncoding tga;
    tga.bits_of = picture.form().color == ColorModel::kIndexed ? ColorModel::kIndexed
                  : picture.is_gray()                          ? ColorModel::kGray
                                                               : ColorModel::kRgb;
    const bool alpha = picture.form().alpha;
    tga.bits_per_pixel = tga.bits_of == ColorModel::kRgb ? (alpha ? 32 : 24) : alpha ? 16 : 8;
    return encoding_of(tga);
}
Ref<ImageObject> tga_of(const Ref<ImageObject>& image, bool keeps_settings) {
    return as_format(image, tga_for(image->picture()), keeps_settings);
}
Ref<ImageObject> tga_of_path(const Path& path) {
    return tga_of(image_of_file(path, nullptr, "path"), true);
}
Ref<ImageObject> tga_of_stream(Ref<ManagedStream> stream) {
    return tga_of(image_of_stream(stream, nullptr), true);
}
Ref<ImageObject> tga_of_image(ImageObject* raster_image) {
    return of_image(raster_image, tga_for(required_image(raster_image, "raster_image").picture()));
}

// ---- Properties

[[noreturn]] void refuse_value(const std::string& text) {
    throw_argument(text + ". (Parameter 'value')");
}

// Sets a text that the extension area has room for.
void put_text(Record& self, const char* property, const OptionalText& value,
              void (TgaExtension::*set)(std::string_view)) {
    try {
        TgaExtension area;
        (area.*set)(to_utf8(value.value_or(u"")));
    } catch (const PictureError& error) {
        refuse_value(error.what());
    }
    set_property(self, property, value ? Value(*value) : Value(Ref<ManagedObject>()));
}
void set_author_name(Record& self, const OptionalText& value) {
    put_text(self, "AuthorName", value, &TgaExtension::set_author);
}
void set_author_comments(Record& self, const OptionalText& value) {
    put_text(self, "AuthorComments", value, &TgaExtension::set_comments);
}
void set_job_name(Record& self, const OptionalText& value) {
    put_text(self, "JobNameOrId", value, &TgaExtension::set_job);
}
void set_software_id(Record& self, const OptionalText& value) {
    put_text(self, "SoftwareId", value, &TgaExtension::set_software);
}
void set_image_id(Record& self, const OptionalText& value) {
    constexpr size_t kMost = 255;
    if (const size_t size = to_utf8(value.value_or(u"")).size(); size > kMost) {
        refuse_value("a TGA file has room for " + std::to_string(kMost) + " bytes here, and the text has " +
                     std::to_string(size));
    }
    set_property(self, "ImageId", value ? Value(*value) : Value(Ref<ManagedObject>()));
}

void put_word(Record& self, const char* property, int32_t value) {
    if (value < 0 || value > 65535) {
        throw_out_of_range("value", "The value " + std::to_string(value) + " of TgaImage." + property +
                                        " is not between 0 and 65535.");
    }
    set_property(self, property, int64_t{value});
}
void set_x_origin(Record& self, int32_t value) {
    put_word(self, "XOrigin", value);
}
void set_y_origin(Record& self, int32_t value) {
    put_word(self, "YOrigin", value);
}
void set_version_number(Record& self, int32_t value) {
    put_word(self, "SoftwareVersionNumber", value);
}
void set_version_letter(Record& self, uint16_t value) {
    if (value > 255) {
        refuse_value("a TGA file has one byte for the letter of the version");
    }
    set_property(self, "SoftwareVersionLetter", int64_t{value});
}

std::optional<std::u16string> software_version(Record& self) {
    const auto number = static_cast<int>(property_int(self, "SoftwareVersionNumber"));
    const auto letter = static_cast<char>(property_int(self, "SoftwareVersionLetter"));
    if (number == 0 && (letter == ' ' || letter == '\0')) {
        return std::nullopt;
    }
    return tga_version_text(number, letter);
}

// "1.1", "2", "3.25c": at most two digits behind the point, and a letter.
void set_software_version(Record& self, const OptionalText& value) {
    const std::string text = to_utf8(value.value_or(u""));
    size_t at = 0;
    int number = 0;
    const auto digits = [&](size_t most) {
        const size_t first = at;
        while (at < text.size() && at - first < most && std::isdigit(static_cast<unsigned char>(text[at])) != 0) {
            number = number * 10 + (text[at++] - '0');
        }
        return at - first;
    };
    bool good = !value || digits(3) > 0;
    size_t behind = 0;
    if (good && at < text.size() && text[at] == '.') {
        at++;
        behind = digits(2);
        good = behind > 0;
    }
    for (; behind < 2; behind++) {
        number *= 10;
    }
    const bool has_letter = good && at + 1 == text.size() && std::isalpha(static_cast<unsigned char>(text[at])) != 0;
    if (!good || (at != text.size() && !has_letter) || number > 65535) {
        refuse_value("'" + text + "' is no version of the form 1.10b, of at most 655.35");
    }
    set_property(self, "SoftwareVersionNumber", int64_t{number});
    set_property(self, "SoftwareVersionLetter", int64_t{has_letter ? text[at] : ' '});
}

void set_job_time(Record& self, TimeSpanValue value) {
    constexpr int64_t kTicksPerHour = 36'000'000'000;
    if (value.ticks < 0 || value.ticks >= 65536 * kTicksPerHour) {
        throw_out_of_range("value", "A TGA file has room for a time from 0 to 65535 hours.");
    }
    set_property(self, "JobTime", value);
}

// ---- What the file says of its numbers

int32_t bytes_per_pixel(ImageObject& self) {
    return (self.image_bits() + 7) / 8;
}
bool is_gray(ImageObject& self) {
    return self.picture().is_gray();
}

// A ratio of the extension area; two zeros where there is no area.
template <imagework::TgaRatio (TgaExtension::*kRatio)() const, uint16_t imagework::TgaRatio::*kPart>
int32_t part_of_ratio(ImageObject& self) {
    self.require_live();
    const auto* settings = imagework::settings_as<TgaEncoding>(self.facts());
    return settings != nullptr && settings->extension ? ((*settings->extension).*kRatio)().*kPart : 0;
}
constexpr auto kGamma = &TgaExtension::gamma;
constexpr auto kAspect = &TgaExtension::pixel_aspect;
constexpr auto kNumerator = &imagework::TgaRatio::numerator;
constexpr auto kDenominator = &imagework::TgaRatio::denominator;

// ---- Copies

// The image becomes one like the other, in all but the place that it is saved to.
void become(ImageObject& self, ImageObject* tga_image) {
    ImageObject& other = required_image(tga_image, "tga_image");
    self.require_live();
    if (&self == &other) {
        return;
    }
    other.put_drawings();
    std::unique_ptr<imagework::Picture> picture = other.picture().copy();
    self.facts() = other.facts();
    self.set_picture(std::move(picture));
    self.assign_from(other);
}

// An image like this one, which has not been saved anywhere yet.
Ref<ImageObject> twin(ImageObject& self) {
    Ref<ImageObject> made = tga_of_image(&self);
    become(*made, &self);
    return made;
}

// What the file of the image would say besides its pixels, wherever its tables stand.
TgaEncoding settings_of_file(const ImageObject& image) {
    imagework::FormatEncoding settings = TgaEncoding{};
    members_of(image.facts().format)->complete(image, settings);
    TgaEncoding said = settings.get<TgaEncoding>();
    if (said.extension) {
        said.extension->set_places(0, 0, 0);
    }
    return said;
}

bool same_pixels(const imagework::Picture& a, const imagework::Picture& b) {
    if (a.width() != b.width() || a.height() != b.height()) {
        return false;
    }
    std::vector<imagework::Argb> row_of_a(static_cast<size_t>(a.width())), row_of_b(row_of_a.size());
    for (int32_t y = 0; y < a.height(); ++y) {
        a.read_argb({0, y, a.width(), 1}, row_of_a);
        b.read_argb({0, y, b.width(), 1}, row_of_b);
        if (row_of_a != row_of_b) {
            return false;
        }
    }
    return true;
}

// Images with the same pixels, whose files would say the same.
bool equals(ImageObject& self, ImageObject* other) {
    self.require_live();
    if (other == nullptr || &self == other) {
        return other != nullptr;
    }
    self.put_drawings();
    other->put_drawings();
    return self.image_bits() == other->image_bits() && settings_of_file(self) == settings_of_file(*other) &&
           same_pixels(self.picture(), other->picture());
}

using TgaImageApi = api::FileFormats::Tga::TgaImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&tga_of_path, TgaImageApi::ctor_000_TgaImage>(),
    behavior<&tga_of_image, TgaImageApi::ctor_001_TgaImage>(),
    behavior<&tga_of_stream, TgaImageApi::ctor_002_TgaImage>(),
    behavior<&set_author_name, TgaImageApi::set_AuthorName>(),
    behavior<&set_author_comments, TgaImageApi::set_AuthorComments>(),
    behavior<&set_job_name, TgaImageApi::set_JobNameOrId>(),
    behavior<&set_software_id, TgaImageApi::set_SoftwareId>(),
    behavior<&set_image_id, TgaImageApi::set_ImageId>(),
    behavior<&set_x_origin, TgaImageApi::set_XOrigin>(),
    behavior<&set_y_origin, TgaImageApi::set_YOrigin>(),
    behavior<&set_version_number, TgaImageApi::set_SoftwareVersionNumber>(),
    behavior<&set_version_letter, TgaImageApi::set_SoftwareVersionLetter>(),
    property<&software_version, &set_software_version, TgaImageApi::property_SoftwareVersion>(),
    behavior<&set_job_time, TgaImageApi::set_JobTime>(),
    behavior<&bytes_per_pixel, TgaImageApi::get_BytesPerPixel>(),
    behavior<&is_gray, TgaImageApi::get_IsGrayScale>(),
    behavior<&part_of_ratio<kGamma, kNumerator>, TgaImageApi::get_GammaValueNumerator>(),
    behavior<&part_of_ratio<kGamma, kDenominator>, TgaImageApi::get_GammaValueDenominator>(),
    behavior<&part_of_ratio<kAspect, kNumerator>, TgaImageApi::get_PixelAspectRatioNumerator>(),
    behavior<&part_of_ratio<kAspect, kDenominator>, TgaImageApi::get_PixelAspectRatioDenominator>(),
    behavior<&twin, TgaImageApi::call_000_Clone>(),
    behavior<&become, TgaImageApi::call_001_Clone>(),
    behavior<&equals, TgaImageApi::call_000_Equals>(),
});

}  // namespace

}  // namespace zelmor::embed

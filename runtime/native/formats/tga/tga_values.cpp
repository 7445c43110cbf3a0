// Properties of TGA images from and to the extension area; see tga_values.h.
#include "runtime/native/formats/tga/tga_values.h"

#include <chrono>
#include <cstdint>

#include "runtime/native/core/text.h"

namespace zelmor::embed {

using imagework::Argb;
using imagework::TgaDate;
using imagework::TgaExtension;
using imagework::TgaTime;

namespace {

constexpr int64_t kTicksPerSecond = 10'000'000;
constexpr auto kFirstDay = std::chrono::sys_days(std::chrono::year(1) / 1 / 1);

// Nothing for a date that is not in the calendar, such as that of an area without one.
std::optional<DateTimeValue> value_of(const TgaDate& date) {
    const auto day = std::chrono::year(date.year) / date.month / date.day;
    if (!day.ok() || date.year == 0 || date.year > 9999 || date.hour > 23 || date.minute > 59 || date.second > 59) {
        return std::nullopt;
    }
    const int64_t seconds = int64_t{(std::chrono::sys_days(day) - kFirstDay).count()} * 86'400 + date.hour * 3600 +
                            date.minute * 60 + date.second;
    return DateTimeValue{static_cast<uint64_t>(seconds * kTicksPerSecond)};
}

TgaDate date_of(const Value& value) {
    const auto* date = std::get_if<DateTimeValue>(&value);
    if (date == nullptr) {
        return {};
    }
    const int64_t seconds = date->ticks() / kTicksPerSecond;
    const std::chrono::year_month_day day(kFirstDay + std::chrono::days(seconds / 86'400));
    const auto small = [](auto number) { return static_cast<uint16_t>(number); };
    return {small(static_cast<unsigned>(day.month())),
            small(static_cast<unsigned>(day.day())),
            small(static_cast<int>(day.year())),
            small(seconds / 3600 % 24),
            small(seconds / 60 % 60),
            small(seconds % 60)};
}

int64_t ticks_of(const TgaTime& time) {
    return (int64_t{time.hours} * 3600 + time.minutes * 60 + time.seconds) * kTicksPerSecond;
}
TgaTime time_of(int64_t ticks) {
    const int64_t seconds = ticks / kTicksPerSecond;
    return {static_cast<uint16_t>(seconds / 3600), static_cast<uint16_t>(seconds / 60 % 60),
            static_cast<uint16_t>(seconds % 60)};
}

int64_t ticks_property(const ManagedObject& image, const char* name) {
    const auto* span = std::get_if<TimeSpanValue>(&property(image, name));
    return span != nullptr ? span->ticks : 0;
}

struct Text {
    const char* property;
    std::string (TgaExtension::*get)() const;
    void (TgaExtension::*set)(std::string_view);
};
constexpr Text kTexts[] = {
    {"AuthorName", &TgaExtension::author, &TgaExtension::set_author},
    {"AuthorComments", &TgaExtension::comments, &TgaExtension::set_comments},
    {"JobNameOrId", &TgaExtension::job, &TgaExtension::set_job},
    {"SoftwareId", &TgaExtension::software, &TgaExtension::set_software},
};

}  // namespace

std::u16string text_of_tga(const std::string& bytes) {
    std::u16string text = to_utf16(bytes);
    if (to_utf8(text) == bytes) {
        return text;
    }
    std::u16string latin;
    for (const char byte : bytes) {
        latin.push_back(static_cast<unsigned char>(byte));
    }
    return latin;
}

std::u16string tga_version_text(int number, char letter) {
    std::string text =
        std::to_string(number / 100) + "." + std::to_string(number / 10 % 10) + std::to_string(number % 10);
    if (letter != ' ' && letter != '\0') {
        text.push_back(letter);
    }
    return text_of_tga(text);
}

void put_tga_extension(ImageObject& image, const TgaExtension& extension) {
    for (const Text& row : kTexts) {
        if (const std::string text = (extension.*row.get)(); !text.empty()) {
            set_property(image, row.property, text_of_tga(text));
        }
    }
    if (const auto date = value_of(extension.date())) {
        set_property(image, "DateTimeStamp", *date);
    }
    set_property(image, "JobTime", TimeSpanValue{ticks_of(extension.job_time())});
    set_property(image, "SoftwareVersionNumber", int64_t{extension.version_number()});
    set_property(image, "SoftwareVersionLetter", int64_t{static_cast<unsigned char>(extension.version_letter())});
    if (const Argb color = extension.key_color(); color != 0) {
        set_property(image, "HasBackgroundColor", true);
        set_property(image, "BackgroundColor", box(ColorValue::from_argb(color)));
    }
}

void take_tga_extension(const ImageObject& image, std::optional<TgaExtension>& extension) {
    TgaExtension area = extension.value_or(TgaExtension());
    for (const Text& row : kTexts) {
        const std::u16string text = property_string(image, row.property).value_or(u"");
        if (text != text_of_tga((area.*row.get)())) {
            (area.*row.set)(to_utf8(text));
        }
    }
    const Value& date = property(image, "DateTimeStamp");
    const auto said = value_of(area.date());
    const bool has_date = std::holds_alternative<DateTimeValue>(date);
    if (has_date ? !said || *said != std::get<DateTimeValue>(date) : said.has_value()) {
        area.set_date(date_of(date));
    }
    if (const int64_t ticks = ticks_property(image, "JobTime"); ticks != ticks_of(area.job_time())) {
        area.set_job_time(time_of(ticks));
    }
    area.set_version_number(static_cast<uint16_t>(property_int(image, "SoftwareVersionNumber")));
    // A new image has no letter, and a file says so by a space.
    const auto letter = static_cast<char>(property_int(image, "SoftwareVersionLetter"));
    if (letter != area.version_letter() && !(letter == '\0' && area.version_letter() == ' ')) {
        area.set_version_letter(letter);
    }
    area.set_key_color(property_bool(image, "HasBackgroundColor") ? color_property(image, "BackgroundColor") : 0);
    if (extension || area != TgaExtension()) {
        extension = std::move(area);
    }
}

}  // namespace zelmor::embed

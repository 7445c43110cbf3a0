// When a picture was last changed, as its metadata or its file say.
#include <sys/stat.h>

#include <cstdio>
#include <ctime>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/metadata/kept_metadata.h"
#include "runtime/native/behaviors/metadata/xmp/iso_date.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_namespaces.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_packet.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace {

using Tag = api::FileFormats::Tiff::Enums::TiffTags;
using Date = std::optional<DateTimeValue>;

// A date as XMP has it; nothing for text that is none, or that names only a year.
Date date_of_iso(const std::string& text) {
    try {
        const Value value = parse_iso_date(text);
        if (const auto* plain = std::get_if<DateTimeValue>(&value)) {
            return *plain;
        }
        if (const auto* zoned = std::get_if<DateTimeOffsetValue>(&value)) {
            return DateTimeValue{static_cast<uint64_t>(zoned->ticks)};  // the clock that the text shows
        }
    } catch (const ManagedException& error) {
        if (error.name() != "FormatException") {
            throw;
        }
    }
    return std::nullopt;
}

Date date_of_numbers(int year, int month, int day, int hour, int minute, int second) {
    char text[32];
    std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d", year, month, day, hour, minute, second);
    return date_of_iso(text);
}

// "2024:05:17 10:20:30"
Date date_of_exif(ImageObject& image) {
    const auto exif = exif_of(image);
    const TagObject* tag =
        exif ? cast_object<ExifObject>(*exif).find(ExifDirectory::kCommon, number_of(Tag::kDateTime)) : nullptr;
    if (tag == nullptr) {
        return std::nullopt;
    }
    const std::string text = to_utf8(text_of_value(tag->value()));
    int numbers[6] = {};
    if (std::sscanf(text.c_str(), "%4d:%2d:%2d %2d:%2d:%2d", &numbers[0], &numbers[1], &numbers[2], &numbers[3],
                    &numbers[4], &numbers[5]) != 6) {
        return std::nullopt;
    }
    return date_of_numbers(numbers[0], numbers[1], numbers[2], numbers[3], numbers[4], numbers[5]);
}

Date date_of_xmp(ImageObject& image) {
    const auto xmp = xmp_of(image);
    const XmpPackageObject* basic =
        xmp ? cast_object<XmpPacketObject>(*xmp).packages.find(xmp_namespaces::kXmpBasic) : nullptr;
    const Value* value = basic != nullptr ? basic->find("ModifyDate") : nullptr;
    if (value == nullptr) {
        return std::nullopt;
    }
    return date_of_iso(iso_date_text(*value).value_or(to_utf8(text_of_value(*value))));
}

// The chunk of a PNG that holds nothing else.
Date date_of_chunk(const ImageObject& image) {
    if (image.metadata == nullptr) {
        return std::nullopt;
    }
    for (const Bytes& chunk : image.metadata->texts()) {
        const std::string_view type(reinterpret_cast<const char*>(chunk.data()), 4);
        if (type != "tIME" || chunk.size() != 11) {
            continue;
        }
        const auto number = [&](size_t at) { return std::to_integer<int>(chunk[at]); };
        return date_of_numbers(static_cast<int>(read_number(std::span(chunk).subspan(4, 2), true)), number(6),
                               number(7), number(8), number(9), number(10));
    }
    return std::nullopt;
}

Date date_of_file(const ImageObject& image) {
    struct stat status {};
    std::tm local{};
    if (image.target_path.empty() || ::stat(image.target_path.c_str(), &status) != 0 ||
        ::localtime_r(&status.st_mtime, &local) == nullptr) {
        return std::nullopt;
    }
    return date_of_numbers(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min,
                           local.tm_sec);
}

// The first that is known: EXIF, XMP, the chunk of a PNG, and then the file, if that is asked for. Nothing is known:
// the first day of the calendar.
DateTimeValue get_modify_date(ImageObject& self, bool use_default) {
    self.require_live();
    for (const auto find : {&date_of_exif, &date_of_xmp}) {
        if (const Date date = find(self)) {
            return *date;
        }
    }
    Date date = date_of_chunk(self);
    if (!date && use_default) {
        date = date_of_file(self);
    }
    return date.value_or(DateTimeValue{});
}

using RasterImageApi = api::RasterImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&get_modify_date, RasterImageApi::call_000_GetModifyDate>(),
});

}  // namespace

}  // namespace zelmor::embed

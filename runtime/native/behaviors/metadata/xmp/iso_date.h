// Dates as XMP writes them: the part of ISO 8601 from a year down to fractions of a second, with or without a zone.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_ISO_DATE_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_ISO_DATE_H

#include <optional>
#include <string>
#include <string_view>

#include "runtime/native/core/value.h"

namespace zelmor::embed {

// A DateTime for a date without zone (kind unspecified) or one in UTC, a DateTimeOffset for one with another offset.
// FormatException for text of another form, or for a day that is not in the calendar.
Value parse_iso_date(std::string_view text);
// Which of the forms the text has, as a .NET format: "yyyy-MM-ddTHH:mm:sszzz".
std::string iso_date_format(std::string_view text);

// The date with its time, fractions only where there are any.
std::string iso_date_text(const DateTimeValue& value);
std::string iso_date_text(const DateTimeOffsetValue& value);
// The same for a stored value; nothing where it is no date.
std::optional<std::string> iso_date_text(const Value& value);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_ISO_DATE_H

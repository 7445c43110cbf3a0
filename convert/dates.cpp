// Dates, times and spans in both directions, with their callbacks.
//
// The capsule of Python's datetime module reads fields and makes plain objects; each entry point imports it anew. A
// timezone object is made by calling its class.
#include "convert/dates.h"

#include <cassert>

#include <datetime.h>

#include "exchange/callbacks.h"
#include "pyshell/identifiers.h"
#include "pyshell/imports.h"
#include "pyshell/py_ref.h"
#include "pyshell/refusals.h"

using zelmor::PyRef;

namespace {

[[nodiscard]] bool import_capsule() {
    PyDateTime_IMPORT;
    return PyDateTimeAPI != nullptr;
}

[[gnu::cold]] int refuse_range(const char* target) {
    assert(target != nullptr);
    PyErr_Format(PyExc_OverflowError, "value too large or too small for .Net %s", target);
    return 0;
}

struct UtcOffset {
    bool failed = false;  // a Python error is set
    bool has_offset = false;
    long ticks = 0;
};

UtcOffset get_utc_offset(PyObject* object) {
    assert(PyDateTimeAPI != nullptr && object != nullptr);
    PyRef zone = PyRef::steal(PyObject_GetAttr(object, PyWrpIdDateTime_Tzinfo));
    if (!zone) {
        return {.failed = true};
    }
    if (zone.get() == Py_None) {
        return {};
    }
    PyRef offset = PyRef::steal(PyObject_CallMethodNoArgs(object, PyWrpIdDateTime_UtcOffset));
    if (PyErr_Occurred() != nullptr) {
        return {.failed = true};
    }
    if (offset.get() == Py_None) {
        return {};
    }
    if (!PyDelta_Check(offset.get())) {
        PyErr_SetString(PyExc_TypeError, "instance utcoffset() return wrong value");
        return {.failed = true};
    }
    TimeSpanArgBuilder span;
    copy_py_datetimedelta(offset.get(), span);
    UtcOffset result{.has_offset = true};
    if (!span.to_ticks(result.ticks)) {
        PyErr_SetString(PyExc_OverflowError, "value too large or too small utc offset");
        return {.failed = true};
    }
    return result;
}

// The same for an object that has to have an offset; `kind` is its name in the refusal.
UtcOffset require_utc_offset(PyObject* object, const char* kind) {
    const UtcOffset offset = get_utc_offset(object);
    if (!offset.failed && !offset.has_offset) {
        PyErr_Format(PyExc_ValueError, "The tzinfo property of a given %s should not be None", kind);
        return {.failed = true};
    }
    return offset;
}

// A new timedelta of that many ticks. The capsule has to be imported.
PyObject* make_timedelta(long ticks) {
    assert(PyDateTimeAPI != nullptr);
    const TimeSpanArgBuilder span(ticks);
    return PyDateTimeAPI->Delta_FromDelta(span.days, span.seconds, span.microseconds, 1, PyDateTimeAPI->DeltaType);
}

}  // namespace

void copy_py_date(PyObject* object, DateTimeArgBuilder& builder) {
    builder.year = PyDateTime_GET_YEAR(object);
    builder.month = PyDateTime_GET_MONTH(object);
    builder.day = PyDateTime_GET_DAY(object);
}

void copy_py_time(PyObject* object, DateTimeArgBuilder& builder) {
    builder.hour = PyDateTime_TIME_GET_HOUR(object);
    builder.minute = PyDateTime_TIME_GET_MINUTE(object);
    builder.second = PyDateTime_TIME_GET_SECOND(object);
    builder.microsecond = PyDateTime_TIME_GET_MICROSECOND(object);
}

void copy_py_datetime(PyObject* object, DateTimeArgBuilder& builder) {
    copy_py_date(object, builder);
    builder.hour = PyDateTime_DATE_GET_HOUR(object);
    builder.minute = PyDateTime_DATE_GET_MINUTE(object);
    builder.second = PyDateTime_DATE_GET_SECOND(object);
    builder.microsecond = PyDateTime_DATE_GET_MICROSECOND(object);
}

void copy_py_datetimedelta(PyObject* object, TimeSpanArgBuilder& builder) {
    builder.days = PyDateTime_DELTA_GET_DAYS(object);
    builder.seconds = PyDateTime_DELTA_GET_SECONDS(object);
    builder.microseconds = PyDateTime_DELTA_GET_MICROSECONDS(object);
}

// Towards DateTime.

int fn_conv_py_datetime_to_clr_datetime(PyObject* object, long* out) {
    assert(object != nullptr && out != nullptr);
    if (!import_capsule()) {
        return 0;
    }
    // A datetime is a date too.
    if (PyDateTime_Check(object)) {
        return fn_conv_py_datetime_ex_to_clr_datetime(object, out);
    }
    if (PyDate_Check(object)) {
        return fn_conv_py_date_to_clr_datetime(object, out);
    }
    return PyTime_Check(object) ? fn_conv_py_time_to_clr_datetime(object, out)
                                : zelmor::refuse_kind("DateTime", object);
}

int fn_conv_py_date_to_clr_datetime(PyObject* object, long* out) {
    DateTimeArgBuilder builder;
    copy_py_date(object, builder);
    return builder.to_ticks(*out) ? 1 : refuse_range("DateTime");
}

int fn_conv_py_datetime_ex_to_clr_datetime(PyObject* object, long* out) {
    const UtcOffset offset = get_utc_offset(object);
    if (offset.failed) {
        return 0;
    }
    DateTimeArgBuilder builder;
    copy_py_datetime(object, builder);
    bool fits;
    if (offset.has_offset) {
        builder.kind = kKindUtc;
        fits = builder.to_utc_ticks(offset.ticks, *out);
    } else {
        fits = builder.to_ticks(*out);
    }
    return fits ? 1 : refuse_range("DateTime");
}

int fn_conv_py_time_to_clr_datetime(PyObject* object, long* out) {
    const UtcOffset offset = get_utc_offset(object);
    if (offset.failed) {
        return 0;
    }
    DateTimeArgBuilder builder;
    copy_py_time(object, builder);
    if (offset.has_offset) {
        builder.kind = kKindUtc;
        builder.to_time_ticks(offset.ticks, *out);
    } else {
        builder.to_ticks(*out);
    }
    return 1;
}

// Towards DateTimeOffset.

int fn_conv_py_datetime_to_clr_datetimeoffset(PyObject* object, long* out) {
    assert(object != nullptr && out != nullptr);
    if (!import_capsule()) {
        return 0;
    }
    if (PyDateTime_Check(object)) {
        return fn_conv_py_datetime_ex_to_clr_datetimeoffset(object, out);
    }
    return PyTime_Check(object) ? fn_conv_py_time_to_clr_datetimeoffset(object, out)
                                : zelmor::refuse_kind("DateTime", object);
}

int fn_conv_py_datetime_ex_to_clr_datetimeoffset(PyObject* object, long* out) {
    const UtcOffset offset = require_utc_offset(object, "datetime");
    if (offset.failed) {
        return 0;
    }
    DateTimeArgBuilder builder;
    copy_py_datetime(object, builder);
    out[1] = offset.ticks;
    return builder.to_ticks(out[0]) ? 1 : refuse_range("DateTime");
}

int fn_conv_py_time_to_clr_datetimeoffset(PyObject* object, long* out) {
    const UtcOffset offset = require_utc_offset(object, "time");
    if (offset.failed) {
        return 0;
    }
    DateTimeArgBuilder builder;
    copy_py_time(object, builder);
    out[1] = offset.ticks;
    builder.to_ticks(out[0]);
    return 1;
}

// Towards TimeSpan.

int fn_conv_py_datetimedelta_to_clr_timespan(PyObject* object, long* out) {
    assert(object != nullptr && out != nullptr);
    if (!import_capsule()) {
        return 0;
    }
    return PyDelta_Check(object) ? fn_conv_py_datetimedelta_to_clr_timespan_value(object, out)
                                 : zelmor::refuse_kind("TimeSpan", object);
}

int fn_conv_py_datetimedelta_to_clr_timespan_value(PyObject* object, long* out) {
    TimeSpanArgBuilder builder;
    copy_py_datetimedelta(object, builder);
    return builder.to_ticks(*out) ? 1 : refuse_range("TimeSpan");
}

// Towards Python.

PyObject* fn_conv_clr_datetime_to_py_datetime(const long* words) {
    assert(words != nullptr);
    if (!import_capsule()) {
        return nullptr;
    }
    const DateTimeArgBuilder builder(words[0]);
    if (builder.kind == kKindUnspecified) {
        return PyDateTimeAPI->DateTime_FromDateAndTime(builder.year, builder.month, builder.day, builder.hour,
                                                       builder.minute, builder.second, builder.microsecond, Py_None,
                                                       PyDateTimeAPI->DateTimeType);
    }
    if (builder.kind != kKindUtc) {
        return create_py_datetime_from_tz_ticks(builder, words[1]);
    }
    PyRef zone_type = PyRef::steal(PyShImport_ImportType("datetime", PyWrpIdTypeName_TimeZone));
    PyRef utc = PyRef::steal(zone_type ? PyObject_GetAttr(zone_type.get(), PyWrpIdDateTime_Utc) : nullptr);
    return utc ? create_py_datetime_from_zone(builder, utc.get()) : nullptr;
}

PyObject* fn_conv_clr_datetimeoffset_to_py_datetime(const long* words) {
    assert(words != nullptr);
    if (!import_capsule()) {
        return nullptr;
    }
    return create_py_datetime_from_tz_ticks(DateTimeArgBuilder(words[0]), words[1]);
}

PyObject* fn_conv_clr_timespan_to_py_datetimedelta(long ticks) {
    return import_capsule() ? make_timedelta(ticks) : nullptr;
}

PyObject* create_py_datetime_from_tz_ticks(const DateTimeArgBuilder& builder, long offset) {
    if (!import_capsule()) {
        return nullptr;
    }
    PyRef delta = PyRef::steal(make_timedelta(offset));
    PyRef zone_type = PyRef::steal(delta ? PyShImport_ImportType("datetime", PyWrpIdTypeName_TimeZone) : nullptr);
    PyRef zone = PyRef::steal(zone_type ? PyObject_CallOneArg(zone_type.get(), delta.get()) : nullptr);
    return zone ? create_py_datetime_from_zone(builder, zone.get()) : nullptr;
}

PyObject* create_py_datetime_from_zone(const DateTimeArgBuilder& builder, PyObject* tzinfo) {
    assert(tzinfo != nullptr);
    PyRef type = PyRef::steal(PyShImport_ImportType("datetime", PyWrpIdTypeName_DateTime));
    if (!type) {
        return nullptr;
    }
    PyRef args = PyRef::steal(Py_BuildValue("iiiiiiiO", builder.year, builder.month, builder.day, builder.hour,
                                            builder.minute, builder.second, builder.microsecond, tzinfo));
    return args ? PyObject_CallObject(type.get(), args.get()) : nullptr;
}

// Callbacks. The "vers" readers return which of the two records they filled.

namespace {

constexpr int kReadFailed = 0;
constexpr int kReadDateTime = 1;
constexpr int kReadDateTimeOffset = 2;

}  // namespace

int fn_read_py_vers_date(PyObject* object, long* out) {
    return import_capsule() ? fn_conv_py_date_to_clr_datetime(object, out) : kReadFailed;
}

int fn_read_py_vers_datetime(PyObject* object, long* out) {
    if (!import_capsule()) {
        return kReadFailed;
    }
    const UtcOffset offset = get_utc_offset(object);
    if (offset.failed) {
        return kReadFailed;
    }
    DateTimeArgBuilder builder;
    copy_py_datetime(object, builder);
    if (offset.has_offset) {
        out[1] = offset.ticks;
        return builder.to_ticks(out[0]) ? kReadDateTimeOffset : refuse_range("DateTimeOffSet");
    }
    return builder.to_ticks(out[0]) ? kReadDateTime : refuse_range("DateTime");
}

int fn_read_py_vers_time(PyObject* object, long* out) {
    if (!import_capsule()) {
        return kReadFailed;
    }
    const UtcOffset offset = get_utc_offset(object);
    if (offset.failed) {
        return kReadFailed;
    }
    DateTimeArgBuilder builder;
    copy_py_time(object, builder);
    builder.to_ticks(out[0]);
    if (!offset.has_offset) {
        return kReadDateTime;
    }
    out[1] = offset.ticks;
    return kReadDateTimeOffset;
}

int fn_read_py_datetimedelta(PyObject* object, long* out) {
    return import_capsule() ? fn_conv_py_datetimedelta_to_clr_timespan_value(object, out) : 0;
}

PyObject* fn_write_py_date_time(const long* ticks) {
    return fn_conv_clr_datetime_to_py_datetime(ticks);
}
PyObject* fn_write_py_date_time_offset(const long* words) {
    return fn_conv_clr_datetimeoffset_to_py_datetime(words);
}
PyObject* fn_write_py_datetimedelta(long ticks) {
    return fn_conv_clr_timespan_to_py_datetimedelta(ticks);
}

PyObject* fn_write_py_timezone(const char16_t* name, int length, long offset) {
    PyRef type = PyRef::steal(PyShImport_ImportType("datetime", PyWrpIdTypeName_TimeZone));
    if (!type || !import_capsule()) {
        return nullptr;
    }
    PyRef delta = PyRef::steal(make_timedelta(offset));
    if (!delta) {
        return nullptr;
    }
    PyRef text = length == -1 ? PyRef::borrow(Py_None) : PyRef::steal(fn_conv_clr_string_to_py_string(name, length));
    return text ? PyObject_CallFunctionObjArgs(type.get(), delta.get(), text.get(), nullptr) : nullptr;
}

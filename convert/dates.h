// Dates, times and spans in both directions: the classes of Python's datetime and the managed DateTime, DateTimeOffset
// and TimeSpan.
//
// Words on the wire: a DateTime is sent as one word, ticks and kind. It is received as two words, of which the second
// is the UTC offset of a local DateTime. A DateTimeOffset is two words, the ticks of its own clock and its offset. A
// TimeSpan is one word. Converters return 1, or 0 with a Python error set.
#ifndef ZELMOR_CONVERT_DATES_H
#define ZELMOR_CONVERT_DATES_H

#include "convert/datetime_arg_builder.h"
#include "convert/timespan_arg_builder.h"
#include "pyshell/python.h"

// A datetime, date or time. One with an offset is converted to UTC; one without stays as it is, of unspecified kind.
int fn_conv_py_datetime_to_clr_datetime(PyObject* object, long* out);
// Without the tests of the type, for one class each.
int fn_conv_py_datetime_ex_to_clr_datetime(PyObject* object, long* out);
int fn_conv_py_date_to_clr_datetime(PyObject* object, long* out);
int fn_conv_py_time_to_clr_datetime(PyObject* object, long* out);

// A datetime or time that has an offset; fills two words.
int fn_conv_py_datetime_to_clr_datetimeoffset(PyObject* object, long* out);
int fn_conv_py_datetime_ex_to_clr_datetimeoffset(PyObject* object, long* out);
int fn_conv_py_time_to_clr_datetimeoffset(PyObject* object, long* out);

int fn_conv_py_datetimedelta_to_clr_timespan(PyObject* object, long* out);
int fn_conv_py_datetimedelta_to_clr_timespan_value(PyObject* object, long* out);

// New references, or null with a Python error set.
PyObject* fn_conv_clr_datetime_to_py_datetime(const long* words);
PyObject* fn_conv_clr_datetimeoffset_to_py_datetime(const long* words);
PyObject* fn_conv_clr_timespan_to_py_datetimedelta(long ticks);
PyObject* create_py_datetime_from_zone(const DateTimeArgBuilder& builder, PyObject* tzinfo);
PyObject* create_py_datetime_from_tz_ticks(const DateTimeArgBuilder& builder, long offset);

// The fields of Python's objects, without a test of their types.
void copy_py_date(PyObject* object, DateTimeArgBuilder& builder);
void copy_py_time(PyObject* object, DateTimeArgBuilder& builder);
void copy_py_datetime(PyObject* object, DateTimeArgBuilder& builder);
void copy_py_datetimedelta(PyObject* object, TimeSpanArgBuilder& builder);

#endif  // ZELMOR_CONVERT_DATES_H

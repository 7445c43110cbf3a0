// Decimals in both directions, with their callbacks: which digits of a Python decimal are taken, and where it is
// rounded.
#include "convert/decimal.h"

#include <algorithm>
#include <cassert>
#include <limits>

#include "convert/decimal_arg_in_builder.h"
#include "convert/decimal_arg_out_builder.h"
#include "exchange/callbacks.h"
#include "pyshell/identifiers.h"
#include "pyshell/imports.h"
#include "pyshell/py_ref.h"
#include "pyshell/refusals.h"

using zelmor::PyRef;

namespace {

constexpr int kMaxScale = 28;
constexpr unsigned long kNoGroup = std::numeric_limits<unsigned long>::max();

[[gnu::cold]] int refuse_too_large() {
    PyErr_SetString(PyExc_OverflowError, "value too large for .Net decimal");
    return 0;
}

// Whether `object` is an instance of a class of the module "decimal": 1, 0, or -1 with a Python error set.
int is_decimal_instance(PyObject* object, PyObject* class_name) {
    PyRef type = PyRef::steal(PyShImport_ImportType("decimal", class_name));
    return type ? PyObject_IsInstance(object, type.get()) : -1;
}

// The fields of a DecimalTuple.
struct TupleParts {
    PyRef digits;
    Py_ssize_t count = 0;
    long long exponent = 0;
    int sign = 0;
};

bool read_parts(PyObject* object, TupleParts& parts) {
    PyRef exponent = PyRef::steal(PyObject_GetAttr(object, PyWrpIdDecimal_Exponent));
    if (!exponent || is_non_convertable_py_decimal(exponent.get(), "Decimal")) {
        return false;
    }
    parts.exponent = PyLong_AsLongLong(exponent.get());
    if (parts.exponent == -1 && PyErr_Occurred() != nullptr) {
        return false;
    }
    PyRef sign = PyRef::steal(PyObject_GetAttr(object, PyWrpIdDecimal_Sign));
    if (!sign) {
        return false;
    }
    const long sign_value = PyLong_AsLong(sign.get());
    if (sign_value == -1 && PyErr_Occurred() != nullptr) {
        return false;
    }
    parts.sign = static_cast<int>(sign_value);
    parts.digits = PyRef::steal(PyObject_GetAttr(object, PyWrpIdDecimal_Digits));
    if (!parts.digits) {
        return false;
    }
    parts.count = PyTuple_Size(parts.digits.get());
    return parts.count >= 0;
}

// The digits up to `grouped` in groups of nine, then `tail` more as the last group.
bool accept_digits(DecimalArgOutBuilder& builder, PyObject* digits, Py_ssize_t grouped, int tail) {
    for (Py_ssize_t i = 0; i < grouped; i += kGroupWidth) {
        const unsigned long group = get_mantissa_group(digits, i, i + kGroupWidth);
        if (group == kNoGroup) {
            return false;
        }
        builder.accept_decimal_mantissa(group, kGroupWidth);
    }
    if (tail > 0) {
        const unsigned long group = get_mantissa_group(digits, grouped, grouped + tail);
        if (group == kNoGroup) {
            return false;
        }
        builder.accept_decimal_mantissa(group, tail);
    }
    return true;
}

// Chooses the digits to take and the place of rounding, and takes them. False with a Python error set.
bool accept_tuple(DecimalArgOutBuilder& builder, const TupleParts& parts) {
    Py_ssize_t count = parts.count;
    long long exponent = parts.exponent;
    Py_ssize_t round_position = -1;
    if (exponent < -kMaxScale) {
        const long long outside = -kMaxScale - exponent;
        if (count < outside) {
            // All digits are below half of the last place: the value is zero.
            builder.begin_accept_decimal(parts.sign, -kMaxScale, -1);
            return true;
        }
        count -= static_cast<Py_ssize_t>(outside);
        exponent = -kMaxScale;
        round_position = count + 1;
    }
    if (count > kMaxDigits) {
        // The thirtieth digit is rounded off; those after it are ignored.
        builder.begin_accept_decimal(parts.sign, exponent + count - kMaxDigits, kMaxDigits + 1);
        return accept_digits(builder, parts.digits.get(), 27, 3);
    }
    const Py_ssize_t taken = std::max(round_position, count);
    const Py_ssize_t grouped = taken / kGroupWidth * kGroupWidth;
    builder.begin_accept_decimal(parts.sign, exponent, static_cast<int>(round_position));
    return accept_digits(builder, parts.digits.get(), grouped, static_cast<int>(taken - grouped));
}

}  // namespace

bool is_non_convertable_py_decimal(PyObject* exponent, const char* type_name) {
    assert(exponent != nullptr && type_name != nullptr);
    if (PyUnicode_Check(exponent)) {
        // An infinity has the exponent "F"; a NaN has "n", or "N" if it signals.
        if (PyUnicode_CompareWithASCIIString(exponent, "F") == 0) {
            PyErr_Format(PyExc_OverflowError, "value too large for .Net '%s'", type_name);
        } else if (PyUnicode_CompareWithASCIIString(exponent, "n") != 0 &&
                   PyUnicode_CompareWithASCIIString(exponent, "N") != 0) {
            PyErr_Format(PyExc_TypeError, "can't build '%s' from exponent value '%U'", type_name, exponent);
        } else {
            PyErr_SetString(PyExc_OverflowError, "value is not a number");
        }
        return true;
    }
    if (!PyLong_Check(exponent)) {
        PyErr_Format(PyExc_TypeError, "unknown exponent type '%s'", Py_TYPE(exponent)->tp_name);
        return true;
    }
    return false;
}

unsigned long get_mantissa_group(PyObject* digits, Py_ssize_t first, Py_ssize_t last) {
    assert(PyTuple_Check(digits));
    assert(0 <= first && first <= last && last <= PyTuple_GET_SIZE(digits) && last - first <= kGroupWidth);
    unsigned long group = 0;
    for (Py_ssize_t i = first; i < last; ++i) {
        const long digit = PyLong_AsLong(PyTuple_GET_ITEM(digits, i));
        if (digit == -1 && PyErr_Occurred() != nullptr) {
            return kNoGroup;
        }
        if (digit < 0 || digit > 9) {
            // Only a tuple that was not made by the decimal module has such digits.
            PyErr_SetString(PyExc_ValueError, "coefficient must be a tuple of digits");
            return kNoGroup;
        }
        group = group * 10 + static_cast<unsigned long>(digit);
    }
    return group;
}

int fn_conv_py_decimal_to_clr_decimal(PyObject* object, unsigned int* record) {
    assert(object != nullptr && record != nullptr);
    const int is_tuple = is_decimal_instance(object, PyWrpIdTypeName_DecimalTuple);
    if (is_tuple != 0) {
        return is_tuple > 0 ? fn_conv_py_decimal_tuple_to_clr_decimal(object, record) : 0;
    }
    const int is_decimal = is_decimal_instance(object, PyWrpIdTypeName_Decimal);
    if (is_decimal != 0) {
        return is_decimal > 0 ? fn_conv_py_decimal_obj_to_clr_decimal(object, record) : 0;
    }
    return zelmor::refuse_kind("Decimal", object);
}

int fn_conv_py_decimal_obj_to_clr_decimal(PyObject* object, unsigned int* record) {
    PyRef tuple = PyRef::steal(PyObject_CallMethodNoArgs(object, PyWrpIdDecimal_AsTuple));
    return tuple ? fn_conv_py_decimal_tuple_to_clr_decimal(tuple.get(), record) : 0;
}

int fn_conv_py_decimal_tuple_to_clr_decimal(PyObject* object, unsigned int* record) {
    assert(object != nullptr && record != nullptr);
    DecimalArgOutBuilder builder(record);
    TupleParts parts;
    if (!read_parts(object, parts)) {
        return 0;
    }
    // A single digit can be zero, whatever its exponent: that is decided at the end.
    if (kMaxDigits - parts.count < parts.exponent && parts.count > 1) {
        return refuse_too_large();
    }
    if (!accept_tuple(builder, parts)) {
        return 0;
    }
    return builder.end_accept_decimal() ? 1 : refuse_too_large();
}

PyObject* fn_conv_clr_decimal_to_py_decimal(unsigned int* record) {
    assert(record != nullptr);
    const DecimalArgInBuilder builder(record);
    PyRef digits = PyRef::steal(PyTuple_New(builder.mantissa_length()));
    if (!digits) {
        return nullptr;
    }
    for (int i = 0; i < builder.mantissa_length(); ++i) {
        PyObject* digit = PyLong_FromLong(builder.mantissa_cbegin()[i]);
        if (digit == nullptr) {
            return nullptr;
        }
        PyTuple_SET_ITEM(digits.get(), i, digit);
    }
    PyRef parts = PyRef::steal(Py_BuildValue("(iOi)", builder.sign(), digits.get(), builder.exponent()));
    PyRef type = PyRef::steal(parts ? PyShImport_ImportType("decimal", PyWrpIdTypeName_Decimal) : nullptr);
    return type ? PyObject_CallOneArg(type.get(), parts.get()) : nullptr;
}

// Callbacks.

int fn_read_py_decimal(PyObject* object, unsigned int* out) {
    return fn_conv_py_decimal_to_clr_decimal(object, out);
}
int fn_read_py_decimal_tuple(PyObject* object, unsigned int* out) {
    return fn_conv_py_decimal_tuple_to_clr_decimal(object, out);
}
PyObject* fn_write_py_decimal(unsigned int* words) {
    return fn_conv_clr_decimal_to_py_decimal(words);
}

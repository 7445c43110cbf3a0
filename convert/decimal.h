// Decimals in both directions: `decimal.Decimal` and the managed decimal. Nothing goes through floating point, and only
// a value with more digits than the managed type holds is rounded.
//
// The record is four 32-bit words: mantissa low, middle, high, then flags with the sign in bit 31 and the scale in bits
// 16 to 23.
#ifndef ZELMOR_CONVERT_DECIMAL_H
#define ZELMOR_CONVERT_DECIMAL_H

#include "pyshell/python.h"

// A Decimal or a DecimalTuple; neither `int` nor `float`. Answers 1, or 0 with a Python error set.
int fn_conv_py_decimal_to_clr_decimal(PyObject* object, unsigned int* record);
// Without the test of the type.
int fn_conv_py_decimal_obj_to_clr_decimal(PyObject* object, unsigned int* record);
int fn_conv_py_decimal_tuple_to_clr_decimal(PyObject* object, unsigned int* record);

// A new Decimal, or null with a Python error set. The record is overwritten.
PyObject* fn_conv_clr_decimal_to_py_decimal(unsigned int* record);

// True, with a Python error set, if the exponent of a DecimalTuple is not that of a finite number.
bool is_non_convertable_py_decimal(PyObject* exponent, const char* type_name);
// The digits from `first` up to but excluding `last` as one number; all ones with a Python error set on failure.
unsigned long get_mantissa_group(PyObject* digits, Py_ssize_t first, Py_ssize_t last);

#endif  // ZELMOR_CONVERT_DECIMAL_H

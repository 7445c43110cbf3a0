// The two callbacks by which errors cross the boundary, as text, in either direction.
//
// No exception unwinds through frames of the other side. A managed failure becomes a pending Python error while the
// call is still on the stack. A Python error inside a callback is turned into text and cleared, and the managed side
// raises an exception of its own with that text.
#ifndef ZELMOR_EXCHANGE_EXCEPTION_BRIDGE_H
#define ZELMOR_EXCHANGE_EXCEPTION_BRIDGE_H

#include "exchange/wire/records.h"

// Raises RuntimeError for a managed exception. Takes over both references; either may be null.
void on_clr_exception(PyObject* name, PyObject* detail);

// Turns the pending Python error into text and clears it. On 0 `*owner` is a new reference to the `str` that `*text`
// points into; -1 means that there was no error, or that no text could be made of it.
int fn_catch_and_clear_py_error(void** owner, PyStringArg* text);

#endif  // ZELMOR_EXCHANGE_EXCEPTION_BRIDGE_H

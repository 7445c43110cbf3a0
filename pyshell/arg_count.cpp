// The argument-count check, in the words that the interpreter uses for its own functions.
#include "pyshell/arg_count.h"

bool fn_check_args_count_out_of_range(Py_ssize_t given, const char* name, Py_ssize_t minimum, Py_ssize_t maximum) {
    if (minimum <= given && given <= maximum) {
        return false;
    }
    const bool too_few = given < minimum;
    const Py_ssize_t bound = too_few ? minimum : maximum;
    const char* relation = minimum == maximum ? "exactly" : too_few ? "at least" : "at most";
    PyErr_Format(PyExc_TypeError, "%.150s%s takes %s %d argument%s (%zd given)", name != nullptr ? name : "function",
                 name != nullptr ? "()" : "", relation, static_cast<int>(bound), bound == 1 ? "" : "s", given);
    return true;
}

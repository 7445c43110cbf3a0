// The field converters of points and rectangles.
#include "siblings/pydrawing/field_value.h"

#include <cassert>

#include "convert/range_tests.h"
#include "convert/scalars.h"

namespace zelmor::siblings {

int read_single_field(PyObject* value, double* out) {
    assert(value != nullptr && out != nullptr);
    float single = 0;
    if (fn_conv_py_float_to_clr_float(value, &single) == 0) {
        return 0;
    }
    *out = single;
    return 1;
}

int read_int32_field(PyObject* value, int32_t* out) {
    assert(value != nullptr && out != nullptr);
    // The converter of that width refuses objects that are no integers, but wraps wider values: these are refused here.
    int wrapped = 0;
    long wide = 0;
    if (fn_conv_py_long_to_clr_int32(value, &wrapped) == 0 || fn_conv_py_long_to_clr_int64(value, &wide) == 0 ||
        is_clong_value_out_of_clr_range<ValueSubjTrait, int>(wide, PyExc_OverflowError)) {
        return 0;
    }
    *out = wrapped;
    return 1;
}

}  // namespace zelmor::siblings

// "zelmor.pydrawing.PointF": a point of single-precision coordinates.
#include "siblings/pydrawing/values.h"

using zelmor::siblings::PointF;

namespace {

PyObject* get_point_f_is_empty(PyObject* self, void*) {
    return PyBool_FromLong(PointF::record(self).x == 0 && PointF::record(self).y == 0 ? 1 : 0);
}

PyGetSetDef point_getset[] = {
    {"x", PointF::get_field<0>, nullptr, nullptr, nullptr},
    {"y", PointF::get_field<1>, nullptr, nullptr, nullptr},
    {"is_empty", get_point_f_is_empty, nullptr, PyDoc_STR("Whether both coordinates are zero."), nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

PyMethodDef point_methods[] = {
    {"__reduce__", PointF::reduce, METH_NOARGS, nullptr},
    {nullptr, nullptr, 0, nullptr},
};

}  // namespace

template <>
constinit PyTypeObject PointF::type =
    PointF::type_record(point_getset, point_methods, PyDoc_STR("PointF(x, y) or PointF(): a point, read-only."));

int wrpPy_conv_py_to_clr_EDE1485C_PointF(PyObject* value, ShlPointFObject* out) {
    return PointF::from_python(value, out);
}

PyObject* wrpPy_conv_clr_to_py_EDE1485C_PointF(const ShlPointFObject* value) {
    return PointF::to_python(value);
}

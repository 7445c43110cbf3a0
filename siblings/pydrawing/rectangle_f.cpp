// "zelmor.pydrawing.RectangleF": position and size in single precision.
#include "siblings/pydrawing/values.h"

using zelmor::siblings::RectangleF;

namespace {

// Sums are rounded to single precision, as the managed type has them.
PyObject* get_rectangle_f_right(PyObject* self, void*) {
    const ShlRectangleFObject& record = RectangleF::record(self);
    return PyFloat_FromDouble(static_cast<float>(record.x + record.width));
}

PyObject* get_rectangle_f_bottom(PyObject* self, void*) {
    const ShlRectangleFObject& record = RectangleF::record(self);
    return PyFloat_FromDouble(static_cast<float>(record.y + record.height));
}

PyObject* get_rectangle_f_is_empty(PyObject* self, void*) {
    const ShlRectangleFObject& record = RectangleF::record(self);
    return PyBool_FromLong(record.width <= 0 || record.height <= 0 ? 1 : 0);
}

PyGetSetDef rectangle_f_getset[] = {
    {"x", RectangleF::get_field<0>, nullptr, nullptr, nullptr},
    {"y", RectangleF::get_field<1>, nullptr, nullptr, nullptr},
    {"width", RectangleF::get_field<2>, nullptr, nullptr, nullptr},
    {"height", RectangleF::get_field<3>, nullptr, nullptr, nullptr},
    {"left", RectangleF::get_field<0>, nullptr, PyDoc_STR("The same as x."), nullptr},
    {"top", RectangleF::get_field<1>, nullptr, PyDoc_STR("The same as y."), nullptr},
    {"right", get_rectangle_f_right, nullptr, PyDoc_STR("x + width."), nullptr},
    {"bottom", get_rectangle_f_bottom, nullptr, PyDoc_STR("y + height."), nullptr},
    {"is_empty", get_rectangle_f_is_empty, nullptr, PyDoc_STR("Whether width or height is zero or below."), nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

PyMethodDef rectangle_f_methods[] = {
    {"__reduce__", RectangleF::reduce, METH_NOARGS, nullptr},
    {nullptr, nullptr, 0, nullptr},
};

}  // namespace

template <>
constinit PyTypeObject RectangleF::type =
    RectangleF::type_record(rectangle_f_getset, rectangle_f_methods,
                            PyDoc_STR("RectangleF(x, y, width, height) or RectangleF(): a rectangle, read-only."));

int wrpPy_conv_py_to_clr_9003D9E4_RectangleF(PyObject* value, ShlRectangleFObject* out) {
    return RectangleF::from_python(value, out);
}

PyObject* wrpPy_conv_clr_to_py_9003D9E4_RectangleF(const ShlRectangleFObject* value) {
    return RectangleF::to_python(value);
}

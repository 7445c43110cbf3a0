// "zelmor.pydrawing.Rectangle": position and size in 32-bit integers.
#include "siblings/pydrawing/values.h"

using zelmor::siblings::Rectangle;

namespace {

PyObject* get_right(PyObject* self, void*) {
    const ShlRectangleObject& record = Rectangle::record(self);
    return PyLong_FromLong(long{record.x} + record.width);
}

PyObject* get_bottom(PyObject* self, void*) {
    const ShlRectangleObject& record = Rectangle::record(self);
    return PyLong_FromLong(long{record.y} + record.height);
}

PyObject* get_rectangle_is_empty(PyObject* self, void*) {
    const ShlRectangleObject& record = Rectangle::record(self);
    return PyBool_FromLong(record.x == 0 && record.y == 0 && record.width == 0 && record.height == 0 ? 1 : 0);
}

PyGetSetDef rectangle_getset[] = {
    {"x", Rectangle::get_field<0>, nullptr, nullptr, nullptr},
    {"y", Rectangle::get_field<1>, nullptr, nullptr, nullptr},
    {"width", Rectangle::get_field<2>, nullptr, nullptr, nullptr},
    {"height", Rectangle::get_field<3>, nullptr, nullptr, nullptr},
    {"left", Rectangle::get_field<0>, nullptr, PyDoc_STR("The same as x."), nullptr},
    {"top", Rectangle::get_field<1>, nullptr, PyDoc_STR("The same as y."), nullptr},
    {"right", get_right, nullptr, PyDoc_STR("x + width."), nullptr},
    {"bottom", get_bottom, nullptr, PyDoc_STR("y + height."), nullptr},
    {"is_empty", get_rectangle_is_empty, nullptr, PyDoc_STR("Whether all four numbers are zero."), nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

PyMethodDef rectangle_methods[] = {
    {"__reduce__", Rectangle::reduce, METH_NOARGS, nullptr},
    {nullptr, nullptr, 0, nullptr},
};

}  // namespace

template <>
constinit PyTypeObject Rectangle::type =
    Rectangle::type_record(rectangle_getset, rectangle_methods,
                           PyDoc_STR("Rectangle(x, y, width, height) or Rectangle(): a rectangle, read-only."));

int wrpPy_conv_py_to_clr_56D518C3_Rectangle(PyObject* value, ShlRectangleObject* out) {
    return Rectangle::from_python(value, out);
}

PyObject* wrpPy_conv_clr_to_py_56D518C3_Rectangle(const ShlRectangleObject* value) {
    return Rectangle::to_python(value);
}

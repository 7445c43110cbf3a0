// "zelmor.pydrawing.Color": four components, and the number of a named color where it has one.
//
// Two colors are equal if their whole records are, as on the managed side: a named color differs from the same
// components without a name. To compare without the name, compare `to_argb()`.
#include <algorithm>
#include <cassert>
#include <cctype>
#include <string>

#include "convert/scalars.h"
#include "pyshell/modules.h"
#include "pyshell/refusals.h"
#include "siblings/pydrawing/known_colors.h"
#include "siblings/pydrawing/values.h"

using zelmor::PyRef;
using zelmor::siblings::color_type;
using zelmor::siblings::known_color;

namespace {

using ColorObject = zelmor::siblings::ValueObject<ShlColorObject>;

// The record's `state`.
constexpr int16_t kStateEmpty = 0;
constexpr int16_t kStateNumbered = 1;
constexpr int16_t kStateComponents = 2;

const ShlColorObject& record_of(PyObject* self) {
    return reinterpret_cast<ColorObject*>(self)->value;
}

PyObject* make_color(const ShlColorObject& record) {
    PyObject* self = color_type.tp_alloc(&color_type, 0);
    if (self != nullptr) {
        reinterpret_cast<ColorObject*>(self)->value = record;
    }
    return self;
}

PyObject* make_argb(uint32_t argb) {
    return make_color({argb, 0, kStateComponents});
}

PyObject* make_numbered(int number) {
    assert(known_color(number) != nullptr);
    return make_color({known_color(number)->argb, static_cast<int16_t>(number), kStateNumbered});
}

constexpr uint32_t alpha_of(uint32_t argb) {
    return argb >> 24;
}
constexpr uint32_t red_of(uint32_t argb) {
    return argb >> 16 & 0xFF;
}
constexpr uint32_t green_of(uint32_t argb) {
    return argb >> 8 & 0xFF;
}
constexpr uint32_t blue_of(uint32_t argb) {
    return argb & 0xFF;
}

// "AliceBlue" as "alice_blue".
std::string python_name(const char* managed_name) {
    std::string name;
    for (const char* at = managed_name; *at != '\0'; ++at) {
        if (std::isupper(static_cast<unsigned char>(*at)) != 0 && at != managed_name) {
            name += '_';
        }
        name += static_cast<char>(std::tolower(static_cast<unsigned char>(*at)));
    }
    return name;
}

bool is_system_number(int number) {
    return number >= 1 && (number < kFirstWebColor || (number > kLastWebColor && number <= kLastKnownColor));
}

// "O&" converters of the constructor functions.

int read_component(PyObject* value, uint32_t* out) {
    long wide = 0;
    if (fn_conv_py_long_to_clr_int64(value, &wide) == 0) {
        return 0;
    }
    if (wide < 0 || wide > 255) {
        PyErr_Format(PyExc_ValueError, "a color component has to be from 0 to 255, not %ld", wide);
        return 0;
    }
    *out = static_cast<uint32_t>(wide);
    return 1;
}

// Takes the signed integer of the managed side as well as the usual 0xAARRGGBB.
int read_argb(PyObject* value, uint32_t* out) {
    long wide = 0;
    if (fn_conv_py_long_to_clr_int64(value, &wide) == 0) {
        return 0;
    }
    if (wide < INT32_MIN || wide > long{UINT32_MAX}) {
        PyErr_SetString(PyExc_OverflowError, "the components of a color have to fit 32 bits");
        return 0;
    }
    *out = static_cast<uint32_t>(wide);
    return 1;
}

PyObject* color_new(PyTypeObject*, PyObject* args, PyObject* kwargs) {
    static char* keywords[] = {nullptr};
    if (PyArg_ParseTupleAndKeywords(args, kwargs, ":Color", keywords) == 0) {
        return nullptr;
    }
    return make_color({0, 0, kStateEmpty});
}

PyObject* from_argb(PyObject*, PyObject* args, PyObject* kwargs) {
    static char* packed_names[] = {const_cast<char*>("argb"), nullptr};
    static char* based_names[] = {const_cast<char*>("alpha"), const_cast<char*>("base_color"), nullptr};
    static char* full_names[] = {const_cast<char*>("alpha"), const_cast<char*>("red"), const_cast<char*>("green"),
                                 const_cast<char*>("blue"), nullptr};
    uint32_t alpha = 255;
    uint32_t red = 0;
    uint32_t green = 0;
    uint32_t blue = 0;
    uint32_t argb = 0;
    ShlColorObject base{};
    switch (PyTuple_GET_SIZE(args) + (kwargs != nullptr ? PyDict_GET_SIZE(kwargs) : 0)) {
        case 1:
            if (PyArg_ParseTupleAndKeywords(args, kwargs, "O&:from_argb", packed_names, read_argb, &argb) == 0) {
                return nullptr;
            }
            return make_argb(argb);
        case 2:
            if (PyArg_ParseTupleAndKeywords(args, kwargs, "O&O&:from_argb", based_names, read_component, &alpha,
                                            wrpPy_conv_py_to_clr_52DA2AC5_Color, &base) == 0) {
                return nullptr;
            }
            return make_argb(alpha << 24 | (base.argb & 0xFFFFFF));
        case 3:
            if (PyArg_ParseTupleAndKeywords(args, kwargs, "O&O&O&:from_argb", full_names + 1, read_component, &red,
                                            read_component, &green, read_component, &blue) == 0) {
                return nullptr;
            }
            return make_argb(alpha << 24 | red << 16 | green << 8 | blue);
        default:
            // Also for a wrong number of arguments, for which the parser has a message.
            if (PyArg_ParseTupleAndKeywords(args, kwargs, "O&O&O&O&:from_argb", full_names, read_component, &alpha,
                                            read_component, &red, read_component, &green, read_component, &blue) == 0) {
                return nullptr;
            }
            return make_argb(alpha << 24 | red << 16 | green << 8 | blue);
    }
}

PyObject* from_name(PyObject*, PyObject* name) {
    if (!PyUnicode_Check(name)) {
        zelmor::refuse_number("String", name);
        return nullptr;
    }
    Py_ssize_t length = 0;
    const char* text = PyUnicode_AsUTF8AndSize(name, &length);
    if (text == nullptr) {
        return nullptr;
    }
    const int number = zelmor::siblings::find_web_color({text, static_cast<size_t>(length)});
    if (number == 0) {
        PyErr_Format(PyExc_ValueError, "there is no color of the name %R", name);
        return nullptr;
    }
    return make_numbered(number);
}

PyObject* to_argb(PyObject* self, PyObject*) {
    return PyLong_FromLong(static_cast<int32_t>(record_of(self).argb));
}

struct Extremes {
    uint32_t low;
    uint32_t high;
};

Extremes extremes_of(uint32_t argb) {
    const auto [low, high] = std::minmax({red_of(argb), green_of(argb), blue_of(argb)});
    return {low, high};
}

PyObject* get_brightness(PyObject* self, PyObject*) {
    const Extremes extremes = extremes_of(record_of(self).argb);
    return PyFloat_FromDouble(static_cast<float>(extremes.low + extremes.high) / 510.0F);
}

PyObject* get_saturation(PyObject* self, PyObject*) {
    const auto [low, high] = extremes_of(record_of(self).argb);
    if (low == high) {
        return PyFloat_FromDouble(0);
    }
    const uint32_t sum = low + high;
    return PyFloat_FromDouble(static_cast<float>(high - low) / static_cast<float>(sum > 255 ? 510 - sum : sum));
}

PyObject* get_hue(PyObject* self, PyObject*) {
    const uint32_t argb = record_of(self).argb;
    const auto [low, high] = extremes_of(argb);
    if (low == high) {
        return PyFloat_FromDouble(0);
    }
    const auto red = static_cast<float>(red_of(argb));
    const auto green = static_cast<float>(green_of(argb));
    const auto blue = static_cast<float>(blue_of(argb));
    const auto range = static_cast<float>(high - low);
    float hue = 0;
    if (red_of(argb) == high) {
        hue = (green - blue) / range;
    } else if (green_of(argb) == high) {
        hue = (blue - red) / range + 2;
    } else {
        hue = (red - green) / range + 4;
    }
    hue *= 60;
    return PyFloat_FromDouble(hue < 0 ? hue + 360 : hue);
}

template <uint32_t (*Component)(uint32_t)>
PyObject* get_component(PyObject* self, void*) {
    return PyLong_FromUnsignedLong(Component(record_of(self).argb));
}

PyObject* get_name(PyObject* self, void*) {
    const ShlColorObject& record = record_of(self);
    const KnownColorRow* known = known_color(record.known_color);
    return known != nullptr ? PyUnicode_FromString(known->name) : PyUnicode_FromFormat("%x", record.argb);
}

PyObject* get_is_empty(PyObject* self, void*) {
    return PyBool_FromLong(record_of(self).state == kStateEmpty ? 1 : 0);
}

PyObject* get_is_known(PyObject* self, void*) {
    return PyBool_FromLong(record_of(self).known_color != 0 ? 1 : 0);
}

PyObject* get_is_system(PyObject* self, void*) {
    return PyBool_FromLong(is_system_number(record_of(self).known_color) ? 1 : 0);
}

PyObject* color_repr(PyObject* self) {
    const ShlColorObject& record = record_of(self);
    if (record.state == kStateEmpty) {
        return PyUnicode_FromString("Color()");
    }
    const KnownColorRow* known = known_color(record.known_color);
    if (known == nullptr) {
        return PyUnicode_FromFormat("Color.from_argb(%u, %u, %u, %u)", alpha_of(record.argb), red_of(record.argb),
                                    green_of(record.argb), blue_of(record.argb));
    }
    if (is_system_number(record.known_color)) {
        return PyUnicode_FromFormat("<Color %s>", known->name);
    }
    return PyUnicode_FromFormat("Color.%s", python_name(known->name).c_str());
}

Py_hash_t color_hash(PyObject* self) {
    const ShlColorObject& record = record_of(self);
    // A multiplication spreads the bits upwards, and dictionaries look at the low ones, so that the upper half of the
    // product is brought down. The interpreter reserves -1.
    const uint64_t bits = uint64_t{record.argb} << 32 | uint64_t{static_cast<uint16_t>(record.known_color)} << 16 |
                          static_cast<uint16_t>(record.state);
    const uint64_t product = (bits ^ bits >> 29) * 0x9E3779B97F4A7C15U;
    const auto hash = static_cast<Py_hash_t>(product ^ product >> 32);
    return hash == -1 ? -2 : hash;
}

PyObject* color_richcompare(PyObject* self, PyObject* other, int op) {
    if ((op != Py_EQ && op != Py_NE) || !Py_IS_TYPE(other, &color_type)) {
        Py_RETURN_NOTIMPLEMENTED;
    }
    const ShlColorObject& left = record_of(self);
    const ShlColorObject& right = record_of(other);
    const bool equal = left.argb == right.argb && left.known_color == right.known_color && left.state == right.state;
    return PyBool_FromLong(equal == (op == Py_EQ) ? 1 : 0);
}

// Pickled as the whole record, so that a named color stays one.
PyObject* color_reduce(PyObject* self, PyObject*) {
    const ShlColorObject& record = record_of(self);
    PyRef restore = PyRef::steal(PyObject_GetAttrString(reinterpret_cast<PyObject*>(&color_type), "_restore"));
    return restore ? Py_BuildValue("(O(Ihh))", restore.get(), record.argb, record.known_color, record.state) : nullptr;
}

PyObject* color_restore(PyObject*, PyObject* args) {
    ShlColorObject record{};
    if (PyArg_ParseTuple(args, "Ihh:_restore", &record.argb, &record.known_color, &record.state) == 0) {
        return nullptr;
    }
    return make_color(record);
}

PyGetSetDef color_getset[] = {
    {"a", get_component<alpha_of>, nullptr, PyDoc_STR("Alpha, 0 to 255."), nullptr},
    {"r", get_component<red_of>, nullptr, PyDoc_STR("Red, 0 to 255."), nullptr},
    {"g", get_component<green_of>, nullptr, PyDoc_STR("Green, 0 to 255."), nullptr},
    {"b", get_component<blue_of>, nullptr, PyDoc_STR("Blue, 0 to 255."), nullptr},
    {"name", get_name, nullptr, PyDoc_STR("The name of a named color, else the components in hexadecimal."), nullptr},
    {"is_empty", get_is_empty, nullptr, PyDoc_STR("Whether this is the color that nobody set."), nullptr},
    {"is_known_color", get_is_known, nullptr, PyDoc_STR("Whether the color has a name."), nullptr},
    {"is_named_color", get_is_known, nullptr, PyDoc_STR("Whether the color has a name."), nullptr},
    {"is_system_color", get_is_system, nullptr, PyDoc_STR("Whether the color is one of the desktop's."), nullptr},
    {nullptr, nullptr, nullptr, nullptr, nullptr},
};

PyMethodDef color_methods[] = {
    {"from_argb", reinterpret_cast<PyCFunction>(reinterpret_cast<void (*)()>(from_argb)),
     METH_VARARGS | METH_KEYWORDS | METH_STATIC,
     PyDoc_STR("from_argb(argb), (alpha, base_color), (red, green, blue) or (alpha, red, green, blue) -> Color")},
    {"from_name", from_name, METH_O | METH_STATIC, PyDoc_STR("from_name(name) -> Color: a web color, in any case.")},
    {"to_argb", to_argb, METH_NOARGS, PyDoc_STR("to_argb() -> int: the four components as a signed 32-bit integer.")},
    {"get_brightness", get_brightness, METH_NOARGS, PyDoc_STR("get_brightness() -> float: 0 to 1.")},
    {"get_hue", get_hue, METH_NOARGS, PyDoc_STR("get_hue() -> float: degrees from 0 to 360.")},
    {"get_saturation", get_saturation, METH_NOARGS, PyDoc_STR("get_saturation() -> float: 0 to 1.")},
    {"_restore", color_restore, METH_VARARGS | METH_STATIC, nullptr},
    {"__reduce__", color_reduce, METH_NOARGS, nullptr},
    {nullptr, nullptr, 0, nullptr},
};

// The web colors as attributes of the type: "alice_blue" and so on, and "empty".
int add_named_colors() {
    PyRef empty = PyRef::steal(make_color({0, 0, kStateEmpty}));
    if (!empty || PyDict_SetItemString(color_type.tp_dict, "empty", empty.get()) < 0) {
        return -1;
    }
    for (int number = kFirstWebColor; number <= kLastWebColor; ++number) {
        PyRef color = PyRef::steal(make_numbered(number));
        if (!color ||
            PyDict_SetItemString(color_type.tp_dict, python_name(known_color(number)->name).c_str(), color.get()) < 0) {
            return -1;
        }
    }
    PyType_Modified(&color_type);
    return 0;
}

// "empty" of a type of number fields.
template <class Value>
int add_empty() {
    PyRef empty = PyRef::steal(Value::make({}));
    return empty ? PyDict_SetItemString(Value::type.tp_dict, "empty", empty.get()) : -1;
}

}  // namespace

constinit PyTypeObject zelmor::siblings::color_type = [] {
    PyTypeObject type = static_type("zelmor.pydrawing.Color", sizeof(ColorObject));
    type.tp_repr = color_repr;
    type.tp_hash = color_hash;
    type.tp_richcompare = color_richcompare;
    type.tp_new = color_new;
    type.tp_getset = color_getset;
    type.tp_methods = color_methods;
    type.tp_doc = PyDoc_STR("A color, read-only. Made by from_argb and from_name, or taken from the named ones.");
    return type;
}();

int wrpPy_conv_py_to_clr_52DA2AC5_Color(PyObject* value, ShlColorObject* out) {
    assert(value != nullptr && out != nullptr);
    if (!Py_IS_TYPE(value, &color_type)) {
        return zelmor::refuse_value("Color", value);
    }
    *out = record_of(value);
    return 1;
}

PyObject* wrpPy_conv_clr_to_py_52DA2AC5_Color(const ShlColorObject* value) {
    assert(value != nullptr);
    return make_color(*value);
}

int zelmor::siblings::add_value_types(PyObject* module) {
    if (PyShModule_AddType(module, &color_type, "Color") < 0 ||
        PyShModule_AddType(module, &PointF::type, PointFTraits::kName) < 0 ||
        PyShModule_AddType(module, &Rectangle::type, RectangleTraits::kName) < 0 ||
        PyShModule_AddType(module, &RectangleF::type, RectangleFTraits::kName) < 0) {
        return -1;
    }
    if (add_named_colors() < 0 || add_empty<PointF>() < 0 || add_empty<Rectangle>() < 0 ||
        add_empty<RectangleF>() < 0) {
        return -1;
    }
    return 0;
}

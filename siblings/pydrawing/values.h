// The drawing module's value types: points, rectangles and colors that cross as records, not as handles.
//
// The converters are those in the value capsules of the module. They refuse None, since a value cannot be null.
#ifndef ZELMOR_SIBLINGS_PYDRAWING_VALUES_H
#define ZELMOR_SIBLINGS_PYDRAWING_VALUES_H

#include "exchange/wire/records.h"
#include "siblings/pydrawing/field_value.h"

namespace zelmor::siblings {

struct PointFTraits {
    using Record = ShlPointFObject;
    using Field = double;
    static constexpr size_t kFieldCount = 2;
    static constexpr const char* kName = "PointF";
    static constexpr const char* kDottedName = "zelmor.pydrawing.PointF";
    static constexpr const char* kFields[kFieldCount] = {"x", "y"};
    static constexpr const char* kFormat = "O&O&:PointF";
};
using PointF = FieldValue<PointFTraits>;
template <>
PyTypeObject PointF::type;

struct RectangleTraits {
    using Record = ShlRectangleObject;
    using Field = int32_t;
    static constexpr size_t kFieldCount = 4;
    static constexpr const char* kName = "Rectangle";
    static constexpr const char* kDottedName = "zelmor.pydrawing.Rectangle";
    static constexpr const char* kFields[kFieldCount] = {"x", "y", "width", "height"};
    static constexpr const char* kFormat = "O&O&O&O&:Rectangle";
};
using Rectangle = FieldValue<RectangleTraits>;
template <>
PyTypeObject Rectangle::type;

struct RectangleFTraits {
    using Record = ShlRectangleFObject;
    using Field = double;
    static constexpr size_t kFieldCount = 4;
    static constexpr const char* kName = "RectangleF";
    static constexpr const char* kDottedName = "zelmor.pydrawing.RectangleF";
    static constexpr const char* kFields[kFieldCount] = {"x", "y", "width", "height"};
    static constexpr const char* kFormat = "O&O&O&O&:RectangleF";
};
using RectangleF = FieldValue<RectangleFTraits>;
template <>
PyTypeObject RectangleF::type;

extern PyTypeObject color_type;

// Readies the four types, fills what a static record cannot hold, and adds them to the module; 0, or -1 with an error.
int add_value_types(PyObject* module);

}  // namespace zelmor::siblings

int wrpPy_conv_py_to_clr_EDE1485C_PointF(PyObject* value, ShlPointFObject* out);
PyObject* wrpPy_conv_clr_to_py_EDE1485C_PointF(const ShlPointFObject* value);
int wrpPy_conv_py_to_clr_56D518C3_Rectangle(PyObject* value, ShlRectangleObject* out);
PyObject* wrpPy_conv_clr_to_py_56D518C3_Rectangle(const ShlRectangleObject* value);
int wrpPy_conv_py_to_clr_9003D9E4_RectangleF(PyObject* value, ShlRectangleFObject* out);
PyObject* wrpPy_conv_clr_to_py_9003D9E4_RectangleF(const ShlRectangleFObject* value);
int wrpPy_conv_py_to_clr_52DA2AC5_Color(PyObject* value, ShlColorObject* out);
PyObject* wrpPy_conv_clr_to_py_52DA2AC5_Color(const ShlColorObject* value);

#endif  // ZELMOR_SIBLINGS_PYDRAWING_VALUES_H

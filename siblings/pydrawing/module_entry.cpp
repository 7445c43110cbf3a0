// Entry of "zelmor.pydrawing": the framework's drawing objects, and the value types that are written by hand.
#include "exchange/start_up.h"
#include "generated/pydrawing/pydrawing.h"
#include "pyshell/module_start.h"
#include "pyshell/py_ref.h"
#include "pyshell/sibling_converters.h"
#include "siblings/common/capsule.h"
#include "siblings/pydrawing/values.h"

using zelmor::PyRef;
using zelmor::siblings::add_capsule;
using zelmor::siblings::ConverterTable;

namespace {

using HandleTable = ConverterTable<ZelmorPyToHandle, ZelmorHandleToPy>;
template <class Record>
using ValueTable = ConverterTable<int (*)(PyObject*, Record*), PyObject* (*)(const Record*)>;

struct HandleCapsule {
    const char* name;  // full
    HandleTable table;
};

constexpr HandleCapsule kDrawingCapsules[] = {
    {"zelmor.pydrawing._C_APIT_Bitmap", {wrpPy_conv_py_to_clr_0C548EAB_Bitmap, wrpPy_conv_clr_to_py_0C548EAB_Bitmap}},
    {"zelmor.pydrawing._C_APIT_Brush", {wrpPy_conv_py_to_clr_318BC93D_Brush, wrpPy_conv_clr_to_py_318BC93D_Brush}},
    {"zelmor.pydrawing._C_APIT_Font", {wrpPy_conv_py_to_clr_440538F9_Font, wrpPy_conv_clr_to_py_440538F9_Font}},
    {"zelmor.pydrawing._C_APIT_Image", {wrpPy_conv_py_to_clr_38F75AAE_Image, wrpPy_conv_clr_to_py_38F75AAE_Image}},
    {"zelmor.pydrawing._C_APIT_Pen", {wrpPy_conv_py_to_clr_7C757331_Pen, wrpPy_conv_clr_to_py_7C757331_Pen}},
    {"zelmor.pydrawing._C_APIT_Region", {wrpPy_conv_py_to_clr_E74D7825_Region, wrpPy_conv_clr_to_py_E74D7825_Region}},
    {"zelmor.pydrawing._C_APIT_StringFormat",
     {wrpPy_conv_py_to_clr_69488E53_StringFormat, wrpPy_conv_clr_to_py_69488E53_StringFormat}},
};

constexpr HandleCapsule kDrawing2dCapsules[] = {
    {"zelmor.pydrawing.drawing2d._C_APIT_ColorBlend",
     {wrpPy_conv_py_to_clr_CB134F16_ColorBlend, wrpPy_conv_clr_to_py_CB134F16_ColorBlend}},
    {"zelmor.pydrawing.drawing2d._C_APIT_GraphicsPath",
     {wrpPy_conv_py_to_clr_9FD5C346_GraphicsPath, wrpPy_conv_clr_to_py_9FD5C346_GraphicsPath}},
    {"zelmor.pydrawing.drawing2d._C_APIT_Matrix",
     {wrpPy_conv_py_to_clr_7C71CA59_Matrix, wrpPy_conv_clr_to_py_7C71CA59_Matrix}},
};

constexpr HandleCapsule kImagingCapsules[] = {
    {"zelmor.pydrawing.imaging._C_APIT_ColorMap",
     {wrpPy_conv_py_to_clr_9AB10FD3_ColorMap, wrpPy_conv_clr_to_py_9AB10FD3_ColorMap}},
    {"zelmor.pydrawing.imaging._C_APIT_ColorMatrix",
     {wrpPy_conv_py_to_clr_BD0F1185_ColorMatrix, wrpPy_conv_clr_to_py_BD0F1185_ColorMatrix}},
    {"zelmor.pydrawing.imaging._C_APIT_ImageAttributes",
     {wrpPy_conv_py_to_clr_832AD8F2_ImageAttributes, wrpPy_conv_clr_to_py_832AD8F2_ImageAttributes}},
};

constexpr ConverterTable<int (*)(PyObject*, int*), PyObject* (*)(int)> kRotateFlipTypeTable = {
    wrpPy_conv_py_to_clr_A553C1D8_RotateFlipType, wrpPy_conv_clr_to_py_A553C1D8_RotateFlipType};

constexpr ValueTable<ShlPointFObject> kPointFTable = {wrpPy_conv_py_to_clr_EDE1485C_PointF,
                                                      wrpPy_conv_clr_to_py_EDE1485C_PointF};
constexpr ValueTable<ShlRectangleObject> kRectangleTable = {wrpPy_conv_py_to_clr_56D518C3_Rectangle,
                                                            wrpPy_conv_clr_to_py_56D518C3_Rectangle};
constexpr ValueTable<ShlRectangleFObject> kRectangleFTable = {wrpPy_conv_py_to_clr_9003D9E4_RectangleF,
                                                              wrpPy_conv_clr_to_py_9003D9E4_RectangleF};
constexpr ValueTable<ShlColorObject> kColorTable = {wrpPy_conv_py_to_clr_52DA2AC5_Color,
                                                    wrpPy_conv_clr_to_py_52DA2AC5_Color};

template <size_t Count>
int add_handle_capsules(PyObject* module, const HandleCapsule (&capsules)[Count]) {
    for (const HandleCapsule& capsule : capsules) {
        if (add_capsule(module, capsule.name, capsule.table) < 0) {
            return -1;
        }
    }
    return 0;
}

int complete(PyObject* module) {
    PyRef drawing2d = PyRef::steal(PyObject_GetAttrString(module, "drawing2d"));
    PyRef imaging = PyRef::steal(PyObject_GetAttrString(module, "imaging"));
    if (!drawing2d || !imaging) {
        return -1;
    }
    if (zelmor::siblings::add_value_types(module) < 0 || add_handle_capsules(module, kDrawingCapsules) < 0 ||
        add_handle_capsules(drawing2d.get(), kDrawing2dCapsules) < 0 ||
        add_handle_capsules(imaging.get(), kImagingCapsules) < 0 ||
        add_capsule(module, "zelmor.pydrawing._C_APIT_RotateFlipType", kRotateFlipTypeTable) < 0 ||
        add_capsule(module, "zelmor.pydrawing._C_APITV1_PointF", kPointFTable) < 0 ||
        add_capsule(module, "zelmor.pydrawing._C_APITV1_Rectangle", kRectangleTable) < 0 ||
        add_capsule(module, "zelmor.pydrawing._C_APITV1_RectangleF", kRectangleFTable) < 0 ||
        add_capsule(module, "zelmor.pydrawing._C_APITV1_Color", kColorTable) < 0) {
        return -1;
    }
    return 0;
}

}  // namespace

PyMODINIT_FUNC PyInit_pydrawing() {
    return zelmor::start_module({
        .name = "zelmor.pydrawing",
        .import_siblings = zelmor::import_reflection_capsules,
        .import_cast_result = zelmor::import_cast_result,
        .start_runtime = initialize_clr_host,
        .assembly = "WrpInterop.Zelmor.PyDrawing",
        .product = "pydrawing",
        .build = wrpPy_mlit_173B333E_pydrawing,
        .complete = complete,
    });
}

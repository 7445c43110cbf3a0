// The functions that this module takes over from its sibling modules through capsules.
//
// A capsule holds an array of function pointers: at 0 the "O&" converter from Python, at 1 the converter to Python, at
// 2 a second reader that takes any wrapper. Each pointer is written once during the import.
#ifndef ZELMOR_PYSHELL_SIBLING_CONVERTERS_H
#define ZELMOR_PYSHELL_SIBLING_CONVERTERS_H

#include <span>

#include "exchange/wire/records.h"
#include "pyshell/python.h"

using ZelmorHandleToPy = PyObject* (*)(void* handle);
using ZelmorPyToHandle = int (*)(PyObject* object, void** out);

// The reflection module's System.Object, System.Enum and System.Type.
extern ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_359C4ED8_Object;
extern ZelmorPyToHandle wrpPyl_trancaps_py_to_clr_359C4ED8_Object;
extern ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_738AFABA_Enum;
extern ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_C08ECFAB_Type;
extern ZelmorPyToHandle wrpPyl_trancaps_py_to_clr_C08ECFAB_Type;

// The drawing module's classes.
extern ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_38F75AAE_Image;
extern ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_7C71CA59_Matrix;
extern ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_7C757331_Pen;
extern ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_E74D7825_Region;
extern ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_832AD8F2_ImageAttributes;
extern ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_69488E53_StringFormat;
extern ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_9FD5C346_GraphicsPath;
extern ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_440538F9_Font;
extern ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_318BC93D_Brush;
extern ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_CB134F16_ColorBlend;
extern ZelmorPyToHandle wrpPyl_convcaps_py_to_clr_9AB10FD3_ColorMap;
extern ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_9AB10FD3_ColorMap;
extern ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_BD0F1185_ColorMatrix;
extern ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_0C548EAB_Bitmap;

// Its value records, which cross by pointer.
extern int (*wrpPyl_convcaps_py_to_clr_EDE1485C_PointF)(PyObject* object, ShlPointFObject* out);
extern PyObject* (*wrpPyl_convcaps_clr_to_py_EDE1485C_PointF)(const ShlPointFObject* value);
extern PyObject* (*wrpPyl_convcaps_clr_to_py_56D518C3_Rectangle)(const ShlRectangleObject* value);
extern PyObject* (*wrpPyl_convcaps_clr_to_py_9003D9E4_RectangleF)(const ShlRectangleFObject* value);
extern int (*wrpPyl_convcaps_py_to_clr_52DA2AC5_Color)(PyObject* object, ShlColorObject* out);
extern PyObject* (*wrpPyl_convcaps_clr_to_py_52DA2AC5_Color)(const ShlColorObject* value);

// Enumerations cross as their integer.
extern PyObject* (*wrpPyl_convcaps_clr_to_py_A553C1D8_RotateFlipType)(int value);
extern int (*wrpPyl_convcaps_py_to_clr_54938D61_FileMode)(PyObject* object, int* out);

// The result of a cast, of the module "zelmor.pygc": a new reference; `value` is not taken over.
extern PyObject* (*PyShCastOpResult_New)(int status, PyObject* value);

// The lowest version of each sibling that this module works with.
extern const int RefVer_pydrawin_09723943[4];
extern const int RefVer_pyreflec_C6067AD5[4];
extern const int RefVer_pyio_37FB89B0[4];
extern const int RefVer_pygc_15FC0AB4[4];

// Imports the drawing, reflection and io modules and copies the converters out of their capsules; 0, or -1 with
// ImportError.
int wrpPyl_ciap_EA2A999D_imaging();

namespace zelmor {

// One capsule, and the addresses of the function pointers that take its entries; null where an entry is not used.
struct CapsuleRow {
    const char* name;
    void* from_python;
    void* to_python;
    void* second_reader;
};

// Imports `module_name` at `reference` or better and fills the pointers of its capsules; 0, or -1 with ImportError.
int import_capsules(const char* own_name, const char* module_name, const int* reference,
                    std::span<const CapsuleRow> rows);

// The two groups that the modules have in common: the five pointers of the reflection module, and the cast result.
int import_reflection_capsules(const char* own_name);
int import_cast_result(const char* own_name);

}  // namespace zelmor

#endif  // ZELMOR_PYSHELL_SIBLING_CONVERTERS_H

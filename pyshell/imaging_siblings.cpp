// The converters that only the imaging module takes from its siblings: those of the drawing and io modules.
#include "pyshell/sibling_converters.h"

using zelmor::CapsuleRow;

// Filled in during the import, and only read from then on.
ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_38F75AAE_Image = nullptr;
ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_7C71CA59_Matrix = nullptr;
ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_7C757331_Pen = nullptr;
ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_E74D7825_Region = nullptr;
ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_832AD8F2_ImageAttributes = nullptr;
ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_69488E53_StringFormat = nullptr;
ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_9FD5C346_GraphicsPath = nullptr;
ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_440538F9_Font = nullptr;
ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_318BC93D_Brush = nullptr;
ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_CB134F16_ColorBlend = nullptr;
ZelmorPyToHandle wrpPyl_convcaps_py_to_clr_9AB10FD3_ColorMap = nullptr;
ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_9AB10FD3_ColorMap = nullptr;
ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_BD0F1185_ColorMatrix = nullptr;
ZelmorHandleToPy wrpPyl_convcaps_clr_to_py_0C548EAB_Bitmap = nullptr;

int (*wrpPyl_convcaps_py_to_clr_EDE1485C_PointF)(PyObject*, ShlPointFObject*) = nullptr;
PyObject* (*wrpPyl_convcaps_clr_to_py_EDE1485C_PointF)(const ShlPointFObject*) = nullptr;
PyObject* (*wrpPyl_convcaps_clr_to_py_56D518C3_Rectangle)(const ShlRectangleObject*) = nullptr;
PyObject* (*wrpPyl_convcaps_clr_to_py_9003D9E4_RectangleF)(const ShlRectangleFObject*) = nullptr;
int (*wrpPyl_convcaps_py_to_clr_52DA2AC5_Color)(PyObject*, ShlColorObject*) = nullptr;
PyObject* (*wrpPyl_convcaps_clr_to_py_52DA2AC5_Color)(const ShlColorObject*) = nullptr;

PyObject* (*wrpPyl_convcaps_clr_to_py_A553C1D8_RotateFlipType)(int) = nullptr;
int (*wrpPyl_convcaps_py_to_clr_54938D61_FileMode)(PyObject*, int*) = nullptr;

const int RefVer_pydrawin_09723943[4] = {23, 5, 0, 0};
const int RefVer_pyio_37FB89B0[4] = {23, 5, 0, 0};

namespace {

constexpr const char* kOwnName = "zelmor.imaging";

// In the order of import.
const CapsuleRow kDrawingCapsules[] = {
    {"zelmor.pydrawing._C_APIT_Image", nullptr, &wrpPyl_convcaps_clr_to_py_38F75AAE_Image, nullptr},
    {"zelmor.pydrawing.drawing2d._C_APIT_Matrix", nullptr, &wrpPyl_convcaps_clr_to_py_7C71CA59_Matrix, nullptr},
    {"zelmor.pydrawing._C_APIT_Pen", nullptr, &wrpPyl_convcaps_clr_to_py_7C757331_Pen, nullptr},
    {"zelmor.pydrawing._C_APITV1_PointF", &wrpPyl_convcaps_py_to_clr_EDE1485C_PointF,
     &wrpPyl_convcaps_clr_to_py_EDE1485C_PointF, nullptr},
    {"zelmor.pydrawing._C_APITV1_Rectangle", nullptr, &wrpPyl_convcaps_clr_to_py_56D518C3_Rectangle, nullptr},
    {"zelmor.pydrawing._C_APITV1_RectangleF", nullptr, &wrpPyl_convcaps_clr_to_py_9003D9E4_RectangleF, nullptr},
    {"zelmor.pydrawing._C_APIT_Region", nullptr, &wrpPyl_convcaps_clr_to_py_E74D7825_Region, nullptr},
    {"zelmor.pydrawing._C_APIT_RotateFlipType", nullptr, &wrpPyl_convcaps_clr_to_py_A553C1D8_RotateFlipType, nullptr},
    {"zelmor.pydrawing.imaging._C_APIT_ImageAttributes", nullptr, &wrpPyl_convcaps_clr_to_py_832AD8F2_ImageAttributes,
     nullptr},
    {"zelmor.pydrawing._C_APIT_StringFormat", nullptr, &wrpPyl_convcaps_clr_to_py_69488E53_StringFormat, nullptr},
    {"zelmor.pydrawing.drawing2d._C_APIT_GraphicsPath", nullptr, &wrpPyl_convcaps_clr_to_py_9FD5C346_GraphicsPath,
     nullptr},
    {"zelmor.pydrawing._C_APIT_Font", nullptr, &wrpPyl_convcaps_clr_to_py_440538F9_Font, nullptr},
    {"zelmor.pydrawing._C_APIT_Brush", nullptr, &wrpPyl_convcaps_clr_to_py_318BC93D_Brush, nullptr},
    {"zelmor.pydrawing.drawing2d._C_APIT_ColorBlend", nullptr, &wrpPyl_convcaps_clr_to_py_CB134F16_ColorBlend, nullptr},
    {"zelmor.pydrawing._C_APITV1_Color", &wrpPyl_convcaps_py_to_clr_52DA2AC5_Color,
     &wrpPyl_convcaps_clr_to_py_52DA2AC5_Color, nullptr},
    {"zelmor.pydrawing.imaging._C_APIT_ColorMap", &wrpPyl_convcaps_py_to_clr_9AB10FD3_ColorMap,
     &wrpPyl_convcaps_clr_to_py_9AB10FD3_ColorMap, nullptr},
    {"zelmor.pydrawing.imaging._C_APIT_ColorMatrix", nullptr, &wrpPyl_convcaps_clr_to_py_BD0F1185_ColorMatrix, nullptr},
    {"zelmor.pydrawing._C_APIT_Bitmap", nullptr, &wrpPyl_convcaps_clr_to_py_0C548EAB_Bitmap, nullptr},
};

const CapsuleRow kIoCapsules[] = {
    {"zelmor.pyio._C_APIT_FileMode", &wrpPyl_convcaps_py_to_clr_54938D61_FileMode, nullptr, nullptr},
};

}  // namespace

int wrpPyl_ciap_EA2A999D_imaging() {
    if (zelmor::import_capsules(kOwnName, "zelmor.pydrawing", RefVer_pydrawin_09723943, kDrawingCapsules) < 0 ||
        zelmor::import_reflection_capsules(kOwnName) < 0 ||
        zelmor::import_capsules(kOwnName, "zelmor.pyio", RefVer_pyio_37FB89B0, kIoCapsules) < 0) {
        return -1;
    }
    return 0;
}

// The numbers under which the metafile formats publish their records.
//
// An EMF record begins with the number of its class; one that is made from a raw record takes that one's. The number of
// an EMF+ record is that of its class, whatever it was made from.
#include <string_view>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.EmfPlus.Records.h"
#include "runtime/native/core/defaults.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

struct RecordNumber {
    const char* name;  // of the class
    int number;
};

// clang-format off
constexpr RecordNumber kEmfRecords[] = {
    {"EmfMetafileHeader", 1}, {"EmfMetafileHeaderExtension1", 1}, {"EmfMetafileHeaderExtension2", 1},
    {"EmfPolyBezier", 2}, {"EmfPolygon", 3}, {"EmfPolyline", 4}, {"EmfPolyBezierTo", 5}, {"EmfPolylineTo", 6},
    {"EmfPolyPolyline", 7}, {"EmfPolyPolygon", 8}, {"EmfSetWindowExtEx", 9}, {"EmfSetWindowOrgEx", 10},
    {"EmfSetViewportExtEx", 11}, {"EmfSetViewportOrgEx", 12}, {"EmfSetBrushOrgEx", 13}, {"EmfEof", 14},
    {"EmfSetPixelV", 15}, {"EmfSetMapperFlags", 16}, {"EmfSetMapMode", 17}, {"EmfSetBkMode", 18},
    {"EmfSetPolyFillMode", 19}, {"EmfSetRop2", 20}, {"EmfSetStrechBltMode", 21}, {"EmfSetTextAlign", 22},
    {"EmfSetColorAdjustment", 23}, {"EmfSetTextColor", 24}, {"EmfSetBkColor", 25}, {"EmfOffsetClipRgn", 26},
    {"EmfMoveToEx", 27}, {"EmfSetMetaRgn", 28}, {"EmfExcludeClipRect", 29}, {"EmfIntersectClipRect", 30},
    {"EmfScaleViewportExtex", 31}, {"EmfScaleWindowExtex", 32}, {"EmfSaveDc", 33}, {"EmfRestoreDc", 34},
    {"EmfSetWorldTransform", 35}, {"EmfModifyWorldTransform", 36}, {"EmfSelectObject", 37}, {"EmfCreatePen", 38},
    {"EmfCreateBrushIndirect", 39}, {"EmfDeleteObject", 40}, {"EmfAngleArc", 41}, {"EmfEllipse", 42},
    {"EmfRectangle", 43}, {"EmfRoundRect", 44}, {"EmfArc", 45}, {"EmfChord", 46}, {"EmfPie", 47},
    {"EmfSelectPalette", 48}, {"EmfCreatePalette", 49}, {"EmfSetPaletteEntries", 50}, {"EmfResizePalette", 51},
    {"EmfRealizePalette", 52}, {"EmfExtFloodFill", 53}, {"EmfLineTo", 54}, {"EmfArcTo", 55}, {"EmfPolyDraw", 56},
    {"EmfSetArcDirection", 57}, {"EmfSetMiterLimit", 58}, {"EmfBeginPath", 59}, {"EmfEndPath", 60},
    {"EmfCloseFigure", 61}, {"EmfFillPath", 62}, {"EmfStrokeAndFillPath", 63}, {"EmfStrokePath", 64},
    {"EmfFlatternPath", 65}, {"EmfWidenPath", 66}, {"EmfSelectClipPath", 67}, {"EmfAbortPath", 68},
    {"EmfComment", 70}, {"EmfCommentBeginGroup", 70}, {"EmfCommentEmfPlus", 70}, {"EmfCommentEmfSpool", 70},
    {"EmfCommentEndGroup", 70}, {"EmfCommentMultiFormats", 70}, {"EmfCommentPublicRecordType", 70},
    {"EmfCommentRecordType", 70}, {"EmfCommentWindowsMetaFile", 70}, {"EmfFillRgn", 71}, {"EmfFrameRgn", 72},
    {"EmfInvertRgn", 73}, {"EmfPaintRgn", 74}, {"EmfExtSelectClipRgn", 75}, {"EmfBitBlt", 76}, {"EmfStretchBlt", 77},
    {"EmfMaskBlt", 78}, {"EmfPlgBlt", 79}, {"EmfSetDiBitsToDevice", 80}, {"EmfStretchDiBits", 81},
    {"EmfExtCreateFontIndirectW", 82}, {"EmfExtTextOutA", 83}, {"EmfExtTextOutW", 84}, {"EmfPolyBezier16", 85},
    {"EmfPolygon16", 86}, {"EmfPolyline16", 87}, {"EmfPolyBezierTo16", 88}, {"EmfPolylineTo16", 89},
    {"EmfPolyPolyline16", 90}, {"EmfPolyPolygon16", 91}, {"EmfPolyDraw16", 92}, {"EmfCreateMonoBrush", 93},
    {"EmfCreateDibPatternBrushPt", 94}, {"EmfExtCreatePen", 95}, {"EmfPolyTextOutA", 96}, {"EmfPolyTextOutW", 97},
    {"EmfSetIcmMode", 98}, {"EmfCreateColorSpace", 99}, {"EmfSetColorSpace", 100}, {"EmfDeleteColorSpace", 101},
    {"EmfGlsRecord", 102}, {"EmfGlsBoundedRecord", 103}, {"EmfPixelFormat", 104}, {"EmfDrawEscape", 105},
    {"EmfExtEscape", 106}, {"EmfSmallTextOut", 108}, {"EmfForceUfiMapping", 109}, {"EmfNamedEscape", 110},
    {"EmfColorCorrectPalette", 111}, {"EmfSetIcmProfileA", 112}, {"EmfSetIcmProfileW", 113}, {"EmfAlphaBlend", 114},
    {"EmfSetLayout", 115}, {"EmfTransparentBlt", 116}, {"EmfGradientFill", 118}, {"EmfSetLinkedUfis", 119},
    {"EmfSetTextJustification", 120}, {"EmfColorMatchToTargetW", 121}, {"EmfCreateColorSpaceW", 122},
};

constexpr RecordNumber kEmfPlusRecords[] = {
    {"EmfPlusHeader", 0x4001}, {"EmfPlusEndOfFile", 0x4002}, {"EmfPlusComment", 0x4003}, {"EmfPlusGetDc", 0x4004},
    {"EmfPlusObject", 0x4008}, {"EmfPlusClear", 0x4009}, {"EmfPlusFillRects", 0x400A}, {"EmfPlusDrawRects", 0x400B},
    {"EmfPlusFillPolygon", 0x400C}, {"EmfPlusDrawLines", 0x400D}, {"EmfPlusFillEllipse", 0x400E},
    {"EmfPlusDrawEllipse", 0x400F}, {"EmfPlusFillPie", 0x4010}, {"EmfPlusDrawPie", 0x4011},
    {"EmfPlusDrawArc", 0x4012}, {"EmfPlusFillRegion", 0x4013}, {"EmfPlusFillPath", 0x4014},
    {"EmfPlusDrawPath", 0x4015}, {"EmfPlusFillClosedCurve", 0x4016}, {"EmfPlusDrawClosedCurve", 0x4017},
    {"EmfPlusDrawCurve", 0x4018}, {"EmfPlusDrawBeziers", 0x4019}, {"EmfPlusDrawImage", 0x401A},
    {"EmfPlusDrawImagePoints", 0x401B}, {"EmfPlusDrawString", 0x401C}, {"EmfPlusSetRenderingOrigin", 0x401D},
    {"EmfPlusSetAntiAliasMode", 0x401E}, {"EmfPlusSetTextRenderingHint", 0x401F}, {"EmfPlusSetTextContrast", 0x4020},
    {"EmfPlusSetInterpolationMode", 0x4021}, {"EmfPlusSetPixelOffsetMode", 0x4022},
    {"EmfPlusSetCompositingMode", 0x4023}, {"EmfPlusSetCompositingQuality", 0x4024}, {"EmfPlusSave", 0x4025},
    {"EmfPlusRestore", 0x4026}, {"EmfPlusBeginContainer", 0x4027}, {"EmfPlusBeginContainerNoParams", 0x4028},
    {"EmfPlusEndContainer", 0x4029}, {"EmfPlusSetWorldTransform", 0x402A}, {"EmfPlusResetWorldTransform", 0x402B},
    {"EmfPlusMultiplyWorldTransform", 0x402C}, {"EmfPlusTranslateWorldTransform", 0x402D},
    {"EmfPlusScaleWorldTransform", 0x402E}, {"EmfPlusRotateWorldTransform", 0x402F},
    {"EmfPlusSetPageTransform", 0x4030}, {"EmfPlusResetClip", 0x4031}, {"EmfPlusSetClipRect", 0x4032},
    {"EmfPlusSetClipPath", 0x4033}, {"EmfPlusSetClipRegion", 0x4034}, {"EmfPlusOffsetClip", 0x4035},
    {"EmfPlusDrawDriverString", 0x4036}, {"EmfPlusSerializableObject", 0x4038}, {"EmfPlusSetTsGraphics", 0x4039},
    {"EmfPlusSetTsClip", 0x403A},
};
// clang-format on

constexpr int kFirstEmfPlusRecord = 0x4001;

// The defaults name types in full; the table above is easier to read without.
std::vector<DefaultValue> numbers_of_classes() {
    static auto& names = *new std::vector<std::string>;
    names.reserve(std::size(kEmfRecords));
    std::vector<DefaultValue> values;
    for (const RecordNumber& row : kEmfRecords) {
        names.push_back(std::string("Zelmor.Imaging.FileFormats.Emf.Emf.Records.") + row.name);
        values.emplace_back(names.back().c_str(), "Type", row.number);
    }
    return values;
}
const std::vector<DefaultValue>& emf_defaults() {
    static const auto& values = *new std::vector<DefaultValue>(numbers_of_classes());
    return values;
}
const DefaultTable defaults(emf_defaults());

uint16_t get_type(Record& self) {
    for (const TypeInfo* type = &self.type(); type; type = base_of(*type)) {
        for (const RecordNumber& row : kEmfPlusRecords) {
            if (std::string_view(row.name) == type->name) {
                return static_cast<uint16_t>(row.number);
            }
        }
    }
    return kFirstEmfPlusRecord;  // of no class in particular: the first enumerator
}

using EmfPlusRecordApi = api::FileFormats::Emf::EmfPlus::Records::EmfPlusRecord;

const BehaviorTable table({
    behavior<&get_type, EmfPlusRecordApi::get_Type>(),
});

}  // namespace

}  // namespace zelmor::embed

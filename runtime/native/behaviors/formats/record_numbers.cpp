// The numbers under which the metafile formats publish their records.
//
// A new EMF record has the number of its class; a record made from a raw record has the number of that. An EMF+ record
// always has the number of its class.
#include <string_view>

#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.Emf.Consts.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.Emf.Records.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.EmfPlus.Consts.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.EmfPlus.Records.h"
#include "runtime/native/core/defaults.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/formats/metafile/metafile_object.h"

namespace zelmor::embed {

namespace {

namespace emf = api::FileFormats::Emf::Emf::Records;
namespace plus = api::FileFormats::Emf::EmfPlus::Records;
using Emr = api::FileFormats::Emf::Emf::Consts::EmfRecordType;
using Plus = api::FileFormats::Emf::EmfPlus::Consts::EmfPlusRecordType;

constexpr DefaultValue record(const TypeName& type, Emr number) {
    return {type, emf::EmfRecord::property_Type, number};
}

constexpr DefaultValue kEmfRecords[] = {
    record(emf::EmfMetafileHeader::kType, Emr::kEmrHeader),
    record(emf::EmfMetafileHeaderExtension1::kType, Emr::kEmrHeader),
    record(emf::EmfMetafileHeaderExtension2::kType, Emr::kEmrHeader),
    record(emf::EmfPolyBezier::kType, Emr::kEmrPolybezier),
    record(emf::EmfPolygon::kType, Emr::kEmrPolygon),
    record(emf::EmfPolyline::kType, Emr::kEmrPolyline),
    record(emf::EmfPolyBezierTo::kType, Emr::kEmrPolybezierto),
    record(emf::EmfPolylineTo::kType, Emr::kEmrPolylineto),
    record(emf::EmfPolyPolyline::kType, Emr::kEmrPolypolyline),
    record(emf::EmfPolyPolygon::kType, Emr::kEmrPolypolygon),
    record(emf::EmfSetWindowExtEx::kType, Emr::kEmrSetwindowextex),
    record(emf::EmfSetWindowOrgEx::kType, Emr::kEmrSetwindoworgex),
    record(emf::EmfSetViewportExtEx::kType, Emr::kEmrSetviewportextex),
    record(emf::EmfSetViewportOrgEx::kType, Emr::kEmrSetviewportorgex),
    record(emf::EmfSetBrushOrgEx::kType, Emr::kEmrSetbrushorgex),
    record(emf::EmfEof::kType, Emr::kEmrEof),
    record(emf::EmfSetPixelV::kType, Emr::kEmrSetpixelv),
    record(emf::EmfSetMapperFlags::kType, Emr::kEmrSetmapperflags),
    record(emf::EmfSetMapMode::kType, Emr::kEmrSetmapmode),
    record(emf::EmfSetBkMode::kType, Emr::kEmrSetbkmode),
    record(emf::EmfSetPolyFillMode::kType, Emr::kEmrSetpolyfillmode),
    record(emf::EmfSetRop2::kType, Emr::kEmrSetrop2),
    record(emf::EmfSetStrechBltMode::kType, Emr::kEmrSetstretchbltmode),
    record(emf::EmfSetTextAlign::kType, Emr::kEmrSettextalign),
    record(emf::EmfSetColorAdjustment::kType, Emr::kEmrSetcoloradjustment),
    record(emf::EmfSetTextColor::kType, Emr::kEmrSettextcolor),
    record(emf::EmfSetBkColor::kType, Emr::kEmrSetbkcolor),
    record(emf::EmfOffsetClipRgn::kType, Emr::kEmrOffsetcliprgn),
    record(emf::EmfMoveToEx::kType, Emr::kEmrMovetoex),
    record(emf::EmfSetMetaRgn::kType, Emr::kEmrSetmetargn),
    record(emf::EmfExcludeClipRect::kType, Emr::kEmrExcludecliprect),
    record(emf::EmfIntersectClipRect::kType, Emr::kEmrIntersectcliprect),
    record(emf::EmfScaleViewportExtex::kType, Emr::kEmrScaleviewportextex),
    record(emf::EmfScaleWindowExtex::kType, Emr::kEmrScalewindowextex),
    record(emf::EmfSaveDc::kType, Emr::kEmrSavedc),
    record(emf::EmfRestoreDc::kType, Emr::kEmrRestoredc),
    record(emf::EmfSetWorldTransform::kType, Emr::kEmrSetworldtransform),
    record(emf::EmfModifyWorldTransform::kType, Emr::kEmrModifyworldtransform),
    record(emf::EmfSelectObject::kType, Emr::kEmrSelectobject),
    record(emf::EmfCreatePen::kType, Emr::kEmrCreatepen),
    record(emf::EmfCreateBrushIndirect::kType, Emr::kEmrCreatebrushindirect),
    record(emf::EmfDeleteObject::kType, Emr::kEmrDeleteobject),
    record(emf::EmfAngleArc::kType, Emr::kEmrAnglearc),
    record(emf::EmfEllipse::kType, Emr::kEmrEllipse),
    record(emf::EmfRectangle::kType, Emr::kEmrRectangle),
    record(emf::EmfRoundRect::kType, Emr::kEmrRoundrect),
    record(emf::EmfArc::kType, Emr::kEmrArc),
    record(emf::EmfChord::kType, Emr::kEmrChord),
    record(emf::EmfPie::kType, Emr::kEmrPie),
    record(emf::EmfSelectPalette::kType, Emr::kEmrSelectpalette),
    record(emf::EmfCreatePalette::kType, Emr::kEmrCreatepalette),
    record(emf::EmfSetPaletteEntries::kType, Emr::kEmrSetpaletteentries),
    record(emf::EmfResizePalette::kType, Emr::kEmrResizepalette),
    record(emf::EmfRealizePalette::kType, Emr::kEmrRealizepalette),
    record(emf::EmfExtFloodFill::kType, Emr::kEmrExtfloodfill),
    record(emf::EmfLineTo::kType, Emr::kEmrLineto),
    record(emf::EmfArcTo::kType, Emr::kEmrArcto),
    record(emf::EmfPolyDraw::kType, Emr::kEmrPolydraw),
    record(emf::EmfSetArcDirection::kType, Emr::kEmrSetarcdirection),
    record(emf::EmfSetMiterLimit::kType, Emr::kEmrSetmiterlimit),
    record(emf::EmfBeginPath::kType, Emr::kEmrBeginpath),
    record(emf::EmfEndPath::kType, Emr::kEmrEndpath),
    record(emf::EmfCloseFigure::kType, Emr::kEmrClosefigure),
    record(emf::EmfFillPath::kType, Emr::kEmrFillpath),
    record(emf::EmfStrokeAndFillPath::kType, Emr::kEmrStrokeandfillpath),
    record(emf::EmfStrokePath::kType, Emr::kEmrStrokepath),
    record(emf::EmfFlatternPath::kType, Emr::kEmrFlattenpath),
    record(emf::EmfWidenPath::kType, Emr::kEmrWidenpath),
    record(emf::EmfSelectClipPath::kType, Emr::kEmrSelectclippath),
    record(emf::EmfAbortPath::kType, Emr::kEmrAbortpath),
    record(emf::EmfComment::kType, Emr::kEmrComment),
    record(emf::EmfCommentBeginGroup::kType, Emr::kEmrComment),
    record(emf::EmfCommentEmfPlus::kType, Emr::kEmrComment),
    record(emf::EmfCommentEmfSpool::kType, Emr::kEmrComment),
    record(emf::EmfCommentEndGroup::kType, Emr::kEmrComment),
    record(emf::EmfCommentMultiFormats::kType, Emr::kEmrComment),
    record(emf::EmfCommentPublicRecordType::kType, Emr::kEmrComment),
    record(emf::EmfCommentRecordType::kType, Emr::kEmrComment),
    record(emf::EmfCommentWindowsMetaFile::kType, Emr::kEmrComment),
    record(emf::EmfFillRgn::kType, Emr::kEmrFillrgn),
    record(emf::EmfFrameRgn::kType, Emr::kEmrFramergn),
    record(emf::EmfInvertRgn::kType, Emr::kEmrInvertrgn),
    record(emf::EmfPaintRgn::kType, Emr::kEmrPaintrgn),
    record(emf::EmfExtSelectClipRgn::kType, Emr::kEmrExtselectcliprgn),
    record(emf::EmfBitBlt::kType, Emr::kEmrBitblt),
    record(emf::EmfStretchBlt::kType, Emr::kEmrStretchblt),
    record(emf::EmfMaskBlt::kType, Emr::kEmrMaskblt),
    record(emf::EmfPlgBlt::kType, Emr::kEmrPlgblt),
    record(emf::EmfSetDiBitsToDevice::kType, Emr::kEmrSetdibitstodevice),
    record(emf::EmfStretchDiBits::kType, Emr::kEmrStretchdibits),
    record(emf::EmfExtCreateFontIndirectW::kType, Emr::kEmrExtcreatefontindirectw),
    record(emf::EmfExtTextOutA::kType, Emr::kEmrExttextouta),
    record(emf::EmfExtTextOutW::kType, Emr::kEmrExttextoutw),
    record(emf::EmfPolyBezier16::kType, Emr::kEmrPolybezier16),
    record(emf::EmfPolygon16::kType, Emr::kEmrPolygon16),
    record(emf::EmfPolyline16::kType, Emr::kEmrPolyline16),
    record(emf::EmfPolyBezierTo16::kType, Emr::kEmrPolybezierto16),
    record(emf::EmfPolylineTo16::kType, Emr::kEmrPolylineto16),
    record(emf::EmfPolyPolyline16::kType, Emr::kEmrPolypolyline16),
    record(emf::EmfPolyPolygon16::kType, Emr::kEmrPolypolygon16),
    record(emf::EmfPolyDraw16::kType, Emr::kEmrPolydraw16),
    record(emf::EmfCreateMonoBrush::kType, Emr::kEmrCreatemonobrush),
    record(emf::EmfCreateDibPatternBrushPt::kType, Emr::kEmrCreatedibpatternbrushpt),
    record(emf::EmfExtCreatePen::kType, Emr::kEmrExtcreatepen),
    record(emf::EmfPolyTextOutA::kType, Emr::kEmrPolytextouta),
    record(emf::EmfPolyTextOutW::kType, Emr::kEmrPolytextoutw),
    record(emf::EmfSetIcmMode::kType, Emr::kEmrSeticmmode),
    record(emf::EmfCreateColorSpace::kType, Emr::kEmrCreatecolorspace),
    record(emf::EmfSetColorSpace::kType, Emr::kEmrSetcolorspace),
    record(emf::EmfDeleteColorSpace::kType, Emr::kEmrDeletecolorspace),
    record(emf::EmfGlsRecord::kType, Emr::kEmrGlsrecord),
    record(emf::EmfGlsBoundedRecord::kType, Emr::kEmrGlsboundedrecord),
    record(emf::EmfPixelFormat::kType, Emr::kEmrPixelformat),
    record(emf::EmfDrawEscape::kType, Emr::kEmrDrawescape),
    record(emf::EmfExtEscape::kType, Emr::kEmrExtescape),
    record(emf::EmfSmallTextOut::kType, Emr::kEmrSmalltextout),
    record(emf::EmfForceUfiMapping::kType, Emr::kEmrForceufimapping),
    record(emf::EmfNamedEscape::kType, Emr::kEmrNamedescape),
    record(emf::EmfColorCorrectPalette::kType, Emr::kEmrColorcorrectpalette),
    record(emf::EmfSetIcmProfileA::kType, Emr::kEmrSeticmprofilea),
    record(emf::EmfSetIcmProfileW::kType, Emr::kEmrSeticmprofilew),
    record(emf::EmfAlphaBlend::kType, Emr::kEmrAlphablend),
    record(emf::EmfSetLayout::kType, Emr::kEmrSetlayout),
    record(emf::EmfTransparentBlt::kType, Emr::kEmrTransparentblt),
    record(emf::EmfGradientFill::kType, Emr::kEmrGradientfill),
    record(emf::EmfSetLinkedUfis::kType, Emr::kEmrSetlinkedufis),
    record(emf::EmfSetTextJustification::kType, Emr::kEmrSettextjustification),
    record(emf::EmfColorMatchToTargetW::kType, Emr::kEmrColormatchtotargetw),
    record(emf::EmfCreateColorSpaceW::kType, Emr::kEmrCreatecolorspacew),
};
const DefaultTable ZELMOR_UNNAMED(kEmfRecords);

struct PlusRecord {
    const TypeName& type;
    Plus number;
};
constexpr PlusRecord kPlusRecords[] = {
    {plus::EmfPlusHeader::kType, Plus::kEmfPlusHeader},
    {plus::EmfPlusEndOfFile::kType, Plus::kEmfPlusEndOfFile},
    {plus::EmfPlusComment::kType, Plus::kEmfPlusComment},
    {plus::EmfPlusGetDc::kType, Plus::kEmfPlusGetDc},
    {plus::EmfPlusObject::kType, Plus::kEmfPlusObject},
    {plus::EmfPlusClear::kType, Plus::kEmfPlusClear},
    {plus::EmfPlusFillRects::kType, Plus::kEmfPlusFillRects},
    {plus::EmfPlusDrawRects::kType, Plus::kEmfPlusDrawRects},
    {plus::EmfPlusFillPolygon::kType, Plus::kEmfPlusFillPolygon},
    {plus::EmfPlusDrawLines::kType, Plus::kEmfPlusDrawLines},
    {plus::EmfPlusFillEllipse::kType, Plus::kEmfPlusFillEllipse},
    {plus::EmfPlusDrawEllipse::kType, Plus::kEmfPlusDrawEllipse},
    {plus::EmfPlusFillPie::kType, Plus::kEmfPlusFillPie},
    {plus::EmfPlusDrawPie::kType, Plus::kEmfPlusDrawPie},
    {plus::EmfPlusDrawArc::kType, Plus::kEmfPlusDrawArc},
    {plus::EmfPlusFillRegion::kType, Plus::kEmfPlusFillRegion},
    {plus::EmfPlusFillPath::kType, Plus::kEmfPlusFillPath},
    {plus::EmfPlusDrawPath::kType, Plus::kEmfPlusDrawPath},
    {plus::EmfPlusFillClosedCurve::kType, Plus::kEmfPlusFillClosedCurve},
    {plus::EmfPlusDrawClosedCurve::kType, Plus::kEmfPlusDrawClosedCurve},
    {plus::EmfPlusDrawCurve::kType, Plus::kEmfPlusDrawCurve},
    {plus::EmfPlusDrawBeziers::kType, Plus::kEmfPlusDrawBeziers},
    {plus::EmfPlusDrawImage::kType, Plus::kEmfPlusDrawImage},
    {plus::EmfPlusDrawImagePoints::kType, Plus::kEmfPlusDrawImagePoints},
    {plus::EmfPlusDrawString::kType, Plus::kEmfPlusDrawString},
    {plus::EmfPlusSetRenderingOrigin::kType, Plus::kEmfPlusSetRenderingOrigin},
    {plus::EmfPlusSetAntiAliasMode::kType, Plus::kEmfPlusSetAntiAliasMode},
    {plus::EmfPlusSetTextRenderingHint::kType, Plus::kEmfPlusSetTextRenderingHint},
    {plus::EmfPlusSetTextContrast::kType, Plus::kEmfPlusSetTextContrast},
    {plus::EmfPlusSetInterpolationMode::kType, Plus::kEmfPlusSetInterpolationMode},
    {plus::EmfPlusSetPixelOffsetMode::kType, Plus::kEmfPlusSetPixelOffsetMode},
    {plus::EmfPlusSetCompositingMode::kType, Plus::kEmfPlusSetCompositingMode},
    {plus::EmfPlusSetCompositingQuality::kType, Plus::kEmfPlusSetCompositingQuality},
    {plus::EmfPlusSave::kType, Plus::kEmfPlusSave},
    {plus::EmfPlusRestore::kType, Plus::kEmfPlusRestore},
    {plus::EmfPlusBeginContainer::kType, Plus::kEmfPlusBeginContainer},
    {plus::EmfPlusBeginContainerNoParams::kType, Plus::kEmfPlusBeginContainerNoParams},
    {plus::EmfPlusEndContainer::kType, Plus::kEmfPlusEndContainer},
    {plus::EmfPlusSetWorldTransform::kType, Plus::kEmfPlusSetWorldTransform},
    {plus::EmfPlusResetWorldTransform::kType, Plus::kEmfPlusResetWorldTransform},
    {plus::EmfPlusMultiplyWorldTransform::kType, Plus::kEmfPlusMultiplyWorldTransform},
    {plus::EmfPlusTranslateWorldTransform::kType, Plus::kEmfPlusTranslateWorldTransform},
    {plus::EmfPlusScaleWorldTransform::kType, Plus::kEmfPlusScaleWorldTransform},
    {plus::EmfPlusRotateWorldTransform::kType, Plus::kEmfPlusRotateWorldTransform},
    {plus::EmfPlusSetPageTransform::kType, Plus::kEmfPlusSetPageTransform},
    {plus::EmfPlusResetClip::kType, Plus::kEmfPlusResetClip},
    {plus::EmfPlusSetClipRect::kType, Plus::kEmfPlusSetClipRect},
    {plus::EmfPlusSetClipPath::kType, Plus::kEmfPlusSetClipPath},
    {plus::EmfPlusSetClipRegion::kType, Plus::kEmfPlusSetClipRegion},
    {plus::EmfPlusOffsetClip::kType, Plus::kEmfPlusOffsetClip},
    {plus::EmfPlusDrawDriverString::kType, Plus::kEmfPlusDrawDriverString},
    {plus::EmfPlusSerializableObject::kType, Plus::kEmfPlusSerializableObject},
    {plus::EmfPlusSetTsGraphics::kType, Plus::kEmfPlusSetTsGraphics},
    {plus::EmfPlusSetTsClip::kType, Plus::kEmfPlusSetTsClip},
};

Plus get_type(Record& self) {
    // A record of a file that no class stands for has the number of the file.
    if (const auto* read = dynamic_cast<const metafile::MetafileObject*>(&self); read != nullptr && read->number >= 0) {
        return static_cast<Plus>(read->number);
    }
    for (const TypeInfo* type = &self.type(); type != nullptr; type = base_of(*type)) {
        for (const PlusRecord& row : kPlusRecords) {
            if (std::string_view(row.type.name) == type->full_name) {
                return row.number;
            }
        }
    }
    return Plus::kEmfPlusHeader;  // a class that stands for no record has the first number
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&get_type, plus::EmfPlusRecord::get_Type>(),
});

}  // namespace

}  // namespace zelmor::embed

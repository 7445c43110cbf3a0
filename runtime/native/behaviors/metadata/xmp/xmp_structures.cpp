// The tables of structures; see xmp_structures.h.
#include "runtime/native/behaviors/metadata/xmp/xmp_structures.h"

#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.Photoshop.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Schemas.XmpDm.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Types.Complex.Colorant.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Types.Complex.Dimensions.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Types.Complex.Font.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Types.Complex.ResourceEvent.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Types.Complex.ResourceRef.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Types.Complex.Thumbnail.h"
#include "generated/runtime/Zelmor.Imaging.Xmp.Types.Complex.Version.h"
#include "runtime/native/behaviors/metadata/xmp/xmp_namespaces.h"

namespace zelmor::embed {

namespace {

namespace ns = xmp_namespaces;
using FieldKind = XmpFieldKind;

namespace to_colorant = api::Xmp::Types::Complex::Colorant;
using api::Xmp::Schemas::XmpDm::ProjectType;

constexpr XmpChoice kModes[] = {
    {to_colorant::ColorMode::kCmyk, "CMYK"},
    {to_colorant::ColorMode::kRgb, "RGB"},
    {to_colorant::ColorMode::kLab, "LAB"},
};
constexpr XmpChoice kTypes[] = {
    {to_colorant::ColorType::kProcess, "PROCESS"},
    {to_colorant::ColorType::kSpot, "SPOT"},
};
constexpr XmpChoice kProjectTypes[] = {
    {ProjectType::kMovie, "movie"},
    {ProjectType::kStill, "still"},
    {ProjectType::kAudio, "audio"},
    {ProjectType::kCustom, "custom"},
};

constexpr XmpField kCmyk[] = {
    {"swatchName", "SwatchName", FieldKind::kText},
    {"mode", "Mode", FieldKind::kChoice, kModes},
    {"type", "ColorType", FieldKind::kChoice, kTypes},
    {"cyan", "Cyan", FieldKind::kNumber},
    {"magenta", "Magenta", FieldKind::kNumber},
    {"yellow", "Yellow", FieldKind::kNumber},
    {"black", "Black", FieldKind::kNumber},
};
constexpr XmpField kLab[] = {
    {"swatchName", "SwatchName", FieldKind::kText},
    {"mode", "Mode", FieldKind::kChoice, kModes},
    {"type", "ColorType", FieldKind::kChoice, kTypes},
    {"L", "L", FieldKind::kNumber},
    {"A", "A", FieldKind::kNumber},
    {"B", "B", FieldKind::kNumber},
};
constexpr XmpField kRgb[] = {
    {"swatchName", "SwatchName", FieldKind::kText},
    {"mode", "Mode", FieldKind::kChoice, kModes},
    {"type", "ColorType", FieldKind::kChoice, kTypes},
    {"red", "Red", FieldKind::kNumber},
    {"green", "Green", FieldKind::kNumber},
    {"blue", "Blue", FieldKind::kNumber},
};
constexpr XmpField kDimensions[] = {
    {"w", "Width", FieldKind::kNumber},
    {"h", "Height", FieldKind::kNumber},
    {"unit", "Units", FieldKind::kText},
};
constexpr XmpField kFont[] = {
    {"childFontFiles", "ChildFontFiles", FieldKind::kTexts},
    {"composite", "IsComposite", FieldKind::kBool},
    {"fontFace", "FontFace", FieldKind::kText},
    {"fontFamily", "FontFamily", FieldKind::kText},
    {"fontFileName", "FontFileName", FieldKind::kText},
    {"fontName", "FontName", FieldKind::kText},
    {"fontType", "FontType", FieldKind::kText},
    {"versionString", "Version", FieldKind::kText},
};
constexpr XmpField kEvent[] = {
    {"action", "Action", FieldKind::kText},
    {"changed", "Changed", FieldKind::kText},
    {"instanceID", "InstanceId", FieldKind::kText},
    {"parameters", "Parameters", FieldKind::kText},
    {"softwareAgent", "SofwareAgentName", FieldKind::kText},
    {"when", "ActionDate", FieldKind::kDate},
};
constexpr XmpField kReference[] = {
    {"alternatePaths", "AlternatePaths", FieldKind::kTexts},
    {"documentID", "DocumentUri", FieldKind::kText},
    {"filePath", "FilePathUri", FieldKind::kText},
    {"instanceID", "InstanceId", FieldKind::kText},
};
constexpr XmpField kThumbnail[] = {
    {"width", "Width", FieldKind::kNumber},
    {"height", "Height", FieldKind::kNumber},
    {"image", "ImageBase64", FieldKind::kText},
};
constexpr XmpField kVersion[] = {
    {"comments", "Comments", FieldKind::kText},   {"event", "VersionEvent", FieldKind::kStructure},
    {"modifier", "Modifier", FieldKind::kText},   {"modifyDate", "ModifiedDate", FieldKind::kDate},
    {"version", "VersionText", FieldKind::kText},
};
constexpr XmpField kLayer[] = {
    {"LayerName", "Name", FieldKind::kText},
    {"LayerText", "Text", FieldKind::kText},
};
constexpr XmpField kProjectLink[] = {
    {"type", "Type", FieldKind::kChoice, kProjectTypes},
    {"path", "Path", FieldKind::kText},
};
constexpr XmpField kTime[] = {
    {"scale", "Scale", FieldKind::kRational},
    {"value", "Value", FieldKind::kNumber},
};
constexpr XmpField kTimecode[] = {
    {"timeFormat", "Format", FieldKind::kToken},
    {"timeValue", "TimeValue", FieldKind::kText},
};

constexpr XmpStructure kStructures[] = {
    {api::Xmp::Types::Complex::Colorant::ColorantCmyk::kType.name, "xmpG", ns::kXmpGraphics, kCmyk},
    {api::Xmp::Types::Complex::Colorant::ColorantLab::kType.name, "xmpG", ns::kXmpGraphics, kLab},
    {api::Xmp::Types::Complex::Colorant::ColorantRgb::kType.name, "xmpG", ns::kXmpGraphics, kRgb},
    {api::Xmp::Types::Complex::Dimensions::Dimensions::kType.name, "stDim", ns::kTypeDimensions, kDimensions},
    {api::Xmp::Types::Complex::Font::Font::kType.name, "stFnt", ns::kTypeFont, kFont},
    {api::Xmp::Types::Complex::ResourceEvent::ResourceEvent::kType.name, "stEvt", ns::kTypeResourceEvent, kEvent},
    {api::Xmp::Types::Complex::ResourceRef::ResourceRef::kType.name, "stRef", ns::kTypeResourceRef, kReference},
    {api::Xmp::Types::Complex::Thumbnail::Thumbnail::kType.name, "xmpGImg", ns::kXmpGraphicsThumbnail, kThumbnail},
    {api::Xmp::Types::Complex::Version::Version::kType.name, "stVer", ns::kTypeVersion, kVersion},
    {api::Xmp::Schemas::Photoshop::Layer::kType.name, "photoshop", ns::kPhotoshop, kLayer},
    {api::Xmp::Schemas::XmpDm::ProjectLink::kType.name, "xmpDM", ns::kXmpDm, kProjectLink},
    {api::Xmp::Schemas::XmpDm::Time::kType.name, "xmpDM", ns::kXmpDm, kTime},
    {api::Xmp::Schemas::XmpDm::Timecode::kType.name, "xmpDM", ns::kXmpDm, kTimecode},
};

}  // namespace

std::span<const XmpStructure> xmp_structures() {
    return kStructures;
}

const XmpStructure* find_xmp_structure(std::string_view type) {
    for (const XmpStructure& structure : kStructures) {
        if (type == structure.type) {
            return &structure;
        }
    }
    return nullptr;
}

}  // namespace zelmor::embed

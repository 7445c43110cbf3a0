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
using Kind = XmpFieldKind;

namespace colorant = api::Xmp::Types::Complex::Colorant;
using api::Xmp::Schemas::XmpDm::ProjectType;

constexpr XmpChoice kModes[] = {
    {colorant::ColorMode::kCmyk, "CMYK"},
    {colorant::ColorMode::kRgb, "RGB"},
    {colorant::ColorMode::kLab, "LAB"},
};
constexpr XmpChoice kTypes[] = {
    {colorant::ColorType::kProcess, "PROCESS"},
    {colorant::ColorType::kSpot, "SPOT"},
};
constexpr XmpChoice kProjectTypes[] = {
    {ProjectType::kMovie, "movie"},
    {ProjectType::kStill, "still"},
    {ProjectType::kAudio, "audio"},
    {ProjectType::kCustom, "custom"},
};

constexpr XmpField kCmyk[] = {
    {"swatchName", "SwatchName", Kind::kText},
    {"mode", "Mode", Kind::kChoice, kModes},
    {"type", "ColorType", Kind::kChoice, kTypes},
    {"cyan", "Cyan", Kind::kNumber},
    {"magenta", "Magenta", Kind::kNumber},
    {"yellow", "Yellow", Kind::kNumber},
    {"black", "Black", Kind::kNumber},
};
constexpr XmpField kLab[] = {
    {"swatchName", "SwatchName", Kind::kText},
    {"mode", "Mode", Kind::kChoice, kModes},
    {"type", "ColorType", Kind::kChoice, kTypes},
    {"L", "L", Kind::kNumber},
    {"A", "A", Kind::kNumber},
    {"B", "B", Kind::kNumber},
};
constexpr XmpField kRgb[] = {
    {"swatchName", "SwatchName", Kind::kText},
    {"mode", "Mode", Kind::kChoice, kModes},
    {"type", "ColorType", Kind::kChoice, kTypes},
    {"red", "Red", Kind::kNumber},
    {"green", "Green", Kind::kNumber},
    {"blue", "Blue", Kind::kNumber},
};
constexpr XmpField kDimensions[] = {
    {"w", "Width", Kind::kNumber},
    {"h", "Height", Kind::kNumber},
    {"unit", "Units", Kind::kText},
};
constexpr XmpField kFont[] = {
    {"childFontFiles", "ChildFontFiles", Kind::kTexts},
    {"composite", "IsComposite", Kind::kBool},
    {"fontFace", "FontFace", Kind::kText},
    {"fontFamily", "FontFamily", Kind::kText},
    {"fontFileName", "FontFileName", Kind::kText},
    {"fontName", "FontName", Kind::kText},
    {"fontType", "FontType", Kind::kText},
    {"versionString", "Version", Kind::kText},
};
constexpr XmpField kEvent[] = {
    {"action", "Action", Kind::kText},
    {"changed", "Changed", Kind::kText},
    {"instanceID", "InstanceId", Kind::kText},
    {"parameters", "Parameters", Kind::kText},
    {"softwareAgent", "SofwareAgentName", Kind::kText},
    {"when", "ActionDate", Kind::kDate},
};
constexpr XmpField kReference[] = {
    {"alternatePaths", "AlternatePaths", Kind::kTexts},
    {"documentID", "DocumentUri", Kind::kText},
    {"filePath", "FilePathUri", Kind::kText},
    {"instanceID", "InstanceId", Kind::kText},
};
constexpr XmpField kThumbnail[] = {
    {"width", "Width", Kind::kNumber},
    {"height", "Height", Kind::kNumber},
    {"image", "ImageBase64", Kind::kText},
};
constexpr XmpField kVersion[] = {
    {"comments", "Comments", Kind::kText},   {"event", "VersionEvent", Kind::kStructure},
    {"modifier", "Modifier", Kind::kText},   {"modifyDate", "ModifiedDate", Kind::kDate},
    {"version", "VersionText", Kind::kText},
};
constexpr XmpField kLayer[] = {
    {"LayerName", "Name", Kind::kText},
    {"LayerText", "Text", Kind::kText},
};
constexpr XmpField kProjectLink[] = {
    {"type", "Type", Kind::kChoice, kProjectTypes},
    {"path", "Path", Kind::kText},
};
constexpr XmpField kTime[] = {
    {"scale", "Scale", Kind::kRational},
    {"value", "Value", Kind::kNumber},
};
constexpr XmpField kTimecode[] = {
    {"timeFormat", "Format", Kind::kToken},
    {"timeValue", "TimeValue", Kind::kText},
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

// The tables of structures; see xmp_structures.h.
#include "runtime/native/behaviors/metadata/xmp/xmp_structures.h"

#include "runtime/native/behaviors/metadata/xmp/xmp_namespaces.h"

namespace zelmor::embed {

namespace {

namespace ns = xmp_namespaces;
using Kind = XmpFieldKind;

constexpr const char* kModes = "1 CMYK 2 RGB 3 LAB";
constexpr const char* kTypes = "1 PROCESS 2 SPOT";

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
    {"type", "Type", Kind::kChoice, "0 movie 1 still 2 audio 3 custom"},
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
    {"Zelmor.Imaging.Xmp.Types.Complex.Colorant.ColorantCmyk", "xmpG", ns::kXmpGraphics, kCmyk},
    {"Zelmor.Imaging.Xmp.Types.Complex.Colorant.ColorantLab", "xmpG", ns::kXmpGraphics, kLab},
    {"Zelmor.Imaging.Xmp.Types.Complex.Colorant.ColorantRgb", "xmpG", ns::kXmpGraphics, kRgb},
    {"Zelmor.Imaging.Xmp.Types.Complex.Dimensions.Dimensions", "stDim", ns::kTypeDimensions, kDimensions},
    {"Zelmor.Imaging.Xmp.Types.Complex.Font.Font", "stFnt", ns::kTypeFont, kFont},
    {"Zelmor.Imaging.Xmp.Types.Complex.ResourceEvent.ResourceEvent", "stEvt", ns::kTypeResourceEvent, kEvent},
    {"Zelmor.Imaging.Xmp.Types.Complex.ResourceRef.ResourceRef", "stRef", ns::kTypeResourceRef, kReference},
    {"Zelmor.Imaging.Xmp.Types.Complex.Thumbnail.Thumbnail", "xmpGImg", ns::kXmpGraphicsThumbnail, kThumbnail},
    {"Zelmor.Imaging.Xmp.Types.Complex.Version.Version", "stVer", ns::kTypeVersion, kVersion},
    {"Zelmor.Imaging.Xmp.Schemas.Photoshop.Layer", "photoshop", ns::kPhotoshop, kLayer},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.ProjectLink", "xmpDM", ns::kXmpDm, kProjectLink},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.Time", "xmpDM", ns::kXmpDm, kTime},
    {"Zelmor.Imaging.Xmp.Schemas.XmpDm.Timecode", "xmpDM", ns::kXmpDm, kTimecode},
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

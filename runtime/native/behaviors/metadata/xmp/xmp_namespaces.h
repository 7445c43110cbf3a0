// The namespaces of XMP's published schemas and structures.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_NAMESPACES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_NAMESPACES_H

namespace zelmor::embed::xmp_namespaces {

constexpr const char* kDicom = "http://ns.adobe.com/DICOM/";
constexpr const char* kDublinCore = "http://purl.org/dc/elements/1.1/";
constexpr const char* kExif = "http://ns.adobe.com/exif/1.0/";
constexpr const char* kPdf = "http://ns.adobe.com/pdf/1.3/";
constexpr const char* kPhotoshop = "http://ns.adobe.com/photoshop/1.0/";
constexpr const char* kRdf = "http://www.w3.org/1999/02/22-rdf-syntax-ns#";
constexpr const char* kTiff = "http://ns.adobe.com/tiff/1.0/";
constexpr const char* kXml = "http://www.w3.org/XML/1998/namespace";
constexpr const char* kXmpBasic = "http://ns.adobe.com/xap/1.0/";
constexpr const char* kXmpDm = "http://ns.adobe.com/xmp/1.0/DynamicMedia/";
constexpr const char* kXmpGraphics = "http://ns.adobe.com/xap/1.0/g/";
constexpr const char* kXmpGraphicsThumbnail = "http://ns.adobe.com/xap/1.0/g/img/";
constexpr const char* kXmpMm = "http://ns.adobe.com/xap/1.0/mm/";
constexpr const char* kXmpRights = "http://ns.adobe.com/xap/1.0/rights/";
constexpr const char* kTypeDimensions = "http://ns.adobe.com/xap/1.0/sType/Dimensions#";
constexpr const char* kTypeFont = "http://ns.adobe.com/xap/1.0/sType/Font#";
constexpr const char* kTypeResourceEvent = "http://ns.adobe.com/xap/1.0/sType/ResourceEvent#";
constexpr const char* kTypeResourceRef = "http://ns.adobe.com/xap/1.0/sType/ResourceRef#";
constexpr const char* kTypeVersion = "http://ns.adobe.com/xap/1.0/sType/Version#";

}  // namespace zelmor::embed::xmp_namespaces

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_XMP_XMP_NAMESPACES_H

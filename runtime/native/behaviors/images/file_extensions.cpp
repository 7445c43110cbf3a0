// The table of extensions; see file_extensions.h.
#include "runtime/native/behaviors/images/file_extensions.h"

#include <algorithm>

#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

using imagework::Format;

namespace {

struct Extension {
    const char* text;
    const char* format;  // the name for a person
    Format codec;        // kUnknown: the API has the format, this runtime cannot write it
};

constexpr Extension kExtensions[] = {
    {"bmp", "BMP", Format::kBmp},
    {"dib", "BMP", Format::kBmp},
    {"gif", "GIF", Format::kGif},
    {"jpg", "JPEG", Format::kJpeg},
    {"jpeg", "JPEG", Format::kJpeg},
    {"jpe", "JPEG", Format::kJpeg},
    {"jfif", "JPEG", Format::kJpeg},
    {"png", "PNG", Format::kPng},
    {"apng", "PNG", Format::kPng},
    {"tif", "TIFF", Format::kTiff},
    {"tiff", "TIFF", Format::kTiff},
    {"webp", "WebP", Format::kWebp},
    {"cdr", "CDR", Format::kUnknown},
    {"cmx", "CMX", Format::kUnknown},
    {"dcm", "DICOM", Format::kUnknown},
    {"dicom", "DICOM", Format::kUnknown},
    {"djvu", "DjVu", Format::kUnknown},
    {"djv", "DjVu", Format::kUnknown},
    {"dng", "DNG", Format::kUnknown},
    {"dxf", "DXF", Format::kUnknown},
    {"emf", "EMF", Format::kUnknown},
    {"emz", "EMF", Format::kUnknown},
    {"eps", "EPS", Format::kUnknown},
    {"fodg", "ODG", Format::kUnknown},
    {"htm", "HTML5 canvas", Format::kUnknown},
    {"html", "HTML5 canvas", Format::kUnknown},
    {"ico", "ICO", Format::kUnknown},
    {"cur", "ICO", Format::kUnknown},
    {"j2c", "JPEG 2000", Format::kUnknown},
    {"j2k", "JPEG 2000", Format::kUnknown},
    {"jp2", "JPEG 2000", Format::kUnknown},
    {"jpc", "JPEG 2000", Format::kUnknown},
    {"jpf", "JPEG 2000", Format::kUnknown},
    {"jpx", "JPEG 2000", Format::kUnknown},
    {"odg", "ODG", Format::kUnknown},
    {"otg", "OTG", Format::kUnknown},
    {"pdf", "PDF", Format::kUnknown},
    {"ps", "EPS", Format::kUnknown},
    {"psb", "PSD", Format::kUnknown},
    {"psd", "PSD", Format::kUnknown},
    {"svg", "SVG", Format::kUnknown},
    {"svgz", "SVG", Format::kUnknown},
    {"tga", "TGA", Format::kUnknown},
    {"wmf", "WMF", Format::kUnknown},
    {"wmz", "WMF", Format::kUnknown},
};

}  // namespace

Format format_of_extension(const std::string& path) {
    const size_t dot = path.find_last_of("./");
    if (dot == std::string::npos || path[dot] == '/') {
        return Format::kUnknown;
    }
    std::string extension = path.substr(dot + 1);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c); });
    const auto* known = std::find_if(std::begin(kExtensions), std::end(kExtensions),
                                     [&](const Extension& row) { return extension == row.text; });
    if (known == std::end(kExtensions)) {
        return Format::kUnknown;
    }
    if (known->codec == Format::kUnknown) {
        throw_not_supported("Saving as " + std::string(known->format) + ", which the extension '." + extension +
                            "' asks for,");
    }
    return known->codec;
}

}  // namespace zelmor::embed

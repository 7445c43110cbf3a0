// What the runtime asks of the SVG library: reading a document, and drawing it.
//
// The library is a shared object of its own (libzelmor.embed.format.svg.so), loaded when the first SVG file is met. It
// opens nothing but the bytes that it is given: a document that refers to a file, to an address or to an entity
// outside is drawn without what it refers to, or refused. All failures are PictureError and DrawError.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_LIBRARY_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_LIBRARY_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "runtime/native/drawwork/canvas.h"

namespace zelmor::imagework {

struct SvgDrawing {
    drawwork::Affine placing;      // from pixels of the picture to the canvas
    double width = 0, height = 0;  // of the picture, in pixels
    bool smooth = true;            // edges of shapes
    bool smooth_text = true;
};

// A document that was read.
class SvgPicture {
 public:
    virtual ~SvgPicture() = default;
    // What is drawn, in pixels: for a document that does not tell its size.
    virtual drawwork::RectD ink() = 0;
    // Nanoseconds that filters and masks may take for a pixel of the page, estimated from what the document says.
    virtual double filtering() const = 0;
    virtual void draw(drawwork::Canvas& canvas, const SvgDrawing& drawing) = 0;
};

// A picture that stands in the document itself.
struct SvgEmbedded {
    std::string mime_type;
    std::vector<uint8_t> bytes;
};

class SvgLibrary {
 public:
    virtual ~SvgLibrary() = default;
    // The bytes are not needed afterwards.
    virtual std::unique_ptr<SvgPicture> open(std::span<const uint8_t> document) = 0;
    // All embedded pictures, in the order of the document; one whose data are no base64 is left out.
    virtual std::vector<SvgEmbedded> embedded(std::span<const uint8_t> document) = 0;
    // The document packed by gzip.
    virtual std::vector<uint8_t> packed(std::span<const uint8_t> document) = 0;
};

// The entry point of the shared object. The library lives as long as the process.
using SvgLibraryFunction = SvgLibrary* (*)();
constexpr const char* kSvgLibrarySymbol = "zelmor_svg_library";

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_SVG_LIBRARY_H

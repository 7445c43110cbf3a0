// What drawing an OpenDocument page needs from outside: measures of text, and pictures in other formats.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_SERVICES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_SERVICES_H

#include <cstdint>
#include <memory>
#include <vector>

#include "runtime/native/drawwork/canvas.h"

namespace zelmor::embed {

// A picture of a document, decoded.
struct OdPicture {
    std::vector<drawwork::Argb> pixels;
    int32_t width = 0, height = 0;
};

class OdServices {
 public:
    virtual ~OdServices() = default;
    virtual drawwork::TextExtent measure(const drawwork::TextLayout& layout) = 0;
    virtual drawwork::Outline outline_of(const drawwork::TextLayout& layout) = 0;
    // Null where the bytes are no picture that can be decoded.
    virtual std::shared_ptr<const OdPicture> picture(const std::vector<uint8_t>& bytes) = 0;
    // Draws a picture of lines and text into the unit square, which `placing` maps to the canvas. False where the bytes
    // are none.
    virtual bool draw_picture(drawwork::Canvas& canvas, const std::vector<uint8_t>& bytes,
                              const drawwork::Affine& placing) = 0;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_OPENDOCUMENT_OD_SERVICES_H

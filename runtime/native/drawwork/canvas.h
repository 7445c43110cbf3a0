// What the embedded runtime asks of a drawing library: canvases over blocks of pixels, and text.
//
// The implementation is a shared object of its own, loaded at the first drawing, so that nothing here may name a type
// of the library behind it. All coordinates are pixels of the image that a canvas is a part of, unless a map stands
// beside them. Pixels are 0xAARRGGBB, their colors not multiplied by their alpha.
#ifndef ZELMOR_RUNTIME_NATIVE_DRAWWORK_CANVAS_H
#define ZELMOR_RUNTIME_NATIVE_DRAWWORK_CANVAS_H

#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "runtime/native/drawwork/geometry.h"

namespace zelmor::drawwork {

using Argb = uint32_t;

struct PixelArea {
    int32_t x = 0, y = 0, width = 0, height = 0;
};

// A failure of the library, for which the caller cannot be blamed.
class DrawError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

enum class Extend { kNone, kPad, kRepeat, kReflect };
enum class Sampling { kNearest, kGood, kBest };

struct GradientStop {
    double at;
    Argb color;
};

// What is painted with. `placing` maps its own space to the image.
struct Paint {
    enum class Kind { kSolid, kLinear, kTexture };
    Kind kind = Kind::kSolid;
    Argb color = 0;
    PointD from, to;  // of a linear gradient
    std::vector<GradientStop> stops;
    std::vector<Argb> pixels;  // of a texture, row by row
    int32_t width = 0, height = 0;
    Sampling sampling = Sampling::kGood;
    Extend extend = Extend::kPad;
    Affine placing;
    double opacity = 1;
};

enum class StrokeCap { kFlat, kSquare, kRound };
enum class StrokeJoin { kMiter, kBevel, kRound };
struct Stroke {
    double width = 1;
    StrokeCap cap = StrokeCap::kFlat;
    StrokeJoin join = StrokeJoin::kMiter;
    double miter_limit = 10;
    std::vector<double> dashes;
    double dash_offset = 0;
    Affine nib;  // from the space in which the pen is round to the image
};

enum class TextTrimming { kNone, kEnd, kMiddle };
enum class TextAlignment { kBegin, kMiddle, kEnd };
struct TextLayout {
    std::string text;    // UTF-8
    std::string family;  // or several, separated by commas
    double size = 12;    // of the em square
    bool bold = false, italic = false, underline = false, strikeout = false;
    bool smooth = true, hinted = false;
    double width = -1, height = -1;  // where lines are broken and trimmed; negative for nowhere
    TextAlignment alignment = TextAlignment::kBegin;
    bool wrap = true;
    TextTrimming trimming = TextTrimming::kNone;
    bool right_to_left = false;
    std::vector<double> tabs;          // positions
    int32_t mnemonic = -1;             // index of the byte at which the character to be underlined begins
    std::vector<std::string> folders;  // of fonts, beside those of the system
};
struct TextExtent {
    double width = 0, height = 0;
    double left = 0;  // of the lines, in a layout with a width
};

class Canvas {
 public:
    virtual ~Canvas() = default;

    // Takes back all cutting.
    virtual void unclip() = 0;
    // What is drawn is cut to the outline, and to those of earlier calls.
    virtual void clip(const Outline& outline, FillRule rule, bool smooth) = 0;
    virtual void fill(const Outline& outline, FillRule rule, const Paint& paint, bool smooth) = 0;
    virtual void stroke(const Outline& outline, const Stroke& stroke, const Paint& paint, bool smooth) = 0;
    // Replaces all pixels inside the clip.
    virtual void clear(Argb color) = 0;
    // The layout's left top corner is where `placing` maps the origin to.
    virtual void text(const TextLayout& layout, const Affine& placing, const Paint& paint) = 0;
    // The pixels of the area. Those that were not drawn on are what they were, to the last bit.
    virtual std::vector<Argb> pixels() = 0;
};

class Backend {
 public:
    virtual ~Backend() = default;
    // A canvas with the pixels given, row by row.
    virtual std::unique_ptr<Canvas> canvas(const PixelArea& area, std::span<const Argb> pixels) = 0;
    virtual TextExtent measure(const TextLayout& layout) = 0;
    virtual Outline outline_of(const TextLayout& layout) = 0;
    virtual bool has_family(const std::string& name, const std::vector<std::string>& folders) = 0;
};

// The entry point of the shared object. The backend lives as long as the process.
using BackendFunction = Backend* (*)();
constexpr const char* kBackendSymbol = "zelmor_drawwork_backend";

}  // namespace zelmor::drawwork

#endif  // ZELMOR_RUNTIME_NATIVE_DRAWWORK_CANVAS_H

// The interface through which everything is drawn: canvases, paints and text.
//
// A canvas over pixels is made by the drawing library. It is a shared object of its own, loaded at the first drawing,
// so that nothing here may name a type of the library behind it. Canvases that write a file of lines and text instead
// stand in the rooms of their formats. Coordinates are those of the canvas (pixels of the image that it is a part of),
// unless a map stands beside them. Pixels are 0xAARRGGBB, their colors not multiplied by their alpha.
#ifndef ZELMOR_RUNTIME_NATIVE_DRAWWORK_CANVAS_H
#define ZELMOR_RUNTIME_NATIVE_DRAWWORK_CANVAS_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

#include "runtime/native/drawwork/geometry.h"

namespace zelmor::imagework {
class ByteSink;
}

namespace zelmor::drawwork {

using Argb = uint32_t;

struct PixelArea {
    int32_t x = 0, y = 0, width = 0, height = 0;
};

// A failure of the drawing library that the caller did not cause.
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

// A color, a gradient or a texture to paint with. `placing` maps its own space to the canvas.
struct Paint {
    enum class Kind { kSolid, kLinear, kRadial, kTexture };
    Kind kind = Kind::kSolid;
    Argb color = 0;
    PointD from, to;                        // of a gradient: points, or the centers of two circles
    double from_radius = 0, to_radius = 0;  // of a radial gradient
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
    Affine nib;  // from the space in which the pen is round to the canvas
};

enum class TextTrimming { kNone, kEnd, kMiddle };
enum class TextAlignment { kBegin, kMiddle, kEnd };
struct TextLayout {
    std::string text;    // UTF-8
    std::string family;  // or several, separated by commas
    double size = 12;    // of the em square
    bool bold = false, italic = false, underline = false, strikeout = false;
    bool smooth = true, hinted = false;
    bool exact = false;              // letters are set by fractions of pixels, unless they are hinted or not smooth
    double width = -1, height = -1;  // lines are broken and trimmed there; negative for no limit
    TextAlignment alignment = TextAlignment::kBegin;
    bool wrap = true;
    bool breaks_words = false;  // lines are broken at any character
    TextTrimming trimming = TextTrimming::kNone;
    bool right_to_left = false;
    std::vector<double> tabs;          // positions
    double letter_spacing = 0;         // more room behind each character
    bool fallback = true;              // other fonts stand in for characters that the family lacks
    bool shows_controls = false;       // characters that are not seen otherwise have signs of their own
    int32_t mnemonic = -1;             // index of the byte at which the character to be underlined begins
    std::vector<std::string> folders;  // of fonts, beside those of the system
};
struct TextExtent {
    double width = 0, height = 0;
    double left = 0;      // of the lines, in a layout with a width
    double baseline = 0;  // of the first line, from the top
};

// A line of a layout: its text, where it begins from left to right, and where its letters stand on.
struct TextLine {
    std::string text;
    double left = 0, width = 0;
    double baseline = 0;
};

// How a group meets what was drawn before it; the modes are those of PDF and of the web's compositing.
enum class Blend {
    kOver,
    kMultiply,
    kScreen,
    kOverlay,
    kDarken,
    kLighten,
    kColorDodge,
    kColorBurn,
    kHardLight,
    kSoftLight,
    kDifference,
    kExclusion,
};

class Canvas {
 public:
    virtual ~Canvas() = default;

    // The state of a canvas is its clip. restore() goes back to that of the save() before it; they are nested properly.
    virtual void save() = 0;
    virtual void restore() = 0;
    // Ends all clipping within the page or the group.
    virtual void unclip() = 0;
    // Cuts everything drawn from now on to the outline, and to those of earlier calls.
    virtual void clip(const Outline& outline, FillRule rule, bool smooth) = 0;

    virtual void fill(const Outline& outline, FillRule rule, const Paint& paint, bool smooth) = 0;
    virtual void stroke(const Outline& outline, const Stroke& stroke, const Paint& paint, bool smooth) = 0;
    // Replaces everything inside the clip.
    virtual void clear(Argb color) = 0;
    // `placing` maps the origin to the layout's left top corner.
    virtual void text(const TextLayout& layout, const Affine& placing, const Paint& paint) = 0;

    // What is drawn between these two is a picture of its own, without a clip at first. At the end it is laid over what
    // was there before, cut by the clip that held at its beginning. Saves within a group are restored within it.
    virtual void begin_group() = 0;
    virtual void end_group(double opacity, Blend blend) = 0;

    // A raster operation: each bit inside the outline becomes bit 4 * pattern + 2 * source + destination of
    // `operation`, as metafiles number them. False on a canvas without pixels, where nothing is drawn.
    virtual bool combine(const Outline& outline, FillRule rule, const Paint& pattern, const Paint& source,
                         uint8_t operation) {
        static_cast<void>(outline), static_cast<void>(rule), static_cast<void>(pattern), static_cast<void>(source);
        static_cast<void>(operation);
        return false;
    }

    // Whether the unit is a pixel, as on a screen: a line without a width is one unit wide then, and on paper as thin
    // as a fine pen.
    virtual bool is_screen() const { return false; }

    // The context of the drawing library (`cairo_t*`), for libraries that draw on one by themselves. Null where the
    // canvas has none: then a drawing has to be taken apart into the calls above.
    virtual void* context() { return nullptr; }
};

// A canvas over a block of pixels.
class PixelCanvas : public Canvas {
 public:
    // The pixels of the area. Pixels that were not drawn on are unchanged to the last bit.
    virtual std::vector<Argb> pixels() = 0;
    // The same as rows of bytes R, G, B and, with `alpha`, A, not multiplied by it. Rows begin `row_size` bytes after
    // each other.
    virtual void read(bool alpha, size_t row_size, uint8_t* out) const = 0;
    bool is_screen() const override { return true; }
};

// A canvas that shows nothing and finds where something was drawn.
class InkCanvas : public Canvas {
 public:
    // The smallest rectangle around everything so far; empty where nothing was drawn.
    virtual RectD ink() = 0;
};

struct DocumentSettings {
    std::string title, author, subject, keywords;  // UTF-8; empty for none
};

// The canvas of a document of several pages. Its unit is the point, 72 of which make an inch.
class Document : public Canvas {
 public:
    // Begins a page, with nothing on it and no clip.
    virtual void page(double width, double height) = 0;
    // After the last page. Failures of the sink come out of any member.
    virtual void finish() = 0;
};

class Backend {
 public:
    virtual ~Backend() = default;
    // A canvas with the pixels given, row by row.
    virtual std::unique_ptr<PixelCanvas> canvas(const PixelArea& area, std::span<const Argb> pixels) = 0;
    // A canvas of one color, which takes no memory but its own pixels.
    virtual std::unique_ptr<PixelCanvas> canvas(const PixelArea& area, Argb color) = 0;
    // What is drawn outside of the bounds does not count.
    virtual std::unique_ptr<InkCanvas> ink_canvas(const RectD& bounds) = 0;
    // A PDF file, whose bytes go to `out` while it is drawn on. There is no canvas before the first page.
    virtual std::unique_ptr<Document> pdf(const DocumentSettings& settings, imagework::ByteSink& out) = 0;
    virtual TextExtent measure(const TextLayout& layout) = 0;
    virtual Outline outline_of(const TextLayout& layout) = 0;
    // The lines that the layout is broken into, without the white space at which it is. A trimmed line has all its
    // text.
    virtual std::vector<TextLine> lines_of(const TextLayout& layout) = 0;
    virtual bool has_family(const std::string& name, const std::vector<std::string>& folders) = 0;
};

// The entry point of the shared object. The backend lives as long as the process.
using BackendFunction = Backend* (*)();
constexpr const char* kBackendSymbol = "zelmor_drawwork_backend";

}  // namespace zelmor::drawwork

#endif  // ZELMOR_RUNTIME_NATIVE_DRAWWORK_CANVAS_H

// The objects that a metafile makes and selects: pens, brushes, fonts, palettes and regions, and pixels of bitmaps.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_DEVICE_OBJECTS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_DEVICE_OBJECTS_H

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "runtime/native/drawwork/canvas.h"

namespace zelmor::embed::metafile {

using drawwork::Argb;
using drawwork::PointD;
using drawwork::RectD;

constexpr Argb kBlack = 0xFF000000, kWhite = 0xFFFFFFFF;

// A bitmap as colors, the top row first.
struct Pixels {
    int32_t width = 0, height = 0;
    std::vector<Argb> colors;
    bool mono = false;  // one bit a pixel
    bool empty() const { return colors.empty(); }
};

struct DeviceBrush {
    enum class Kind { kNull, kSolid, kHatch, kPattern };
    Kind kind = Kind::kSolid;
    Argb color = kWhite;
    int hatch = 0;            // in the order of the enumerators of HatchStyle
    Pixels pattern;           // repeated from the origin of brushes on
    bool two_colors = false;  // a pattern whose bits stand for the colors of text and background
};

struct DevicePen {
    enum Style : uint32_t { kSolid, kDash, kDot, kDashDot, kDashDotDot, kNull, kInsideFrame, kUserStyle, kAlternate };
    uint32_t style = kSolid;
    double width = 0;
    bool cosmetic = true;   // the width is that of a pixel, whatever the units are
    bool extended = false;  // its gaps are never filled with the color of the background
    Argb color = kBlack;
    DeviceBrush brush = {};  // of a geometric pen that is not of one color
    bool has_brush = false;
    std::vector<double> lengths;  // of dashes and gaps in the user's own style
    drawwork::StrokeCap cap = drawwork::StrokeCap::kRound;
    drawwork::StrokeJoin join = drawwork::StrokeJoin::kRound;
};

struct DeviceFont {
    double height = 0, width = 0;  // of the em square if negative, of the line if positive; 0 for a default
    double escapement = 0;         // tenths of a degree, counterclockwise
    int weight = 400;
    bool italic = false, underline = false, strikeout = false;
    uint8_t charset = 0;
    uint8_t family = 0;  // 1 roman, 2 swiss, 3 modern, 4 script, 5 decorative
    std::u16string face;
};

// The object and all states that it is selected in share the colors, so that a change is seen wherever they are used.
class DevicePalette {
 public:
    struct Entry {
        Argb color = kBlack;
        bool animated = false;
    };
    DevicePalette() = default;  // the one that exists without being made; it has no colors and cannot be changed
    explicit DevicePalette(std::vector<Entry> entries);

    std::span<const Argb> colors() const;
    void set(size_t start, std::span<const Entry> entries);      // as many as there are places
    void animate(size_t start, std::span<const Entry> entries);  // those alone that were made to be animated
    void resize(size_t count);                                   // new ones are black

 private:
    struct Shared {
        std::vector<Argb> colors;
        std::vector<bool> animated;
    };
    size_t places_behind(size_t start, size_t wanted) const;
    std::shared_ptr<Shared> m_shared;
};

struct DeviceRegion {
    std::vector<RectD> rects;
};

using DeviceObject = std::variant<std::monostate, DevicePen, DeviceBrush, DeviceFont, DevicePalette, DeviceRegion>;

// The objects that exist without being made, by their indices from 0x80000000 on.
DeviceObject stock_object(uint32_t index);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_DEVICE_OBJECTS_H

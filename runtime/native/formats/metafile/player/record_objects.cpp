// From the objects of records to those that a device selects.
#include "runtime/native/formats/metafile/player/record_objects.h"

#include <algorithm>

#include "runtime/native/formats/metafile/player/dib_pixels.h"

namespace zelmor::embed::metafile {

namespace {

using drawwork::StrokeCap;
using drawwork::StrokeJoin;

// The numbers of a pen's style.
constexpr int64_t kStyleMask = 0xF, kCapMask = 0xF00, kJoinMask = 0xF000, kGeometric = 0x10000;
// The styles of brushes.
constexpr int64_t kSolid = 0, kNull = 1, kHatched = 2, kPattern = 3, kDibPattern = 5, kDibPatternPt = 6;

void set_style(DevicePen& pen, int64_t style) {
    pen.style = static_cast<uint32_t>(style & kStyleMask);
    const int64_t cap = style & kCapMask, join = style & kJoinMask;
    pen.cap = cap == 0x100 ? StrokeCap::kSquare : cap == 0x200 ? StrokeCap::kFlat : StrokeCap::kRound;
    pen.join = join == 0x1000 ? StrokeJoin::kBevel : join == 0x2000 ? StrokeJoin::kMiter : StrokeJoin::kRound;
}

}  // namespace

DevicePen pen_of(const ManagedObject& log_pen) {
    DevicePen pen;
    set_style(pen, whole_in(log_pen, "PenStyle"));
    pen.width = std::abs(point_in(log_pen, "Width").x);
    pen.cosmetic = pen.width == 0;
    pen.color = color_in(log_pen, "Argb32ColorRef");
    return pen;
}

DevicePen extended_pen_of(const ManagedObject& log_pen, const ManagedObject* bitmap, std::span<const Argb> palette) {
    DevicePen pen;
    const int64_t style = whole_in(log_pen, "PenStyle");
    set_style(pen, style);
    pen.extended = true;
    pen.cosmetic = (style & kGeometric) == 0;
    pen.width = pen.cosmetic ? 0 : static_cast<double>(whole_in(log_pen, "Width"));
    pen.color = color_in(log_pen, "Argb32ColorRef");
    pen.lengths = numbers_in(log_pen, "StyleEntry");
    const int64_t brush_style = whole_in(log_pen, "BrushStyle");
    if (brush_style == kNull) {
        pen.style = DevicePen::kNull;
    } else if (brush_style == kHatched) {
        pen.has_brush = true;
        pen.brush = brush_of(log_pen, "Argb32ColorRef");
    } else if (brush_style >= kPattern && bitmap != nullptr) {
        pen.has_brush = true;
        pen.brush.kind = DeviceBrush::Kind::kPattern;
        pen.brush.pattern = dib_pixels(bitmap, {.palette = palette});
    }
    return pen;
}

DeviceBrush brush_of(const ManagedObject& log_brush, const char* color_name) {
    DeviceBrush brush;
    const int64_t style = whole_in(log_brush, "BrushStyle");
    brush.color = color_in(log_brush, color_name);
    if (style == kNull) {
        brush.kind = DeviceBrush::Kind::kNull;
    } else if (style == kHatched) {
        constexpr int64_t kHatches = 6;  // the numbers behind them stand for solid colors
        const int64_t hatch = whole_in(log_brush, "BrushHatch");
        brush.kind = hatch >= 0 && hatch < kHatches ? DeviceBrush::Kind::kHatch : DeviceBrush::Kind::kSolid;
        brush.hatch = static_cast<int>(hatch);
    }
    return brush;
}

DeviceFont font_of(const ManagedObject& log_font) {
    DeviceFont font;
    font.height = number_in(log_font, "Height");
    font.width = number_in(log_font, "Width");
    font.escapement = number_in(log_font, "Escapement");
    font.weight = static_cast<int>(whole_in(log_font, "Weight"));
    font.italic = flag_in(log_font, "Italic");
    font.underline = flag_in(log_font, "Underline");
    font.strikeout = flag_in(log_font, "Strikeout");
    font.charset = static_cast<uint8_t>(whole_in(log_font, "Charset"));
    if (const auto pitch = object_in(log_font, "PitchAndFamily")) {
        font.family = static_cast<uint8_t>(whole_in(*pitch, "Family"));
    }
    font.face = text_in(log_font, "Facename");
    return font;
}

// The flags have no property. They hold as long as they would be saved: until a program sets other colors.
std::vector<DevicePalette::Entry> palette_entries(const ManagedObject& record) {
    constexpr uint8_t kReserved = 1;  // the flag of entries that are animated
    constexpr size_t kBytes = 4;      // red, green, blue, flags
    std::vector<DevicePalette::Entry> entries;
    for (const Argb color : colors_in(record, "Argb32Entries")) {
        entries.push_back({color});
    }
    const FileBytes kept = kept_in(record, "Argb32Entries");
    const auto kept_color = [&](size_t i) {
        return kBlack | static_cast<Argb>(kept[i] << 16 | kept[i + 1] << 8 | kept[i + 2]);
    };
    bool same = kept.size() == kBytes * entries.size();
    for (size_t i = 0; same && i < entries.size(); ++i) {
        same = kept_color(kBytes * i) == entries[i].color;
    }
    for (size_t i = 0; same && i < entries.size(); ++i) {
        entries[i].animated = (kept[kBytes * i + 3] & kReserved) != 0;
    }
    return entries;
}

}  // namespace zelmor::embed::metafile

// The objects that exist without being made.
#include "runtime/native/formats/metafile/player/device_objects.h"

namespace zelmor::embed::metafile {

namespace {

constexpr uint32_t kStock = 0x80000000;

DeviceBrush brush_of(Argb color) {
    DeviceBrush brush;
    brush.color = color;
    return brush;
}

DevicePen pen_of(uint32_t style, Argb color) {
    DevicePen pen;
    pen.style = style;
    pen.color = color;
    return pen;
}

DeviceFont font_of(const char16_t* face, uint8_t family) {
    DeviceFont font;
    font.face = face;
    font.family = family;
    return font;
}

}  // namespace

DeviceObject stock_object(uint32_t index) {
    constexpr uint8_t kSwiss = 2, kModern = 3;
    DeviceBrush none;
    none.kind = DeviceBrush::Kind::kNull;
    switch (index - kStock) {
        case 0:
        case 18:  // the brush of the device context, as long as nothing sets its color
            return brush_of(kWhite);
        case 1:
            return brush_of(0xFFC0C0C0);
        case 2:
            return brush_of(0xFF808080);
        case 3:
            return brush_of(0xFF404040);
        case 4:
            return brush_of(kBlack);
        case 5:
            return none;
        case 6:
            return pen_of(DevicePen::kSolid, kWhite);
        case 7:
        case 19:
            return pen_of(DevicePen::kSolid, kBlack);
        case 8:
            return pen_of(DevicePen::kNull, kBlack);
        case 10:
        case 11:
        case 16:
            return font_of(u"Courier New", kModern);
        case 12:
        case 13:
        case 14:
        case 17:
            return font_of(u"Arial", kSwiss);
        case 15:
            return DevicePalette();
        default:
            return {};
    }
}

}  // namespace zelmor::embed::metafile

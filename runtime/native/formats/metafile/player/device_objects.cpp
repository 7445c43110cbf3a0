// The objects that exist without being made.
#include "runtime/native/formats/metafile/player/device_objects.h"

namespace zelmor::embed::metafile {

namespace {

constexpr uint32_t kStock = 0x80000000;

DeviceBrush solid_brush(Argb color) {
    DeviceBrush brush;
    brush.color = color;
    return brush;
}

DevicePen plain_pen(uint32_t style, Argb color) {
    DevicePen pen;
    pen.style = style;
    pen.color = color;
    return pen;
}

DeviceFont plain_font(const char16_t* face, uint8_t family) {
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
            return solid_brush(kWhite);
        case 1:
            return solid_brush(0xFFC0C0C0);
        case 2:
            return solid_brush(0xFF808080);
        case 3:
            return solid_brush(0xFF404040);
        case 4:
            return solid_brush(kBlack);
        case 5:
            return none;
        case 6:
            return plain_pen(DevicePen::kSolid, kWhite);
        case 7:
        case 19:
            return plain_pen(DevicePen::kSolid, kBlack);
        case 8:
            return plain_pen(DevicePen::kNull, kBlack);
        case 10:
        case 11:
        case 16:
            return plain_font(u"Courier New", kModern);
        case 12:
        case 13:
        case 14:
        case 17:
            return plain_font(u"Arial", kSwiss);
        case 15:
            return DevicePalette();
        default:
            return {};
    }
}

}  // namespace zelmor::embed::metafile

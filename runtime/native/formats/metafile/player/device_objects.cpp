// The objects that exist without being made.
#include "runtime/native/formats/metafile/player/device_objects.h"

#include <algorithm>

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

DevicePalette::DevicePalette(std::vector<Entry> entries) : m_shared(std::make_shared<Shared>()) {
    for (const Entry& entry : entries) {
        m_shared->colors.push_back(entry.color);
        m_shared->animated.push_back(entry.animated);
    }
}

std::span<const Argb> DevicePalette::colors() const {
    return m_shared ? std::span<const Argb>(m_shared->colors) : std::span<const Argb>();
}

size_t DevicePalette::places_behind(size_t start, size_t wanted) const {
    const size_t all = colors().size();
    return start < all ? std::min(wanted, all - start) : 0;
}

void DevicePalette::set(size_t start, std::span<const Entry> entries) {
    const size_t count = places_behind(start, entries.size());
    for (size_t i = 0; i < count; ++i) {
        m_shared->colors[start + i] = entries[i].color;
        m_shared->animated[start + i] = entries[i].animated;
    }
}

void DevicePalette::animate(size_t start, std::span<const Entry> entries) {
    const size_t count = places_behind(start, entries.size());
    for (size_t i = 0; i < count; ++i) {
        if (m_shared->animated[start + i]) {
            set(start + i, entries.subspan(i, 1));
        }
    }
}

void DevicePalette::resize(size_t count) {
    constexpr size_t kMostColors = 1024;  // as the format of enhanced metafiles says
    if (m_shared && count > 0 && count <= kMostColors) {
        m_shared->colors.resize(count, kBlack);
        m_shared->animated.resize(count);
    }
}

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

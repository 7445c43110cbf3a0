// The records of enhanced metafiles that draw bitmaps.
#include "runtime/native/formats/metafile/player/emf_bitmaps.h"

#include "runtime/native/formats/metafile/player/dib_pixels.h"
#include "runtime/native/formats/metafile/player/fields.h"

namespace zelmor::embed::metafile {

namespace {

uint8_t operation_in(const ManagedObject& record, const char* name) {
    return static_cast<uint8_t>(whole_in(record, name) >> 16);
}

RectD target_in(const ManagedObject& record) {
    return {number_in(record, "XDest"), number_in(record, "YDest"), number_in(record, "CxDest"),
            number_in(record, "CyDest")};
}

Pixels source_in(Device& device, const ManagedObject& record, bool keeps_alpha = false) {
    const auto bitmap = object_in(record, "SourceBitmap");
    return dib_pixels(
        bitmap.get(),
        {.usage = whole_in(record, "UsageSrc"), .palette = device.state.palette.colors(), .keeps_alpha = keeps_alpha});
}

// The part of the source, whose units have a map of their own to pixels.
RectD part_of(const ManagedObject& record, double width, double height) {
    const Affine map = map_in(record, "XformSrc");
    const PointD at = map.apply({number_in(record, "XSrc"), number_in(record, "YSrc")});
    const PointD size = map.apply_vector({width, height});
    return {at.x, at.y, size.x, size.y};
}

void blit(Device& device, const ManagedObject& record, uint8_t operation, double width, double height) {
    const RectD target = target_in(record);
    if (!object_in(record, "SourceBitmap") || !uses_source(operation)) {
        device.pattern(target, operation);
        return;
    }
    device.bitmap(source_in(device, record), device.placed(part_of(record, width, height), target), operation);
}

}  // namespace

void play_bit_blt(Device& device, const ManagedObject& record) {
    blit(device, record, operation_in(record, "BitBltRasterOperation"), number_in(record, "CxDest"),
         number_in(record, "CyDest"));
}

void play_stretch_blt(Device& device, const ManagedObject& record) {
    blit(device, record, operation_in(record, "BitBltRasterOperation"), number_in(record, "CxSrc"),
         number_in(record, "CySrc"));
}

// The source is counted from the bottom of a bitmap whose rows begin there.
void play_stretch_dib(Device& device, const ManagedObject& record) {
    const uint8_t operation = operation_in(record, "BitBltRasterOperation");
    const RectD target = target_in(record);
    const auto bitmap = object_in(record, "SourceBitmap");
    if (!bitmap || !uses_source(operation)) {
        device.pattern(target, operation);
        return;
    }
    const Pixels pixels = source_in(device, record);
    RectD part{number_in(record, "XSrc"), number_in(record, "YSrc"), number_in(record, "CxSrc"),
               number_in(record, "CySrc")};
    if (!is_top_down(*bitmap)) {
        part.y = pixels.height - part.y - part.height;
    }
    device.bitmap(pixels, device.placed(part, target), operation);
}

// The record has some rows of a bitmap, which are drawn pixel by pixel.
void play_dib_to_device(Device& device, const ManagedObject& record) {
    const auto bitmap = object_in(record, "SourceBitmap");
    const double first = number_in(record, "IStartScan"), count = number_in(record, "ScanCount");
    const Pixels pixels = dib_pixels(bitmap.get(), {.usage = whole_in(record, "UsageSrc"),
                                                    .palette = device.state.palette.colors(),
                                                    .rows = whole_in(record, "ScanCount")});
    if (pixels.empty()) {
        return;
    }
    const double width = number_in(record, "CxSrc"), height = number_in(record, "CySrc");
    const double x = number_in(record, "XSrc"), y = number_in(record, "YSrc");
    const PointD corner = device.map().apply({number_in(record, "XDest"), number_in(record, "YDest")});
    // The rows of the target that the record has.
    const bool top_down = is_top_down(*bitmap);
    const double top = top_down ? first - y : y + height - first - count;
    const double begin = std::max(top, 0.0), end = std::min(top + pixels.height, height);
    if (end > begin) {
        device.device_bitmap(pixels, {corner.x, corner.y + begin}, {x, begin - top, width, end - begin});
    }
}

void play_mask_blt(Device& device, const ManagedObject& record) {
    const auto operations = object_in(record, "Rop4");
    const auto mask = object_in(record, "MaskBitmap");
    if (!operations) {
        return;
    }
    const auto front = static_cast<uint8_t>(whole_in(*operations, "ForegroundRop3"));
    const auto back = static_cast<uint8_t>(whole_in(*operations, "BackgroundRop3"));
    const double width = number_in(record, "CxDest"), height = number_in(record, "CyDest");
    if (!mask) {
        blit(device, record, front, width, height);
        return;
    }
    const Pixels bits = dib_pixels(mask.get(), {.usage = whole_in(record, "UsageMask"), .two_colors = true});
    device.masked(source_in(device, record), device.placed(part_of(record, width, height), target_in(record)), bits,
                  {number_in(record, "XMask"), number_in(record, "YMask")}, front, back);
}

void play_parallelogram(Device& device, const ManagedObject& record) {
    constexpr uint8_t kCopy = 0xCC, kNothing = 0xAA;
    const std::vector<PointD> corners = points_in(record, "AptlDest");
    if (corners.size() != 3) {
        return;
    }
    const Affine map = device.canvas_map();
    const Placement placement{part_of(record, number_in(record, "CxSrc"), number_in(record, "CySrc")),
                              map.apply(corners[0]), map.apply(corners[1]), map.apply(corners[2])};
    const auto mask = object_in(record, "MaskBitmap");
    if (!mask) {
        device.bitmap(source_in(device, record), placement, kCopy);
        return;
    }
    const Pixels bits = dib_pixels(mask.get(), {.usage = whole_in(record, "UsageMask"), .two_colors = true});
    device.masked(source_in(device, record), placement, bits, {number_in(record, "XMask"), number_in(record, "YMask")},
                  kCopy, kNothing);
}

void play_alpha_blend(Device& device, const ManagedObject& record) {
    const auto blend = object_in(record, "BlendFunction");
    if (!blend) {
        return;
    }
    const bool alpha = whole_in(*blend, "AlphaFormat") == 1;
    const Pixels pixels = source_in(device, record, alpha);
    const RectD part = part_of(record, number_in(record, "CxSrc"), number_in(record, "CySrc"));
    device.blended(pixels, device.placed(part, target_in(record)),
                   static_cast<double>(whole_in(*blend, "SrcConstantAlpha")) / 255);
}

void play_transparent(Device& device, const ManagedObject& record) {
    Pixels pixels = source_in(device, record);
    const Argb transparent = color_in(record, "Argb32TransparentColor") & 0xFFFFFF;
    for (Argb& color : pixels.colors) {
        color = (color & 0xFFFFFF) == transparent ? 0 : color;
    }
    const RectD part = part_of(record, number_in(record, "CxSrc"), number_in(record, "CySrc"));
    device.blended(pixels, device.placed(part, target_in(record)), 1);
}

}  // namespace zelmor::embed::metafile

// The page's map: by window and viewport, or by a length.
#include "runtime/native/formats/metafile/player/device_state.h"

#include <algorithm>
#include <cmath>

#include "runtime/native/imagework/units.h"

namespace zelmor::embed::metafile {

namespace {

// The part of a millimeter that is a unit; 0 for the modes without a length.
double length_of_unit(MapMode mode) {
    switch (mode) {
        case MapMode::kLowMetric:
            return 0.1;
        case MapMode::kHighMetric:
            return 0.01;
        case MapMode::kLowEnglish:
            return kMillimetersPerInch / 100;
        case MapMode::kHighEnglish:
            return kMillimetersPerInch / 1000;
        case MapMode::kTwips:
            return kMillimetersPerInch / 1440;
        default:
            return 0;
    }
}

}  // namespace

Affine DeviceState::page_map(const DeviceSpace& device) const {
    PointD scale{1, 1};
    if (const double unit = length_of_unit(map_mode); unit > 0) {
        scale = {device.pixels_per_mm.x * unit, -device.pixels_per_mm.y * unit};  // y points up
    } else if (map_mode == MapMode::kIsotropic || map_mode == MapMode::kAnisotropic) {
        const auto ratio = [](double to, double from) { return from != 0 && to != 0 ? to / from : 1; };
        scale = {ratio(viewport_extent.x, window_extent.x), ratio(viewport_extent.y, window_extent.y)};
        if (map_mode == MapMode::kIsotropic) {
            const double least = std::min(std::abs(scale.x), std::abs(scale.y));
            scale = {std::copysign(least, scale.x), std::copysign(least, scale.y)};
        }
    }
    Affine page{scale.x,
                0,
                0,
                scale.y,
                viewport_origin.x - window_origin.x * scale.x,
                viewport_origin.y - window_origin.y * scale.y};
    if (mirrored) {
        page = page.then({-1, 0, 0, 1, 2 * device.bounds.x + device.bounds.width, 0});
    }
    return page;
}

}  // namespace zelmor::embed::metafile

// The state of the device context that records play on, and how its units become places on the canvas.
//
// There are three spaces: logical units, in which records give their coordinates; the pixels of the device that the
// file was made for; and the canvas. The world's map and the page's lead from the first to the second.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_DEVICE_STATE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_DEVICE_STATE_H

#include "runtime/native/behaviors/drawing/regions.h"
#include "runtime/native/formats/metafile/player/device_objects.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::embed::metafile {

using drawwork::Affine;

// By the numbers that files have.
enum class MapMode { kText = 1, kLowMetric, kHighMetric, kLowEnglish, kHighEnglish, kTwips, kIsotropic, kAnisotropic };

// The device that the file was made for.
struct DeviceSpace {
    RectD bounds;  // of the picture
    PointD pixels_per_mm{96 / kMillimetersPerInch, 96 / kMillimetersPerInch};
    Affine to_canvas;
};

// States that records save one within the other; what is saved beyond is not kept.
constexpr size_t kMostSavedStates = 4096;

struct DeviceState {
    MapMode map_mode = MapMode::kText;
    PointD window_origin, viewport_origin;
    PointD window_extent{1, 1}, viewport_extent{1, 1};
    Affine world;
    bool mirrored = false;  // the x-axis of the page points to the left

    DevicePen pen;
    DeviceBrush brush;
    DeviceFont font;
    DevicePalette palette;
    PointD brush_origin;

    Argb text_color = kBlack, background = kWhite;
    bool opaque = true;  // the background shows in gaps of lines, in hatches and behind text
    int mix = 13;        // the number of the operation of pens and brushes with the pixels there; 13 replaces them
    drawwork::FillRule rule = drawwork::FillRule::kAlternate;
    double miter_limit = 10;
    bool clockwise = false;  // the direction of arcs
    int stretch_mode = 1;

    uint32_t text_align = 0;
    double char_extra = 0, break_extra = 0;
    int break_count = 0;

    PointD position;                      // in logical units
    RegionTree clip = infinite_region();  // in pixels of the device
    RegionTree meta_clip = infinite_region();

    // From logical units to pixels of the device, without and with the world's map.
    Affine page_map(const DeviceSpace& device) const;
    Affine map(const DeviceSpace& device) const { return world.then(page_map(device)); }
};

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_DEVICE_STATE_H

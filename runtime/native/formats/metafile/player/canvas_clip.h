// The clip that records set on a canvas, beside the one that the canvas had before.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_CANVAS_CLIP_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_CANVAS_CLIP_H

#include <vector>

#include "runtime/native/formats/metafile/player/device_state.h"

namespace zelmor::embed::metafile {

// The players of EMF and of EMF+ records take turns on one canvas, so that they share one of these.
class CanvasClip {
 public:
    CanvasClip(drawwork::Canvas& canvas, const DeviceSpace& space, bool smooth);
    ~CanvasClip();
    CanvasClip(const CanvasClip&) = delete;
    CanvasClip& operator=(const CanvasClip&) = delete;

    // Cuts what is drawn from now on to all of these regions, in pixels of the device.
    void use(std::vector<RegionTree> regions);

 private:
    // Adds a region to the clip of the canvas.
    void clip(const RegionNode& region);

    drawwork::Canvas& m_canvas;
    const DeviceSpace m_space;
    bool m_smooth;
    std::vector<RegionTree> m_regions;
};

// The clip after an operation. What cuts the infinite region is itself the clip, without an operation.
RegionTree changed_clip(const RegionTree& left, const RegionTree& right, RegionOperation operation);

// The outline on a canvas. Canvases refuse coordinates that are too far away: these are brought nearer, far outside of
// every picture.
drawwork::Outline on_canvas(const drawwork::Outline& outline, const Affine& map);

// A frame around the picture, far enough for what sticks out of it: unbounded regions are cut to it.
RectD around_picture(const DeviceSpace& space);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_CANVAS_CLIP_H

// Separating the objects of a picture: which pixel belongs to which object. Plain data without managed objects, so that
// it can run on a thread of its own.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_SEGMENTATION_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_SEGMENTATION_H

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "generated/runtime/Zelmor.Imaging.Masking.Options.h"
#include "runtime/native/core/values.h"
#include "runtime/native/maskwork/segmentation_backend.h"

namespace zelmor::embed {

using api::Masking::Options::DetectedObjectType;
using api::Masking::Options::SegmentationMethod;

// The object that each pixel of the area belongs to, row by row; 0 is the background.
using Labels = std::vector<int32_t>;

// Throws an exception of its own to end the work.
using Checkpoint = std::function<void()>;

// The area's pixels as 0xAARRGGBB, without transparency: laid over white.
struct AreaPixels {
    int32_t width = 0, height = 0;
    std::vector<uint32_t> argb;
    size_t size() const { return static_cast<size_t>(width) * static_cast<size_t>(height); }
    size_t at(PointValue point) const {
        return static_cast<size_t>(point.y) * static_cast<size_t>(width) + static_cast<size_t>(point.x);
    }
};

// What a program says of the objects. Places are those of the area, and inside of it.
struct MaskingHints {
    std::vector<std::vector<PointValue>> points;  // of each object by its number, the background's first
    std::vector<RectangleValue> rectangles;       // around the objects from number 1 on
    std::vector<PointValue> orphans;              // that belong to no object
    bool empty() const { return points.empty() && rectangles.empty() && orphans.empty(); }
    // The number behind the last object that is named.
    size_t named_objects() const { return std::max(points.size(), rectangles.empty() ? 0 : rectangles.size() + 1); }
    // What is said later counts where both name a place.
    void add(const MaskingHints& other);
};

struct AssumedObject {
    DetectedObjectType type = DetectedObjectType::kOther;
    RectangleValue bounds;  // of the area, and inside of it
};

// Places that were found for a graph cut.
struct DefaultStrokes {
    std::vector<PointValue> foreground, background;
    std::vector<RectangleValue> rectangles;
    bool empty() const { return foreground.empty() && background.empty() && rectangles.empty(); }
};

struct SegmentationTask {
    SegmentationMethod method = SegmentationMethod::kGraphCut;
    std::shared_ptr<const AreaPixels> pixels;
    MaskingHints hints;
    Labels before;              // of an earlier run that is to be improved; otherwise empty
    bool find_strokes = false;  // of a graph cut
    std::vector<AssumedObject> assumed;
    int32_t objects = 2;   // with the background
    double precision = 1;  // see docs/images.md
    int32_t iterations = 50;
    maskwork::Backend* backend = nullptr;  // of a graph cut and a watershed
};

struct Segmentation {
    Labels labels;
    DefaultStrokes strokes;
};

// Every method but the manual one.
Segmentation segment(const SegmentationTask& task, const Checkpoint& checkpoint);

// Bytes that the work takes for each pixel of the area.
uint64_t segmentation_bytes(SegmentationMethod method);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_SEGMENTATION_H

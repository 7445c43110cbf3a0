// The interface of the segmentation library to the embedded runtime: cutting a picture into an object and its
// background, and flooding it from given places.
//
// The implementation is a shared object of its own, loaded at the first use, so that nothing here may name a type of
// the library behind it. Everything is plain data, so that any thread may use it; one object is used by one thread at a
// time. Failures are SegmentationError and std::bad_alloc. The same input gives the same result.
#ifndef ZELMOR_RUNTIME_NATIVE_MASKWORK_SEGMENTATION_BACKEND_H
#define ZELMOR_RUNTIME_NATIVE_MASKWORK_SEGMENTATION_BACKEND_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace zelmor::maskwork {

// A failure of the library that the caller did not cause.
class SegmentationError : public std::runtime_error {
 public:
    using std::runtime_error::runtime_error;
};

// What is known of a pixel before and after a step of a graph cut. Likely ones may change sides.
enum class Side : uint8_t { kBackground, kObject, kLikelyBackground, kLikelyObject };

inline bool is_object(Side side) {
    return side == Side::kObject || side == Side::kLikelyObject;
}

// Colors of a picture as 0xAARRGGBB, row by row; the alpha does not count.
struct PictureView {
    int32_t width = 0, height = 0;
    std::span<const uint32_t> argb;
};

// A graph cut under way: each step learns the colors of both sides and then cuts the picture where it costs least.
class GraphCut {
 public:
    virtual ~GraphCut() = default;
    // The number of pixels that changed sides.
    virtual size_t step() = 0;
    virtual std::span<const Side> sides() const = 0;
};

class Backend {
 public:
    virtual ~Backend() = default;
    // Both sides need a pixel. The picture has to stay as long as the cut.
    virtual std::unique_ptr<GraphCut> graph_cut(const PictureView& picture, std::vector<Side> sides) = 0;
    // Gives each pixel with the label -1 that of the basin it lies in, where the other labels are the sources of the
    // flood: numbers from 0 on. There has to be a source.
    virtual void watershed(const PictureView& picture, std::span<int32_t> labels) = 0;
    // "OpenCV 4.6.0"
    virtual std::string library() const = 0;
};

// Bytes that a graph cut takes for each pixel: a node and eight edges, the weights, colors and components.
constexpr uint64_t kGraphCutBytes = 320;
// Bytes that a watershed takes for each pixel: colors, labels and the queue.
constexpr uint64_t kWatershedBytes = 24;

// The entry point of the shared object. The backend lives as long as the process.
using BackendFunction = Backend* (*)();
constexpr const char* kBackendSymbol = "zelmor_maskwork_backend";

}  // namespace zelmor::maskwork

#endif  // ZELMOR_RUNTIME_NATIVE_MASKWORK_SEGMENTATION_BACKEND_H

// Receivers of pixels in parts: the objects behind the interfaces of partial loaders.
//
// No class of the API implements these interfaces for users, so that they are objects of this runtime alone.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_PARTIAL_LOADS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_PARTIAL_LOADS_H

#include <vector>

#include "runtime/native/core/object.h"
#include "runtime/native/core/value.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {

class ImageObject;

// One part: its area inside the image, and its first point and the one behind its last.
struct PixelPart {
    RectangleValue area;
    PointValue start;
    PointValue end;
};

class PixelReceiver : public ManagedObject {
 public:
    using ManagedObject::ManagedObject;
    virtual void take_argb32(const PixelPart& part, const std::vector<int32_t>& pixels) = 0;
    virtual void take_argb64(const PixelPart& part, const std::vector<int64_t>& pixels) = 0;
    virtual void take_colors(const PixelPart& part, const std::vector<ColorValue>& pixels) = 0;
    virtual void take_raw(const PixelPart& part, const Bytes& data) = 0;
};

// The receiver behind a loader argument: ArgumentNullException naming it for None, NotSupportedException for an object
// of another kind.
PixelReceiver& required_receiver(const VariantArg* loader, const char* parameter);

// The area in parts of whole lines, from top to bottom; each of a size that is worth a call and no more.
std::vector<PixelPart> parts_of(const RectangleValue& area);
// The same of an area that has to lie inside the image: otherwise it is refused, before the first part goes out.
std::vector<PixelPart> checked_parts(const ImageObject& image, const RectangleValue& area);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_PARTIAL_LOADS_H

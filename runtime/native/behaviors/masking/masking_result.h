// The result of a separation: layers, each with the pixels of one object and the mask that cuts it out.
//
// Layers share the pixels and the labels; an image of a layer is made when it is asked for.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_MASKING_RESULT_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_MASKING_RESULT_H

#include <memory>

#include "runtime/native/behaviors/masking/segmentation.h"
#include "runtime/native/core/records.h"
#include "runtime/native/imagework/backend.h"

namespace zelmor::embed {

// A separation that is done.
struct Separation {
    std::shared_ptr<const imagework::Picture> picture;  // the source as it was
    RectangleValue area;
    Labels labels;        // of the area; what is outside of it is background
    int32_t objects = 0;  // the greatest number
    int32_t feathering = 0;
};

Ref<ManagedObject> make_masking_result(std::shared_ptr<const Separation> separation, Ref<Record> options);

// The part of a mask of the area's size that an object has, from 0 to 255.
std::vector<uint8_t> mask_of_object(const Separation& separation, int32_t object);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_MASKING_RESULT_H

// The base of all images, raster and vector alike: a size, a depth, a format.
//
// The members that Image declares for all images take one of these. Members that work on pixels take an ImageObject and
// say so where it gets an image without any.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_IMAGE_BASE_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_IMAGE_BASE_H

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

using api::FileFormat;

class ImageBase : public Record {
 public:
    static constexpr const char* kManagedName = api::Image::kType.name;
    using Record::Record;

    virtual int32_t image_width() const = 0;
    virtual int32_t image_height() const = 0;
    virtual int32_t image_bits() const = 0;  // for one pixel
    virtual FileFormat image_format() const = 0;
    // The image that this one is a part of, or null.
    virtual ImageBase* image_container() const { return nullptr; }
};

class ImageObject;

namespace detail {

// Of an image without pixels that were asked for, not a failed cast.
template <>
struct Arg<ImageObject&> {
    using Wire = Handle;
    static constexpr char code = 'p';
    static ImageObject& read(Handle value);
};

}  // namespace detail

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_IMAGE_BASE_H

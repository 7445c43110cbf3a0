// The base of all images, raster and vector alike: a size, a depth, a format, and the file that it belongs to.
//
// The members that Image declares for all images take one of these. Members that work on pixels take an ImageObject and
// say so where it gets an image without any.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_IMAGE_BASE_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_IMAGE_BASE_H

#include <string>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/stream.h"

namespace zelmor::embed {

using api::FileFormat;

class ImageBase : public Record {
 public:
    static constexpr const char* kManagedName = api::Image::kType.name;
    explicit ImageBase(const TypeInfo& type) : Record(type) {}
    ~ImageBase() override;

    virtual int32_t image_width() const = 0;
    virtual int32_t image_height() const = 0;
    virtual int32_t image_bits() const = 0;  // for one pixel
    virtual FileFormat image_format() const = 0;
    // The image that this one is a part of, or null.
    virtual ImageBase* image_container() const { return nullptr; }

    // Changes of all pages or frames. The size is positive; a turn is clockwise by quarters, then a mirroring.
    virtual void resize_image(int32_t new_width, int32_t new_height, api::ResizeType resize_type) = 0;
    virtual void turn_image(int quarter_turns, bool mirror_x, bool mirror_y) = 0;

    // Where save() without a target goes: the file that the image was loaded from or created for, from the root on,
    std::string target_path;
    bool delete_target = false;  // it is deleted with the image
    // or the stream that it was created over.
    Ref<ManagedStream> target_stream;
    bool dispose_target_stream = false;  // it ends with the image
    // The stream that the image was loaded from, if it was one.
    Ref<ManagedStream> source_stream;

    void on_dispose() override;
    void references(ReferenceVisitor& visitor) override;
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

// An image of lines and text: it has a size and, of a metafile, records. It has no pixels until it is rendered, which
// this runtime does not do.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_FORMATS_VECTOR_IMAGE_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_FORMATS_VECTOR_IMAGE_H

#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/image_object.h"

namespace zelmor::embed {

class VectorImageObject final : public ImageBase {
 public:
    static constexpr const char* kManagedName = api::VectorImage::kType.name;
    explicit VectorImageObject(const TypeInfo& type) : ImageBase(type) {}

    SizeFValue size_f() const;
    int32_t image_width() const override;
    int32_t image_height() const override;
    int32_t image_bits() const override;
    FileFormat image_format() const override;

    float width = 0;
    float height = 0;
};

// A new image of the class ("Zelmor.Imaging.FileFormats.Emf.EmfImage"); ArgumentOutOfRangeException for a size that is
// not positive.
Ref<VectorImageObject> make_vector_image(const char* type_name, int32_t width, int32_t height);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_FORMATS_VECTOR_IMAGE_H

// The classes EmfImage and WmfImage.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_METAFILE_IMAGES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_METAFILE_IMAGES_H

#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.h"
#include "runtime/native/behaviors/vector/vector_image.h"
#include "runtime/native/formats/metafile/metafile_drawing.h"

namespace zelmor::embed {

class MetaImageObject final : public VectorImageObject {
 public:
    static constexpr const char* kManagedName = api::FileFormats::Emf::MetaImage::kType.name;
    // An empty image; without a size where that is 0.
    MetaImageObject(const TypeInfo& type, double width, double height);
    // An image of a file.
    MetaImageObject(const TypeInfo& type, std::shared_ptr<metafile::MetafileDrawing> drawing);

    metafile::MetafileDrawing& metafile() const { return *m_metafile; }
    void references(ReferenceVisitor& visitor) override;

 private:
    void set_properties();

    // The drawing, also of an image that is disposed while a list of its records runs Python code.
    std::shared_ptr<metafile::MetafileDrawing> m_metafile;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_METAFILE_IMAGES_H

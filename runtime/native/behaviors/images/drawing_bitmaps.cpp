// Bitmaps of the drawing module: copies of the pixels of an image, or those that a vector image becomes.
#include "generated/runtime/Zelmor.Imaging.Extensions.h"
#include "generated/runtime/Zelmor.Imaging.FileFormats.Bmp.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/vector/rasterize.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

class DrawingBitmap final : public ManagedObject {
 public:
    static constexpr const char* kManagedName = "System.Drawing.Bitmap";
    explicit DrawingBitmap(std::unique_ptr<imagework::Picture> picture)
        : ManagedObject(require_type(kManagedName)), m_picture(std::move(picture)) {}
    Ref<ManagedObject> copy() const override { return make_ref<DrawingBitmap>(m_picture->copy()); }

 private:
    std::unique_ptr<imagework::Picture> m_picture;
};

Value to_bitmap(ImageObject& self) {
    self.put_drawings();
    return Ref<ManagedObject>(make_ref<DrawingBitmap>(self.picture().copy()));
}

Value to_gdi_image(ImageBase* image) {
    if (image == nullptr) {
        throw_argument_null("image");
    }
    image->require_live();
    if (auto* raster = dynamic_cast<ImageObject*>(image); raster != nullptr) {
        return to_bitmap(*raster);
    }
    return Ref<ManagedObject>(make_ref<DrawingBitmap>(rasterize(cast_object<VectorImageObject>(*image), nullptr)));
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&to_bitmap, api::RasterImage::call_000_ToBitmap, api::FileFormats::Bmp::BmpImage::call_000_ToBitmap>(),
    behavior<&to_gdi_image, api::Extensions::ImageExtensions::call_000_ToGdiImage>(),
});

}  // namespace

}  // namespace zelmor::embed

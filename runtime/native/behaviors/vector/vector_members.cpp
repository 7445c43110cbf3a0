// The members that all classes of vector images have: sizes, cutting, pages, embedded pictures.
//
// What Image declares for all images (resizing, turning, saving, palettes, options) finds vector images in the files
// of behaviors/images.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Emf.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/edge_shifts.h"
#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/vector/vector_image.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

SizeFValue get_size_f(VectorImageObject& self) {
    self.require_live();
    return self.size_f();
}
float get_width_f(VectorImageObject& self) {
    return get_size_f(self).width;
}
float get_height_f(VectorImageObject& self) {
    return get_size_f(self).height;
}
int32_t get_width(VectorImageObject& self) {
    self.require_live();
    return self.image_width();
}
int32_t get_height(VectorImageObject& self) {
    self.require_live();
    return self.image_height();
}

// ---- Cutting

void crop(VectorImageObject& self, const RectangleValue& rectangle) {
    self.require_live();
    const bool inside = rectangle.x >= 0 && rectangle.y >= 0 && rectangle.width > 0 && rectangle.height > 0 &&
                        int64_t{rectangle.x} + rectangle.width <= self.image_width() &&
                        int64_t{rectangle.y} + rectangle.height <= self.image_height();
    if (!inside) {
        throw_out_of_range("rectangle", "The rectangle is not a part of the image of " +
                                            size_text(self.image_width(), self.image_height()) + " pixels.");
    }
    self.resize_canvas(rectangle);
}

void crop_by_shifts(VectorImageObject& self, int32_t left_shift, int32_t right_shift, int32_t top_shift,
                    int32_t bottom_shift) {
    self.require_live();
    const EdgeShifts shifts = {left_shift, right_shift, top_shift, bottom_shift};
    shifts.require_valid();
    self.resize_canvas(shifts.rest_of(self.image_width(), self.image_height()));
}

// The page becomes the rectangle, of which a part may lie outside of the page as it was.
void resize_canvas(VectorImageObject& self, const RectangleValue& new_rectangle) {
    self.require_live();
    if (new_rectangle.width <= 0 || new_rectangle.height <= 0) {
        throw_out_of_range("new_rectangle", "The rectangle of " + size_text(new_rectangle.width, new_rectangle.height) +
                                                " pixels is empty.");
    }
    self.resize_canvas(new_rectangle);
}

// ---- Pages

int32_t page_count(VectorImageObject& self) {
    self.require_live();
    return static_cast<int32_t>(self.shown_pages().size());
}

Collection pages(VectorImageObject& self) {
    self.require_live();
    std::vector<Value> items;
    for (const Ref<VectorImageObject>& page : self.shown_pages()) {
        items.emplace_back(Ref<ManagedObject>(page));
    }
    return {Ref<ManagedObject>(
        make_ref<ValueList>(ListShape::kArray, element_of(Wire::kClass, api::Image::kType.name), std::move(items)))};
}

Ref<ImageBase> default_page(VectorImageObject& self) {
    self.require_live();
    return Ref<ImageBase>(self.shown_pages().front());
}

// ---- Embedded pictures

// Those of all pages.
Collection embedded_images(VectorImageObject& self) {
    self.require_live();
    std::vector<Value> items;
    for (const Ref<VectorImageObject>& page : self.shown_pages()) {
        page->require_live();
        const std::shared_ptr<Drawing> drawing = page->drawing();
        if (drawing == nullptr) {
            continue;
        }
        for (Ref<ImageBase>& image : drawing->embedded_images()) {
            Ref<ManagedObject> embedded = make_instance(api::EmbeddedImage::kType.name);
            set_property(*embedded, "Image", Ref<ManagedObject>(std::move(image)));
            items.emplace_back(std::move(embedded));
        }
    }
    return {Ref<ManagedObject>(make_ref<ValueList>(
        ListShape::kArray, element_of(Wire::kClass, api::EmbeddedImage::kType.name), std::move(items)))};
}

using MetaImageApi = api::FileFormats::Emf::MetaImage;
using VectorImageApi = api::VectorImage;
using VectorMultipageImageApi = api::VectorMultipageImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&get_size_f, VectorImageApi::get_SizeF>(),
    behavior<&get_width_f, VectorImageApi::get_WidthF>(),
    behavior<&get_height_f, VectorImageApi::get_HeightF>(),
    behavior<&get_width, VectorImageApi::get_Width>(),
    behavior<&get_height, VectorImageApi::get_Height>(),
    behavior<&embedded_images, VectorImageApi::call_000_GetEmbeddedImages>(),
    behavior<&crop_by_shifts, MetaImageApi::call_000_Crop>(),
    behavior<&crop, MetaImageApi::call_001_Crop>(),
    behavior<&resize_canvas, MetaImageApi::call_000_ResizeCanvas>(),
    behavior<&page_count, VectorMultipageImageApi::get_PageCount>(),
    behavior<&pages, VectorMultipageImageApi::get_Pages>(),
    behavior<&default_page, VectorMultipageImageApi::get_DefaultPage>(),
});

}  // namespace

}  // namespace zelmor::embed

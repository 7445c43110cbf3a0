// The choice of the pages of an image that are saved, and their pictures.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_PAGE_SELECTION_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_PAGE_SELECTION_H

#include <memory>
#include <vector>

#include "runtime/native/behaviors/images/image_object.h"

namespace zelmor::embed {

class VectorImageObject;

// The indices that MultiPageOptions name, in their order. ArgumentOutOfRangeException for a page that there is not,
// NotSupportedException for ways of choosing that the image's pages do not have.
std::vector<size_t> selected_pages(ImageObject& image, const ManagedObject& options);
std::vector<size_t> selected_pages(VectorImageObject& image, const ManagedObject& options);

std::vector<size_t> every_page(const ImageObject& image);

// The area of each page that is saved; nothing for all of it.
std::optional<RectangleValue> export_area(const ManagedObject& options);

struct Page {
    std::unique_ptr<imagework::Picture> picture;
    int32_t duration;
    Ref<ImageObject> source;
};

// Copies of the pictures of the pages.
std::vector<Page> pages_of(ImageObject& image, const std::vector<size_t>& indices);

// Makes the pages frames of an animation: of one size, each with the pixels of the earlier frames where it does not
// cover the canvas.
void fit_to_canvas(std::vector<Page>& pages);

// All pages laid over each other, the first undermost, instead of the pages.
void merge(std::vector<Page>& pages);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_IMAGES_PAGE_SELECTION_H

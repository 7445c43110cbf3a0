// From drawings to pixels.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_RASTERIZE_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_RASTERIZE_H

#include <memory>

#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/vector/drawn_page.h"
#include "runtime/native/behaviors/vector/vector_image.h"
#include "runtime/native/imagework/pixels/memory_budget.h"

namespace zelmor::embed {

// The picture of a page, RGB with 8 bits a channel, and with alpha where the background is transparent. It is drawn in
// strips when its rows are asked for, so that a writer that takes rows never has the whole picture in memory; what is
// kept counts against the budget. The page has to outlive no picture. PictureError(kTooLarge) for too many pixels.
std::unique_ptr<imagework::Picture> picture_of(const DrawnPage& page, const imagework::SharedBudget& budget);

// An image of the page's pixels, of no file.
Ref<ImageObject> raster_of(const DrawnPage& page, const imagework::SharedBudget& budget);

// The vector image in pixels, as the options (VectorRasterizationOptions, may be null) say.
std::unique_ptr<imagework::Picture> rasterize(VectorImageObject& image, const ManagedObject* options);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_VECTOR_RASTERIZE_H

// The frames of an animated PNG.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_FRAMES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_FRAMES_H

#include <memory>

#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/memory_budget.h"

namespace zelmor::imagework {

// Walks over the chunks and decodes nothing. Each frame is the whole canvas while it is shown: in the form of the file,
// with alpha where the canvas can be seen through.
// PictureError: kDamaged where the frames make no sense, kTooLarge for too many of them. With `lenient` the frames
// before such a place are taken, and what is missing of a damaged frame stays as it was before it.
SharedFrames open_apng(const SharedSource& source, bool lenient = false, SharedBudget budget = {});

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_PNG_FRAMES_H

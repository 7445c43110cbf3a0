// The pages of a TIFF file as a source of frames.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_PAGES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_PAGES_H

#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/frame_source.h"

namespace zelmor::imagework {

// Finds the directories of all pages, which takes a few bytes of each. `options` say what becomes of damaged pixels,
// as tiff_reader.h tells. PictureError(kDamaged) for a file without a page.
SharedFrames open_tiff(SharedSource source, const DecodeOptions& options);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_PAGES_H

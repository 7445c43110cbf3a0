// The bitmaps in the records of a metafile, each as an image.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_EMBEDDED_PICTURES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_EMBEDDED_PICTURES_H

#include "runtime/native/behaviors/images/image_base.h"
#include "runtime/native/formats/metafile/player/play.h"

namespace zelmor::embed::metafile {

// In the order of the records. Those of brushes and masks are not among them.
std::vector<Ref<ImageBase>> embedded_pictures(const Records& records);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_EMBEDDED_PICTURES_H

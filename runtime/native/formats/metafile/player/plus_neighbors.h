// Effects of EMF+ that look at the pixels around each: blurring, sharpening, red eyes.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_PLUS_NEIGHBORS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_PLUS_NEIGHBORS_H

#include "runtime/native/formats/metafile/player/device_objects.h"
#include "runtime/native/formats/metafile/player/fields.h"

namespace zelmor::embed::metafile {

// The number of pixels that the image grows by on each of its sides. An effect of another kind changes nothing.
int32_t apply_neighbor_effect(const ManagedObject& effect, Pixels& pixels);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_PLUS_NEIGHBORS_H

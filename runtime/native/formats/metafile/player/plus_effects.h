// Effects that EMF+ applies to an image before it is drawn.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_PLUS_EFFECTS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_PLUS_EFFECTS_H

#include "runtime/native/formats/metafile/player/device_objects.h"
#include "runtime/native/formats/metafile/player/fields.h"

namespace zelmor::embed::metafile {

// Those that change each pixel by itself. The others (plus_neighbors.h) change nothing.
void apply_effect(const ManagedObject& effect, Pixels& pixels);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_PLUS_EFFECTS_H

// Plays the records of an enhanced metafile on a device.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_EMF_PLAYER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_EMF_PLAYER_H

#include "runtime/native/formats/metafile/player/device.h"

namespace zelmor::embed::metafile {

// One record. A class that draws nothing and sets nothing that matters here is passed over.
void play_emf_record(Device& device, const ManagedObject& record);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_EMF_PLAYER_H

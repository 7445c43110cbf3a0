// The records of enhanced metafiles that draw bitmaps.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_EMF_BITMAPS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_EMF_BITMAPS_H

#include "runtime/native/formats/metafile/player/device.h"

namespace zelmor::embed::metafile {

void play_bit_blt(Device& device, const ManagedObject& record);
void play_stretch_blt(Device& device, const ManagedObject& record);
void play_stretch_dib(Device& device, const ManagedObject& record);
void play_dib_to_device(Device& device, const ManagedObject& record);
void play_mask_blt(Device& device, const ManagedObject& record);
void play_parallelogram(Device& device, const ManagedObject& record);
void play_alpha_blend(Device& device, const ManagedObject& record);
void play_transparent(Device& device, const ManagedObject& record);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_PLAYER_EMF_BITMAPS_H

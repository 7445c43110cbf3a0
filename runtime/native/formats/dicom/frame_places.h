// Where the frames of a DICOM file lie.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_FRAME_PLACES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_FRAME_PLACES_H

#include <cstdint>
#include <vector>

#include "runtime/native/formats/dicom/dicom_codec.h"

namespace zelmor::imagework {

// The pieces of each frame of compressed pixels, in the order of the frames: as many as there are pieces for, at most
// those that the header tells of. PictureError(kDamaged) where it cannot be told which piece belongs to which frame.
std::vector<std::vector<DicomPiece>> dicom_frame_pieces(const DicomFile& file);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_FRAME_PLACES_H

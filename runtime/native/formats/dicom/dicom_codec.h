// DICOM files: pictures with a header of many elements, read and written as rows of samples.
//
// Samples are spread from the bits that the file stores over the whole range of 8, 16 or 32 bits, signed ones over that
// of signed numbers, as those of JPEG 2000 are; MONOCHROME1 is turned round, so that 0 is black. Windows and rescaling
// are told and not applied. Luminance with two differences becomes RGB. A palette of up to 256 colors is kept.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_CODEC_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_CODEC_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "runtime/native/formats/dicom/dicom_encoding.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// The decoder of another room that frames may need, and that is not linked to this one.
struct DicomDecoders {
    SharedFrames (*jpeg2000)(const SharedSource& file, const DecodeOptions& options) = nullptr;
};

class DicomFrames : public FrameSource {
 public:
    virtual const DicomFile& file() const = 0;
    // The bytes of a frame as they stand in the file. Nothing where it does not begin and end with a byte.
    virtual std::optional<std::vector<uint8_t>> bytes(size_t index) const = 0;
};

// PictureError: kDamaged, kUnsupported or kTooLarge. In a recovery mode frames that are not whole are left out, but
// with Recovery::kMaximal what there is of one.
std::shared_ptr<const DicomFrames> open_dicom(const SharedSource& source, const DecodeOptions& options,
                                              const DicomDecoders& decoders);

// A frame that stands for itself: the bytes of a file within a file, in one piece or several.
struct DicomPiece {
    uint64_t at = 0;
    uint64_t size = 0;
};
SharedSource joined_pieces(const SharedSource& source, std::vector<DicomPiece> pieces,
                           std::vector<uint8_t> before = {});

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_CODEC_H

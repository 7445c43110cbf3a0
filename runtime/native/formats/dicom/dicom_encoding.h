// The settings that a DICOM file is written with, and what a file that was read says.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_ENCODING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_ENCODING_H

#include <cstdint>
#include <memory>

#include "runtime/native/formats/dicom/dicom_header.h"
#include "runtime/native/formats/jpeg/jpeg_encoding.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_encoding.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/data_source.h"

namespace zelmor::imagework {

// The numbers are those of the API's enumeration.
enum class DicomCompression : uint8_t { kNone = 0, kJpeg = 1, kJpeg2000 = 2, kRle = 3 };

enum class DicomSamples : uint8_t { kAuto, kGray8, kGray16, kRgb24 };

// A file that was read. It does not change.
struct DicomFile {
    SharedSource source;  // of a deflated file, with the data set as it was before
    DicomHeader header;
};
using SharedDicomFile = std::shared_ptr<const DicomFile>;

struct DicomEncoding {
    static constexpr Format kFormat = Format::kDicom;

    DicomCompression compression = DicomCompression::kNone;
    DicomSamples samples = DicomSamples::kAuto;  // kAuto keeps what the picture has
    JpegEncoding jpeg = {};
    Jpeg2000Encoding jpeg2000 = {};
    SharedDicomFile file = {};  // that the image came from; null for none
    bool keeps_frames = false;  // pictures that did not change are written as they are in the file
};

// Opens the file for a probe or a decoder: of a deflated one with at most so many bytes of its data set. Nothing where
// this is no DICOM file.
std::optional<DicomFile> open_dicom_file(const SharedSource& source, size_t most_inflated);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_ENCODING_H

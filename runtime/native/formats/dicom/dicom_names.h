// The names and types of the elements that most files of pictures have.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_NAMES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_NAMES_H

#include "runtime/native/formats/dicom/dicom_elements.h"

namespace zelmor::imagework {

struct DicomName {
    DicomTag tag;
    DicomType type;
    const char* name;
};

// Null for a tag that is not in the table.
const DicomName* dicom_name(DicomTag tag);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_NAMES_H

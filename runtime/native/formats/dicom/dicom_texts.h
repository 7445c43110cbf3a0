// The elements of a file as lines of text.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_TEXTS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_TEXTS_H

#include <string>
#include <vector>

#include "runtime/native/formats/dicom/dicom_encoding.h"

namespace zelmor::imagework {

// One line of UTF-8 for each element, up to the pixels: "(0010,0010) PN Patient's Name: Doe^John". The elements of a
// sequence follow it, each with a ">" for each sequence that it lies in. Of a long value the beginning is shown.
std::vector<std::string> dicom_lines(const DicomFile& file);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_TEXTS_H

// Pages of any image as metafiles.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_RECORDED_PAGE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_RECORDED_PAGE_H

#include "runtime/native/behaviors/vector/drawn_page.h"
#include "runtime/native/formats/metafile/metafile_object.h"

namespace zelmor::embed::metafile {

FileBytes emf_of_page(const DrawnPage& page);
FileBytes wmf_of_page(const DrawnPage& page);

}  // namespace zelmor::embed::metafile

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_METAFILE_RECORDING_RECORDED_PAGE_H

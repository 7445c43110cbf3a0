// The settings of a PSD file, from PsdOptions and to them.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_OPTIONS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_OPTIONS_H

#include "runtime/native/core/records.h"
#include "runtime/native/formats/psd/psd_encoding.h"

namespace zelmor::embed {

// Of a picture of pixels. A color mode, a depth and a number of channels that were never set are those of the picture.
// NotSupportedException for a setting that has no effect on such a picture.
imagework::PsdEncoding psd_encoding_of_options(const ManagedObject& options);

// Sets the properties. What the settings leave to the picture stays unset.
void fill_psd_options(ManagedObject& options, const imagework::PsdEncoding& encoding);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_OPTIONS_H

// The settings of TIFF files: from TiffOptions, and to them.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_SETTINGS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_SETTINGS_H

#include "runtime/native/core/records.h"
#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/imagework/formats.h"

namespace zelmor::embed {

// NotSupportedException and ArgumentOutOfRangeException name the property whose value cannot be honored by itself. What
// does not go with the picture or with another setting is refused by the encoder.
imagework::TiffEncoding tiff_settings(const ManagedObject& options);

// Sets the properties that tell how a file is, so that the options write it again as it was.
void fill_tiff_options(ManagedObject& options, const imagework::TiffEncoding& tiff);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_SETTINGS_H

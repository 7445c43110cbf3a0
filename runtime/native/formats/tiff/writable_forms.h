// Which settings of TIFF go with which forms of pictures.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_WRITABLE_FORMS_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_WRITABLE_FORMS_H

#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// PictureError(kEncoding) that names the setting which does not go with the form, or with another setting.
void require_writable(const RowsHeader& header, const TiffEncoding& encoding);

// The settings of a file that a picture came from, for writing the picture as it is now: those that no longer go with
// its form are replaced. The compression becomes LZW then, everything else its default.
TiffEncoding fitted(const RowsHeader& header, TiffEncoding encoding);

// The photometric interpretation that is written; the usual one of the form for kAuto.
TiffPhotometric written_photometric(const PixelForm& form, const TiffEncoding& encoding);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_WRITABLE_FORMS_H

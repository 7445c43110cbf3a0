// Between the rows of codecs (rows.h) and pictures.
//
// Reading: decode.cpp opens a RowReader and calls read_picture(). Writing: an encoder brings its copy of the picture
// into the form that the file is to have (to_form, to_srgb, reduce of VipsPicture), makes a RowWriter for
// picture.rows_header(), calls write_rows() and then finish() itself.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_ROWS_IMAGE_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_ROWS_IMAGE_H

#include <memory>

#include "runtime/native/imagework/pixels/memory_budget.h"
#include "runtime/native/imagework/pixels/rows.h"
#include "runtime/native/imagework/vips/vips_picture.h"

namespace zelmor::imagework {

// All rows of the reader as a picture. Where rows are missing, a recovery mode fills them with the background, and none
// throws the reader's error; without a single row every mode does.
std::unique_ptr<VipsPicture> read_picture(RowReader& reader, const DecodeOptions& options = {});

// All rows of the reader in memory: samples as pictures hold them (vips_picture.h). They count against the budget for
// as long as anyone uses the image.
vips::VImage image_of_rows(RowReader& reader, const SharedBudget& budget);
// The rows of such an image; `header` tells its size and form.
std::unique_ptr<RowReader> rows_of_image(const vips::VImage& image, const RowsHeader& header);

// Gives all rows of the picture to the writer, in the picture's own form.
void write_rows(const VipsPicture& picture, RowWriter& writer);

// An image in memory whose pixels are not set yet: of the form given, in the library's terms. Metadata and resolution
// are those of `like`, or the resolution given.
vips::VImage blank_image(const PixelForm& form, int32_t width, int32_t height, const vips::VImage& like);
vips::VImage blank_image(const PixelForm& form, int32_t width, int32_t height, Resolution resolution);
// The same with all bytes zero, which takes neither time nor memory until they are written to.
vips::VImage zero_image(const PixelForm& form, int32_t width, int32_t height, Resolution resolution);
// Whether an image's pixels may be written to, as long as nobody else uses them.
bool has_own_pixels(const vips::VImage& image);

// The library's name for the storage of the samples.
VipsBandFormat band_format(SampleType sample);

// The form that an image's bands, band format and interpretation tell of.
PixelForm form_of_image(const vips::VImage& image);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_ROWS_IMAGE_H

// Writing TIFF files of one or several pages.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_WRITER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_WRITER_H

#include <memory>

#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/byte_sink.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

class TiffOutput;

// A file that grows page by page.
class TiffFile {
 public:
    // `file` is empty, and outlives this. It is complete when the last page is finished.
    TiffFile(EditableFile& file, bool big_tiff, bool big_endian);
    ~TiffFile();
    TiffFile(const TiffFile&) = delete;
    TiffFile& operator=(const TiffFile&) = delete;

    // The next page, of pictures as the header tells; `encoding` says the rest, except for the two settings above,
    // which all pages share. The page before has to be finished. PictureError(kEncoding) for settings that do not go
    // with the form; see writable_forms.h.
    std::unique_ptr<RowWriter> add_page(const RowsHeader& header, const TiffEncoding& encoding);

 private:
    std::unique_ptr<TiffOutput> m_output;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_WRITER_H

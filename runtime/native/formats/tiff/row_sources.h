// Where the rows of a page come from: strips, tiles, or the library's own conversion.
//
// Each kind gives rows from top to bottom, in the form of memory but for the colors of the file.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_ROW_SOURCES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_ROW_SOURCES_H

#include <cstdint>
#include <functional>
#include <memory>

#include "runtime/native/formats/tiff/page_layout.h"

namespace zelmor::imagework {

class RowSource {
 public:
    virtual ~RowSource() = default;
    // Row `y`, which is the next one. PictureError(kDamaged) where it is lost: the next rows may be asked for.
    virtual void read(uint32_t y, uint8_t* row) = 0;
};

struct Page {
    TiffInput& input;
    const PageLayout& layout;
    bool lenient;  // what a decoder makes of damaged data is good enough
    // The same page once more, for a decoder that keeps a place of its own.
    std::function<std::unique_ptr<TiffInput>()> open_again;
};

std::unique_ptr<RowSource> row_source(const Page& page);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_ROW_SOURCES_H

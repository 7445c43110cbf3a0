// The smaller copies of a page that a TIFF file has beside it, which make a pyramid.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_REDUCED_COPIES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_REDUCED_COPIES_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/rows.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

struct ReducedCopy {
    uint64_t directory;
    Sides sides;
};

// The directories that say of themselves to be copies of a page, of its aspect and at least of these sides: the one of
// the fewest pixels first. They are subdirectories of the page, or pages directly behind it. `pages` are the
// directories of all pages. What a copy looks like is not known before it is opened.
std::vector<ReducedCopy> reduced_copies(const ByteReader& file, std::span<const uint64_t> pages, size_t index,
                                        Sides least);

// Whether means of pixels have the form of the page, so that a copy of it is worth as much as its pixels. Of few bits
// and of indices a copy has some of the pixels.
bool has_means(const PixelForm& form);
// Whether pixels of the copy mean what those of the page do, by what is known once both are opened.
bool shows_the_same(const RowsHeader& copy, const RowsHeader& page);
// How many pixels of the copy the page is long, in both directions.
ReducedSides sides_in_copy(const RowsHeader& copy, const RowsHeader& page);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_REDUCED_COPIES_H

// The small picture among the resources of a PSD file, made of the rows of the large one.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_THUMBNAIL_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_THUMBNAIL_H

#include <cstdint>
#include <vector>

#include "runtime/native/formats/psd/psd_codec.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// Each of its pixels is the mean of a square of pixels. It has at most 160 pixels to a side.
class PsdThumbnail {
 public:
    PsdThumbnail(const RowsHeader& header, StandardColors colors);

    // The next row of the picture; alpha does not count.
    void add(const uint8_t* row);
    // The data of the resource, after the last row: a header and a JPEG file.
    std::vector<uint8_t> resource();

 private:
    void end_row();

    RowsHeader m_header;
    StandardColors m_colors;
    RowsHeader m_small;              // without alpha and palette
    int32_t m_step;                  // pixels of the large picture to one of the small one
    int32_t m_rows = 0;              // of the large picture that the sums have
    std::vector<uint8_t> m_row;      // of the large picture, with its signs turned
    std::vector<double> m_sums;      // of the row that is being made, counted up from the least sample
    std::vector<uint8_t> m_samples;  // of the rows of the small picture that are done
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_THUMBNAIL_H

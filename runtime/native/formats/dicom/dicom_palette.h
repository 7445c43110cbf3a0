// The palette of a DICOM file: three tables of 8 or 16 bits, also in segments.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_PALETTE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_PALETTE_H

#include <array>
#include <cstdint>
#include <vector>

#include "runtime/native/formats/dicom/dicom_header.h"

namespace zelmor::imagework {

// The entries of a table, in its own depth; fewer where the file has fewer.
std::vector<uint16_t> dicom_table(const ByteReader& file, const DicomLookup& lookup);

struct DicomPalette {
    bool deep = false;  // 16 bits
    int32_t first = 0;  // the sample that has the first entry
    std::vector<std::array<uint16_t, 3>> colors;

    // Of a sample; those beyond the table have its first or its last color.
    const std::array<uint16_t, 3>& of(int64_t sample) const {
        const int64_t last = static_cast<int64_t>(colors.size()) - 1;
        const int64_t index = sample - first;
        return colors[static_cast<size_t>(index < 0 ? 0 : index > last ? last : index)];
    }
};

// PictureError(kDamaged) where a table is empty.
DicomPalette dicom_palette(const ByteReader& file, const DicomHeader& header);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DICOM_DICOM_PALETTE_H

// Pixels of 1, 2 or 4 bits in memory, as many in a byte as it has room for: a page of a fax costs its bits.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_PACKED_PIXELS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_PACKED_PIXELS_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "runtime/native/imagework/pixels/memory_budget.h"
#include "runtime/native/imagework/pixels/pixel_form.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// Read by any thread once all rows are there; they never change then.
class PackedPixels {
 public:
    // Whether pictures of the form have few bits: gray or indices.
    static bool suit(const PixelForm& form) {
        return form.sample == SampleType::kUint8 && form.bits < 8 && form.bands() == 1;
    }

    // Takes the memory for the pixels of such a picture: PictureError(kTooLarge) where the budget has no room.
    PackedPixels(const RowsHeader& header, const SharedBudget& budget);

    // Takes the next rows, a byte for each sample as everywhere (pixel_form.h). False: one of them is no sample of so
    // few bits, and the object is of no use.
    bool add(int32_t count, std::span<const uint8_t> rows);
    // The samples of a row from a column on.
    void read(int32_t x, int32_t y, std::span<uint8_t> out) const;

 private:
    size_t m_width;
    size_t m_row_size;
    int m_bits;
    uint8_t m_step;  // from a sample to the next greater one
    size_t m_rows = 0;
    MemoryShare m_share;
    std::vector<uint8_t> m_bytes;
};

// All of the rows. The reader keeps the pixels.
std::unique_ptr<RowReader> rows_of_packed(std::shared_ptr<const PackedPixels> pixels, RowsHeader header);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_PACKED_PIXELS_H

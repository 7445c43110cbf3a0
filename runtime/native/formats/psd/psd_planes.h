// The planes of a PSD file as rows of bytes, decompressed while they are asked for.
//
// A picture's row needs a row of each plane, and the planes stand behind each other, so that each has a reader of its
// own with its own place in the file.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_PLANES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_PLANES_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "runtime/native/formats/psd/psd_structure.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/memory_budget.h"

namespace zelmor::imagework {

// One plane, from its first row to its last.
class PlaneReader {
 public:
    virtual ~PlaneReader() = default;
    // The next row, with samples as the file has them: big-endian, 1-bit ones packed. False where it cannot be decoded;
    // the next row may be there all the same. No exception says so, since a file of a few bytes may lack millions of
    // rows.
    [[nodiscard]] virtual bool read(std::span<uint8_t> row) = 0;
    // Why the last row could not be decoded.
    virtual std::string fault() const = 0;
};

// Readers of the planes with these numbers, which rise. The table of the lengths of coded rows is read once for all of
// them. With a budget, what the readers keep for each row is counted.
std::vector<std::unique_ptr<PlaneReader>> open_psd_planes(const SharedSource& source, const PsdFile& file,
                                                          std::span<const int> planes, const SharedBudget& budget);

// The same of the planes of the layer that is the picture, in the order of its bands.
std::vector<std::unique_ptr<PlaneReader>> open_psd_layer(const SharedSource& source, const PsdFile& file,
                                                         const SharedBudget& budget);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PSD_PSD_PLANES_H

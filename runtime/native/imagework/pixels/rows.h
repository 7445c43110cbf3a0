// The boundary between a codec and the pictures: one picture of a file as rows of samples, from top to bottom.
//
// A codec reads and writes its format and converts nothing: the rows are the samples of the file in the form that the
// header tells. What a reader needs of the file it takes from its DataSource while rows are asked for.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_ROWS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_ROWS_H

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/pixel_form.h"

namespace zelmor::imagework {

// An embedded ICC profile, shared by all pictures that came of the one which had it; null for none.
using ProfileBytes = std::shared_ptr<const std::vector<uint8_t>>;

struct RowsHeader {
    int32_t width = 0;
    int32_t height = 0;
    PixelForm form;
    std::optional<Resolution> resolution = {};  // absent: the file does not tell
    std::vector<Argb> palette = {};             // of kIndexed, at most 2^bits entries, with their transparency
    std::vector<uint64_t> deep_palette = {};    // the same with 16 bits a channel, 0xAAAARRRRGGGGBBBB, where a file's
                                                // entries are no repeated bytes; otherwise empty
    ProfileBytes profile = {};
};

// Reads one picture of a file. It is used by one thread at a time.
class RowReader {
 public:
    virtual ~RowReader() = default;
    virtual const RowsHeader& header() const = 0;
    // Fills `rows` with the next so many rows; it has room for exactly these, and there are that many left.
    // PictureError(kDamaged) where they cannot be decoded: the rows of earlier calls hold, and none follow.
    virtual void read(int32_t count, std::span<uint8_t> rows) = 0;
    // Areas of the rows read so far that have no pixels of the file: Recovery::kMaximal goes on where data are missing,
    // and whoever keeps the rows gives these areas the background.
    virtual std::vector<Rect> lost() const { return {}; }
};

// Writes one picture. Settings that the format or the form does not take are refused when the writer is made.
class RowWriter {
 public:
    virtual ~RowWriter() = default;
    // Takes the next so many rows, in the form that the writer was made for.
    virtual void write(int32_t count, std::span<const uint8_t> rows) = 0;
    // After the last row.
    virtual void finish() = 0;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_ROWS_H

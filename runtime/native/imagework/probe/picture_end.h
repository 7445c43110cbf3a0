// The end of a picture, found while its file is read: a file that goes on behind its picture, or for ever, is read no
// further than the picture needs.
//
// The structure of each format is walked without decoding anything. A file that leaves its structure has no end that
// could be found, and is bounded like all others by what pictures of its size can need.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_PICTURE_END_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_PICTURE_END_H

#include <cstdint>
#include <memory>
#include <span>

#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::imagework {

class PictureEnd {
 public:
    // The end of no picture at all: everything belongs to it.
    static constexpr uint64_t kUnknown = UINT64_MAX;

    virtual ~PictureEnd() = default;

    // How many bytes from the beginning are needed before the search can go on. A number not larger than data.size() is
    // the end of the picture. Each call gets the bytes of the call before, and more.
    virtual uint64_t needed(std::span<const uint8_t> data) = 0;
    // The most that the pictures seen so far can need: four times their pixels, and room for all that is said of them.
    uint64_t limit() const { return limits::kTextBytes + 4 * m_raw_bytes + m_value_bytes; }

 protected:
    explicit PictureEnd(const FileFacts& facts) { add_picture(facts.width, facts.height, facts.bits_per_pixel); }
    void add_picture(int64_t width, int64_t height, int64_t bits_per_pixel);
    // Of values that a file says it has, such as the layers that an editor keeps in a tag of TIFF.
    void add_values(uint64_t bytes);

 private:
    uint64_t m_raw_bytes = 0;
    uint64_t m_value_bytes = 0;
};

// For a file with these facts, which need not be readable.
std::unique_ptr<PictureEnd> picture_end(const FileFacts& facts);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PROBE_PICTURE_END_H

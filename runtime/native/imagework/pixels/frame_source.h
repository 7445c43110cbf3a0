// The boundary between the codecs of several pictures and the images that hold them: TIFF pages, frames of animations.
//
// A source finds its frames by their headers and decodes none before it is asked for. It keeps no decoded frame but
// what makes the next one quicker, so that the pixels of a frame can be let go at any time and read again. The file of
// a single picture is a source of one frame.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_FRAME_SOURCE_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_FRAME_SOURCE_H

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/rows.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::imagework {

// The change of the canvas when the time of a frame is over. GIF and PNG animations number them differently.
enum class FrameDisposal : uint8_t {
    kUnspecified,  // as kLeave
    kLeave,
    kClear,    // the frame's area becomes transparent
    kRestore,  // the frame's area becomes what it was before the frame
};

// What the graphics control block before a frame of a GIF file says.
struct GifControl {
    uint16_t delay = 0;  // hundredths of a second
    bool user_input = false;
    int disposal = 0;  // the three bits of the format
    std::optional<uint8_t> transparent = {};
    bool operator==(const GifControl&) const = default;
};

// The disposal that three bits of such a block stand for. Some programs write 4 for 3.
constexpr FrameDisposal gif_disposal(int bits) {
    return bits == 0                ? FrameDisposal::kUnspecified
           : bits == 2              ? FrameDisposal::kClear
           : bits == 3 || bits == 4 ? FrameDisposal::kRestore
                                    : FrameDisposal::kLeave;
}

struct FrameHeader {
    FileFacts facts;   // size, depth and settings of the picture that open() gives
    int duration = 0;  // milliseconds that an animation shows it
    // How the file has the frame of an animation; a page of a document covers itself.
    Rect area{};
    FrameDisposal disposal = FrameDisposal::kUnspecified;
    // What a GIF file says besides; the blocks are extensions, as they stand in the file.
    std::optional<GifControl> control = {};
    std::vector<std::vector<uint8_t>> blocks_before = {};
    std::vector<std::vector<uint8_t>> blocks_behind = {};  // of the last frame
};

// Where the file of a document has what describes one of its pages: the directory of a TIFF.
struct PageDirectory {
    SharedSource file;  // null: no page is described by itself
    uint64_t at = 0;
};

struct Sides {
    int32_t width;
    int32_t height;
};

// The sides of a frame in pixels of a smaller picture of it, of which the last may stand for a part of one, or be
// followed by a part of one that it does not have.
struct ReducedSides {
    double width;
    double height;
};

struct FrameCopy {
    std::unique_ptr<RowReader> reader = nullptr;  // null: there is none
    ReducedSides sides{};
};

// Any thread may call the members; the readers are independent of each other and keep the source alive.
class FrameSource : public std::enable_shared_from_this<FrameSource> {
 public:
    FrameSource() = default;
    FrameSource(const FrameSource&) = delete;
    FrameSource& operator=(const FrameSource&) = delete;
    virtual ~FrameSource() = default;

    virtual size_t count() const = 0;
    // Costs the frame's header. `index` is below count(), here and in open().
    virtual FrameHeader header(size_t index) const = 0;
    virtual PageDirectory directory(size_t) const { return {}; }
    // The rows of one frame. A reader of a picture that stands alone decodes when rows are asked for, and costs no more
    // than its header before. The rows of an animation are the whole canvas while that frame is shown, so that opening
    // costs the frames that it is composed of; frames that are opened in their order cost one each.
    // PictureError(kDamaged) where the frame makes no sense.
    virtual std::unique_ptr<RowReader> open(size_t index) const = 0;
    // The picture beside an animation that programs show which know none; null where that is the first frame.
    virtual std::shared_ptr<const FrameSource> still() const { return nullptr; }
    // Whether the frames are those of an animation, so that open() has done all the work.
    virtual bool composes() const { return false; }

    // The greatest power of two, at most `most`, by which the decoder itself can divide the sides of the frame while it
    // decodes, for less than decoding it whole: each pixel stands for the mean of those that it replaces. 1 where it
    // cannot.
    virtual int reduction(size_t index, int most) const;
    // The rows of the frame with both sides divided by such a number and rounded up; the header tells the new size.
    virtual std::unique_ptr<RowReader> open_reduced(size_t index, int divisor) const;
    // Of the smaller copies of the frame that the file has beside it, the smallest that is at least so large.
    virtual FrameCopy open_copy(size_t, Sides) const { return {}; }
};

inline int FrameSource::reduction(size_t, int) const {
    return 1;
}
inline std::unique_ptr<RowReader> FrameSource::open_reduced(size_t index, [[maybe_unused]] int divisor) const {
    assert(divisor == 1);
    return open(index);
}

using SharedFrames = std::shared_ptr<const FrameSource>;

// A frame that is still as it is in its file, so that a writer of the same format may copy its data.
struct FrameOrigin {
    SharedFrames source;  // null: the pixels came from elsewhere, or were changed
    size_t index = 0;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_PIXELS_FRAME_SOURCE_H

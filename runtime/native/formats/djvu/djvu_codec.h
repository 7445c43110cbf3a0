// DjVu documents, read by DjVuLibre.
//
// A bitonal page is gray of 1 bit; a page with colors is RGB of 8 bits, or gray of 8 bits where its picture is gray.
// Pages are upright: a rotation that the file tells is done.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DJVU_DJVU_CODEC_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DJVU_DJVU_CODEC_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "runtime/native/formats/djvu/djvu_structure.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/memory_budget.h"

namespace zelmor::imagework {

enum class DjvuLayer : uint8_t {
    kPage,        // all layers, as the page is shown
    kMask,        // text and line art, gray of 1 bit, or of 8 bits where it is made smaller
    kForeground,  // the colors of the mask, on white
    kBackground,  // the picture behind the mask
};

// A word of the text that lies under a page, in pixels of the upright page from its upper left corner.
struct DjvuWord {
    Rect area;
    std::string text;        // UTF-8
    bool ends_line = false;  // the next word stands on another line
};

// The words whose middle lies in the area, in reading order: words are parted by spaces, lines by line feeds.
inline std::string djvu_text(std::span<const DjvuWord> words, const Rect& area) {
    std::string text;
    bool line_ends = false;
    for (const DjvuWord& word : words) {
        const int64_t x = int64_t{word.area.x} + word.area.width / 2 - area.x;
        const int64_t y = int64_t{word.area.y} + word.area.height / 2 - area.y;
        if (x >= 0 && x < area.width && y >= 0 && y < area.height) {
            if (!text.empty()) {
                text += line_ends ? '\n' : ' ';
            }
            text += word.text;
            line_ends = false;
        }
        line_ends = line_ends || word.ends_line;
    }
    return text;
}

// The pages of a document as frames.
class DjvuFrames : public FrameSource {
 public:
    virtual const DjvuPagePlace& page(size_t index) const = 0;
    // One layer, with both sides divided by `subsample`, 1 to 12, and rounded up. Null where the page has no such
    // layer.
    virtual std::unique_ptr<RowReader> open_layer(size_t index, DjvuLayer layer, int subsample) const = 0;
    // The text of the page, in reading order. Empty where it has none.
    virtual std::vector<DjvuWord> words(size_t index) const = 0;
    // The page's thumbnail as a DjVu file of its own: a single wavelet picture. Empty where it has none.
    virtual std::vector<uint8_t> thumbnail(size_t index) const = 0;
};

using SharedDjvu = std::shared_ptr<const DjvuFrames>;

// Single pages and bundled documents. A page is decoded when its first row is asked for, and can be decoded smaller.
// With a recovery mode, pages behind the damage are left out, and of a page that is cut off comes what there is.
// PictureError: kDamaged, kUnsupported or kTooLarge.
SharedDjvu open_djvu(const SharedSource& source, Recovery recovery, SharedBudget budget = {});

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DJVU_DJVU_CODEC_H

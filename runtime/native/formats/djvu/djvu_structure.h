// The structure of a DjVu file: its pages and the chunks that they consist of. No pixel is decoded here.
//
// A file is an IFF container. The form DJVU is a page, with its size in the chunk INFO, a bitonal *mask* (Sjbz), and
// pictures for the colors behind the mask (*background*) and on it (*foreground*). The form DJVM bundles pages and
// what they share; its directory tells where each is. An *indirect* document has them in other files. The forms THUM of
// a bundle have small pictures of the pages, in the order of these.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DJVU_DJVU_STRUCTURE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DJVU_DJVU_STRUCTURE_H

#include <cstdint>
#include <string>
#include <vector>

#include "runtime/native/imagework/pixels/pixel_form.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

struct DjvuPagePlace {
    uint64_t at = 0;    // of the form, with its header
    uint64_t size = 0;  // as far as the file has it
    bool complete = true;
    int32_t width = 0;  // upright, as the page is shown
    int32_t height = 0;
    int dpi = 300;
    int quarter_turns = 0;  // counterclockwise, from the stored page to the upright one
    int version = 0;
    bool has_mask = false;
    bool has_background = false;
    bool has_foreground = false;
    bool is_gray = false;  // all that has colors is gray
    bool has_text = false;
    bool includes = false;        // data of the page are in a shared part of the document
    uint64_t wavelet_pixels = 0;  // of all wavelet pictures of the page
    // The wavelet data of the page's thumbnail; no bytes where it has none.
    uint64_t thumbnail_at = 0;
    uint32_t thumbnail_size = 0;

    bool has_layers() const { return has_mask || has_background || has_foreground; }
    bool is_bitonal() const { return !has_background && !has_foreground; }
    PixelForm form() const;
};

struct DjvuStructure {
    bool is_bundled = false;
    uint64_t size = 0;  // of the document
    std::vector<DjvuPagePlace> pages;
};

// Whether the bytes begin a DjVu file.
bool is_djvu(const ByteReader& file);

// PictureError(kDamaged) where there is no page or a chunk makes no sense, kUnsupported for documents of several files.
// `lenient` accepts pages that are cut off. `most` is how many pages are looked for.
DjvuStructure djvu_structure(const ByteReader& file, bool lenient, size_t most);

[[noreturn]] void djvu_damaged(const std::string& reason);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DJVU_DJVU_STRUCTURE_H

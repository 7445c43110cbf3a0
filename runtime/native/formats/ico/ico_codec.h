// ICO and CUR files: pictures of several sizes, read and written as rows of samples.
//
// A frame is an entry of the directory, in the order of the file, and keeps its form: BMP entries of up to 8 bits are
// indices with their palette, others RGB; PNG entries are what they are. The mask of a BMP entry is its transparency.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_ICO_ICO_CODEC_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_ICO_ICO_CODEC_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "runtime/native/formats/ico/ico_directory.h"
#include "runtime/native/formats/ico/ico_encoding.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/rows.h"
#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::imagework {

class IcoFrames : public FrameSource {
 public:
    virtual IcoKind kind() const = 0;
    virtual const IcoEntry& entry(size_t index) const = 0;
    // How the entry is stored. PictureError(kDamaged) where its header makes no sense.
    virtual IcoEntryEncoding encoding(size_t index) const = 0;
    // The entry as it stands in the file.
    virtual std::vector<uint8_t> bytes(size_t index) const = 0;
};

// Entries that do not lie within the file are an error, and are left out in a recovery mode. PictureError: kDamaged;
// for an entry, which says more than the directory, also kUnsupported or kTooLarge.
std::shared_ptr<const IcoFrames> open_ico(const SharedSource& source, const DecodeOptions& options);

// Refuses bits that an entry of that format does not have; throws PictureError(kEncoding).
void check_ico_encoding(const IcoEntryEncoding& encoding);

// The form that a picture is brought to for such an entry; indices need a palette of at most so many colors besides.
// An RGB form of 16 and 24 bits may have alpha, of which a BMP entry keeps one bit: its mask.
PixelForm form_of_ico_entry(const IcoEntryEncoding& encoding, bool alpha);

// Writes a file entry by entry, in the order that they are given.
class IcoWriter {
 public:
    // The file is in `out` when the writer has finished.
    IcoWriter(IcoKind kind, std::vector<uint8_t>& out) : m_kind(kind), m_out(out) {}
    IcoWriter(const IcoWriter&) = delete;
    IcoWriter& operator=(const IcoWriter&) = delete;

    // A writer of the next entry's rows, which finishes before another one is made. The form is one that the encoding
    // has. PictureError(kEncoding) for another one, and for sides beyond 256.
    std::unique_ptr<RowWriter> start(const RowsHeader& header, const IcoEntryEncoding& encoding,
                                     IcoHotSpot hot_spot = {});
    // Takes over an entry as it is in its file.
    void copy(const IcoFrames& frames, size_t index);
    // PictureError(kEncoding) without entries, and for a file of more than 4 GiB.
    void finish();

    // Of the writers of rows: an entry is complete. The sides and the bits are what the directory says of it.
    void put(int32_t width, int32_t height, int bits_per_pixel, size_t colors, IcoHotSpot hot_spot,
             std::vector<uint8_t> bytes);

 private:
    struct Entry {
        int32_t width;
        int32_t height;
        int bits_per_pixel;
        size_t colors;
        IcoHotSpot hot_spot;
        std::vector<uint8_t> bytes;
    };

    IcoKind m_kind;
    std::vector<uint8_t>& m_out;
    std::vector<Entry> m_entries;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_ICO_ICO_CODEC_H

// Pixels that are decoded when they are first needed.
//
// A picture that was just loaded has no pixels yet, but a source of rows: a frame of a file, and the steps that the
// picture went through since (cutting, resampling, conversions of each row). A writer takes the rows from the source
// one after the other, so that a file is converted without its picture ever being in memory as a whole. Whatever needs
// pixels in any other order has them read into memory.
//
// Sources are shared by the copies of a picture, and each step keeps the one before it. A source whose rows are wanted
// for the second time reads them into memory and keeps them for all that share it, so that no file is decoded more than
// twice. The pages of a file of several, and rows of more than 2 GiB, are decoded each time: memory may not hold them.
// Rows of 1, 2 or 4 bits a pixel are kept packed; they stay deferred rows while they are only looked at and written.
//
// The rows are those of pictures in memory (vips_picture.h): signed samples are turned to unsigned ones.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_DEFERRED_ROWS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_DEFERRED_ROWS_H

#include <functional>
#include <memory>
#include <mutex>
#include <string>

#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/frame_source.h"
#include "runtime/native/imagework/pixels/memory_budget.h"
#include "runtime/native/imagework/pixels/packed_pixels.h"
#include "runtime/native/imagework/pixels/rows.h"
#include "runtime/native/imagework/resampling.h"
#include "runtime/native/imagework/vips/vips_support.h"

namespace zelmor::imagework {

class DeferredRows;
using SharedRows = std::shared_ptr<DeferredRows>;

// Makes the samples of `count` pixels, of one row or of several whole ones, of those of another form. It may keep a
// state between the calls of one pass, for each of which it is copied.
using RowStep = std::function<void(const uint8_t* from, uint8_t* to, size_t count)>;

// Runs a step of a codec; what it says of damage comes behind the words given, "the PNG data is damaged or incomplete".
template <class Step>
auto labeled(const std::string& damage, Step&& step) -> decltype(step()) {
    try {
        return step();
    } catch (const PictureError& error) {
        if (error.kind() != Failure::kDamaged) {
            throw;
        }
        throw PictureError(Failure::kDamaged, damage + ": " + error.what());
    }
}

// Any thread may call the members.
class DeferredRows {
 public:
    // The rows of a frame. `opened` is a reader of it whose rows nobody has read; the first pass takes it. Damage is
    // reported behind the options' subject and the words given, "the PNG data is damaged or incomplete".
    static SharedRows of_frame(SharedFrames frames, size_t index, std::unique_ptr<RowReader> opened,
                               const DecodeOptions& options, std::string damaged);
    static SharedRows cropped(SharedRows rows, const Rect& area);
    static SharedRows resized(SharedRows rows, int32_t width, int32_t height, Resampling resampling);
    // Of another form, row by row.
    static SharedRows converted(SharedRows rows, const PixelForm& form, RowStep step);

    virtual ~DeferredRows() = default;
    DeferredRows(const DeferredRows&) = delete;
    DeferredRows& operator=(const DeferredRows&) = delete;

    // Size and form of the rows, and nothing else.
    const RowsHeader& header() const { return m_header; }

    // All rows from the first one on. PictureError(kDamaged), here or from the reader, where the file is damaged, or
    // was changed meanwhile.
    std::unique_ptr<RowReader> open();
    // All rows in memory, kept from now on. Packed ones are kept as they are, and the image is the caller's alone.
    vips::VImage image();
    // The same of rows of few bits, which are kept packed from now on; null for any other rows.
    std::shared_ptr<const PackedPixels> packed();
    // Whether packed() has been there and was not forgotten.
    bool is_packed() const;
    // Keeps the rows no longer.
    void forget();

 protected:
    // What all steps after a frame know of it.
    struct Origin {
        SharedBudget budget;  // counts the rows that are kept in memory
        std::string subject;  // begins the message of a failure
        bool keeps;           // rows that are wanted twice
    };
    DeferredRows(RowsHeader header, Origin origin) : m_header(std::move(header)), m_origin(std::move(origin)) {}

    struct Reduced {
        std::unique_ptr<RowReader> reader;  // null: not reduced
        ReducedSides sides{};               // of all rows, in pixels of the reader
    };
    // The rows by a way that needs no memory for all of them.
    virtual std::unique_ptr<RowReader> stream() = 0;
    // The same in fewer pixels, but at least so many, as the decoder itself can give them.
    virtual Reduced stream_reduced(Sides) { return {}; }
    // Drops what was made before anyone asked for rows.
    virtual void drop() {}

    // For a step after another one: the rows of that, reduced if they can be.
    static Reduced open_reduced(DeferredRows& rows, Sides least);
    static const Origin& origin_of(const DeferredRows& rows) { return rows.m_origin; }

 private:
    // The next two under the mutex. keep() leaves either an image or packed pixels, pack() these or nothing.
    void keep();
    void pack();
    bool is_kept() const { return !m_kept.is_null() || m_packed != nullptr; }
    std::unique_ptr<RowReader> kept_rows() const;

    RowsHeader m_header;
    Origin m_origin;
    // Over all below. Rows that take memory may make the image let go of others, and of these.
    mutable std::recursive_mutex m_mutex;
    bool m_read = false;  // there was a pass over all rows
    bool m_packs = true;  // as far as it is known, the samples are what the form says
    // Null until the second pass; at most one of them is there.
    vips::VImage m_kept;
    std::shared_ptr<const PackedPixels> m_packed;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_DEFERRED_ROWS_H

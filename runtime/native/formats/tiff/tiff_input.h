// A TIFF file that libtiff reads from a DataSource, at one of its pages.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_INPUT_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_INPUT_H

#include <tiffio.h>

#include <cstdint>
#include <string>

#include "runtime/native/formats/tiff/tiff_log.h"
#include "runtime/native/imagework/pixels/data_source.h"

namespace zelmor::imagework {

class TiffInput {
 public:
    // Reads the directory at that offset, 0 for the first, and no other: a page costs the same wherever it is.
    TiffInput(SharedSource source, uint64_t directory);
    ~TiffInput();
    TiffInput(const TiffInput&) = delete;
    TiffInput& operator=(const TiffInput&) = delete;

    TIFF* get() const { return m_tiff; }
    const DataSource& source() const { return *m_source; }
    TiffLog& log() { return m_log; }

    // Runs a step of the library that tells success by its result. PictureError(kDamaged) where it fails, or where it
    // tells of damage: with `lenient` such a message is no failure.
    template <class Step>
    void run(const char* what, bool lenient, Step&& step) {
        m_log.start_step();
        const bool done = step(m_tiff);
        settle(what, done, lenient);
    }

    // The value of a tag, or its default.
    uint16_t u16(uint32_t tag) const;
    uint32_t u32(uint32_t tag) const;

 private:
    static tmsize_t read(thandle_t self, void* out, tmsize_t count);
    static tmsize_t write(thandle_t self, void* bytes, tmsize_t count);
    static toff_t seek(thandle_t self, toff_t offset, int whence);
    static int close(thandle_t self);
    static toff_t size(thandle_t self);

    void settle(const char* what, bool done, bool lenient);

    SharedSource m_source;
    uint64_t m_position = 0;
    TiffLog m_log;
    TIFF* m_tiff = nullptr;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_INPUT_H

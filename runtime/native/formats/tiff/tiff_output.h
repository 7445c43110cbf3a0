// The bytes of a TIFF file that libtiff writes, page by page.
//
// The library finds the place of a further page by walking over all pages before. So it is given a file of its own for
// each page: one that has a header without pages, while everything behind the header goes to the end of the common
// file. The directory that it writes is then linked to that of the page before.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_OUTPUT_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_OUTPUT_H

#include <tiffio.h>

#include <array>
#include <cstdint>
#include <string>

#include "runtime/native/formats/tiff/tiff_log.h"
#include "runtime/native/formats/tiff/tiff_structure.h"
#include "runtime/native/imagework/pixels/byte_sink.h"

namespace zelmor::imagework {

class TiffOutput {
 public:
    // `file` is empty, and outlives this.
    TiffOutput(EditableFile& file, bool big_tiff, bool big_endian);
    ~TiffOutput();
    TiffOutput(const TiffOutput&) = delete;
    TiffOutput& operator=(const TiffOutput&) = delete;

    TIFF* get() const { return m_tiff; }

    void begin_page();
    // Writes the directory of the page and links it.
    void end_page();

    // PictureError(kEncoding) where the library fails, kTooLarge where the file would be larger than the format has it.
    template <class Step>
    void run(const char* what, Step&& step) {
        m_log.start_step();
        const bool done = step(m_tiff);
        settle(what, done);
    }

 private:
    static tmsize_t read(thandle_t self, void* out, tmsize_t count);
    static tmsize_t write(thandle_t self, void* bytes, tmsize_t count);
    static toff_t seek(thandle_t self, toff_t offset, int whence);
    static int close(thandle_t self);
    static toff_t size(thandle_t self);

    void put(uint64_t at, const uint8_t* bytes, size_t count);
    void settle(const char* what, bool done);
    void close_page();
    // Writes the number at the place of the last link.
    void link(uint64_t directory);
    // Where the directory has the offset of the next one.
    uint64_t link_of(uint64_t directory) const;

    static constexpr uint64_t kMostHeader = 16;
    TiffForm m_form;
    bool m_big_endian;
    EditableFile& m_file;
    bool m_given_up = false;                      // nothing is written any more
    std::array<uint8_t, kMostHeader> m_header{};  // that the library writes for the page
    uint64_t m_position = 0;
    uint64_t m_link_at = 0;  // where the offset of the next directory belongs
    TiffLog m_log;
    TIFF* m_tiff = nullptr;
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_TIFF_TIFF_OUTPUT_H

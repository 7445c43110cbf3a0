// A JPEG file that libjpeg reads from a DataSource.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_INPUT_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_INPUT_H

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "runtime/native/formats/jpeg/jpeg_errors.h"
#include "runtime/native/imagework/pixels/data_source.h"

namespace zelmor::imagework {

// Gives the library the bytes of the file as it asks for them, a window at a time, and limits its work on files of many
// scans.
class JpegInput final : public JpegErrors {
 public:
    // Bytes from `end` on do not count. With `takes_end`, data that end too early end the picture there, as long as the
    // header is complete; otherwise they are an error.
    JpegInput(SharedSource source, bool takes_end, uint64_t end = UINT64_MAX);
    ~JpegInput();

    jpeg_decompress_struct* codec() { return &m_codec; }

    // Reads up to the first scan. The library keeps the segments APP1 and APP2 that come before it.
    void read_header();
    // Starts decoding. A file of several scans is read to its end for this.
    void start();

    // Whether bytes were asked for behind the last one.
    bool reached_end() const { return m_reached_end; }
    // The first row of blocks, counted in the rows of units that all components share, which the data end too early
    // for. Absent as long as no pixel is known to be missing.
    std::optional<uint32_t> lost_from() const { return m_lost_from; }
    // A place in a file of several scans up to which start() found no error.
    uint64_t sound_until() const { return m_sound_until; }

 private:
    static JpegInput& input_of(j_common_ptr codec);
    static JpegInput& input_of(j_decompress_ptr codec);
    static void on_init(j_decompress_ptr codec);
    static boolean on_fill(j_decompress_ptr codec);
    static void on_skip(j_decompress_ptr codec, long count);
    static void on_progress(j_common_ptr codec);
    void warned(int code) override;

    void take_window();
    void keep_refusal();
    void note_loss();
    uint64_t position() const { return m_offset - m_manager.bytes_in_buffer; }

    SharedSource m_source;
    std::span<const uint8_t> m_all;  // of bytes in memory
    std::vector<uint8_t> m_window;   // of an open file
    const bool m_takes_end;
    const uint64_t m_end;
    uint64_t m_offset = 0;  // of the end of the window
    bool m_in_header = true;
    bool m_absorbs_scans = false;
    bool m_reached_end = false;
    std::optional<uint32_t> m_lost_from;
    uint64_t m_sound_until = 0;
    uint64_t m_blocks = 0;  // that the scans so far consist of
    jpeg_source_mgr m_manager{};
    jpeg_progress_mgr m_progress{};
    jpeg_decompress_struct m_codec{};
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_INPUT_H

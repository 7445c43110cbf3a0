// Putting an animated PNG together of PNG files, one for each frame. They are taken apart in png/png_frames.h.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_APNG_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_APNG_H

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "runtime/native/formats/png/png_chunks.h"
#include "runtime/native/imagework/pixels/byte_sink.h"

namespace zelmor::imagework {

// Takes the files of the frames, one after the other and in pieces of any size, and passes them on as the chunks of one
// animation. It keeps no more than a chunk. All frames are of one size and color type; what stands before the pixels of
// the first one goes for all.
class ApngJoiner final : public ByteSink {
 public:
    // `plays` of 0 stands for ever.
    ApngJoiner(size_t frames, int plays, ByteSink& out) : m_frames(frames), m_plays(plays), m_out(out) {}

    // Before the bytes of a picture for programs that know no animations, of the size and color type of the frames. It
    // stands before them; without one, the first frame is that picture.
    void start_still();
    // Before the bytes of each frame's file.
    void start_frame(int duration);
    void write(std::span<const uint8_t> bytes) override;
    // After the last one.
    void finish();

 private:
    void take(const PngChunk& chunk);
    void put(uint32_t type, std::span<const uint8_t> data);
    void put_frame_control();

    size_t m_frames;
    int m_plays;
    ByteSink& m_out;
    size_t m_files = 0;  // begun, the still among them
    size_t m_begun = 0;  // of them, the frames
    int m_duration = 0;
    bool m_in_chunks = false;   // behind the signature of the frame's file
    bool m_controlled = false;  // the frame's control is written, or it needs none
    uint32_t m_sequence = 0;
    std::vector<uint8_t> m_size;   // width and height, as the header of the frame has them
    std::vector<uint8_t> m_kept;   // of the frame's file, what is no complete chunk yet
    std::vector<uint8_t> m_chunk;  // as it is written
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_PNG_APNG_H

// Chunks of animated PNG; see apng.h.
#include "runtime/native/formats/png/apng.h"

#include <algorithm>
#include <optional>

#include "runtime/native/formats/png/png_chunks.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {
namespace {

class ApngWriter {
 public:
    ApngWriter(size_t frames, int plays) : m_frames(frames), m_plays(plays) { put_png_signature(m_out); }

    // The chunks of the file, with the data of the picture that all programs show. It is the first frame unless the
    // duration is absent.
    void put_first(const EncodedBytes& png, std::optional<int> duration) {
        for (const PngChunk& chunk : png_chunks(png.bytes())) {
            if (chunk.type == kIend) {
                continue;
            }
            if (chunk.type == kIdat && duration) {
                put_control(*duration);
                duration.reset();
            }
            put_png_chunk(m_out, chunk.type, chunk.data);
            if (chunk.type == kIhdr) {
                m_size.assign(chunk.data.begin(), chunk.data.begin() + 8);  // width and height
                std::vector<uint8_t> fields;
                put_png_u32(fields, static_cast<uint32_t>(m_frames));
                put_png_u32(fields, static_cast<uint32_t>(m_plays));
                put_png_chunk(m_out, kControl, fields);
            }
        }
    }

    void put_frame(const ApngFrame& frame) {
        put_control(frame.duration);
        for (const PngChunk& chunk : png_chunks(frame.png.bytes())) {
            if (chunk.type == kIdat) {
                std::vector<uint8_t> data;
                put_png_u32(data, m_sequence++);
                data.insert(data.end(), chunk.data.begin(), chunk.data.end());
                put_png_chunk(m_out, kFrameData, data);
            }
        }
    }

    std::vector<uint8_t> take() {
        put_png_chunk(m_out, kIend, {});
        return std::move(m_out);
    }

 private:
    void put_control(int duration) {
        std::vector<uint8_t> fields;
        put_png_u32(fields, m_sequence++);
        fields.insert(fields.end(), m_size.begin(), m_size.end());
        put_png_u32(fields, 0);
        put_png_u32(fields, 0);
        put_png_u16(fields, static_cast<uint32_t>(std::clamp(duration, 0, 65535)));
        put_png_u16(fields, 1000);
        fields.push_back(0);  // the frame stays
        fields.push_back(0);  // and replaces the one before
        put_png_chunk(m_out, kFrame, fields);
    }

    size_t m_frames;
    int m_plays;
    uint32_t m_sequence = 0;
    std::vector<uint8_t> m_size;
    std::vector<uint8_t> m_out;
};

}  // namespace

EncodedBytes joined_apng(std::span<const ApngFrame> frames, int plays, const EncodedBytes& still) {
    ApngWriter writer(frames.size(), plays);
    const bool has_still = still.data != nullptr;
    if (has_still) {
        writer.put_first(still, std::nullopt);
    } else {
        writer.put_first(frames[0].png, frames[0].duration);
    }
    for (const ApngFrame& frame : frames.subspan(has_still ? 0 : 1)) {
        writer.put_frame(frame);
    }
    return to_encoded(writer.take());
}

}  // namespace zelmor::imagework

// Chunks of animated PNG; see apng.h.
#include "runtime/native/formats/png/apng.h"

#include <algorithm>

#include "runtime/native/formats/png/png_chunks.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {
EncodedBytes joined_apng(std::span<const ApngFrame> frames, int plays) {
    std::vector<uint8_t> out;
    put_png_signature(out);
    uint32_t sequence = 0;
    for (size_t i = 0; i < frames.size(); i++) {
        std::vector<uint8_t> control;
        bool controlled = false;
        for (const PngChunk& chunk : png_chunks(frames[i].png.bytes())) {
            if (chunk.type == kIend) {
                continue;
            }
            if (chunk.type == kIhdr) {
                control.assign(chunk.data.begin(), chunk.data.begin() + 8);  // width and height
            }
            if (chunk.type == kIdat) {
                if (!controlled) {
                    std::vector<uint8_t> fields;
                    put_png_u32(fields, sequence++);
                    fields.insert(fields.end(), control.begin(), control.end());
                    put_png_u32(fields, 0);
                    put_png_u32(fields, 0);
                    put_png_u16(fields, static_cast<uint32_t>(std::clamp(frames[i].duration, 0, 65535)));
                    put_png_u16(fields, 1000);
                    fields.push_back(0);  // the frame stays
                    fields.push_back(0);  // and replaces the one before
                    put_png_chunk(out, kFrame, fields);
                    controlled = true;
                }
                if (i == 0) {
                    put_png_chunk(out, kIdat, chunk.data);
                    continue;
                }
                std::vector<uint8_t> data;
                put_png_u32(data, sequence++);
                data.insert(data.end(), chunk.data.begin(), chunk.data.end());
                put_png_chunk(out, kFrameData, data);
                continue;
            }
            if (i > 0) {
                continue;
            }
            put_png_chunk(out, chunk.type, chunk.data);
            if (chunk.type == kIhdr) {
                std::vector<uint8_t> fields;
                put_png_u32(fields, static_cast<uint32_t>(frames.size()));
                put_png_u32(fields, static_cast<uint32_t>(plays));
                put_png_chunk(out, kControl, fields);
            }
        }
    }
    put_png_chunk(out, kIend, {});
    return to_encoded(std::move(out));
}

}  // namespace zelmor::imagework

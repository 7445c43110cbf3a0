// Chunks of animated PNG; see apng.h.
#include "runtime/native/formats/png/apng.h"

#include <algorithm>
#include <cassert>

#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

void ApngJoiner::start_still() {
    assert(m_files == 0);
    m_files++;
    m_controlled = true;  // it is no frame
}

void ApngJoiner::start_frame(int duration) {
    assert(m_begun < m_frames && m_kept.empty());
    m_files++;
    m_begun++;
    m_duration = duration;
    m_in_chunks = false;
    m_controlled = false;
}

void ApngJoiner::write(std::span<const uint8_t> bytes) {
    constexpr size_t kAround = 12;  // a chunk's length, type and checksum
    assert(m_files > 0);
    m_kept.insert(m_kept.end(), bytes.begin(), bytes.end());
    const ByteReader in(m_kept, true);
    size_t at = 0;
    if (!m_in_chunks && in.has(0, kFirstChunk)) {
        at = static_cast<size_t>(kFirstChunk);
        if (m_files == 1) {
            m_out.write(std::span(m_kept).first(at));
        }
        m_in_chunks = true;
    }
    while (m_in_chunks && in.has(at, kAround)) {
        const size_t length = in.u32(at);
        if (!in.has(at, kAround + length)) {
            break;
        }
        take({in.u32(at + 4), std::span<const uint8_t>(m_kept).subspan(at + 8, length)});
        at += kAround + length;
    }
    m_kept.erase(m_kept.begin(), m_kept.begin() + static_cast<std::ptrdiff_t>(at));
}

void ApngJoiner::take(const PngChunk& chunk) {
    const bool first = m_files == 1;
    if (chunk.type == kIend) {
        return;
    }
    if (chunk.type == kIhdr) {
        m_size.assign(chunk.data.begin(), chunk.data.begin() + 8);
    }
    if (chunk.type == kIdat) {
        if (!m_controlled) {
            put_frame_control();
        }
        if (first) {
            return put(kIdat, chunk.data);
        }
        std::vector<uint8_t> data;
        put_png_u32(data, m_sequence++);
        data.insert(data.end(), chunk.data.begin(), chunk.data.end());
        return put(kFrameData, data);
    }
    if (!first) {
        return;
    }
    put(chunk.type, chunk.data);
    if (chunk.type == kIhdr) {
        std::vector<uint8_t> fields;
        put_png_u32(fields, static_cast<uint32_t>(m_frames));
        put_png_u32(fields, static_cast<uint32_t>(m_plays));
        put(kControl, fields);
    }
}

void ApngJoiner::put_frame_control() {
    std::vector<uint8_t> fields;
    put_png_u32(fields, m_sequence++);
    fields.insert(fields.end(), m_size.begin(), m_size.end());
    put_png_u32(fields, 0);
    put_png_u32(fields, 0);
    put_png_u16(fields, static_cast<uint32_t>(std::clamp(m_duration, 0, 65535)));
    put_png_u16(fields, 1000);
    fields.push_back(0);  // the frame stays
    fields.push_back(0);  // and replaces the one before
    put(kFrame, fields);
    m_controlled = true;
}

void ApngJoiner::put(uint32_t type, std::span<const uint8_t> data) {
    m_chunk.clear();
    put_png_chunk(m_chunk, type, data);
    m_out.write(m_chunk);
}

void ApngJoiner::finish() {
    assert(m_begun == m_frames && m_kept.empty());
    put(kIend, {});
}

}  // namespace zelmor::imagework

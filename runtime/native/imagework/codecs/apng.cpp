// Chunks of animated PNG; see apng.h.
#include "runtime/native/imagework/codecs/apng.h"

#include <algorithm>

#include "runtime/native/imagework/codecs/png_chunks.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {
namespace {

constexpr uint32_t kIhdr = png_type("IHDR"), kIdat = png_type("IDAT"), kIend = png_type("IEND");
constexpr uint32_t kControl = png_type("acTL"), kFrame = png_type("fcTL"), kFrameData = png_type("fdAT");

[[noreturn]] void damaged(const char* what) {
    throw PictureError(Failure::kDamaged, std::string("the PNG animation ") + what);
}

// The parts of one frame, collected while the chunks of the file are walked.
struct Collected {
    ApngPart part{};
    std::vector<std::span<const uint8_t>> data;
};

Collected frame_of(const PngChunk& control, const ApngParts& canvas) {
    ByteReader in(control.data, true);
    Collected frame;
    const int64_t width = in.u32(4), height = in.u32(8), x = in.u32(12), y = in.u32(16);
    const uint32_t numerator = in.u16(20);
    const uint32_t denominator = in.u16(22) == 0 ? 100 : in.u16(22);
    const uint8_t disposal = in.u8(24);
    frame.part.disposal = static_cast<ApngDisposal>(disposal);
    frame.part.over = in.u8(25) == 1;
    if (!in.ok() || width < 1 || height < 1 || x + width > canvas.width || y + height > canvas.height ||
        disposal > static_cast<uint8_t>(ApngDisposal::kRestore)) {
        damaged("has a frame that does not fit its canvas");
    }
    frame.part.area = {static_cast<int32_t>(x), static_cast<int32_t>(y), static_cast<int32_t>(width),
                       static_cast<int32_t>(height)};
    frame.part.duration = static_cast<int>((uint64_t{numerator} * 1000 + denominator / 2) / denominator);
    return frame;
}

// A PNG file of the frame: the file's header in the frame's size, what goes for all frames, the frame's data.
std::vector<uint8_t> png_of(const Collected& frame, std::span<const uint8_t> header, std::span<const PngChunk> shared) {
    std::vector<uint8_t> out;
    put_png_signature(out);
    std::vector<uint8_t> own;
    put_png_u32(own, static_cast<uint32_t>(frame.part.area.width));
    put_png_u32(own, static_cast<uint32_t>(frame.part.area.height));
    own.insert(own.end(), header.begin() + 8, header.end());
    put_png_chunk(out, kIhdr, own);
    for (const PngChunk& chunk : shared) {
        put_png_chunk(out, chunk.type, chunk.data);
    }
    for (const auto& data : frame.data) {
        put_png_chunk(out, kIdat, data);
    }
    put_png_chunk(out, kIend, {});
    return out;
}

}  // namespace

ApngParts apng_parts(std::span<const uint8_t> data) {
    ApngParts result;
    std::span<const uint8_t> header;
    std::vector<PngChunk> shared;
    std::vector<Collected> frames;
    bool before_data = true;
    for (const PngChunk& chunk : png_chunks(data)) {
        if (chunk.type == kIhdr) {
            ByteReader in(chunk.data, true);
            header = chunk.data;
            result.width = in.i32(0);
            result.height = in.i32(4);
            if (chunk.data.size() < 13 || result.width < 1 || result.height < 1) {
                damaged("has no header");
            }
        } else if (chunk.type == kFrame) {
            frames.push_back(frame_of(chunk, result));
        } else if (chunk.type == kIdat) {
            before_data = false;
            if (!frames.empty()) {
                frames.back().data.push_back(chunk.data);
            }
        } else if (chunk.type == kFrameData) {
            if (frames.empty() || chunk.data.size() < 4) {
                damaged("has data that belong to no frame");
            }
            frames.back().data.push_back(chunk.data.subspan(4));  // behind the sequence number
        } else if (before_data && chunk.type != kControl && chunk.type != kIend) {
            shared.push_back(chunk);
        }
    }
    for (Collected& frame : frames) {
        if (frame.data.empty()) {
            damaged("has a frame without data");
        }
        frame.part.png = png_of(frame, header, shared);
        result.parts.push_back(std::move(frame.part));
    }
    if (result.parts.empty()) {
        damaged("has no frames");
    }
    return result;
}

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

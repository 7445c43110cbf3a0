// Decoding by giflib; see gif_decoder.h.
//
// The library is given a file of the one frame: the head of a screen without a palette, then the frame's own bytes. Its
// errors are codes, and nothing is thrown through it.
#include "runtime/native/formats/gif/gif_decoder.h"

#include <gif_lib.h>

#include <algorithm>
#include <array>
#include <exception>
#include <string>
#include <vector>

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

constexpr std::array<uint8_t, 13> kScreen{'G', 'I', 'F', '8', '9', 'a', 1, 0, 1, 0, 0, 0, 0};

class FrameDecoder {
 public:
    FrameDecoder(SourceBytes& bytes, const GifFramePlace& frame) : m_bytes(bytes), m_part(frame.image) {
        int error = 0;
        m_gif = DGifOpen(this, &on_read, &error);
        if (m_gif == nullptr) {
            fail(error);
        }
        GifRecordType type = UNDEFINED_RECORD_TYPE;
        if (DGifGetRecordType(m_gif, &type) == GIF_ERROR || type != IMAGE_DESC_RECORD_TYPE ||
            DGifGetImageDesc(m_gif) == GIF_ERROR) {
            const int code = m_gif->Error;
            close();
            fail(code);
        }
    }
    FrameDecoder(const FrameDecoder&) = delete;
    FrameDecoder& operator=(const FrameDecoder&) = delete;
    ~FrameDecoder() { close(); }

    void read_row(std::span<uint8_t> row) {
        if (DGifGetLine(m_gif, row.data(), static_cast<int>(row.size())) == GIF_ERROR) {
            fail(m_gif->Error);
        }
    }

 private:
    void close() {
        int error = 0;
        DGifCloseFile(m_gif, &error);
    }

    [[noreturn]] void fail(int code) {
        if (m_thrown != nullptr) {
            std::rethrow_exception(m_thrown);
        }
        const char* text = GifErrorString(code);
        throw PictureError(Failure::kDamaged, text != nullptr ? text : "the frame cannot be decoded");
    }

    // Called by the library; how many bytes there were.
    static int on_read(GifFileType* gif, GifByteType* out, int count) {
        auto* self = static_cast<FrameDecoder*>(gif->UserData);
        int done = 0;
        while (done < count && self->m_at < kScreen.size()) {
            out[done++] = kScreen[self->m_at++];
        }
        try {
            const uint64_t offset = self->m_at - kScreen.size();
            const uint64_t left = self->m_part.size > offset ? self->m_part.size - offset : 0;
            const auto wanted = static_cast<size_t>(std::min<uint64_t>(left, static_cast<uint64_t>(count - done)));
            const size_t found = self->m_bytes.copy(self->m_part.at + offset, {out + done, wanted});
            self->m_at += found;
            done += static_cast<int>(found);
        } catch (...) {
            self->m_thrown = std::current_exception();
        }
        return done;
    }

    SourceBytes& m_bytes;
    GifPart m_part;
    uint64_t m_at = 0;  // in the file that the library sees
    GifFileType* m_gif = nullptr;
    std::exception_ptr m_thrown;
};

struct Pass {
    int32_t first;
    int32_t step;
};
constexpr Pass kInterlaced[] = {{0, 8}, {4, 8}, {2, 4}, {1, 2}};
constexpr Pass kInOrder[] = {{0, 1}};

}  // namespace

void decode_gif_frame(SourceBytes& bytes, const GifFramePlace& frame, int32_t rows, const GifRowFunction& take) {
    if (frame.area.width <= 0 || frame.area.height <= 0) {
        return;
    }
    FrameDecoder decoder(bytes, frame);
    std::vector<uint8_t> row(static_cast<size_t>(frame.area.width));
    const std::span<const Pass> passes = frame.interlaced ? std::span<const Pass>(kInterlaced) : kInOrder;
    const int32_t needed = frame.interlaced ? frame.area.height : std::min(rows, frame.area.height);
    for (const Pass& pass : passes) {
        for (int32_t y = pass.first; y < needed; y += pass.step) {
            decoder.read_row(row);
            if (y < rows) {
                take(y, row.data());
            }
        }
    }
}

}  // namespace zelmor::imagework

// Writing WebP; see webp_codec.h.
#include <webp/mux.h>

#include <algorithm>
#include <cassert>
#include <exception>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "runtime/native/formats/webp/webp_codec.h"
#include "runtime/native/formats/webp/webp_encoding.h"
#include "runtime/native/formats/webp/webp_picture.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {
namespace {

constexpr uint8_t kHasAlpha = 0x10;  // a flag of the header

void put_number(std::vector<uint8_t>& out, uint64_t value, int bytes) {
    for (int i = 0; i < bytes; i++) {
        out.push_back(static_cast<uint8_t>(value >> 8 * i));
    }
}

void put_chunk(std::vector<uint8_t>& out, const char* type, std::span<const uint8_t> content) {
    out.insert(out.end(), type, type + 4);
    put_number(out, content.size(), 4);
    out.insert(out.end(), content.begin(), content.end());
    if (content.size() % 2 != 0) {
        out.push_back(0);
    }
}

// Passes the encoder's file on with a profile, which needs the header of extensions before it. The head of the file
// tells what stands there, and its first number counts the bytes behind it.
class ProfiledFile {
 public:
    ProfiledFile(const RowsHeader& header, ByteSink& out) : m_header(header), m_out(out) {}

    void write(std::span<const uint8_t> bytes) {
        if (m_header.profile == nullptr || m_has_head) {
            return m_out.write(bytes);
        }
        m_head.insert(m_head.end(), bytes.begin(), bytes.end());
        if (m_head.size() >= kRiffHead + kExtensionChunk) {
            put_head();
        }
    }
    void finish() {
        if (m_header.profile != nullptr && !m_has_head) {
            put_head();
        }
    }

 private:
    static constexpr size_t kRiffHead = 12;
    static constexpr size_t kExtensionChunk = 18;

    void put_head() {
        constexpr uint8_t kHasProfile = 0x20;
        const ByteReader in(m_head);
        const bool extended = in.starts_with(kRiffHead, "VP8X");
        const bool alpha = extended ? (in.u8(kRiffHead + 8) & kHasAlpha) != 0
                                    : in.starts_with(kRiffHead, "VP8L") && (in.u32(kRiffHead + 9) >> 28 & 1) != 0;
        std::vector<uint8_t> header{static_cast<uint8_t>(kHasProfile | (alpha ? kHasAlpha : 0)), 0, 0, 0};
        put_number(header, static_cast<uint64_t>(m_header.width) - 1, 3);
        put_number(header, static_cast<uint64_t>(m_header.height) - 1, 3);
        std::vector<uint8_t> added;
        put_chunk(added, "VP8X", header);
        put_chunk(added, "ICCP", *m_header.profile);
        const size_t dropped = extended ? kExtensionChunk : 0;
        std::vector<uint8_t> out(m_head.begin(), m_head.begin() + 4);
        put_number(out, in.u32(4) + added.size() - dropped, 4);
        out.insert(out.end(), m_head.begin() + 8, m_head.begin() + kRiffHead);
        out.insert(out.end(), added.begin(), added.end());
        out.insert(out.end(), m_head.begin() + static_cast<std::ptrdiff_t>(kRiffHead + dropped), m_head.end());
        m_has_head = true;
        m_out.write(out);
    }

    const RowsHeader& m_header;
    ByteSink& m_out;
    std::vector<uint8_t> m_head;
    bool m_has_head = false;
};

class StillWriter final : public RowWriter {
 public:
    StillWriter(const RowsHeader& header, const WebpEncoding& encoding, ByteSink& out)
        : m_header(checked(header)),
          m_config(webp_config(encoding)),
          m_picture(header, encoding.lossless ? WebpPicture::Planes::kArgb : WebpPicture::Planes::kYuv),
          m_out(m_header, out) {}

    void write(int32_t count, std::span<const uint8_t> rows) override {
        assert(rows.size() == row_size() * static_cast<size_t>(count));
        m_given += count;
        assert(m_given <= m_header.height);
        const bool last = m_given == m_header.height;
        if (m_odd.empty() && (count % 2 == 0 || last)) {
            m_picture.put(count, rows.data());
            return;
        }
        // Planes take pairs of rows: one that is left over waits for the next.
        m_odd.insert(m_odd.end(), rows.begin(), rows.end());
        const auto held = static_cast<int32_t>(m_odd.size() / row_size());
        const int32_t now = last ? held : held / 2 * 2;
        m_picture.put(now, m_odd.data());
        m_odd.erase(m_odd.begin(), m_odd.begin() + static_cast<std::ptrdiff_t>(row_size() * static_cast<size_t>(now)));
    }

    void finish() override {
        assert(m_given == m_header.height);
        WebPPicture* picture = m_picture.get();
        picture->writer = append;
        picture->custom_ptr = this;
        const int encoded = WebPEncode(&m_config, picture);
        if (m_thrown != nullptr) {
            std::rethrow_exception(m_thrown);
        }
        if (encoded == 0) {
            throw_webp_encoding(picture->error_code);
        }
        m_out.finish();
    }

 private:
    // Called by the library; whether it goes on.
    static int append(const uint8_t* data, size_t size, const WebPPicture* picture) {
        auto* self = static_cast<StillWriter*>(picture->custom_ptr);
        if (self->m_thrown == nullptr) {
            try {
                self->m_out.write({data, size});
            } catch (...) {
                self->m_thrown = std::current_exception();
            }
        }
        return self->m_thrown == nullptr ? 1 : 0;
    }

    static const RowsHeader& checked(const RowsHeader& header) {
        check_webp_picture(header);
        return header;
    }
    size_t row_size() const { return m_header.form.pixel_size() * static_cast<size_t>(m_header.width); }

    RowsHeader m_header;
    WebPConfig m_config;
    WebpPicture m_picture;
    ProfiledFile m_out;
    std::exception_ptr m_thrown;  // by the sink
    int32_t m_given = 0;
    std::vector<uint8_t> m_odd;
};

class AnimationWriter final : public WebpAnimationWriter {
 public:
    AnimationWriter(int32_t width, int32_t height, const WebpEncoding& encoding, ByteSink& out)
        : m_config(webp_config(encoding)), m_width(width), m_height(height), m_out(out) {
        WebPAnimEncoderOptions options;
        if (WebPAnimEncoderOptionsInit(&options) == 0) {
            throw PictureError(Failure::kInternal, "the WebP encoder is of another version");
        }
        options.anim_params.loop_count = encoding.loops.value_or(0);
        if (encoding.background) {
            options.anim_params.bgcolor = *encoding.background;  // stands in the file as B, G, R, A
        }
        RowsHeader canvas;
        canvas.width = width;
        canvas.height = height;
        check_webp_picture(canvas);
        m_encoder.reset(WebPAnimEncoderNew(width, height, &options));
        if (m_encoder == nullptr) {
            throw PictureError(Failure::kInternal, "there is no memory for encoding the animation");
        }
    }

    std::unique_ptr<RowWriter> frame(const RowsHeader& header, int duration) override {
        check_webp_picture(header);
        if (header.width != m_width || header.height != m_height) {
            throw PictureError(Failure::kEncoding, "the frames of an animation have to be of one size");
        }
        constexpr int kLongest = 0xFFFFFF;
        if (duration > kLongest) {
            throw PictureError(Failure::kEncoding, "a frame of a WebP file is shown for at most " +
                                                       std::to_string(kLongest) + " milliseconds, not " +
                                                       std::to_string(duration));
        }
        return std::make_unique<FrameWriter>(*this, header, std::max(0, duration));
    }

    void finish() override {
        add(nullptr, 0);
        WebPData file;
        WebPDataInit(&file);
        const int assembled = WebPAnimEncoderAssemble(m_encoder.get(), &file);
        const std::unique_ptr<WebPData, void (*)(WebPData*)> owner(&file, WebPDataClear);
        if (assembled == 0) {
            fail();
        }
        m_encoder.reset();  // which has the coded frames once more
        std::vector<uint8_t> head(file.bytes, file.bytes + std::min(file.size, kHead));
        if (m_transparent && ByteReader(head).starts_with(kFirstChunk, "VP8X")) {
            head[kFlags] |= kHasAlpha;
        }
        m_out.write(head);
        m_out.write({file.bytes + head.size(), file.size - head.size()});
    }

 private:
    class FrameWriter final : public RowWriter {
     public:
        FrameWriter(AnimationWriter& owner, const RowsHeader& header, int duration)
            : m_owner(owner),
              m_picture(header, WebpPicture::Planes::kArgb),
              m_alpha(header.form.alpha),
              m_duration(duration) {}
        void write(int32_t count, std::span<const uint8_t> rows) override {
            m_picture.put(count, rows.data());
            constexpr size_t kPixel = 4;
            for (size_t i = kPixel - 1; m_alpha && !m_owner.m_transparent && i < rows.size(); i += kPixel) {
                m_owner.m_transparent = rows[i] != 0xFF;
            }
        }
        void finish() override { m_owner.add(m_picture.get(), m_duration); }

     private:
        AnimationWriter& m_owner;
        WebpPicture m_picture;
        bool m_alpha;
        int m_duration;
    };

    struct Delete {
        void operator()(WebPAnimEncoder* encoder) const { WebPAnimEncoderDelete(encoder); }
    };

    // Null for the end.
    void add(WebPPicture* picture, int duration) {
        if (m_time > std::numeric_limits<int>::max() - duration) {
            throw PictureError(Failure::kEncoding, "the animation is longer than 24 days");
        }
        if (WebPAnimEncoderAdd(m_encoder.get(), picture, m_time, picture != nullptr ? &m_config : nullptr) == 0) {
            fail();
        }
        m_time += duration;
    }

    [[noreturn]] void fail() const {
        throw PictureError(Failure::kInternal,
                           std::string("the WebP encoder failed: ") + WebPAnimEncoderGetError(m_encoder.get()));
    }

    // The library tells of alpha in the header where the data of a frame has some. Pixels that are transparent because
    // a frame was taken away need it as well: without the flag readers show the animation on a background.
    static constexpr size_t kFirstChunk = 12, kFlags = 20, kHead = 32;

    WebPConfig m_config;
    int32_t m_width;
    int32_t m_height;
    ByteSink& m_out;
    bool m_transparent = false;  // a pixel of a frame
    std::unique_ptr<WebPAnimEncoder, Delete> m_encoder;
    int m_time = 0;  // milliseconds, when the next frame begins
};

}  // namespace

std::unique_ptr<RowWriter> make_webp_writer(const RowsHeader& header, const WebpEncoding& encoding, ByteSink& out) {
    return std::make_unique<StillWriter>(header, encoding, out);
}

std::unique_ptr<WebpAnimationWriter> make_webp_animation_writer(int32_t width, int32_t height,
                                                                const WebpEncoding& encoding, ByteSink& out) {
    return std::make_unique<AnimationWriter>(width, height, encoding, out);
}

}  // namespace zelmor::imagework

// Writing WebP; see webp_codec.h.
#include <webp/mux.h>

#include <algorithm>
#include <cassert>
#include <limits>
#include <memory>
#include <string>

#include "runtime/native/formats/webp/webp_codec.h"
#include "runtime/native/formats/webp/webp_encoding.h"
#include "runtime/native/formats/webp/webp_picture.h"
#include "runtime/native/formats/webp/webp_structure.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {
namespace {

// Called by the library.
int append(const uint8_t* data, size_t size, const WebPPicture* picture) {
    auto* out = static_cast<std::vector<uint8_t>*>(picture->custom_ptr);
    try {
        out->insert(out->end(), data, data + size);
    } catch (...) {
        return 0;
    }
    return 1;
}

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

// The file of the encoder with a profile, which needs the header of extensions.
std::vector<uint8_t> with_profile(std::vector<uint8_t> file, std::span<const uint8_t> profile) {
    SourceBytes bytes(borrowed_source(file));
    const WebpStructure found = webp_structure(bytes, false);
    const WebpFramePlace& picture = found.frames.front();
    constexpr uint8_t kHasProfile = 0x20, kHasAlpha = 0x10;
    std::vector<uint8_t> header{static_cast<uint8_t>(kHasProfile | (picture.alpha ? kHasAlpha : 0)), 0, 0, 0};
    put_number(header, static_cast<uint64_t>(found.width) - 1, 3);
    put_number(header, static_cast<uint64_t>(found.height) - 1, 3);
    std::vector<uint8_t> out;
    out.reserve(file.size() + profile.size() + 64);
    out.insert(out.end(), file.begin(), file.begin() + 12);
    put_chunk(out, "VP8X", header);
    put_chunk(out, "ICCP", profile);
    const auto coded = bytes.at(picture.data.at, picture.data.size + picture.data.size % 2);
    out.insert(out.end(), coded.begin(), coded.end());
    std::vector<uint8_t> size;
    put_number(size, out.size() - 8, 4);
    std::copy(size.begin(), size.end(), out.begin() + 4);
    return out;
}

class StillWriter final : public RowWriter {
 public:
    StillWriter(const RowsHeader& header, const WebpEncoding& encoding, std::vector<uint8_t>& out)
        : m_header(checked(header)),
          m_config(webp_config(encoding)),
          m_picture(header, encoding.lossless ? WebpPicture::Planes::kArgb : WebpPicture::Planes::kYuv),
          m_out(out) {}

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
        picture->custom_ptr = &m_out;
        m_out.clear();
        if (WebPEncode(&m_config, picture) == 0) {
            throw_webp_encoding(picture->error_code);
        }
        if (m_header.profile != nullptr) {
            m_out = with_profile(std::move(m_out), *m_header.profile);
        }
    }

 private:
    static const RowsHeader& checked(const RowsHeader& header) {
        check_webp_picture(header);
        return header;
    }
    size_t row_size() const { return m_header.form.pixel_size() * static_cast<size_t>(m_header.width); }

    RowsHeader m_header;
    WebPConfig m_config;
    WebpPicture m_picture;
    std::vector<uint8_t>& m_out;
    int32_t m_given = 0;
    std::vector<uint8_t> m_odd;
};

class AnimationWriter final : public WebpAnimationWriter {
 public:
    AnimationWriter(int32_t width, int32_t height, const WebpEncoding& encoding, std::vector<uint8_t>& out)
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
        m_out.assign(file.bytes, file.bytes + file.size);
    }

 private:
    class FrameWriter final : public RowWriter {
     public:
        FrameWriter(AnimationWriter& owner, const RowsHeader& header, int duration)
            : m_owner(owner), m_picture(header, WebpPicture::Planes::kArgb), m_duration(duration) {}
        void write(int32_t count, std::span<const uint8_t> rows) override { m_picture.put(count, rows.data()); }
        void finish() override { m_owner.add(m_picture.get(), m_duration); }

     private:
        AnimationWriter& m_owner;
        WebpPicture m_picture;
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

    WebPConfig m_config;
    int32_t m_width;
    int32_t m_height;
    std::vector<uint8_t>& m_out;
    std::unique_ptr<WebPAnimEncoder, Delete> m_encoder;
    int m_time = 0;  // milliseconds, when the next frame begins
};

}  // namespace

std::unique_ptr<RowWriter> make_webp_writer(const RowsHeader& header, const WebpEncoding& encoding,
                                            std::vector<uint8_t>& out) {
    return std::make_unique<StillWriter>(header, encoding, out);
}

std::unique_ptr<WebpAnimationWriter> make_webp_animation_writer(int32_t width, int32_t height,
                                                                const WebpEncoding& encoding,
                                                                std::vector<uint8_t>& out) {
    return std::make_unique<AnimationWriter>(width, height, encoding, out);
}

}  // namespace zelmor::imagework

// Pictures of libwebp; see webp_picture.h.
#include "runtime/native/formats/webp/webp_picture.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <string>

#include "runtime/native/formats/webp/webp_codec.h"
#include "runtime/native/formats/webp/webp_encoding.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

[[noreturn]] void no_memory() {
    throw PictureError(Failure::kInternal, "there is no memory for encoding the picture");
}

void copy_plane(const uint8_t* from, int from_stride, uint8_t* to, int to_stride, int width, int height) {
    for (int y = 0; y < height; y++) {
        std::memcpy(to + static_cast<ptrdiff_t>(y) * to_stride, from + static_cast<ptrdiff_t>(y) * from_stride,
                    static_cast<size_t>(width));
    }
}

}  // namespace

void check_webp_picture(const RowsHeader& header) {
    const PixelForm& form = header.form;
    if (form.color != ColorModel::kRgb || form.sample != SampleType::kUint8) {
        throw PictureError(Failure::kEncoding, "WebP holds RGB of 8 bits a channel alone");
    }
    if (header.width < 1 || header.height < 1 || header.width > kWebpSide || header.height > kWebpSide) {
        throw PictureError(Failure::kEncoding, "WebP holds at most " + std::to_string(kWebpSide) +
                                                   " pixels to a side; the image is " + std::to_string(header.width) +
                                                   " by " + std::to_string(header.height));
    }
}

WebPConfig webp_config(const WebpEncoding& encoding) {
    WebPConfig config;
    if (WebPConfigInit(&config) == 0) {
        throw PictureError(Failure::kInternal, "the WebP encoder is of another version");
    }
    config.lossless = encoding.lossless ? 1 : 0;
    config.exact = config.lossless;  // keeps the colors of transparent pixels
    config.quality = static_cast<float>(encoding.quality);
    if (WebPValidateConfig(&config) == 0) {
        throw PictureError(Failure::kEncoding, "WebP has no quality " + std::to_string(encoding.quality));
    }
    return config;
}

WebpPicture::WebpPicture(const RowsHeader& header, Planes planes) : m_alpha(header.form.alpha) {
    if (WebPPictureInit(&m_picture) == 0) {
        throw PictureError(Failure::kInternal, "the WebP encoder is of another version");
    }
    m_picture.width = header.width;
    m_picture.height = header.height;
    m_picture.use_argb = planes == Planes::kArgb ? 1 : 0;
    m_picture.colorspace = m_alpha ? WEBP_YUV420A : WEBP_YUV420;
    if (WebPPictureAlloc(&m_picture) == 0) {
        no_memory();
    }
}

void WebpPicture::put(int32_t count, const uint8_t* rows) {
    assert(count >= 0 && m_next + count <= m_picture.height);
    if (count == 0) {
        return;
    }
    m_picture.use_argb != 0 ? put_argb(count, rows) : put_planes(count, rows);
    m_next += count;
}

void WebpPicture::put_argb(int32_t count, const uint8_t* rows) {
    const size_t step = m_alpha ? 4 : 3;
    for (int32_t y = m_next; y < m_next + count; y++) {
        uint32_t* to = m_picture.argb + static_cast<ptrdiff_t>(y) * m_picture.argb_stride;
        for (int32_t x = 0; x < m_picture.width; x++, rows += step) {
            const uint32_t alpha = m_alpha ? rows[3] : 0xFFU;
            to[x] = alpha << 24 | static_cast<uint32_t>(rows[0]) << 16 | static_cast<uint32_t>(rows[1]) << 8 | rows[2];
        }
    }
}

// The library converts a strip, whose planes go to their place.
void WebpPicture::put_planes(int32_t count, const uint8_t* rows) {
    assert(m_next % 2 == 0 && (count % 2 == 0 || m_next + count == m_picture.height));
    WebPPicture strip;
    WebPPictureInit(&strip);
    strip.width = m_picture.width;
    strip.height = count;
    const int stride = m_picture.width * (m_alpha ? 4 : 3);
    const int imported =
        m_alpha ? WebPPictureImportRGBA(&strip, rows, stride) : WebPPictureImportRGB(&strip, rows, stride);
    if (imported == 0) {
        WebPPictureFree(&strip);
        no_memory();
    }
    const int half_width = (m_picture.width + 1) / 2;
    const int half_count = (count + 1) / 2;
    const ptrdiff_t row = m_next;
    const ptrdiff_t half_row = m_next / 2;
    copy_plane(strip.y, strip.y_stride, m_picture.y + row * m_picture.y_stride, m_picture.y_stride, m_picture.width,
               count);
    copy_plane(strip.u, strip.uv_stride, m_picture.u + half_row * m_picture.uv_stride, m_picture.uv_stride, half_width,
               half_count);
    copy_plane(strip.v, strip.uv_stride, m_picture.v + half_row * m_picture.uv_stride, m_picture.uv_stride, half_width,
               half_count);
    if (m_alpha && strip.a != nullptr) {
        copy_plane(strip.a, strip.a_stride, m_picture.a + row * m_picture.a_stride, m_picture.a_stride, m_picture.width,
                   count);
    } else if (m_alpha) {  // an opaque strip has no such plane
        std::memset(m_picture.a + row * m_picture.a_stride, 0xFF,
                    static_cast<size_t>(m_picture.a_stride) * static_cast<size_t>(count));
    }
    WebPPictureFree(&strip);
}

void throw_webp_encoding(WebPEncodingError error) {
    switch (error) {
        case VP8_ENC_ERROR_OUT_OF_MEMORY:
        case VP8_ENC_ERROR_BITSTREAM_OUT_OF_MEMORY:
            no_memory();
        case VP8_ENC_ERROR_PARTITION0_OVERFLOW:
        case VP8_ENC_ERROR_PARTITION_OVERFLOW:
            throw PictureError(Failure::kEncoding, "the picture is too large for WebP at this quality");
        case VP8_ENC_ERROR_FILE_TOO_BIG:
            throw PictureError(Failure::kEncoding, "the file would be larger than WebP files can be");
        default:
            throw PictureError(Failure::kInternal,
                               "the WebP encoder failed with the error " + std::to_string(static_cast<int>(error)));
    }
}

}  // namespace zelmor::imagework

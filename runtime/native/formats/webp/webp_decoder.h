// Decoding of one coded picture by libwebp, step by step.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_WEBP_WEBP_DECODER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_WEBP_WEBP_DECODER_H

#include <webp/decode.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace zelmor::imagework {

// Where the decoder puts rows of RGB, or RGBA where `alpha` says so.
struct WebpRows {
    uint8_t* first;
    size_t row_size;  // bytes from a row to the next
    int32_t width;
    int32_t height;
    bool alpha;
};

class WebpDecoder {
 public:
    // `data` is a picture chunk with its header, after an alpha chunk where there is one. Where the rows are smaller
    // than the picture, the decoder scales. The data and the memory of the rows stay where they are.
    WebpDecoder(std::span<const uint8_t> data, const WebpRows& rows);

    // Decodes until there are so many rows; returns how many there are, which may be more. PictureError(kDamaged) where
    // the data ends or makes no sense before; done() tells then what holds.
    int32_t decode(int32_t rows);
    // How many rows are decoded.
    int32_t done() const { return m_done; }

 private:
    struct Delete {
        void operator()(WebPIDecoder* decoder) const { WebPIDelete(decoder); }
    };

    std::span<const uint8_t> m_data;
    int32_t m_height;
    size_t m_step;
    size_t m_given = 0;
    int32_t m_done = 0;
    WebPDecoderConfig m_config;
    std::unique_ptr<WebPIDecoder, Delete> m_decoder;  // before the configuration goes
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_WEBP_WEBP_DECODER_H

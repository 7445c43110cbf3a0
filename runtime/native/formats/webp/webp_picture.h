// A picture of libwebp, filled row by row, and the settings that it is encoded with.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_WEBP_WEBP_PICTURE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_WEBP_WEBP_PICTURE_H

#include <webp/encode.h>

#include <cstdint>
#include <span>

#include "runtime/native/formats/webp/webp_encoding.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/rows.h"

namespace zelmor::imagework {

// Refuses forms and sizes that the format does not have; PictureError(kEncoding).
void check_webp_picture(const RowsHeader& header);

WebPConfig webp_config(const WebpEncoding& encoding);

// Owner of the library's structure, which has the pixels as the coding needs them: ARGB, or planes of luma, of chroma
// at half the size, and of alpha.
class WebpPicture {
 public:
    enum class Planes : uint8_t { kArgb, kYuv };

    WebpPicture(const RowsHeader& header, Planes planes);
    WebpPicture(const WebpPicture&) = delete;
    WebpPicture& operator=(const WebpPicture&) = delete;
    ~WebpPicture() { WebPPictureFree(&m_picture); }

    WebPPicture* get() { return &m_picture; }
    // The next rows, in the form of the header. Chroma stands for two rows, so that planes take an even number of rows,
    // except for the last ones.
    void put(int32_t count, const uint8_t* rows);

 private:
    void put_argb(int32_t count, const uint8_t* rows);
    void put_planes(int32_t count, const uint8_t* rows);

    WebPPicture m_picture;
    bool m_alpha;
    int32_t m_next = 0;
};

// The reason why the library did not encode the picture; PictureError.
[[noreturn]] void throw_webp_encoding(WebPEncodingError error);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_WEBP_WEBP_PICTURE_H

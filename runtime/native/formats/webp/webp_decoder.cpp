// The decoder; see webp_decoder.h.
#include "runtime/native/formats/webp/webp_decoder.h"

#include <algorithm>
#include <cassert>
#include <string>

#include "runtime/native/formats/webp/webp_structure.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

// Pieces of the data that are given to the library one after the other, so that rows come before all is decoded. The
// library begins again with each piece that ends in a picture's tables, so that there are not too many.
constexpr size_t kPieces = 64;
constexpr size_t kSmallestPiece = size_t{16} << 10;

}  // namespace

WebpDecoder::WebpDecoder(std::span<const uint8_t> data, const WebpRows& rows)
    : m_data(data), m_height(rows.height), m_step(std::max(kSmallestPiece, data.size() / kPieces)) {
    if (WebPInitDecoderConfig(&m_config) == 0) {
        throw PictureError(Failure::kInternal, "the WebP decoder is of another version");
    }
    if (WebPGetFeatures(data.data(), data.size(), &m_config.input) != VP8_STATUS_OK) {
        webp_damaged("a picture has no header");
    }
    m_config.output.colorspace = rows.alpha ? MODE_RGBA : MODE_RGB;
    m_config.output.is_external_memory = 1;
    m_config.output.u.RGBA.rgba = rows.first;
    m_config.output.u.RGBA.stride = static_cast<int>(rows.row_size);
    m_config.output.u.RGBA.size =
        rows.row_size * static_cast<size_t>(rows.height - 1) + static_cast<size_t>(rows.width) * (rows.alpha ? 4 : 3);
    if (rows.width != m_config.input.width || rows.height != m_config.input.height) {
        m_config.options.use_scaling = 1;
        m_config.options.scaled_width = rows.width;
        m_config.options.scaled_height = rows.height;
    }
    m_decoder.reset(WebPIDecode(nullptr, 0, &m_config));
    if (m_decoder == nullptr) {
        throw PictureError(Failure::kInternal, "there is no memory for the WebP decoder");
    }
}

int32_t WebpDecoder::decode(int32_t rows) {
    assert(rows <= m_height);
    while (m_done < rows) {
        const bool all = m_given == m_data.size();
        m_given = std::min(m_data.size(), m_given + m_step);
        const VP8StatusCode status =
            all ? VP8_STATUS_NOT_ENOUGH_DATA : WebPIUpdate(m_decoder.get(), m_data.data(), m_given);
        int last = 0;
        if (WebPIDecGetRGB(m_decoder.get(), &last, nullptr, nullptr, nullptr) != nullptr) {
            m_done = std::clamp(last, m_done, m_height);
        }
        if (m_done >= rows) {
            break;
        }
        if (status == VP8_STATUS_OUT_OF_MEMORY) {
            throw PictureError(Failure::kInternal, "there is no memory for decoding the picture");
        }
        if (status != VP8_STATUS_OK && status != VP8_STATUS_SUSPENDED) {
            webp_damaged(std::string("the pixels ") + (all ? "end" : "are damaged") + " in row " +
                         std::to_string(m_done) + " of " + std::to_string(m_height));
        }
    }
    return m_done;
}

}  // namespace zelmor::imagework

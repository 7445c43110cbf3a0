// Pictures as PNG; see embedded_png.h.
#include "runtime/native/formats/svg/embedded_png.h"

#include <algorithm>

#include "runtime/native/formats/svg/base64.h"
#include "runtime/native/imagework/loader.h"

namespace zelmor::embed {

std::string png_address(std::span<const drawwork::Argb> pixels, int32_t width, int32_t height) {
    const auto opaque = [](drawwork::Argb pixel) { return pixel >> 24 == 255; };
    const bool alpha = !std::all_of(pixels.begin(), pixels.end(), opaque);
    const auto picture = image_backend().create(width, height, alpha, false, 0xFF000000);
    picture->write_argb({0, 0, width, height}, pixels);
    const imagework::EncodedBytes file = picture->encode(imagework::default_encoding(imagework::Format::kPng));
    return "data:image/png;base64," + imagework::to_base64(file.bytes());
}

}  // namespace zelmor::embed

// Making and taking apart pictures for the tests; see pictures.h.
#include "tests/unit/imagework/pictures.h"

#include <random>

#include "runtime/native/imagework/probe/probe.h"

namespace zelmor::imagework {

std::unique_ptr<Picture> noise(int32_t width, int32_t height, bool alpha, uint32_t seed) {
    std::mt19937 random(seed);
    std::vector<Argb> pixels(static_cast<size_t>(width) * static_cast<size_t>(height));
    for (Argb& pixel : pixels) {
        pixel = static_cast<Argb>(random()) | (alpha ? 0 : 0xFF000000);
    }
    return picture_of(width, height, alpha, pixels);
}

std::unique_ptr<Picture> picture_of(int32_t width, int32_t height, bool alpha, const std::vector<Argb>& pixels) {
    auto picture = backend().create(width, height, alpha, false, kBlack);
    picture->write_argb({0, 0, width, height}, pixels);
    return picture;
}

std::vector<Argb> pixels_of(const Picture& picture) {
    std::vector<Argb> pixels(static_cast<size_t>(picture.width()) * static_cast<size_t>(picture.height()));
    picture.read_argb({0, 0, picture.width(), picture.height()}, pixels);
    return pixels;
}

std::vector<uint8_t> encoded(const Picture& picture, const FormatEncoding& format) {
    Encoding encoding;
    encoding.format = format;
    EncodedBytes bytes = picture.encode(encoding);
    return {bytes.data.get(), bytes.data.get() + bytes.size};
}

std::unique_ptr<Picture> decoded(const std::vector<uint8_t>& data, Recovery recovery) {
    DecodeOptions options;
    options.recovery = recovery;
    return backend().decode(data, options);
}

SharedFrames opened(const std::vector<uint8_t>& file, const DecodeOptions& options) {
    return backend().open_frames(memory_source(file), probe(std::span(file)), options);
}

std::vector<Frame> frames_of(const std::vector<uint8_t>& data) {
    const SharedFrames frames = opened(data);
    std::vector<Frame> found;
    for (size_t i = 0; i < frames->count(); i++) {
        found.push_back({backend().decode_frame(frames, i, {}), frames->header(i).duration});
        found.back().picture->decode();
    }
    return found;
}

}  // namespace zelmor::imagework

// What the tests of the image backend share: the backend itself, and pictures made from fixed seeds.
#ifndef ZELMOR_TESTS_UNIT_IMAGEWORK_PICTURES_H
#define ZELMOR_TESTS_UNIT_IMAGEWORK_PICTURES_H

#include <memory>
#include <vector>

#include "failure_of.h"
#include "tests/unit/imagework/backend_library.h"

namespace zelmor::imagework {

// Noise: every pixel another color. Alpha varies too where there is any.
std::unique_ptr<Picture> noise(int32_t width, int32_t height, bool alpha, uint32_t seed = 1);

// A picture of the pixels given, row by row.
std::unique_ptr<Picture> picture_of(int32_t width, int32_t height, bool alpha, const std::vector<Argb>& pixels);

std::vector<Argb> pixels_of(const Picture& picture);

std::vector<uint8_t> encoded(const Picture& picture, const FormatEncoding& format);
std::unique_ptr<Picture> decoded(const std::vector<uint8_t>& data, Recovery recovery = Recovery::kNone);

SharedFrames opened(const std::vector<uint8_t>& file, const DecodeOptions& options = {});

// A frame of a file, decoded, and the milliseconds that an animation shows it.
struct Frame {
    std::unique_ptr<Picture> picture;
    int duration = 0;
};
std::vector<Frame> frames_of(const std::vector<uint8_t>& data);

}  // namespace zelmor::imagework

#endif  // ZELMOR_TESTS_UNIT_IMAGEWORK_PICTURES_H

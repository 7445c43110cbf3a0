// Turning by right angles in squares of pixels that the processor's cache holds, since one of the two pictures is
// walked through column by column; see quarter_turns.h.
#include "runtime/native/imagework/vips/quarter_turns.h"

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstring>
#include <type_traits>

#include "runtime/native/imagework/vips/strips.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

constexpr int kSquare = 32;

// Where a pixel of the new picture was: `start` + x * `across` + y * `down`, in bytes.
struct Walk {
    const uint8_t* start;
    std::ptrdiff_t across;
    std::ptrdiff_t down;
};

Walk walk_of(const VImage& image, int quarters) {
    const auto pixel = static_cast<std::ptrdiff_t>(VIPS_IMAGE_SIZEOF_PEL(image.get_image()));
    const auto row = pixel * image.width();
    switch (quarters) {
        case 1:
            return {row_of(image, image.height() - 1), -row, pixel};
        case 2:
            return {row_of(image, image.height() - 1, image.width() - 1), -pixel, -row};
        default:
            return {row_of(image, 0, image.width() - 1), row, -pixel};
    }
}

// `Size` is the number of bytes of a pixel, so that each is copied by an instruction or two.
template <class Size>
void turn_strip(const Walk& walk, Size size, const VImage& target, int begin, int end) {
    const auto width = static_cast<size_t>(target.width());
    uint8_t* const first = row_of(target, begin);
    for (int top = begin; top < end; top += kSquare) {
        for (int left = 0; left < static_cast<int>(width); left += kSquare) {
            const int right = std::min(left + kSquare, static_cast<int>(width));
            for (int y = top; y < std::min(top + kSquare, end); y++) {
                const uint8_t* from = walk.start + left * walk.across + y * walk.down;
                uint8_t* to =
                    first + (static_cast<size_t>(y - begin) * width + static_cast<size_t>(left)) * size_t{size};
                for (int x = left; x < right; x++, from += walk.across, to += size_t{size}) {
                    std::memcpy(to, from, size_t{size});
                }
            }
        }
    }
}

template <class Work>
void by_size(size_t size, Work&& work) {
    switch (size) {
        case 1:
            return work(std::integral_constant<size_t, 1>());
        case 2:
            return work(std::integral_constant<size_t, 2>());
        case 3:
            return work(std::integral_constant<size_t, 3>());
        case 4:
            return work(std::integral_constant<size_t, 4>());
        case 6:
            return work(std::integral_constant<size_t, 6>());
        case 8:
            return work(std::integral_constant<size_t, 8>());
        default:
            return work(size);
    }
}

}  // namespace

VImage quarter_turned(const VImage& image, int quarters) {
    assert(quarters >= 0 && quarters <= 3);
    if (quarters == 0) {
        return image;
    }
    const VImage source = image.copy_memory();
    const bool swaps = quarters != 2;
    VImage target = raster_like(source, swaps ? source.height() : source.width(),
                                swaps ? source.width() : source.height(), source.bands(), source.format());
    const Walk walk = walk_of(source, quarters);
    by_size(VIPS_IMAGE_SIZEOF_PEL(source.get_image()), [&](auto size) {
        for_strips(target, 2 * kSquare, [&](int begin, int end) { turn_strip(walk, size, target, begin, end); });
    });
    return target;
}

}  // namespace zelmor::imagework

// Gray in whole numbers; see gray.h.
#include "runtime/native/imagework/vips/gray.h"

#include <cstdint>

#include "runtime/native/imagework/vips/strips.h"
#include "runtime/native/imagework/vips/wide_code.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

constexpr int kGrayStrip = 64;

// The sum in thousandths is a whole number. A quarter more than the half keeps it off the limit between two results by
// more than what the multiplication can be wrong.
template <class Sample, class To, int bands>
struct GrayRow {
    ZELMOR_INLINE void run(const Sample* from, To* to, size_t pixels) {
        using Work = std::conditional_t<sizeof(Sample) == 1, float, double>;
        constexpr int kShift = static_cast<int>(8 * (sizeof(Sample) - sizeof(To)));
        for (size_t i = 0; i < pixels; i++, from += bands) {
            const int32_t thousandths = 299 * from[0] + 587 * from[1] + 114 * from[2];
            const auto gray = static_cast<int32_t>((static_cast<Work>(thousandths) + Work(500.25)) * Work(0.001));
            to[i] = static_cast<To>(gray >> kShift);
        }
    }
};

template <class Sample, class To>
VImage gray_raster(const VImage& image, VipsBandFormat format, VipsInterpretation interpretation) {
    const VImage source = image.copy_memory();
    VImage target = raster_like(source, source.width(), source.height(), 1, format);
    target.get_image()->Type = interpretation;
    const auto pixels = static_cast<size_t>(source.width());
    for_strips(target, kGrayStrip, [&](int begin, int end) {
        for (int y = begin; y < end; y++) {
            const auto* from = reinterpret_cast<const Sample*>(row_of(source, y));
            auto* to = reinterpret_cast<To*>(row_of(target, y));
            if (source.bands() == 3) {
                run_step<GrayRow<Sample, To, 3>>(from, to, pixels);
            } else {
                run_step<GrayRow<Sample, To, 4>>(from, to, pixels);
            }
        }
    });
    return target;
}

}  // namespace

VImage gray_of(const VImage& image) {
    if (!is_gray_image(image) && image.format() == VIPS_FORMAT_UCHAR) {
        return gray_raster<uint8_t, uint8_t>(image, VIPS_FORMAT_UCHAR, VIPS_INTERPRETATION_B_W);
    }
    if (!is_gray_image(image) && image.format() == VIPS_FORMAT_USHORT) {
        return gray_raster<uint16_t, uint16_t>(image, VIPS_FORMAT_USHORT, VIPS_INTERPRETATION_GREY16);
    }
    return luma(image);
}

VImage gray_8_bit(const VImage& image) {
    if (!is_gray_image(image) && image.format() == VIPS_FORMAT_UCHAR) {
        return gray_raster<uint8_t, uint8_t>(image, VIPS_FORMAT_UCHAR, VIPS_INTERPRETATION_B_W);
    }
    if (!is_gray_image(image) && image.format() == VIPS_FORMAT_USHORT) {
        return gray_raster<uint16_t, uint8_t>(image, VIPS_FORMAT_UCHAR, VIPS_INTERPRETATION_B_W);
    }
    return as_8_bit(luma(image)).copy_memory();
}

}  // namespace zelmor::imagework

// The bits of a pixel in BmpOptions, which know whether they were ever set.
//
// New options show 24, but a picture of 1 bit a pixel keeps it: a scanned page would become 24 times larger.
#include "runtime/native/formats/bmp/bmp_options.h"

#include "generated/runtime/Zelmor.Imaging.ImageOptions.h"
#include "runtime/native/behaviors/images/option_checks.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/formats/bmp/bmp_encoding.h"

namespace zelmor::embed {

namespace {

using BmpOptionsApi = api::ImageOptions::BmpOptions;

int32_t bmp_bits_per_pixel(Record& self) {
    return own_bits_per_pixel(self).value_or(imagework::BmpEncoding{}.bits_per_pixel);
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&bmp_bits_per_pixel, BmpOptionsApi::get_BitsPerPixel>(),
});

}  // namespace

std::optional<int32_t> own_bits_per_pixel(const ManagedObject& options) {
    if (is_unset(property(options, "BitsPerPixel"))) {
        return std::nullopt;
    }
    return static_cast<int32_t>(property_int(options, "BitsPerPixel"));
}

}  // namespace zelmor::embed

// The one transparent color of a PNG file; see png_codec.h.
#include <cassert>
#include <cstring>

#include "runtime/native/formats/png/png_codec.h"
#include "runtime/native/formats/png/png_encoding.h"

namespace zelmor::imagework {
namespace {

template <class Sample>
bool has_key(const PngKey& key, size_t colors, std::span<const uint8_t> rows) {
    constexpr uint32_t kTop = static_cast<Sample>(~Sample{0});
    const uint32_t key_top = (1U << key.bit_depth) - 1;
    Sample wanted[3]{};
    for (size_t band = 0; band < colors; band++) {
        wanted[band] = static_cast<Sample>(key.samples[band] * (kTop / key_top));
    }
    const size_t step = (colors + 1) * sizeof(Sample);
    for (size_t at = 0; at + step <= rows.size(); at += step) {
        Sample pixel[4];
        std::memcpy(pixel, rows.data() + at, step);
        if (std::memcmp(pixel, wanted, colors * sizeof(Sample)) == 0) {
            if (pixel[colors] != 0) {
                return false;
            }
        } else if (pixel[colors] != kTop || (key.bit_depth < 8 && pixel[0] % (kTop / key_top) != 0)) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool has_png_key(const PngKey& key, const RowsHeader& header, std::span<const uint8_t> rows) {
    const PixelForm& form = header.form;
    const bool gray = form.color == ColorModel::kGray;
    if (!form.alpha || (!gray && form.color != ColorModel::kRgb)) {
        return false;
    }
    const auto colors = static_cast<size_t>(form.color_bands());
    if (form.sample == SampleType::kUint16) {
        return key.bit_depth == 16 && has_key<uint16_t>(key, colors, rows);
    }
    const bool fits = key.bit_depth == 8 || (gray && key.bit_depth < 8);
    return form.sample == SampleType::kUint8 && fits && has_key<uint8_t>(key, colors, rows);
}

}  // namespace zelmor::imagework

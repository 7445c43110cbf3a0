// A color as samples of a form; see lost_pixels.h.
#include "runtime/native/imagework/tiff/lost_pixels.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <limits>

#include "runtime/native/imagework/palette_search.h"

namespace zelmor::imagework {
namespace {

using Amounts = std::vector<double>;  // each 0 to 1; a* and b* -1 to 1

double channel(Argb color, int shift) {
    return (color >> shift & 0xFF) / 255.0;
}

double linear(double amount) {
    return amount <= 0.04045 ? amount / 12.92 : std::pow((amount + 0.055) / 1.055, 2.4);
}
double lab_root(double amount) {
    return amount > 216.0 / 24389.0 ? std::cbrt(amount) : (24389.0 / 27.0 * amount + 16.0) / 116.0;
}

// From sRGB, adapted to D50.
Amounts lab_of(Argb color) {
    const double red = linear(channel(color, 16));
    const double green = linear(channel(color, 8));
    const double blue = linear(channel(color, 0));
    const double x = lab_root((0.4360747 * red + 0.3850649 * green + 0.1430804 * blue) / 0.9642200);
    const double y = lab_root(0.2225045 * red + 0.7168786 * green + 0.0606169 * blue);
    const double z = lab_root((0.0139322 * red + 0.0971045 * green + 0.7141733 * blue) / 0.8252100);
    return {(116.0 * y - 16.0) / 100.0, 500.0 * (x - y) / 128.0, 200.0 * (y - z) / 128.0};
}

// Ink by the plain rule: as much black as all three others share.
Amounts cmyk_of(Argb color) {
    const std::array<double, 3> light{channel(color, 16), channel(color, 8), channel(color, 0)};
    const double most = *std::max_element(light.begin(), light.end());
    Amounts amounts;
    for (const double amount : light) {
        amounts.push_back(most > 0 ? (most - amount) / most : 0.0);
    }
    amounts.push_back(1.0 - most);
    return amounts;
}

Amounts amounts_of(const PixelForm& form, Argb color) {
    switch (form.color) {
        case ColorModel::kRgb:
            return {channel(color, 16), channel(color, 8), channel(color, 0)};
        case ColorModel::kCmyk:
            return cmyk_of(color);
        case ColorModel::kLab:
            return lab_of(color);
        case ColorModel::kGray:
        case ColorModel::kIndexed:
            break;
    }
    return {0.299 * channel(color, 16) + 0.587 * channel(color, 8) + 0.114 * channel(color, 0)};
}

template <class Number>
void put(std::vector<uint8_t>& pixel, Number number) {
    const size_t at = pixel.size();
    pixel.resize(at + sizeof number);
    std::memcpy(pixel.data() + at, &number, sizeof number);
}
template <class Number>
void put_amount(std::vector<uint8_t>& pixel, double amount) {
    constexpr double kLeast = std::numeric_limits<Number>::min();
    constexpr double kMost = std::numeric_limits<Number>::max();
    put(pixel, static_cast<Number>(std::clamp(std::round(kLeast + amount * (kMost - kLeast)), kLeast, kMost)));
}

void put_sample(std::vector<uint8_t>& pixel, SampleType type, double amount) {
    switch (type) {
        case SampleType::kUint8:
            return put_amount<uint8_t>(pixel, amount);
        case SampleType::kInt8:
            return put_amount<int8_t>(pixel, amount);
        case SampleType::kUint16:
            return put_amount<uint16_t>(pixel, amount);
        case SampleType::kInt16:
            return put_amount<int16_t>(pixel, amount);
        case SampleType::kUint32:
            return put_amount<uint32_t>(pixel, amount);
        case SampleType::kInt32:
            return put_amount<int32_t>(pixel, amount);
        case SampleType::kFloat:
            return put(pixel, static_cast<float>(amount));
        case SampleType::kDouble:
            return put(pixel, amount);
    }
}

// a* or b* as TIFF has it.
void put_lab_color(std::vector<uint8_t>& pixel, SampleType type, double amount) {
    const double clipped = std::clamp(amount, -1.0, 127.0 / 128.0);
    if (type == SampleType::kUint8) {
        put(pixel, static_cast<int8_t>(std::lround(clipped * 128.0)));
    } else if (type == SampleType::kUint16) {
        put(pixel, static_cast<int16_t>(std::lround(clipped * 32768.0)));
    } else {
        put(pixel, static_cast<float>(amount * 128.0));
    }
}

}  // namespace

std::vector<uint8_t> pixel_of_color(const RowsHeader& header, Argb color) {
    const PixelForm& form = header.form;
    std::vector<uint8_t> pixel;
    if (form.color == ColorModel::kIndexed) {
        return {static_cast<uint8_t>(PaletteSearch(header.palette).nearest(color))};
    }
    const Amounts amounts = amounts_of(form, color);
    for (size_t i = 0; i < amounts.size(); i++) {
        if (form.color == ColorModel::kLab && i > 0) {
            put_lab_color(pixel, form.sample, amounts[i]);
        } else if (form.color == ColorModel::kLab && form.sample == SampleType::kFloat) {
            put(pixel, static_cast<float>(amounts[i] * 100.0));
        } else if (form.bits < 8) {
            const double steps = (1 << form.bits) - 1;
            put_sample(pixel, form.sample, std::round(amounts[i] * steps) / steps);
        } else {
            put_sample(pixel, form.sample, amounts[i]);
        }
    }
    if (form.alpha) {
        put_sample(pixel, form.sample, channel(color, 24));
    }
    return pixel;
}

}  // namespace zelmor::imagework

// The form in which a picture can be written as PSD; see psd_codec.h.
#include <algorithm>
#include <string>

#include "runtime/native/formats/psd/psd_codec.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

[[noreturn]] void refuse(const std::string& text) {
    throw PictureError(Failure::kEncoding, text);
}

// A palette with anything but opaque colors and transparent ones, of which a file has one.
bool has_half_transparent(const std::vector<Argb>& palette) {
    return std::any_of(palette.begin(), palette.end(),
                       [](Argb color) { return color >> 24 != 0 && color >> 24 != 255; });
}

int usual_bits(const PixelForm& form) {
    switch (form.sample) {
        case SampleType::kUint8:
        case SampleType::kInt8:
            return form.color == ColorModel::kGray && form.bits == 1 && !form.alpha ? 1 : 8;
        case SampleType::kUint16:
        case SampleType::kInt16:
            return 16;
        default:
            return 32;
    }
}

PsdColorMode usual_mode(const RowsHeader& header, int bits) {
    switch (header.form.color) {
        case ColorModel::kGray:
            return bits == 1 || (bits == 0 && usual_bits(header.form) == 1) ? PsdColorMode::kBitmap
                                                                            : PsdColorMode::kGray;
        case ColorModel::kIndexed: {
            const bool fits = (bits == 0 || bits == 8) && !has_half_transparent(header.palette);
            return bits == 1 ? PsdColorMode::kBitmap : fits ? PsdColorMode::kIndexed : PsdColorMode::kRgb;
        }
        case ColorModel::kRgb:
            return bits == 1 ? PsdColorMode::kBitmap : PsdColorMode::kRgb;
        case ColorModel::kCmyk:
            return PsdColorMode::kCmyk;
        case ColorModel::kLab:
            break;
    }
    return PsdColorMode::kLab;
}

ColorModel model_of(PsdColorMode mode, int channels) {
    switch (mode) {
        case PsdColorMode::kIndexed:
            return ColorModel::kIndexed;
        case PsdColorMode::kRgb:
            return ColorModel::kRgb;
        case PsdColorMode::kCmyk:
            return ColorModel::kCmyk;
        case PsdColorMode::kMultichannel:
            return channels == 1 ? ColorModel::kGray : ColorModel::kCmyk;
        case PsdColorMode::kLab:
            return ColorModel::kLab;
        default:
            return ColorModel::kGray;
    }
}

}  // namespace

PixelForm psd_form(const RowsHeader& header, const PsdEncoding& encoding) {
    const int asked = encoding.bits;
    if (asked != 0 && asked != 1 && asked != 8 && asked != 16 && asked != 32) {
        refuse("PSD has no samples of " + std::to_string(asked) + " bits; there are 1, 8, 16 and 32");
    }
    const PsdColorMode mode = encoding.color == PsdColorMode::kAuto ? usual_mode(header, asked) : encoding.color;
    const std::string name = psd_mode_name(mode);
    const auto at_most = [&](int most) { return std::clamp(usual_bits(header.form), 8, most); };
    const int bits = asked != 0                       ? asked
                     : mode == PsdColorMode::kBitmap  ? 1
                     : mode == PsdColorMode::kIndexed ? 8
                     : mode == PsdColorMode::kLab     ? at_most(16)
                                                      : at_most(32);
    if ((bits == 1) != (mode == PsdColorMode::kBitmap) || (mode == PsdColorMode::kIndexed && bits != 8) ||
        (mode == PsdColorMode::kLab && bits == 32)) {
        refuse("PSD has no " + name + " mode with " + std::to_string(bits) + " bits per channel");
    }
    if (bits == 1 && encoding.compression == PsdCompression::kZipWithPrediction) {
        refuse("PSD has no prediction of 1-bit samples");
    }

    PixelForm form;
    form.color = model_of(mode, encoding.channels);
    form.sample = bits == 32 ? SampleType::kFloat : bits == 16 ? SampleType::kUint16 : SampleType::kUint8;
    form.bits = bits;
    const bool opaque =
        mode == PsdColorMode::kBitmap || mode == PsdColorMode::kIndexed || mode == PsdColorMode::kMultichannel;
    const bool transparent = header.form.alpha || (header.form.color == ColorModel::kIndexed &&
                                                   std::any_of(header.palette.begin(), header.palette.end(),
                                                               [](Argb color) { return color >> 24 != 255; }));
    const int colors = form.color_bands();
    const int channels = encoding.channels;
    if (mode == PsdColorMode::kMultichannel) {
        if (channels < 0 || channels > 4) {
            refuse("channels_count: a PSD of " + name + " mode is written with 1 to 4 channels, not " +
                   std::to_string(channels));
        }
        return form;
    }
    if (channels != 0 && channels != colors && (opaque || channels != colors + 1)) {
        refuse("channels_count: a PSD of " + name + " mode has " + std::to_string(colors) + " channels" +
               (opaque ? "" : ", or one more with transparency") + ", not " + std::to_string(channels));
    }
    form.alpha = !opaque && (channels == 0 ? transparent : channels == colors + 1);
    return form;
}

}  // namespace zelmor::imagework

// The tags of a page, judged; see page_layout.h.
#include "runtime/native/formats/tiff/page_layout.h"

#include <algorithm>
#include <string>

#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::imagework {
namespace {

[[noreturn]] void refuse(const std::string& what) {
    throw PictureError(Failure::kUnsupported, "TIFF data with " + what);
}

std::string numbered(const char* what, int number) {
    return std::string(what) + " " + std::to_string(number);
}

// Sample type of so many bits of a sample format of TIFF.
SampleType sample_type(int bits, int sample_format) {
    const bool is_void = sample_format == SAMPLEFORMAT_VOID;
    if (sample_format == SAMPLEFORMAT_UINT || is_void) {
        switch (bits) {
            case 1:
            case 2:
            case 4:
            case 8:
                return SampleType::kUint8;
            case 16:
                return SampleType::kUint16;
            case 32:
                return SampleType::kUint32;
            default:
                refuse("unsigned samples of " + std::to_string(bits) + " bits");
        }
    }
    if (sample_format == SAMPLEFORMAT_INT) {
        switch (bits) {
            case 8:
                return SampleType::kInt8;
            case 16:
                return SampleType::kInt16;
            case 32:
                return SampleType::kInt32;
            default:
                refuse("signed samples of " + std::to_string(bits) + " bits");
        }
    }
    if (sample_format == SAMPLEFORMAT_IEEEFP) {
        switch (bits) {
            case 16:
            case 32:
                return SampleType::kFloat;
            case 64:
                return SampleType::kDouble;
            default:
                refuse("floating-point samples of " + std::to_string(bits) + " bits");
        }
    }
    refuse(numbered("samples of the format", sample_format));
}

ColorModel color_model(TiffInput& input, TiffPhotometric photometric) {
    switch (photometric) {
        case TiffPhotometric::kMinIsWhite:
        case TiffPhotometric::kMinIsBlack:
        case TiffPhotometric::kMask:
        case TiffPhotometric::kLogL:
            return ColorModel::kGray;
        case TiffPhotometric::kRgb:
        case TiffPhotometric::kYcbcr:
        case TiffPhotometric::kLogLuv:
            return ColorModel::kRgb;
        case TiffPhotometric::kPalette:
            return ColorModel::kIndexed;
        case TiffPhotometric::kSeparated:
            if (input.u16(TIFFTAG_INKSET) != INKSET_CMYK) {
                refuse("inks other than CMYK");
            }
            return ColorModel::kCmyk;
        case TiffPhotometric::kCieLab:
        case TiffPhotometric::kIccLab:
            return ColorModel::kLab;
        case TiffPhotometric::kAuto:
            break;
    }
    refuse(numbered("the photometric interpretation", static_cast<int>(photometric)));
}

// The bands that are no colors: at most one, which is alpha, also where the file does not say what it is.
void take_extra_samples(TiffInput& input, PageLayout& layout) {
    const int extra = layout.samples - layout.form.color_bands();
    if (extra < 0) {
        refuse(std::to_string(layout.samples) + " samples a pixel, of which its colors take " +
               std::to_string(layout.form.color_bands()));
    }
    if (extra > 1 || (extra == 1 && layout.form.color == ColorModel::kIndexed)) {
        refuse(std::to_string(extra) + " samples a pixel besides its colors");
    }
    if (extra == 0) {
        return;
    }
    layout.form.alpha = true;
    uint16_t count = 0;
    uint16_t* kinds = nullptr;
    TIFFGetFieldDefaulted(input.get(), TIFFTAG_EXTRASAMPLES, &count, &kinds);
    layout.colors.premultiplied = count > 0 && kinds[0] == EXTRASAMPLE_ASSOCALPHA;
    const SampleType type = layout.form.sample;
    const bool is_signed = type == SampleType::kInt8 || type == SampleType::kInt16 || type == SampleType::kInt32;
    if (layout.colors.premultiplied && (is_signed || layout.bits < 8 || layout.form.color == ColorModel::kLab)) {
        refuse("premultiplied alpha of " + std::string(is_signed         ? "signed samples"
                                                       : layout.bits < 8 ? "samples of fewer than 8 bits"
                                                                         : "L*a*b* colors"));
    }
}

// Forms that some colors do not have.
void check_form(const PageLayout& layout) {
    const SampleType type = layout.form.sample;
    const auto bits = std::to_string(layout.bits) + " bits";
    if (layout.form.color == ColorModel::kIndexed && type != SampleType::kUint8) {
        refuse("a palette and samples of " + bits);
    }
    if (layout.form.color == ColorModel::kLab && !(type == SampleType::kUint8 && layout.bits == 8) &&
        type != SampleType::kUint16 && type != SampleType::kFloat) {
        refuse("L*a*b* colors and samples of " + bits);
    }
    if (layout.colors.lab_offsets && type == SampleType::kFloat) {
        refuse("L*a*b* colors with offsets and floating-point samples");
    }
}

// Pages of colors that the library turns into RGB or gray of 8 bits.
void take_conversions(TiffInput& input, PageLayout& layout) {
    const bool is_ycbcr = layout.photometric == TiffPhotometric::kYcbcr;
    if (layout.compression == TiffCompression::kJpeg && is_ycbcr && !layout.separate) {
        TIFFSetField(input.get(), TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
    } else if (layout.photometric == TiffPhotometric::kLogL || layout.photometric == TiffPhotometric::kLogLuv) {
        if (layout.compression != TiffCompression::kSgiLog && layout.compression != TiffCompression::kSgiLog24) {
            refuse("logarithmic colors without their compression");
        }
        TIFFSetField(input.get(), TIFFTAG_SGILOGDATAFMT, SGILOGDATAFMT_8BIT);
    } else if (is_ycbcr || layout.compression == TiffCompression::kOldJpeg) {
        layout.converted = true;
    }
}

void require_sides(const PageLayout& layout) {
    // The library opens no page without pixels; should another version do, what follows relies on some.
    if (layout.width == 0 || layout.height == 0) {
        throw PictureError(Failure::kDamaged, "the page has no pixels");
    }
    if (layout.width > limits::kSide || layout.height > limits::kSide) {
        throw PictureError(Failure::kTooLarge,
                           "the page is " + std::to_string(layout.width) + " by " + std::to_string(layout.height) +
                               " pixels, of which a side has at most " + std::to_string(limits::kSide));
    }
}

// The entries have 16 bits a channel. Some old writers put 8 bits there.
void take_palette(TiffInput& input, const PageLayout& layout, RowsHeader& header) {
    uint16_t* reds = nullptr;
    uint16_t* greens = nullptr;
    uint16_t* blues = nullptr;
    // The library takes a page without one for gray, or refuses it; should another version not, nothing is read.
    if (TIFFGetField(input.get(), TIFFTAG_COLORMAP, &reds, &greens, &blues) != 1) {
        throw PictureError(Failure::kDamaged, "the page has no palette");
    }
    const size_t count = size_t{1} << layout.bits;
    bool is_small = true;
    for (size_t i = 0; i < count; i++) {
        is_small = is_small && reds[i] < 256 && greens[i] < 256 && blues[i] < 256;
    }
    bool is_repeated = true;
    for (size_t i = 0; i < count; i++) {
        uint64_t deep = 0xFFFF;
        Argb color = 0xFF;
        for (const uint16_t* channel : {reds, greens, blues}) {
            const auto value = static_cast<uint16_t>(is_small ? channel[i] * 257 : channel[i]);
            is_repeated = is_repeated && value % 257 == 0;
            deep = deep << 16 | value;
            color = color << 8 | value >> 8;
        }
        header.palette.push_back(color);
        header.deep_palette.push_back(deep);
    }
    if (is_repeated) {
        header.deep_palette.clear();
    }
}

std::optional<Resolution> resolution_of(TiffInput& input) {
    float horizontal = 0;
    float vertical = 0;
    const uint16_t unit = input.u16(TIFFTAG_RESOLUTIONUNIT);
    if (TIFFGetField(input.get(), TIFFTAG_XRESOLUTION, &horizontal) != 1 ||
        TIFFGetField(input.get(), TIFFTAG_YRESOLUTION, &vertical) != 1 || !(horizontal > 0) || !(vertical > 0) ||
        unit == RESUNIT_NONE) {  // the library takes no unit beyond centimeters
        return std::nullopt;
    }
    const double scale = unit == RESUNIT_CENTIMETER ? kCentimetersPerInch : 1.0;
    return Resolution{horizontal * scale, vertical * scale};
}

}  // namespace

PageLayout read_layout(TiffInput& input) {
    TIFF* tiff = input.get();
    PageLayout layout;
    layout.width = input.u32(TIFFTAG_IMAGEWIDTH);
    layout.height = input.u32(TIFFTAG_IMAGELENGTH);
    require_sides(layout);
    layout.compression = static_cast<TiffCompression>(input.u16(TIFFTAG_COMPRESSION));
    if (TIFFIsCODECConfigured(static_cast<uint16_t>(layout.compression)) != 1) {
        refuse(numbered("the compression", static_cast<int>(layout.compression)));
    }
    uint16_t photometric = 0;
    if (TIFFGetField(tiff, TIFFTAG_PHOTOMETRIC, &photometric) != 1) {
        throw PictureError(Failure::kDamaged, "the page does not tell its photometric interpretation");
    }
    layout.photometric = static_cast<TiffPhotometric>(photometric);
    layout.separate = input.u16(TIFFTAG_PLANARCONFIG) == PLANARCONFIG_SEPARATE;
    take_conversions(input, layout);
    layout.bits = input.u16(TIFFTAG_BITSPERSAMPLE);
    layout.samples = input.u16(TIFFTAG_SAMPLESPERPIXEL);
    if (layout.samples == 1) {
        layout.separate = false;
    }
    layout.tiled = TIFFIsTiled(tiff) != 0;
    layout.tile_width = input.u32(TIFFTAG_TILEWIDTH);
    layout.tile_height = input.u32(TIFFTAG_TILELENGTH);
    layout.rows_per_strip = std::clamp(input.u32(TIFFTAG_ROWSPERSTRIP), uint32_t{1}, layout.height);

    layout.form.color = color_model(input, layout.photometric);
    layout.form.sample = sample_type(layout.bits, input.u16(TIFFTAG_SAMPLEFORMAT));
    layout.form.bits = layout.bits;
    if (layout.form.color == ColorModel::kLab && layout.form.is_integer()) {  // a* and b* are signed in any case
        layout.form.sample = layout.bits == 16 ? SampleType::kUint16 : SampleType::kUint8;
    }
    layout.colors.white_is_least = layout.photometric == TiffPhotometric::kMinIsWhite;
    layout.colors.lab_offsets = layout.photometric == TiffPhotometric::kIccLab;
    take_extra_samples(input, layout);
    check_form(layout);
    if (layout.converted) {
        if (layout.bits != 8 || layout.form.sample != SampleType::kUint8 || layout.form.alpha) {
            refuse("YCbCr colors in another form than 8 bits without alpha");
        }
        layout.colors = {};
    }
    return layout;
}

RowsHeader header_of(TiffInput& input, const PageLayout& layout) {
    RowsHeader header;
    header.width = static_cast<int32_t>(layout.width);
    header.height = static_cast<int32_t>(layout.height);
    header.form = layout.form;
    header.resolution = resolution_of(input);
    if (layout.form.color == ColorModel::kIndexed) {
        take_palette(input, layout, header);
    }
    uint32_t size = 0;
    void* profile = nullptr;
    if (TIFFGetField(input.get(), TIFFTAG_ICCPROFILE, &size, &profile) == 1 && size > 0 &&
        size <= limits::kProfileBytes) {
        const auto* bytes = static_cast<const uint8_t*>(profile);
        header.profile = std::make_shared<const std::vector<uint8_t>>(bytes, bytes + size);
    }
    return header;
}

}  // namespace zelmor::imagework

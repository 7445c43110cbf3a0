// The rules of the format and of libtiff's encoders; see writable_forms.h.
#include "runtime/native/formats/tiff/writable_forms.h"

#include <tiffio.h>

#include <algorithm>
#include <iterator>
#include <string>

#include "runtime/native/formats/tiff/tiff_encoding.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

using C = TiffCompression;
using P = TiffPhotometric;

bool is_one_of(C compression, std::initializer_list<C> some) {
    return std::find(some.begin(), some.end(), compression) != some.end();
}

bool is_bilevel(const PixelForm& form) {
    return form.bits == 1 && form.bands() == 1;
}
bool has_bytes(const PixelForm& form) {
    return form.sample == SampleType::kUint8 && form.bits == 8;
}
bool is_ycbcr_jpeg(const PixelForm& form, const TiffEncoding& encoding) {
    return encoding.compression == C::kJpeg && written_photometric(form, encoding) == P::kYcbcr;
}

// Each rule answers what is wrong; an empty text where nothing is.

std::string wrong_compression(const PixelForm& form, const TiffEncoding& encoding) {
    switch (encoding.compression) {
        case C::kCcittRle:
        case C::kFax3:
        case C::kFax4:
            return is_bilevel(form) ? "" : "fax compression takes pictures of one bit per pixel only";
        case C::kJbig:
            return is_bilevel(form) ? "" : "JBIG compression takes pictures of one bit per pixel only";
        case C::kJpeg:
            return has_bytes(form) && !form.alpha && form.color != ColorModel::kIndexed &&
                           form.color != ColorModel::kLab
                       ? ""
                       : "JPEG compression takes gray, RGB and CMYK pictures of 8 bits without alpha only";
        case C::kWebp:
            // With alpha it does not keep the colors of clear pixels.
            return has_bytes(form) && form.color == ColorModel::kRgb && !form.alpha && !encoding.separate_planes
                       ? ""
                       : "WebP compression takes RGB pictures of 8 bits without alpha in one plane only";
        case C::kLerc:
            if (encoding.big_endian &&
                form.bits > 8) {  // libtiff compresses them with their bytes the wrong way around
                return "LERC compression is little-endian only";
            }
            return form.bits < 8 || (form.sample == SampleType::kFloat && form.bits == 16)
                       ? "LERC compression takes no samples of fewer than 8 bits and no half floats"
                       : "";
        case C::kNone:
        case C::kLzw:
        case C::kDeflate:
        case C::kOldDeflate:
        case C::kPackBits:
        case C::kLzma:
        case C::kZstd:
            return "";
        case C::kOldJpeg:
        case C::kNext:
        case C::kThunderScan:
        case C::kCcittRleWords:  // libtiff does not read what it writes
        case C::kPixarLog:       // its encoder calls every depth 8 bits
        case C::kSgiLog:
        case C::kSgiLog24:
            break;
    }
    return "the TIFF compression " + std::to_string(static_cast<int>(encoding.compression)) + " is not written";
}

std::string wrong_predictor(const PixelForm& form, const TiffEncoding& encoding) {
    if (encoding.predictor == TiffDifferencing::kNone) {
        return "";
    }
    if (!is_one_of(encoding.compression, {C::kLzw, C::kDeflate, C::kOldDeflate, C::kLzma, C::kZstd})) {
        return "a predictor goes with LZW and Deflate compression only";
    }
    if (encoding.predictor == TiffDifferencing::kFloatingPoint) {
        return form.is_integer() ? "the floating-point predictor takes floating-point samples only" : "";
    }
    return form.bits == 8 || form.bits == 16 || form.bits == 32
               ? ""
               : "horizontal differencing takes samples of 8, 16 and 32 bits only";
}

std::string wrong_photometric(const PixelForm& form, const TiffEncoding& encoding) {
    if (encoding.photometric == P::kAuto || written_photometric(form, encoding) == encoding.photometric) {
        return "";
    }
    return "the photometric interpretation " + std::to_string(static_cast<int>(encoding.photometric)) +
           " does not go with the colors of the picture and their compression";
}

std::string wrong_alpha(const PixelForm& form, const TiffEncoding& encoding) {
    const bool fits = !form.alpha || encoding.alpha != TiffAlpha::kAssociated ||
                      (form.bits >= 8 && form.color != ColorModel::kLab && form.sample != SampleType::kInt8 &&
                       form.sample != SampleType::kInt16 && form.sample != SampleType::kInt32);
    return fits ? "" : "colors of this form are not stored multiplied by their alpha";
}

std::string wrong_planes(const PixelForm& form, const TiffEncoding& encoding) {
    return encoding.separate_planes && is_ycbcr_jpeg(form, encoding) ? "YCbCr colors are not stored in separate planes"
                                                                     : "";
}

// The size of the blocks that JPEG makes of a picture.
std::pair<int, int> jpeg_block(const PixelForm& form, const TiffEncoding& encoding) {
    constexpr int kBlock = 8;
    return is_ycbcr_jpeg(form, encoding)
               ? std::pair(kBlock * encoding.horizontal_subsampling, kBlock * encoding.vertical_subsampling)
               : std::pair(kBlock, kBlock);
}

std::string wrong_subsampling(const TiffEncoding& encoding) {
    for (const int factor : {encoding.horizontal_subsampling, encoding.vertical_subsampling}) {
        if (factor != 1 && factor != 2 && factor != 4) {
            return "the subsampling of YCbCr is 1, 2 or 4";
        }
    }
    constexpr int kMostOfJpeg = 8;  // which counts ten samples of all colors together
    return encoding.horizontal_subsampling * encoding.vertical_subsampling > kMostOfJpeg
               ? "the subsampling of YCbCr is not 4 in both directions"
               : "";
}

std::string wrong_strips(const RowsHeader& header, const TiffEncoding& encoding) {
    const int rows = encoding.rows_per_strip;
    if (rows == 0 || rows >= header.height || encoding.tile_width > 0) {
        return "";
    }
    if (encoding.compression == C::kJbig) {
        return "JBIG compression takes the whole picture as one strip";
    }
    const int block = jpeg_block(header.form, encoding).second;
    return encoding.compression == C::kJpeg && rows % block != 0
               ? "strips of JPEG have a multiple of " + std::to_string(block) + " rows"
               : "";
}

std::string wrong_tiles(const PixelForm& form, const TiffEncoding& encoding) {
    if (encoding.tile_width == 0 && encoding.tile_height == 0) {
        return "";
    }
    constexpr int kStep = 16;
    constexpr int kMost = 1 << 15;
    auto [across, down] = encoding.compression == C::kJpeg ? jpeg_block(form, encoding) : std::pair(kStep, kStep);
    across = std::max(across, kStep);
    down = std::max(down, kStep);
    if (encoding.tile_width <= 0 || encoding.tile_height <= 0 || encoding.tile_width % across != 0 ||
        encoding.tile_height % down != 0 || encoding.tile_width > kMost || encoding.tile_height > kMost) {
        return "tiles are a multiple of " + std::to_string(across) + " by " + std::to_string(down) +
               " pixels, at most 32768 to a side";
    }
    return encoding.compression == C::kJbig ? "JBIG compression takes no tiles" : "";
}

std::string wrong_fax_options(const TiffEncoding& encoding) {
    return (encoding.fax3_options & GROUP3OPT_UNCOMPRESSED) != 0 ? "faxes are not written in uncompressed mode" : "";
}

std::string wrong_palette(const RowsHeader& header) {
    if (header.form.color != ColorModel::kIndexed) {
        return "";
    }
    const bool is_clear =
        std::any_of(header.palette.begin(), header.palette.end(), [](Argb entry) { return entry >> 24 != 0xFF; });
    return is_clear ? "a TIFF palette holds no transparent colors" : "";
}

}  // namespace

TiffPhotometric written_photometric(const PixelForm& form, const TiffEncoding& encoding) {
    const auto choice = [&](std::initializer_list<P> allowed) {
        return std::find(allowed.begin(), allowed.end(), encoding.photometric) != allowed.end() ? encoding.photometric
                                                                                                : *allowed.begin();
    };
    switch (form.color) {
        case ColorModel::kGray:
            return is_bilevel(form) ? choice({P::kMinIsBlack, P::kMinIsWhite, P::kMask})
                                    : choice({P::kMinIsBlack, P::kMinIsWhite});
        case ColorModel::kRgb:
            if (encoding.compression == C::kJpeg) {
                return encoding.separate_planes && encoding.photometric == P::kAuto ? P::kRgb
                                                                                    : choice({P::kYcbcr, P::kRgb});
            }
            return P::kRgb;
        case ColorModel::kIndexed:
            return P::kPalette;
        case ColorModel::kCmyk:
            return P::kSeparated;
        case ColorModel::kLab:
            return form.is_integer() ? choice({P::kCieLab, P::kIccLab}) : P::kCieLab;
    }
    return P::kMinIsBlack;
}

void require_writable(const RowsHeader& header, const TiffEncoding& encoding) {
    const PixelForm& form = header.form;
    for (const std::string& wrong :
         {wrong_compression(form, encoding), wrong_predictor(form, encoding), wrong_photometric(form, encoding),
          wrong_alpha(form, encoding), wrong_subsampling(encoding), wrong_planes(form, encoding),
          wrong_strips(header, encoding), wrong_tiles(form, encoding), wrong_fax_options(encoding),
          wrong_palette(header)}) {
        if (!wrong.empty()) {
            throw PictureError(Failure::kEncoding, wrong);
        }
    }
    if (TIFFIsCODECConfigured(static_cast<uint16_t>(encoding.compression)) != 1) {
        throw PictureError(Failure::kEncoding, "this libtiff has no encoder of the compression " +
                                                   std::to_string(static_cast<int>(encoding.compression)));
    }
}

TiffEncoding fitted(const RowsHeader& header, TiffEncoding encoding) {
    const PixelForm& form = header.form;
    if (encoding.compression == C::kOldJpeg) {
        encoding.compression = C::kJpeg;
    }
    if (!wrong_compression(form, encoding).empty()) {
        encoding.compression = C::kLzw;
    }
    if (!wrong_predictor(form, encoding).empty()) {
        encoding.predictor = TiffDifferencing::kNone;
    }
    if (!wrong_alpha(form, encoding).empty()) {
        encoding.alpha = TiffAlpha::kUnassociated;
    }
    if (!wrong_subsampling(encoding).empty()) {
        encoding.horizontal_subsampling = encoding.vertical_subsampling = 2;
    }
    if (!wrong_photometric(form, encoding).empty() || !wrong_planes(form, encoding).empty()) {
        encoding.photometric = P::kAuto;
    }
    if (!wrong_tiles(form, encoding).empty()) {
        encoding.tile_width = encoding.tile_height = 0;
    }
    if (!wrong_strips(header, encoding).empty()) {
        encoding.rows_per_strip = 0;
    }
    encoding.fax3_options &= ~uint32_t{GROUP3OPT_UNCOMPRESSED};
    return encoding;
}

}  // namespace zelmor::imagework

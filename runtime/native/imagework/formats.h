// The file formats that the image backend knows, and what can be asked of it when a picture is read or written.
//
// Plain data without a library's types: both sides of the boundary of the backend's shared object include this.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FORMATS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FORMATS_H

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace zelmor::imagework {

enum class Format : uint8_t { kUnknown, kBmp, kGif, kJpeg, kPng, kTiff, kWebp };

// "PNG", "JPEG", ...; for messages.
const char* format_name(Format format);

struct Resolution {
    double horizontal;  // dots per inch
    double vertical;
    bool operator==(const Resolution&) const = default;
};

// What a picture has whose file does not tell, as a screen has.
constexpr Resolution kDefaultResolution{96.0, 96.0};

struct Rect {
    int32_t x;
    int32_t y;
    int32_t width;
    int32_t height;
    bool operator==(const Rect&) const = default;
};

// Colors cross as 0xAARRGGBB, never premultiplied.
using Argb = uint32_t;
constexpr Argb kWhite = 0xFFFFFFFF;
constexpr Argb kBlack = 0xFF000000;

enum class Recovery : uint8_t {
    kNone,        // damaged data is an error
    kConsistent,  // keep the rows before the damage, fill the rest with the background
    kMaximal,     // keep everything that the decoder makes of the data
};

class MemoryBudget;

struct DecodeOptions {
    Recovery recovery = Recovery::kNone;
    Argb background = kWhite;      // fills what was lost
    bool convert_profile = false;  // to sRGB, by the color profile
    bool ignore_profile = false;   // the embedded one
    // What the numbers mean where the file has no profile, or an ignored one; null for sRGB and the library's own CMYK.
    std::shared_ptr<const std::vector<uint8_t>> rgb_profile = {};
    std::shared_ptr<const std::vector<uint8_t>> cmyk_profile = {};
    std::shared_ptr<MemoryBudget> memory = {};  // of the image that is decoded; null where nothing is counted
    // Begins the message of a failure that is found only when pixels are needed: "Cannot load 'a.png'".
    std::string subject = {};
};

enum class BmpCompression : uint8_t { kRgb, kRle8, kRle4, kBitFields };

struct BmpEncoding {
    int bits_per_pixel = 24;  // 1, 4, 8, 16, 24 or 32
    BmpCompression compression = BmpCompression::kRgb;
};

struct GifEncoding {
    int palette_bits = 8;  // 1 to 8: there are at most so many colors
    bool interlaced = false;
    std::optional<int> loops = {};  // times that an animation is shown; 0: for ever; absent: the file does not tell
    int color_resolution = 8;       // bits of a primary color of the original, 1 to 8; the file only tells it
    bool sorted_palette = false;    // the same
    uint8_t background_index = 0;   // the same, of the color behind the frames
    uint8_t aspect_ratio = 0;       // of a pixel: this and 15, by 64; 0 does not tell
    bool trailer = true;            // the byte that ends a file
};

enum class JpegColor : uint8_t { kAuto, kGray, kYcc, kCmyk };

struct JpegEncoding {
    int quality = 75;  // 1 to 100
    bool progressive = false;
    JpegColor color = JpegColor::kAuto;
    std::string comment = {};  // UTF-8; empty for none
};

// The numbers are those of the format; kAuto stands for the form that the picture has in memory.
enum class PngColor : uint8_t {
    kGray = 0,
    kTruecolor = 2,
    kIndexed = 3,
    kGrayAlpha = 4,
    kTruecolorAlpha = 6,
    kAuto = 255,
};
enum class PngFilter : uint8_t { kNone, kSub, kUp, kAverage, kPaeth, kAdaptive };

// The one color that a gray or RGB file without alpha has as transparent, in samples of the depth given.
struct PngKey {
    int bit_depth;
    std::array<uint16_t, 3> samples;  // the first alone of gray
    bool operator==(const PngKey&) const = default;
};

struct PngEncoding {
    PngColor color = PngColor::kAuto;
    int bit_depth = 0;  // 1, 2, 4, 8 or 16; 0 keeps the picture's own
    bool interlaced = false;
    PngFilter filter = PngFilter::kAdaptive;
    int compression_level = 6;       // 0 to 9
    int plays = 0;                   // of an animation; 0: for ever
    std::optional<PngKey> key = {};  // written instead of an alpha channel where the pixels are like that
    // How the file says that its colors are sRGB; written as long as the picture has no profile.
    std::optional<int> srgb_intent = {};  // a chunk with the rendering intent
    bool srgb_gamma = false;              // a chunk with the exponent
    bool srgb_chromaticities = false;     // a chunk with the primaries
};

// The numbers are those of the format.
enum class TiffCompression : uint16_t {
    kNone = 1,
    kCcittRle = 2,
    kFax3 = 3,
    kFax4 = 4,
    kLzw = 5,
    kOldJpeg = 6,
    kJpeg = 7,
    kDeflate = 8,
    kNext = 32766,
    kCcittRleWords = 32771,
    kPackBits = 32773,
    kThunderScan = 32809,
    kPixarLog = 32909,
    kOldDeflate = 32946,
    kJbig = 34661,
    kSgiLog = 34676,
    kSgiLog24 = 34677,
    kLerc = 34887,
    kLzma = 34925,
    kZstd = 50000,
    kWebp = 50001,
};
enum class TiffPhotometric : uint16_t {
    kMinIsWhite = 0,
    kMinIsBlack = 1,
    kRgb = 2,
    kPalette = 3,
    kMask = 4,
    kSeparated = 5,
    kYcbcr = 6,
    kCieLab = 8,
    kIccLab = 9,
    kLogL = 32844,
    kLogLuv = 32845,
    kAuto = 65535,  // the usual one of the picture's colors
};
enum class TiffDifferencing : uint16_t { kNone = 1, kHorizontal = 2, kFloatingPoint = 3 };
enum class TiffAlpha : uint16_t { kUnspecified = 0, kAssociated = 1, kUnassociated = 2 };
enum class TiffUnit : uint16_t { kNone = 1, kInch = 2, kCentimeter = 3 };

// The colors that a picture is brought to before it is written; kAuto writes it in the form that it has.
enum class TiffColor : uint8_t { kAuto, kBilevel, kGray, kGrayAlpha, kRgb, kRgba, kIndexed, kCmyk, kCmyka, kLab };
enum class TiffNumbers : uint8_t { kAuto, kUnsigned, kSigned, kFloatingPoint };

struct TiffEncoding {
    TiffCompression compression = TiffCompression::kLzw;
    // Of the samples. The settings of a file say how that is; the picture that came from it is written in the form that
    // it has by now, and settings that no longer go with it are replaced.
    bool of_file = false;
    TiffColor color = TiffColor::kAuto;
    int bit_depth = 0;  // 1, 2, 4, 8, 16, 32 or 64; 0 keeps the picture's own
    TiffNumbers numbers = TiffNumbers::kAuto;
    TiffPhotometric photometric = TiffPhotometric::kAuto;
    TiffAlpha alpha = TiffAlpha::kUnassociated;
    // Of the compressed data.
    int quality = 75;  // of JPEG inside TIFF
    TiffDifferencing predictor = TiffDifferencing::kNone;
    uint32_t fax3_options = 0;       // bits of the tag T4Options
    int horizontal_subsampling = 2;  // of YCbCr
    int vertical_subsampling = 2;
    // Of the file.
    bool big_tiff = false;
    bool big_endian = false;
    bool lowest_bit_first = false;  // the fill order
    bool separate_planes = false;
    int rows_per_strip = 0;  // 0: about 128 KB
    int tile_width = 0;      // 0: strips
    int tile_height = 0;
    TiffUnit unit = TiffUnit::kInch;
    std::optional<Resolution> resolution = {};  // in dots of that unit, in the place of the picture's
    bool without_profile = false;               // converted to sRGB instead
    std::string page_name = {};                 // UTF-8; empty for none

    bool operator==(const TiffEncoding&) const = default;
};

struct WebpEncoding {
    bool lossless = false;
    int quality = 75;  // 0 to 100
    // Of an animation.
    std::optional<int> loops = {};        // 0: for ever; absent: as the source had it
    std::optional<Argb> background = {};  // what a viewer may show behind it
};

using AnyEncoding = std::variant<BmpEncoding, GifEncoding, JpegEncoding, PngEncoding, TiffEncoding, WebpEncoding>;

// A class of its own, so that making, copying, moving and destroying are compiled once (formats.cpp).
class FormatEncoding : public AnyEncoding {
 public:
    FormatEncoding() noexcept;
    FormatEncoding(BmpEncoding settings);
    FormatEncoding(GifEncoding settings);
    FormatEncoding(JpegEncoding settings);
    FormatEncoding(PngEncoding settings);
    FormatEncoding(TiffEncoding settings);
    FormatEncoding(WebpEncoding settings);
    FormatEncoding(const FormatEncoding& other);
    FormatEncoding(FormatEncoding&& other) noexcept;
    FormatEncoding& operator=(const FormatEncoding& other);
    FormatEncoding& operator=(FormatEncoding&& other) noexcept;
    ~FormatEncoding();
};

struct Encoding {
    FormatEncoding format = {};
    std::optional<Resolution> resolution = {};   // instead of the picture's own
    Argb background = kWhite;                    // stands behind the picture where the target has no alpha
    bool blend_alpha = true;                     // otherwise alpha is simply dropped there
    std::optional<Argb> transparent_color = {};  // its pixels are written as transparent
    bool copies_frames = false;                  // the data of frames that are as in their file may be copied
    bool may_widen = false;                      // more colors than the palette holds make it true color
    std::optional<Argb> flatten = {};            // stands behind the picture even where the target has alpha
    std::vector<Argb> palette = {};              // of an indexed form; empty: the colors that suit the picture best
    bool diffuse = false;                        // spreads the error where colors are brought down to a palette
    // Profiles that JPEG files are to have: colors are converted to them. Null: RGB keeps the picture's own, and CMYK
    // has its own or the library's.
    std::shared_ptr<const std::vector<uint8_t>> rgb_profile = {};
    std::shared_ptr<const std::vector<uint8_t>> cmyk_profile = {};
};

// The default of each setting of a format; throws PictureError(kUnsupported) for kUnknown.
Encoding default_encoding(Format format);
Format format_of(const Encoding& encoding);

// Refuses a picture of more bytes than a managed array may have; throws PictureError(kTooLarge).
void check_picture_size(int64_t width, int64_t height, int bytes_per_pixel);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FORMATS_H

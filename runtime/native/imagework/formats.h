// The file formats that the image backend knows, and what can be asked of it when a picture is read or written.
//
// Plain data without a library's types: both sides of the boundary of the backend's shared object include this.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FORMATS_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FORMATS_H

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "generated/formats/format_list.h"
#include "runtime/native/imagework/format_encoding.h"

namespace zelmor::imagework {

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
    // Milliseconds that decoding a picture, and a part of it, may take where the codec looks at the time; 0: any time.
    int64_t most_time = 0;
    int64_t most_time_of_part = 0;
    // Of the raw picture of a camera: how thoroughly noise is taken away (0 to 2), and whether its white is computed
    // from the picture; otherwise it is that of the camera.
    int noise_reduction = 0;
    bool white_balance_of_picture = false;
    // Begins the message of a failure that is found only when pixels are needed: "Cannot load 'a.png'".
    std::string subject = {};
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

// The default of each setting of a format; throws PictureError(kUnsupported) for one that is not written.
Encoding default_encoding(Format format);
inline Format format_of(const Encoding& encoding) {
    return encoding.format.format();
}

// Refuses a picture without pixels (PictureError of kDamaged), and one of more bytes than a managed array may have or
// of longer sides than the image library takes (kTooLarge).
void check_picture_size(int64_t width, int64_t height, int bytes_per_pixel);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_FORMATS_H

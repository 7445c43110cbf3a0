// DNG files, read by LibRaw: the raw picture, with the colors of each pixel computed from those of its neighbors.
//
// The picture is upright, has the white balance of the camera, and is sRGB.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_DNG_DNG_CODEC_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_DNG_DNG_CODEC_H

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "runtime/native/formats/dng/dng_structure.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/frame_source.h"

namespace zelmor::imagework {

// What the library tells of the file besides its pixels. Texts have the bytes of the file.
struct DngReport {
    uint32_t version = 0;  // of the format: 0x01040000
    std::string make;
    std::string model;
    std::string software;
    std::string description;
    std::string artist;
    std::string xmp;
    std::string colors;    // the letters of the colors: "RGBG"
    int colors_count = 0;  // of a pixel, without the second green
    uint32_t filters = 0;  // 16 pixels of two bits, of a pattern of two columns and eight rows; 9 of X-Trans, 0 of none
    uint32_t raw_count = 0;  // pictures of the sensor in the file
    bool is_foveon = false;
    int64_t timestamp = 0;  // seconds since 1970 began
    uint32_t shot_order = 0;
    float aperture = 0;
    float shutter_speed = 0;  // seconds
    float focal_length = 0;   // millimeters
    float iso_speed = 0;
    std::array<uint32_t, 32> gps{};
};

class DngFrames : public FrameSource {
 public:
    virtual DngReport report() const = 0;
};

using SharedDng = std::shared_ptr<const DngFrames>;

// The picture is decoded when its first row is asked for. PictureError: kDamaged, kUnsupported or kTooLarge.
SharedDng open_dng(const SharedSource& source, const DecodeOptions& options);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_DNG_DNG_CODEC_H

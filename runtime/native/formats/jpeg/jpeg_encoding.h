// The settings that JPEG files are saved with.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_ENCODING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_ENCODING_H

#include <cstdint>
#include <string>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

enum class JpegColor : uint8_t { kAuto, kGray, kYcc, kCmyk };

struct JpegEncoding {
    static constexpr Format kFormat = Format::kJpeg;

    int quality = 75;  // 1 to 100
    bool progressive = false;
    JpegColor color = JpegColor::kAuto;
    std::string comment = {};  // UTF-8; empty for none
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG_JPEG_ENCODING_H

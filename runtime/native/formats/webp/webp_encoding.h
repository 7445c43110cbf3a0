// The settings that WebP files are saved with.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_WEBP_WEBP_ENCODING_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_WEBP_WEBP_ENCODING_H

#include <optional>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

struct WebpEncoding {
    static constexpr Format kFormat = Format::kWebp;

    bool lossless = false;
    int quality = 75;  // 0 to 100
    // Of an animation.
    std::optional<int> loops = {};        // 0: for ever; absent: as the source had it
    std::optional<Argb> background = {};  // what a viewer may show behind it
};

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_WEBP_WEBP_ENCODING_H

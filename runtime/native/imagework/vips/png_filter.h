// The filters of PNG lines in the library's terms.
#ifndef ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_PNG_FILTER_H
#define ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_PNG_FILTER_H

#include <vips/vips8>

#include "runtime/native/imagework/formats.h"

namespace zelmor::imagework {

inline VipsForeignPngFilter png_filter(PngFilter filter) {
    switch (filter) {
        case PngFilter::kNone:
            return VIPS_FOREIGN_PNG_FILTER_NONE;
        case PngFilter::kSub:
            return VIPS_FOREIGN_PNG_FILTER_SUB;
        case PngFilter::kUp:
            return VIPS_FOREIGN_PNG_FILTER_UP;
        case PngFilter::kAverage:
            return VIPS_FOREIGN_PNG_FILTER_AVG;
        case PngFilter::kPaeth:
            return VIPS_FOREIGN_PNG_FILTER_PAETH;
        case PngFilter::kAdaptive:
            break;
    }
    return VIPS_FOREIGN_PNG_FILTER_ALL;
}

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_IMAGEWORK_VIPS_PNG_FILTER_H

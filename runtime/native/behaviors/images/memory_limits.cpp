// Limits on memory; see memory_limits.h.
#include "runtime/native/behaviors/images/memory_limits.h"

#include "runtime/native/behaviors/images/option_checks.h"

namespace zelmor::embed {

using imagework::Failure;
using imagework::PictureError;

namespace {

constexpr double kMegabyte = 1 << 20;

void require_within(const Record& options, const char* property, double bytes) {
    const int64_t limit = has_property(options, property) ? property_int(options, property) : 0;
    if (limit > 0 && bytes > static_cast<double>(limit) * kMegabyte) {
        throw PictureError(Failure::kTooLarge, "its pixels take " +
                                                   std::to_string(static_cast<int64_t>(bytes / kMegabyte) + 1) +
                                                   " megabytes, more than the " + std::to_string(limit) + " of " +
                                                   member_name(options, property));
    }
}

}  // namespace

void require_within_limits(const Record& save_options, std::span<const Page> pages) {
    double bytes = 0;
    for (const Page& page : pages) {
        const imagework::Picture& picture = *page.picture;
        bytes +=
            static_cast<double>(picture.width()) * picture.height() * static_cast<double>(picture.form().pixel_size());
    }
    for (const char* property : {"BufferSizeHint", "DefaultMemoryAllocationLimit"}) {
        require_within(save_options, property, bytes);
    }
}

}  // namespace zelmor::embed

// Walking image resources; see image_resources.h.
#include "runtime/native/behaviors/metadata/containers/image_resources.h"

#include <algorithm>
#include <span>
#include <string_view>

#include "runtime/native/behaviors/metadata/tiff/tiff_streams.h"

namespace zelmor::embed {

Bytes resources_without_thumbnails(const Bytes& resources) {
    constexpr std::string_view kMark = "8BIM";
    constexpr uint64_t kOldThumbnail = 0x0409, kThumbnail = 0x040C;
    const std::span<const std::byte> all(resources);
    const std::string_view text(reinterpret_cast<const char*>(all.data()), all.size());
    const auto even = [](size_t size) { return size + size % 2; };
    Bytes kept;
    // The mark, a number, a name with its length in front, and data with theirs; names and data have an even size.
    for (size_t at = 0; at + 12 <= all.size() && text.substr(at).starts_with(kMark);) {
        const uint64_t number = read_number(all.subspan(at + 4, 2), true);
        const size_t data_at = at + 6 + even(1 + std::to_integer<size_t>(all[at + 6]));
        if (data_at + 4 > all.size()) {
            break;
        }
        const uint64_t size = read_number(all.subspan(data_at, 4), true);
        if (size > all.size() - data_at - 4) {
            break;
        }
        const size_t end = std::min(all.size(), data_at + 4 + even(size));
        if (number != kOldThumbnail && number != kThumbnail) {
            kept.insert(kept.end(), resources.begin() + static_cast<std::ptrdiff_t>(at),
                        resources.begin() + static_cast<std::ptrdiff_t>(end));
        }
        at = end;
    }
    return kept;
}

}  // namespace zelmor::embed

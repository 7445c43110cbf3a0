// Walking image resources; see image_resources.h.
#include "runtime/native/behaviors/metadata/containers/image_resources.h"

#include <algorithm>
#include <cassert>

#include "runtime/native/behaviors/metadata/tiff/tiff_streams.h"

namespace zelmor::embed {

namespace {

constexpr std::string_view kMark = "8BIM";

constexpr size_t even(size_t size) {
    return size + size % 2;
}

template <class Is>
Bytes without(const Bytes& resources, Is&& is_left_out) {
    Bytes kept;
    for (const ImageResource& resource : image_resources(resources)) {
        if (!is_left_out(resource.number)) {
            kept.insert(kept.end(), resource.whole.begin(), resource.whole.end());
        }
    }
    return kept;
}

}  // namespace

std::vector<ImageResource> image_resources(std::span<const std::byte> all) {
    const std::string_view text(reinterpret_cast<const char*>(all.data()), all.size());
    std::vector<ImageResource> found;
    // The mark, a number, a name with its length in front, and data with theirs; names and data have an even size.
    for (size_t at = 0; at + 12 <= all.size() && text.substr(at).starts_with(kMark);) {
        const uint64_t number = read_number(all.subspan(at + 4, 2), true);
        const auto name_size = std::to_integer<size_t>(all[at + 6]);
        const size_t data_at = at + 6 + even(1 + name_size);
        if (data_at + 4 > all.size()) {
            break;
        }
        const uint64_t size = read_number(all.subspan(data_at, 4), true);
        if (size > all.size() - data_at - 4) {
            break;
        }
        const size_t end = std::min(all.size(), data_at + 4 + even(size));
        found.push_back({static_cast<uint16_t>(number), text.substr(at + 7, name_size), all.subspan(data_at + 4, size),
                         all.subspan(at, end - at)});
        at = end;
    }
    return found;
}

Bytes resources_without_thumbnails(const Bytes& resources) {
    constexpr uint16_t kOldThumbnail = 0x0409, kThumbnail = 0x040C;
    return without(resources, [](uint16_t number) { return number == kOldThumbnail || number == kThumbnail; });
}

Bytes resources_without_paths(const Bytes& resources) {
    return without(resources, is_path_resource);
}

void put_image_resource(Bytes& out, uint16_t number, std::string_view name, std::span<const std::byte> data) {
    assert(name.size() <= UINT8_MAX && data.size() <= UINT32_MAX);
    const auto put_text = [&](std::string_view text) {
        const auto* bytes = reinterpret_cast<const std::byte*>(text.data());
        out.insert(out.end(), bytes, bytes + text.size());
    };
    put_text(kMark);
    put_number(out, number, 2, true);
    put_number(out, name.size(), 1, true);
    put_text(name);
    out.resize(out.size() + even(1 + name.size()) - 1 - name.size());
    put_number(out, data.size(), 4, true);
    out.insert(out.end(), data.begin(), data.end());
    out.resize(out.size() + data.size() % 2);
}

}  // namespace zelmor::embed

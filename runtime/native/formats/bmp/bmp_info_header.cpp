// BmpImage.BitmapInfoHeader: the header of the file that the image came from, or that it would be written with.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Bmp.h"

#include <cmath>

#include "runtime/native/behaviors/metadata/kept_metadata.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/formats/bmp/bmp_encoding.h"

namespace zelmor::embed {

namespace {

constexpr size_t kInfoSize = 40;  // of the header whose fields the class has
constexpr size_t kMasksWithin = 52;
constexpr size_t kAlphaWithin = 56;

// The fields of a header by their places.
class HeaderReader {
 public:
    explicit HeaderReader(const Bytes& header) : m_header(header) {}
    int64_t number(size_t at, size_t size) const {
        return at + size <= m_header.size() ? static_cast<int64_t>(read_number(m_header.subspan(at, size), false)) : 0;
    }
    int64_t signed_number(size_t at) const { return static_cast<int32_t>(number(at, 4)); }

 private:
    std::span<const std::byte> m_header;
};

std::vector<int32_t> masks_of(const HeaderReader& header, int64_t size, int64_t compression) {
    constexpr int64_t kBitFields = 3, kAlphaBitFields = 6;
    const bool behind = compression == kBitFields || compression == kAlphaBitFields;
    if (!behind && size < static_cast<int64_t>(kMasksWithin)) {
        return {};
    }
    std::vector<int32_t> masks;
    const size_t count = size >= static_cast<int64_t>(kAlphaWithin) || compression == kAlphaBitFields ? 4 : 3;
    for (size_t i = 0; i < count; ++i) {
        masks.push_back(static_cast<int32_t>(header.signed_number(kInfoSize + 4 * i)));
    }
    return masks;
}

// Size and depth are those that the image has now.
Ref<ManagedObject> bitmap_info_header(ImageObject& self) {
    self.require_live();
    const imagework::Picture& picture = self.picture();
    const imagework::FileFacts& facts = self.facts();
    Ref<ManagedObject> info = make_instance(api::FileFormats::Bmp::BitmapInfoHeader::kType.name);
    const auto put = [&](const char* name, int64_t value) { set_property(*info, name, value); };
    const Bytes kept = self.metadata != nullptr ? self.metadata->found().bmp_header : Bytes();
    const HeaderReader header(kept);
    const bool is_full = header.number(0, 4) >= static_cast<int64_t>(kInfoSize);
    put("HeaderSize", kept.empty() ? static_cast<int64_t>(kInfoSize) : header.number(0, 4));
    put("BitmapWidth", picture.width());
    const bool is_top_down = is_full && header.signed_number(8) < 0;
    put("BitmapHeight", is_top_down ? -picture.height() : picture.height());
    put("BitmapPlanes", 1);
    put("BitsPerPixel", facts.bits_per_pixel);
    const auto per_meter = [](double dots) { return static_cast<int64_t>(std::lround(dots / 0.0254)); };
    put("BitmapXPelsPerMeter", per_meter(picture.resolution().horizontal));
    put("BitmapYPelsPerMeter", per_meter(picture.resolution().vertical));
    if (!is_full) {
        const auto* bmp = settings_as<imagework::BmpEncoding>(facts);
        put("BitmapCompression", bmp != nullptr ? static_cast<int64_t>(bmp->compression) : 0);
        return info;
    }
    put("BitmapCompression", header.number(16, 4));
    put("BitmapImageSize", header.number(20, 4));
    put("BitmapColorsUsed", header.number(32, 4));
    put("BitmapColorsImportant", header.number(36, 4));
    const std::vector<int32_t> masks = masks_of(header, header.number(0, 4), header.number(16, 4));
    if (!masks.empty()) {
        set_property(*info, "ExtraBitMasks", Ref<ManagedObject>(make_array(masks)));
    }
    return info;
}

using BmpImageApi = api::FileFormats::Bmp::BmpImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&bitmap_info_header, BmpImageApi::get_BitmapInfoHeader>(),
});

}  // namespace

}  // namespace zelmor::embed

// BmpImage.BitmapInfoHeader: the header of the file that the image came from, or that it would be written with. It is
// of the class for the version of the header.
#include "generated/runtime/Zelmor.Imaging.FileFormats.Bmp.h"

#include <cmath>

#include "runtime/native/behaviors/formats/cie_coordinates.h"
#include "runtime/native/behaviors/metadata/kept_metadata.h"
#include "runtime/native/collections/collection.h"
#include "runtime/native/formats/bmp/bmp_encoding.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::embed {

namespace {

constexpr size_t kInfoSize = 40;  // of the header whose fields the class has
constexpr int64_t kOs2Size = 64;
constexpr int64_t kFourthSize = 108;
constexpr int64_t kFifthSize = 124;
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
    // Empty where the file has fewer.
    std::span<const std::byte> bytes(size_t at, size_t size) const {
        return at + size <= m_header.size() ? m_header.subspan(at, size) : std::span<const std::byte>();
    }

 private:
    std::span<const std::byte> m_header;
};

std::vector<int32_t> masks_of(const HeaderReader& header, int64_t size, int64_t compression) {
    constexpr int64_t kBitFields = 3, kAlphaBitFields = 6;
    const bool behind = compression == kBitFields || compression == kAlphaBitFields;
    if (size == kOs2Size) {
        return {};  // which stand for another compression there
    }
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

// A field of a version of the header, and its place.
struct VersionField {
    const char* name;
    size_t at;
    size_t size = 4;
};
constexpr VersionField kFourthFields[] = {
    {"RedMask", 40}, {"GreenMask", 44}, {"BlueMask", 48},    {"AlphaMask", 52},
    {"CsType", 56},  {"GammaRed", 96},  {"GammaGreen", 100}, {"GammaBlue", 104},
};
constexpr size_t kEndpoints = 60;
constexpr VersionField kFifthFields[] = {
    {"Intent", 108},
    {"ProfileData", 112},
    {"ProfileSize", 116},
    {"Reserved", 120},
};
constexpr VersionField kOs2Fields[] = {
    {"Units", 40, 2}, {"Reserved", 42, 2}, {"Recording", 44, 2},  {"Rendering", 46, 2},
    {"Size1", 48},    {"Size2", 52},       {"ColorEncoding", 56}, {"Identifier", 60},
};

const char* class_of_header(int64_t size) {
    using namespace api::FileFormats::Bmp;
    return size == kOs2Size      ? Os22XBitmapHeader::kType.name
           : size >= kFifthSize  ? BitmapV5Header::kType.name
           : size >= kFourthSize ? BitmapV4Header::kType.name
                                 : BitmapInfoHeader::kType.name;
}

void put_version(ManagedObject& info, const HeaderReader& header) {
    const int64_t size = header.number(0, 4);
    const auto put = [&](std::span<const VersionField> all) {
        for (const VersionField& field : all) {
            set_property(info, field.name,
                         field.size == 4 ? header.signed_number(field.at) : header.number(field.at, field.size));
        }
    };
    if (size == kOs2Size) {
        return put(kOs2Fields);
    }
    if (size >= kFourthSize) {
        put(kFourthFields);
        if (const auto bytes = header.bytes(kEndpoints, kCieTripleBytes); !bytes.empty()) {
            set_property(info, "Endpoints", cie_triple_of(bytes));
        }
    }
    if (size >= kFifthSize) {
        put(kFifthFields);
    }
}

// Size and depth are those that the image has now.
Ref<ManagedObject> bitmap_info_header(ImageObject& self) {
    self.require_live();
    const imagework::Picture& picture = self.picture();
    const imagework::FileFacts& facts = self.facts();
    const Bytes kept = self.metadata != nullptr ? self.metadata->found().bmp_header : Bytes();
    const HeaderReader header(kept);
    Ref<ManagedObject> info = make_instance(class_of_header(header.number(0, 4)));
    const auto put = [&](const char* name, int64_t value) { set_property(*info, name, value); };
    const bool is_full = header.number(0, 4) >= static_cast<int64_t>(kInfoSize);
    put("HeaderSize", kept.empty() ? static_cast<int64_t>(kInfoSize) : header.number(0, 4));
    put("BitmapWidth", picture.width());
    const bool is_top_down = is_full && header.signed_number(8) < 0;
    put("BitmapHeight", is_top_down ? -picture.height() : picture.height());
    put("BitmapPlanes", 1);
    put("BitsPerPixel", facts.bits_per_pixel);
    const auto per_meter = [](double dots) { return static_cast<int64_t>(std::lround(dots / kMetersPerInch)); };
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
    put_version(*info, header);
    return info;
}

using BmpImageApi = api::FileFormats::Bmp::BmpImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&bitmap_info_header, BmpImageApi::get_BitmapInfoHeader>(),
});

}  // namespace

}  // namespace zelmor::embed

// The JFIF header and its thumbnail; see jfif_data.h.
#include "runtime/native/behaviors/metadata/jfif/jfif_data.h"

#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/images/image_object.h"
#include "runtime/native/behaviors/images/loading.h"
#include "runtime/native/behaviors/metadata/tiff/tiff_streams.h"
#include "runtime/native/core/defaults.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/imagework/loader.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::embed {

namespace {

using JFIFDataApi = api::FileFormats::Jpeg::JFIFData;

constexpr size_t kHeader = 9;  // version, units, two densities, two sides
constexpr int kMostSide = 255;
constexpr int kMostPixels = 21839;  // three bytes each, in what the segment has left
constexpr size_t kColors = 256;

// The kinds of thumbnail in the extension.
constexpr int kOfJpeg = 0x10;
constexpr int kOfIndices = 0x11;
constexpr int kOfColors = 0x13;

constexpr DefaultValue kDefaults[] = {
    {JFIFDataApi::property_Version, 0x0102},
    {JFIFDataApi::property_XDensity, 1},
    {JFIFDataApi::property_YDensity, 1},
};
const DefaultTable ZELMOR_UNNAMED(kDefaults);

Ref<ManagedObject> make(const TypeInfo& type) {
    return make_ref<JfifObject>(type);
}
const FactoryRegistration ZELMOR_UNNAMED(JfifObject::kManagedName, make);

int number_at(std::span<const std::byte> bytes, size_t at) {
    return std::to_integer<int>(bytes[at]);
}

Ref<ManagedObject> image_of_colors(int width, int height, std::span<const std::byte> colors) {
    std::vector<imagework::Argb> pixels;
    for (size_t i = 0; i + 3 <= colors.size(); i += 3) {
        pixels.push_back(imagework::kBlack | static_cast<imagework::Argb>(number_at(colors, i)) << 16 |
                         static_cast<imagework::Argb>(number_at(colors, i + 1)) << 8 |
                         static_cast<imagework::Argb>(number_at(colors, i + 2)));
    }
    auto picture = image_backend().create(width, height, false, false, imagework::kBlack);
    picture->write_argb({0, 0, width, height}, pixels);
    imagework::FileFacts facts;
    facts.width = width;
    facts.height = height;
    facts.bits_per_pixel = 24;
    return make_ref<ImageObject>(std::move(picture), std::move(facts));
}

// Null for an extension that is damaged or of no published kind.
Ref<ManagedObject> image_of_extension(const Bytes& extension) {
    const std::span<const std::byte> data(extension);
    if (data.empty()) {
        return nullptr;
    }
    const int kind = number_at(data, 0);
    if (kind == kOfJpeg) {
        const auto* first = reinterpret_cast<const uint8_t*>(data.data());
        return decoded_image({first + 1, first + data.size()}, nullptr, "Cannot load the thumbnail of the JFIF data");
    }
    if (data.size() < 3) {
        return nullptr;
    }
    const int width = number_at(data, 1);
    const int height = number_at(data, 2);
    const size_t count = static_cast<size_t>(width) * static_cast<size_t>(height);
    if (count == 0) {
        return nullptr;
    }
    if (kind == kOfColors && data.size() >= 3 + 3 * count) {
        return image_of_colors(width, height, data.subspan(3, 3 * count));
    }
    if (kind == kOfIndices && data.size() >= 3 + 3 * kColors + count) {
        const auto palette = data.subspan(3, 3 * kColors);
        Bytes colors;
        for (const std::byte index : data.subspan(3 + 3 * kColors, count)) {
            const auto color = palette.subspan(3 * std::to_integer<size_t>(index), 3);
            colors.insert(colors.end(), color.begin(), color.end());
        }
        return image_of_colors(width, height, colors);
    }
    return nullptr;
}

Ref<ManagedObject> get_thumbnail(JfifObject& self) {
    auto known = property_object(self, "Thumbnail");
    if (known || !self.has_thumbnail()) {
        return known;
    }
    Ref<ManagedObject> image = self.thumbnail.empty()
                                   ? image_of_extension(self.extension)
                                   : image_of_colors(self.thumbnail_width, self.thumbnail_height, self.thumbnail);
    set_property(self, "Thumbnail", image);
    return image;
}

void set_thumbnail(JfifObject& self, ImageObject* value) {
    if (value == nullptr) {
        self.drop_thumbnail();
        return;
    }
    const imagework::Picture& picture = value->picture();
    const int width = picture.width();
    const int height = picture.height();
    if (width > kMostSide || height > kMostSide || width * height > kMostPixels) {
        throw_argument("The thumbnail of a JFIF header has at most " + size_text(kMostSide, kMostSide) + " and " +
                       std::to_string(kMostPixels) + " pixels in all; this one has " + size_text(width, height) +
                       ". (Parameter 'value')");
    }
    std::vector<imagework::Argb> pixels(static_cast<size_t>(width) * static_cast<size_t>(height));
    const auto small = picture.copy();
    small->to_standard_colors();
    small->read_argb({0, 0, width, height}, pixels);
    self.drop_thumbnail();
    self.thumbnail_width = width;
    self.thumbnail_height = height;
    for (const imagework::Argb pixel : pixels) {
        put_number(self.thumbnail, pixel & 0xFFFFFF, 3, true);
    }
    self.thumbnail_at = imagework::steady_time();
    set_property(self, "Thumbnail", Ref<ManagedObject>(value));
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&get_thumbnail, JFIFDataApi::get_Thumbnail>(),
    behavior<&set_thumbnail, JFIFDataApi::set_Thumbnail>(),
});

}  // namespace

void JfifObject::drop_thumbnail() {
    thumbnail_width = 0;
    thumbnail_height = 0;
    thumbnail.clear();
    extension.clear();
    set_property(*this, "Thumbnail", Ref<ManagedObject>());
}

bool JfifObject::same_density(const JfifObject& other) const {
    constexpr const char* kNames[] = {"DensityUnits", "XDensity", "YDensity"};
    return std::all_of(std::begin(kNames), std::end(kNames),
                       [&](const char* name) { return property_int(*this, name) == property_int(other, name); });
}

void JfifObject::set_density(const imagework::Resolution& resolution) {
    const bool metric = property_enum<JfifDensityUnits>(*this, "DensityUnits") == JfifDensityUnits::kPixelsPerCm;
    if (!metric) {
        set_property(*this, "DensityUnits", JfifDensityUnits::kPixelsPerInch);
    }
    const auto density = [&](double dots) {
        return static_cast<int64_t>(std::clamp(std::round(dots / (metric ? kCentimetersPerInch : 1.0)), 1.0, 65535.0));
    };
    set_property(*this, "XDensity", density(resolution.horizontal));
    set_property(*this, "YDensity", density(resolution.vertical));
}

Ref<ManagedObject> JfifObject::copy() const {
    auto twin = make_ref<JfifObject>(type());
    twin->assign_from(*this);
    twin->thumbnail_width = thumbnail_width;
    twin->thumbnail_height = thumbnail_height;
    twin->thumbnail = thumbnail;
    twin->extension = extension;
    twin->thumbnail_at = thumbnail_at;
    return twin;
}

Ref<JfifObject> read_jfif(const Bytes& header, const Bytes& extension) {
    const std::span<const std::byte> data(header);
    if (data.size() < kHeader) {
        return nullptr;
    }
    auto jfif = make_ref<JfifObject>(require_type(JfifObject::kManagedName));
    const int units = std::min(number_at(data, 2), static_cast<int>(number_of(JfifDensityUnits::kPixelsPerCm)));
    set_property(*jfif, "Version", static_cast<int64_t>(read_number(data.first(2), true)));
    set_property(*jfif, "DensityUnits", int64_t{units});
    set_property(*jfif, "XDensity", static_cast<int64_t>(read_number(data.subspan(3, 2), true)));
    set_property(*jfif, "YDensity", static_cast<int64_t>(read_number(data.subspan(5, 2), true)));
    const int width = number_at(data, 7);
    const int height = number_at(data, 8);
    const size_t size = 3 * static_cast<size_t>(width) * static_cast<size_t>(height);
    if (size > 0 && data.size() - kHeader >= size) {
        jfif->thumbnail_width = width;
        jfif->thumbnail_height = height;
        jfif->thumbnail.assign(data.begin() + kHeader, data.begin() + static_cast<std::ptrdiff_t>(kHeader + size));
    }
    jfif->extension = extension;
    return jfif;
}

Bytes write_jfif(const JfifObject& jfif) {
    Bytes header;
    put_number(header, static_cast<uint64_t>(property_int(jfif, "Version")), 2, true);
    put_number(header, static_cast<uint64_t>(property_int(jfif, "DensityUnits")), 1, true);
    put_number(header, static_cast<uint64_t>(property_int(jfif, "XDensity")), 2, true);
    put_number(header, static_cast<uint64_t>(property_int(jfif, "YDensity")), 2, true);
    put_number(header, static_cast<uint64_t>(jfif.thumbnail_width), 1, true);
    put_number(header, static_cast<uint64_t>(jfif.thumbnail_height), 1, true);
    header.insert(header.end(), jfif.thumbnail.begin(), jfif.thumbnail.end());
    return header;
}

}  // namespace zelmor::embed

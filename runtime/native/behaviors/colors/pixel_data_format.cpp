// PixelDataFormat: its factory methods, and the static properties with formats of a given name.
#include "runtime/native/behaviors/colors/pixel_data_format.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <numeric>
#include <string>
#include <unordered_map>
#include <utility>

#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/delegates/row_behavior.h"

namespace zelmor::embed {

namespace {

using FormatApi = api::PixelDataFormat;
using Bits = std::vector<int32_t>;

class PixelDataFormat final : public Record {
 public:
    using Record::Record;
    bool equals(const ManagedObject& other) const override {
        if (&other.type() != &type()) {
            return false;
        }
        return property_int(*this, "PixelFormat") == property_int(other, "PixelFormat") &&
               property_int(*this, "BitsPerPixel") == property_int(other, "BitsPerPixel") && bits() == bits_of(other);
    }
    int32_t hash_code() const override {
        auto hash = static_cast<uint32_t>(property_int(*this, "PixelFormat"));
        for (const int32_t each : bits()) {
            hash = hash * 31 + static_cast<uint32_t>(each);
        }
        return static_cast<int32_t>(hash);
    }
    std::u16string to_text() const override { return property_string(*this, "Caption").value_or(std::u16string()); }

 private:
    static Bits bits_of(const ManagedObject& format) {
        const auto list = property_object(format, "ChannelBits");
        return list ? cast_object<ScalarList<int32_t>>(*list).items : Bits();
    }
    Bits bits() const { return bits_of(*this); }
};

using Format = Ref<ManagedObject>;

Format checked(std::string_view caption, PixelLayout layout, Bits bits) {
    for (const int32_t each : bits) {
        if (each < 1 || each > 64) {
            throw_out_of_range("bits", "A channel has 1 to 64 bits, not " + std::to_string(each) + ".");
        }
    }
    return make_pixel_data_format(caption, layout, std::move(bits));
}

Format gray(int32_t bits) {
    return checked("Grayscale", PixelLayout::kGrayscale, {bits});
}
Format gray_alpha_of(int32_t bits, int32_t alpha) {
    return checked("GrayscaleAlpha", PixelLayout::kGrayscale, {bits, alpha});
}
Format gray_alpha(int32_t bits) {
    return gray_alpha_of(bits, bits);
}
Format rgb_of(int32_t r, int32_t g, int32_t b) {
    return checked("Rgb", PixelLayout::kRgb, {r, g, b});
}
Format rgb(int32_t bits) {
    return rgb_of(bits, bits, bits);
}
Format rgba_of(int32_t r, int32_t g, int32_t b, int32_t a) {
    return checked("Rgba", PixelLayout::kRgb, {r, g, b, a});
}
Format rgba(int32_t bits) {
    return rgba_of(bits, bits, bits, bits);
}
Format bgr(int32_t bits) {
    return checked("Bgr", PixelLayout::kBgr, {bits, bits, bits});
}
Format bgra(int32_t bits) {
    return checked("Bgra", PixelLayout::kBgr, {bits, bits, bits, bits});
}
Format ycbcr_of(int32_t y, int32_t cb, int32_t cr) {
    return checked("YCbCr", PixelLayout::kYCbCr, {y, cb, cr});
}
Format ycbcr(int32_t bits) {
    return ycbcr_of(bits, bits, bits);
}
Format cmyk_of(int32_t c, int32_t m, int32_t y, int32_t k) {
    return checked("Cmyk", PixelLayout::kCmyk, {c, m, y, k});
}
Format cmyk(int32_t bits) {
    return cmyk_of(bits, bits, bits, bits);
}
Format cmyka(int32_t c, int32_t m, int32_t y, int32_t k, int32_t a) {
    return checked("Cmyka", PixelLayout::kCmyk, {c, m, y, k, a});
}
Format ycck(int32_t bits) {
    return checked("Ycck", PixelLayout::kYcck, {bits, bits, bits, bits});
}
Format cie_lab(int32_t l, int32_t a, int32_t b) {
    return checked("CieLab", PixelLayout::kCieLab, {l, a, b});
}
// One channel: the index of a color.
Format rgb_indexed(int32_t bits) {
    return checked("RgbIndexed", PixelLayout::kRgb, {bits});
}

// ---- Named formats

struct NamedFormat {
    const PropertyName& property;  // whose name is the format's caption
    PixelLayout layout;
    std::array<int32_t, 5> bits;  // 0 behind the last channel
    int32_t bits_per_pixel = 0;   // if padding makes it more than the sum
};
constexpr NamedFormat kNamed[] = {
    {FormatApi::property_Grayscale16, PixelLayout::kGrayscale, {16}},
    {FormatApi::property_GrayscaleAlpha, PixelLayout::kGrayscale, {8, 8}},
    {FormatApi::property_Cmyk, PixelLayout::kCmyk, {8, 8, 8, 8}},
    {FormatApi::property_Cmyka, PixelLayout::kCmyk, {8, 8, 8, 8, 8}},
    {FormatApi::property_Rgb16Bpp555, PixelLayout::kRgb, {5, 5, 5}, 16},
    {FormatApi::property_Rgb16Bpp565, PixelLayout::kRgb, {5, 6, 5}},
    {FormatApi::property_Rgb24Bpp, PixelLayout::kBgr, {8, 8, 8}},  // as bitmaps have it, blue first
    {FormatApi::property_Rgb24BppPng, PixelLayout::kRgb, {8, 8, 8}},
    {FormatApi::property_Rgb32Bpp, PixelLayout::kBgr, {8, 8, 8}, 32},
    {FormatApi::property_Rgba32Bpp, PixelLayout::kBgr, {8, 8, 8, 8}},
    {FormatApi::property_RgbIndexed1Bpp, PixelLayout::kRgb, {1}},
    {FormatApi::property_RgbIndexed2Bpp, PixelLayout::kRgb, {2}},
    {FormatApi::property_RgbIndexed4Bpp, PixelLayout::kRgb, {4}},
    {FormatApi::property_RgbIndexed8Bpp, PixelLayout::kRgb, {8}},
    {FormatApi::property_YCbCr, PixelLayout::kYCbCr, {8, 8, 8}},
    {FormatApi::property_Ycck, PixelLayout::kYcck, {8, 8, 8, 8}},
};

// Each named format is one object, however often it is read. The objects are made under the interpreter lock, and
// making one calls nothing of Python.
Format named(const NamedFormat& wanted) {
    static auto& formats = *new std::unordered_map<const NamedFormat*, Format>;
    Format& format = formats[&wanted];
    if (!format) {
        Bits bits(wanted.bits.begin(), std::find(wanted.bits.begin(), wanted.bits.end(), 0));
        format = make_pixel_data_format(wanted.property.name, wanted.layout, std::move(bits), wanted.bits_per_pixel);
    }
    return format;
}

const BehaviorTable ZELMOR_UNNAMED([] {
    std::vector<BehaviorRow> rows;
    for (const NamedFormat& format : kNamed) {
        rows.push_back(row_property<&named>(format.property, format));
    }
    return rows;
}());

// ---- The format that a user can replace

Format& grayscale_slot() {
    // A setting of the process; read and replaced under the interpreter lock.
    static Format& format = *new Format(gray(8));
    return format;
}
Format grayscale() {
    return grayscale_slot();
}
void set_grayscale(Record* value) {
    if (value == nullptr) {
        throw_argument_null("value");
    }
    grayscale_slot() = Format(value);
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&gray_alpha, FormatApi::call_000_GetGrayscaleAlpha>(),
    behavior<&gray_alpha_of, FormatApi::call_001_GetGrayscaleAlpha>(),
    behavior<&rgb, FormatApi::call_000_GetRgb>(),
    behavior<&rgb_of, FormatApi::call_001_GetRgb>(),
    behavior<&rgba, FormatApi::call_000_GetRgba>(),
    behavior<&rgba_of, FormatApi::call_001_GetRgba>(),
    behavior<&ycbcr, FormatApi::call_000_GetYCbCr>(),
    behavior<&ycbcr_of, FormatApi::call_001_GetYCbCr>(),
    behavior<&cmyk, FormatApi::call_000_GetCmyk>(),
    behavior<&cmyk_of, FormatApi::call_001_GetCmyk>(),
    behavior<&gray, FormatApi::call_000_GetGrayscale>(),
    behavior<&rgb_indexed, FormatApi::call_000_GetRgbIndexed>(),
    behavior<&bgra, FormatApi::call_000_GetBgra>(),
    behavior<&bgr, FormatApi::call_000_GetBgr>(),
    behavior<&cmyka, FormatApi::call_000_GetCmyka>(),
    behavior<&ycck, FormatApi::call_000_GetYcck>(),
    behavior<&cie_lab, FormatApi::call_000_GetCieLab>(),
    property<&grayscale, &set_grayscale, FormatApi::property_Grayscale>(),
});

const FactoryRegistration ZELMOR_UNNAMED(FormatApi::kType.name, [](const TypeInfo& type) {
    return Ref<ManagedObject>(make_ref<PixelDataFormat>(type));
});

}  // namespace

Ref<ManagedObject> make_pixel_data_format(std::string_view caption, PixelLayout layout, std::vector<int32_t> bits,
                                          int32_t bits_per_pixel) {
    assert(!bits.empty());
    auto format = make_instance(FormatApi::kType.name);
    if (bits_per_pixel == 0) {
        bits_per_pixel = std::accumulate(bits.begin(), bits.end(), 0);
    }
    set_property(*format, "Caption", to_utf16(caption));
    set_property(*format, "PixelFormat", static_cast<int64_t>(layout));
    set_property(*format, "BitsPerPixel", int64_t{bits_per_pixel});
    set_property(*format, "ChannelsCount", static_cast<int64_t>(bits.size()));
    set_property(*format, "ChannelBits", Ref<ManagedObject>(make_array(std::move(bits))));
    return format;
}

}  // namespace zelmor::embed

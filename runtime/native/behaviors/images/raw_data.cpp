// Members that read and write raw data: areas of an image in the layout of a PixelDataFormat, line by line.
#include <algorithm>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/number_lists.h"
#include "runtime/native/behaviors/images/palettes.h"
#include "runtime/native/behaviors/images/partial_loads.h"
#include "runtime/native/behaviors/images/pixel_blocks.h"
#include "runtime/native/behaviors/images/raw_pixels.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/imagework/palette_search.h"

namespace zelmor::embed {

using imagework::Argb;
using imagework::Rect;

namespace {

// ---- The layout that an image has itself

Ref<ManagedObject> own_format(ImageObject& self) {
    const imagework::Picture& picture = self.picture();
    if (!self.palette.empty() && picture.has_only(self.palette)) {
        int32_t bits = 8;
        while (bits > 1 && self.palette.size() <= size_t{1} << bits / 2) {
            bits /= 2;
        }
        return make_pixel_data_format("RgbIndexed", PixelLayout::kRgb, {bits});
    }
    const int32_t depth = picture.form().sample == imagework::SampleType::kUint16 ? 16 : 8;
    if (picture.is_gray()) {
        return picture.has_alpha() ? make_pixel_data_format("GrayscaleAlpha", PixelLayout::kGrayscale, {depth, depth})
                                   : make_pixel_data_format("Grayscale", PixelLayout::kGrayscale, {depth});
    }
    std::vector<int32_t> bits(picture.has_alpha() ? 4 : 3, depth);
    if (depth == 16) {
        return make_pixel_data_format(picture.has_alpha() ? "Rgba" : "Rgb", PixelLayout::kRgb, std::move(bits));
    }
    return make_pixel_data_format(picture.has_alpha() ? "Rgba32Bpp" : "Rgb24Bpp", PixelLayout::kBgr, std::move(bits));
}

int64_t line_bytes(int64_t width, int64_t bits_per_pixel) {
    return (width * bits_per_pixel + 7) / 8;
}

Ref<ManagedObject> own_settings(ImageObject& self) {
    Ref<ManagedObject> settings = make_instance(api::RawDataSettings::kType.name);
    const Ref<ManagedObject> format = own_format(self);
    set_property(*settings, "PixelDataFormat", format);
    set_property(*settings, "LineSize", line_bytes(self.picture().width(), property_int(*format, "BitsPerPixel")));
    if (!self.palette.empty()) {
        set_property(*settings, "ColorPalette", Ref<ManagedObject>(make_ref<PaletteObject>(self.palette)));
    }
    return settings;
}
int32_t raw_line_size(ImageObject& self) {
    return static_cast<int32_t>(property_int(*own_settings(self), "LineSize"));
}
bool is_raw_data_available(ImageObject& self) {
    self.require_live();
    return true;
}

// ---- The layout that a caller asks for

RawFormat format_of(ImageObject& self, const Record* settings) {
    if (settings == nullptr) {
        throw_argument_null("raw_data_settings");
    }
    for (const char* name : {"IndexedColorConverter", "CustomColorConverter"}) {
        if (!is_null(property(*settings, name))) {
            throw_not_supported(std::string("A value of RawDataSettings.") + name);
        }
    }
    Ref<ManagedObject> data_format = property_object(*settings, "PixelDataFormat");
    if (!data_format) {
        data_format = own_format(self);
    }
    RawFormat format;
    format.layout = property_enum<PixelLayout>(*data_format, "PixelFormat");
    for (const int64_t bits : numbers_of(*data_format, "ChannelBits").value_or(std::vector<int64_t>{})) {
        format.bits.push_back(static_cast<int32_t>(bits));
    }
    format.bits_per_pixel = static_cast<int32_t>(property_int(*data_format, "BitsPerPixel"));
    format.name = to_utf8(property_string(*data_format, "Caption").value_or(u"?"));
    format.indexed = format.layout == PixelLayout::kRgb && format.bits.size() == 1;
    format.line_size = property_int(*settings, "LineSize");
    if (format.indexed) {
        if (const Ref<PaletteObject> palette = palette_property(*settings, "ColorPalette")) {
            format.palette = palette->entries;
        } else {
            format.palette = self.palette;
        }
        const size_t most = size_t{1} << format.bits[0];
        if (format.bits[0] > 8) {
            throw_layout(format);
        }
        if (format.palette.empty() || format.palette.size() > most) {
            throw_argument("Indices of " + std::to_string(format.bits[0]) + " bits need a palette of 1 to " +
                           std::to_string(most) + " colors. (Parameter 'raw_data_settings')");
        }
    }
    return format;
}

// ---- Whole areas

size_t line_size_for(const RawFormat& format, int32_t width) {
    const int64_t needed = line_bytes(width, format.bits_per_pixel);
    if (format.line_size == 0) {
        return static_cast<size_t>(needed);
    }
    if (format.line_size < needed) {
        throw_argument("A line of " + std::to_string(width) + " pixels needs " + std::to_string(needed) +
                       " bytes, more than the line size of " + std::to_string(format.line_size) +
                       ". (Parameter 'raw_data_settings')");
    }
    return static_cast<size_t>(format.line_size);
}

Bytes raw_block(const ImageObject& self, const RectangleValue& area, const RawFormat& format) {
    packing_of(format);  // refuses layouts that cannot be written
    const imagework::Picture& picture = self.picture();
    const bool plausible =
        area.width > 0 && area.height > 0 && area.width <= picture.width() && area.height <= picture.height();
    const size_t count = plausible ? static_cast<size_t>(area.width) * static_cast<size_t>(area.height) : 0;
    std::vector<uint64_t> pixels(format.indexed ? 0 : count);
    std::vector<Argb> colors;
    if (format.indexed) {
        colors = read_block(self, rect_of(area));
    } else {
        picture.read_argb64(rect_of(area), pixels);
    }
    const size_t line_size = line_size_for(format, area.width);
    if (line_size > 0x7FFFFFFF / static_cast<size_t>(area.height)) {
        throw ManagedException("OutOfMemoryException", "The raw data would be larger than a managed array can be.");
    }
    Bytes data(line_size * static_cast<size_t>(area.height));
    imagework::PaletteSearch search(format.palette);
    Channels channels;
    size_t at = 0;
    for (int32_t y = 0; y < area.height; ++y) {
        LineWriter line(format, data.data() + static_cast<size_t>(y) * line_size);
        for (int32_t x = 0; x < area.width; ++x, ++at) {
            if (format.indexed) {
                channels.assign(1, static_cast<uint32_t>(search.nearest(colors[at])));
            } else {
                split(format, pixels[at], channels);
            }
            line.put(channels);
        }
    }
    return data;
}

Value get_default_raw_data(ImageObject& self, const RectangleValue& rectangle, Record* raw_data_settings) {
    self.require_live();
    return raw_block(self, rectangle, format_of(self, raw_data_settings));
}

void load_parts(ImageObject& self, const RectangleValue& rectangle, Record* settings, const VariantArg* loader,
                const char* parameter) {
    self.require_live();
    PixelReceiver& receiver = required_receiver(loader, parameter);
    const RawFormat format = format_of(self, settings);
    for (const PixelPart& part : parts_of(rectangle)) {
        receiver.take_raw(part, raw_block(self, part.area, format));
    }
}
void load_default_raw_data(ImageObject& self, const RectangleValue& rectangle,
                           const VariantArg* partial_raw_data_loader, Record* raw_data_settings) {
    load_parts(self, rectangle, raw_data_settings, partial_raw_data_loader, "partial_raw_data_loader");
}
void load_raw_data(ImageObject& self, const RectangleValue& rectangle, Record* raw_data_settings,
                   const VariantArg* raw_data_loader) {
    load_parts(self, rectangle, raw_data_settings, raw_data_loader, "raw_data_loader");
}

void save_raw_data(ImageObject& self, std::span<const std::byte> data, int32_t data_offset,
                   const RectangleValue& rectangle, Record* raw_data_settings) {
    self.require_live();
    const RawFormat format = format_of(self, raw_data_settings);
    packing_of(format);
    read_block(self, rect_of(rectangle));  // refuses an area outside the image
    const size_t line_size = line_size_for(format, rectangle.width);
    const auto lines = static_cast<size_t>(rectangle.height);
    const auto last = static_cast<size_t>(line_bytes(rectangle.width, format.bits_per_pixel));
    if (data_offset < 0 || static_cast<size_t>(data_offset) > data.size() ||
        data.size() - static_cast<size_t>(data_offset) < line_size * (lines - 1) + last) {
        throw_argument("There are " + std::to_string(data.size()) + " bytes, from " + std::to_string(data_offset) +
                       " on not enough for " + std::to_string(lines) + " lines of " + std::to_string(line_size) +
                       " bytes. (Parameter 'data')");
    }
    std::vector<Argb> pixels;
    Channels channels;
    for (size_t y = 0; y < lines; ++y) {
        LineReader line(format, data.data() + static_cast<size_t>(data_offset) + y * line_size);
        for (int32_t x = 0; x < rectangle.width; ++x) {
            line.get(channels);
            if (!format.indexed) {
                pixels.push_back(joined(format, channels));
                continue;
            }
            if (channels[0] >= format.palette.size()) {
                throw_argument("The data has the index " + std::to_string(channels[0]) + ", the palette " +
                               std::to_string(format.palette.size()) + " colors. (Parameter 'data')");
            }
            pixels.push_back(format.palette[channels[0]]);
        }
    }
    write_block(self, rect_of(rectangle), std::move(pixels));
}

using RasterImageApi = api::RasterImage;

const BehaviorTable table({
    behavior<&is_raw_data_available, RasterImageApi::get_IsRawDataAvailable>(),
    behavior<&own_settings, RasterImageApi::get_RawDataSettings>(),
    behavior<&own_format, RasterImageApi::get_RawDataFormat>(),
    behavior<&raw_line_size, RasterImageApi::get_RawLineSize>(),
    behavior<&load_default_raw_data, RasterImageApi::call_000_GetDefaultRawData>(),
    behavior<&get_default_raw_data, RasterImageApi::call_001_GetDefaultRawData>(),
    behavior<&load_raw_data, RasterImageApi::call_000_LoadRawData>(),
    behavior<&save_raw_data, RasterImageApi::call_000_SaveRawData>(),
});

}  // namespace

}  // namespace zelmor::embed

// Members that read and write raw data: areas of an image in the layout of a PixelDataFormat, line by line.
#include <algorithm>
#include <cassert>
#include <cstring>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/images/number_lists.h"
#include "runtime/native/behaviors/images/palettes.h"
#include "runtime/native/behaviors/images/partial_loads.h"
#include "runtime/native/behaviors/images/pixel_blocks.h"
#include "runtime/native/behaviors/images/raw_pixels.h"
#include "runtime/native/behaviors/values/cmyk.h"
#include "runtime/native/core/enumeration_properties.h"
#include "runtime/native/core/filled_bytes.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/imagework/palette_search.h"

namespace zelmor::embed {

using imagework::Argb;
using imagework::ColorModel;
using imagework::Rect;

namespace {

// ---- The layout that an image has itself

Ref<ManagedObject> raw_format(ImageObject& self) {
    const imagework::Picture& picture = self.picture();
    const imagework::PixelForm& form = picture.form();
    if (const auto palette = self.palette(); !palette.empty()) {
        int32_t bits = 8;
        while (bits > 1 && palette.size() <= size_t{1} << bits / 2) {
            bits /= 2;
        }
        return make_pixel_data_format("RgbIndexed", PixelLayout::kRgb, {bits});
    }
    // There is no layout of floating samples; 16 bits hold them best.
    const int32_t depth = form.is_integer() ? form.bits : 16;
    const std::vector<int32_t> bits(static_cast<size_t>(form.bands()), depth);
    switch (form.color) {
        case ColorModel::kGray:
            return make_pixel_data_format(form.alpha ? "GrayscaleAlpha" : "Grayscale", PixelLayout::kGrayscale, bits);
        case ColorModel::kCmyk:
            return make_pixel_data_format(form.alpha ? "Cmyka" : "Cmyk", PixelLayout::kCmyk, bits);
        case ColorModel::kLab:
            if (form.is_integer()) {
                return make_pixel_data_format("CieLab", PixelLayout::kCieLab, bits);
            }
            [[fallthrough]];
        default:
            if (depth == 8) {
                return make_pixel_data_format(form.alpha ? "Rgba32Bpp" : "Rgb24Bpp", PixelLayout::kBgr, bits);
            }
            return make_pixel_data_format(form.alpha ? "Rgba" : "Rgb", PixelLayout::kRgb, bits);
    }
}

int64_t line_bytes(int64_t width, int64_t bits_per_pixel) {
    return (width * bits_per_pixel + 7) / 8;
}

Ref<ManagedObject> own_settings(ImageObject& self) {
    Ref<ManagedObject> settings = make_instance(api::RawDataSettings::kType.name);
    const Ref<ManagedObject> format = raw_format(self);
    set_property(*settings, "PixelDataFormat", format);
    set_property(*settings, "LineSize", line_bytes(self.picture().width(), property_int(*format, "BitsPerPixel")));
    if (auto palette = self.palette(); !palette.empty()) {
        set_property(*settings, "ColorPalette", Ref<ManagedObject>(make_ref<PaletteObject>(std::move(palette))));
        set_property(*settings, "FallbackIndex", property_int(self, "RawFallbackIndex"));
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
    // Colors are always converted to those of the palette that are nearest; a converter of a program's own is refused.
    if (property_enum<api::DitheringMethods>(*settings, "DitheringMethod") == api::DitheringMethods::kCustomConverter) {
        throw_not_supported("The value " + std::to_string(number_of(api::DitheringMethods::kCustomConverter)) +
                            " of RawDataSettings.DitheringMethod");
    }
    Ref<ManagedObject> data_format = property_object(*settings, "PixelDataFormat");
    if (!data_format) {
        data_format = raw_format(self);
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
            format.palette = self.palette();
        }
        const size_t most = size_t{1} << format.bits[0];
        if (format.bits[0] > 8) {
            throw_layout(format);
        }
        if (format.palette.empty() || format.palette.size() > most) {
            throw_argument("Indices of " + std::to_string(format.bits[0]) + " bits need a palette of 1 to " +
                           std::to_string(most) + " colors. (Parameter 'raw_data_settings')");
        }
        const int64_t fallback = property_int(*settings, "FallbackIndex");
        if (fallback < 0 || static_cast<size_t>(fallback) >= format.palette.size()) {
            throw_argument("The fallback index " + std::to_string(fallback) + " is not one of a palette of " +
                           std::to_string(format.palette.size()) + " colors. (Parameter 'raw_data_settings')");
        }
        format.fallback_index = static_cast<uint16_t>(fallback);
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

bool has_inks_or_lab(const imagework::Picture& picture) {
    const ColorModel color = picture.form().color;
    return color == ColorModel::kCmyk || color == ColorModel::kLab;
}

// As many lines as are worth a call of the image library and fit the processor's cache. Reading colors of a picture
// that has others takes so long that the library's threads are worth it.
int32_t lines_at_once(const imagework::Picture& picture, int32_t width) {
    const int32_t pixels = has_inks_or_lab(picture) ? 1 << 18 : 1 << 14;
    return std::max(1, pixels / std::max(1, width));
}

// Inks with 16 bits each.
void widen_inks(const imagework::PixelForm& form, const std::vector<uint8_t>& samples, size_t channels, uint16_t* out) {
    const auto bands = static_cast<size_t>(form.bands());
    const size_t pixels = samples.size() / form.pixel_size();
    for (size_t i = 0; i < pixels; i++) {
        for (size_t band = 0; band < channels; band++) {
            uint16_t value = 0xFFFF;  // an alpha that the picture does not have
            if (band < bands) {
                const size_t at = i * bands + band;
                if (form.sample == imagework::SampleType::kUint16) {
                    std::memcpy(&value, &samples[2 * at], 2);
                } else {
                    value = static_cast<uint16_t>(samples[at] * 257);
                }
            }
            *out++ = value;
        }
    }
}
// The channels of some lines.
void read_channels(const ImageObject& self, const Rect& area, const RawFormat& format, imagework::PaletteSearch& search,
                   std::vector<uint16_t>& channels) {
    const imagework::Picture& picture = self.picture();
    const size_t count = static_cast<size_t>(area.width) * static_cast<size_t>(area.height);
    channels.resize(count * channels_of(format));
    const bool own_inks = format.layout == PixelLayout::kCmyk && picture.form().has_inks();
    const auto own_palette = picture.palette();
    const bool own_indices =
        format.indexed && !own_palette.empty() &&
        std::equal(own_palette.begin(), own_palette.end(), format.palette.begin(), format.palette.end());
    if (own_inks || own_indices) {
        const size_t row_size = picture.form().pixel_size() * static_cast<size_t>(area.width);
        std::vector<uint8_t> samples(row_size * static_cast<size_t>(area.height));
        picture.read_samples(area, row_size, samples);
        if (own_indices) {
            std::copy(samples.begin(), samples.end(), channels.begin());
        } else {
            widen_inks(picture.form(), samples, channels_of(format), channels.data());
        }
        return;
    }
    if (format.indexed) {
        const std::vector<Argb> colors = read_block(self, area);
        std::transform(colors.begin(), colors.end(), channels.begin(),
                       [&](Argb color) { return static_cast<uint16_t>(search.nearest(color)); });
        return;
    }
    std::vector<uint64_t> colors(count);
    picture.read_argb64(area, colors);
    split(format, colors, channels.data());
}

// Whether the bytes are made of the picture's colors of 8 bits. Inks of a picture of inks are its own.
bool reads_bytes(const imagework::Picture& picture, const RawFormat& format, Packing packing) {
    const imagework::PixelForm& form = picture.form();
    return is_byte_format(format, packing) && form.sample == imagework::SampleType::kUint8 &&
           !(format.layout == PixelLayout::kCmyk && form.color == ColorModel::kCmyk);
}

// Raw data of an area. What cannot be read is refused when this is made, before there is memory for it.
class RawRead {
 public:
    RawRead(const ImageObject& self, const RectangleValue& area, const RawFormat& format)
        : m_self(self),
          m_area(rect_of(area)),
          m_format(format),
          m_packing(packing_of(format)),  // refuses layouts that cannot be written
          m_verbatim(verbatim_of(format, self.picture())) {
        const imagework::Picture& picture = self.picture();
        if (m_packing == Packing::kSamples && m_verbatim == Verbatim::kNone) {
            throw_layout(format);
        }
        const bool inside = area.x >= 0 && area.y >= 0 && area.width > 0 && area.height > 0 &&
                            area.width <= picture.width() - area.x && area.height <= picture.height() - area.y;
        if (!inside) {
            read_block(self, m_area);  // refuses it
        }
        m_line_size = line_size_for(format, area.width);
        if (m_line_size > 0x7FFFFFFF / lines()) {
            throw ManagedException("OutOfMemoryException", "The raw data would be larger than a managed array can be.");
        }
    }

    size_t size() const { return m_line_size * lines(); }

    // Writes all bytes.
    void run(std::span<std::byte> block) const {
        assert(block.size() == size());
        const auto used = static_cast<size_t>(line_bytes(m_area.width, m_format.bits_per_pixel));
        const bool adds = m_packing == Packing::kUpperBits;  // puts bits into bytes that are zeros
        for (size_t y = 0; y < lines() && (adds || used < m_line_size); ++y) {
            const auto line = block.subspan(y * m_line_size, m_line_size);
            std::fill(line.begin() + static_cast<std::ptrdiff_t>(adds ? 0 : used), line.end(), std::byte{0});
        }
        const imagework::Picture& picture = m_self.picture();
        if (m_verbatim == Verbatim::kSame) {
            picture.read_samples(m_area, m_line_size, {reinterpret_cast<uint8_t*>(block.data()), block.size()});
            return;
        }
        imagework::PaletteSearch search(m_format.palette);
        std::vector<uint16_t> channels;
        std::vector<std::byte> samples;
        std::vector<Argb> colors;
        const bool bytes = reads_bytes(picture, m_format, m_packing);
        const int32_t step = lines_at_once(picture, m_area.width);
        for (int32_t top = 0; top < m_area.height; top += step) {
            const Rect part{m_area.x, m_area.y + top, m_area.width, std::min(step, m_area.height - top)};
            std::byte* to = block.data() + static_cast<size_t>(top) * m_line_size;
            if (m_verbatim == Verbatim::kReversed) {
                read_reversed(part, used, samples, to);
            } else if (bytes) {
                read_bytes(part, colors, to);
            } else {
                read_channels(m_self, part, m_format, search, channels);
                for (size_t y = 0; y < static_cast<size_t>(part.height); ++y) {
                    pack_line(m_format, m_packing, &channels[y * width() * channels_of(m_format)], width(),
                              to + y * m_line_size);
                }
            }
        }
    }

 private:
    size_t lines() const { return static_cast<size_t>(m_area.height); }
    size_t width() const { return static_cast<size_t>(m_area.width); }

    // By way of other memory: exchanging in place would read what was written just before, which stalls a processor.
    void read_reversed(const Rect& part, size_t used, std::vector<std::byte>& samples, std::byte* to) const {
        const imagework::Picture& picture = m_self.picture();
        const imagework::PixelForm& form = picture.form();
        samples.resize(used * static_cast<size_t>(part.height));
        picture.read_samples(part, used, {reinterpret_cast<uint8_t*>(samples.data()), samples.size()});
        for (size_t y = 0; y < static_cast<size_t>(part.height); ++y, to += m_line_size) {
            exchange_red_and_blue(&samples[y * used], to, width(), static_cast<size_t>(form.bands()),
                                  imagework::sample_size(form.sample));
        }
    }
    void read_bytes(const Rect& part, std::vector<Argb>& colors, std::byte* to) const {
        colors.resize(width() * static_cast<size_t>(part.height));
        m_self.picture().read_argb(part, colors);
        for (size_t y = 0; y < static_cast<size_t>(part.height); ++y, to += m_line_size) {
            pack_colors(m_format, std::span(colors).subspan(y * width(), width()), to);
        }
    }

    const ImageObject& m_self;
    Rect m_area;
    const RawFormat& m_format;
    Packing m_packing;
    Verbatim m_verbatim;
    size_t m_line_size = 0;
};

Value get_default_raw_data(ImageObject& self, const RectangleValue& rectangle, Record* raw_data_settings) {
    self.require_live();
    const RawFormat format = format_of(self, raw_data_settings);
    const RawRead read(self, rectangle, format);
    return PyHeld::steal(py_bytes_filled(read.size(), [&](std::span<std::byte> block) { read.run(block); }));
}

// `corner` is the point that the receiver has for the area's upper left corner, if not the corner itself.
void load_parts(ImageObject& self, const RectangleValue& rectangle, Record* settings, const VariantArg* loader,
                const char* parameter, const std::optional<PointValue>& corner = {}) {
    self.require_live();
    PixelReceiver& receiver = required_receiver(loader, parameter);
    const RawFormat format = format_of(self, settings);
    const std::vector<PixelPart> parts = checked_parts(self, rectangle);
    const PointValue to = corner.value_or(PointValue{rectangle.x, rectangle.y});
    const auto moved = [&](const PointValue& point) {
        return PointValue{point.x - rectangle.x + to.x, point.y - rectangle.y + to.y};
    };
    for (const PixelPart& part : parts) {
        const RawRead read(self, part.area, format);
        Bytes block(read.size());
        read.run(block);
        receiver.take_raw({part.area, moved(part.start), moved(part.end)}, block);
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
// For a receiver that fills an area of another image: the area's upper left corner goes to that of the bounds, what
// does not fit into them stays out, and the points of the parts are those of the other image.
void load_raw_data_for(ImageObject& self, const RectangleValue& rectangle, const RectangleValue& dest_image_bounds,
                       Record* raw_data_settings, const VariantArg* raw_data_loader) {
    const RectangleValue& bounds = dest_image_bounds;
    if (bounds.x < 0 || bounds.y < 0 || bounds.width <= 0 || bounds.height <= 0 ||
        bounds.x > INT32_MAX - bounds.width || bounds.y > INT32_MAX - bounds.height) {
        throw_out_of_range("dest_image_bounds", "The area of " + size_text(bounds.width, bounds.height) +
                                                    " pixels at " + std::to_string(bounds.x) + ", " +
                                                    std::to_string(bounds.y) + " is in no image.");
    }
    const RectangleValue area{rectangle.x, rectangle.y, std::min(rectangle.width, bounds.width),
                              std::min(rectangle.height, bounds.height)};
    load_parts(self, area, raw_data_settings, raw_data_loader, "raw_data_loader", PointValue{bounds.x, bounds.y});
}

// ---- Writing

// Lines of a caller's data.
struct RawLines {
    const std::byte* data;
    size_t line_size;
    const std::byte* line(int32_t index) const { return data + static_cast<size_t>(index) * line_size; }
};

// An index that the palette does not have becomes the fallback index, if one is set, and is refused otherwise.
void require_indices(const RawFormat& format, std::vector<uint16_t>& channels) {
    for (uint16_t& index : channels) {
        if (index >= format.palette.size()) {
            if (format.fallback_index != 0) {
                index = format.fallback_index;
                continue;
            }
            throw_argument("The data has the index " + std::to_string(index) + ", the palette " +
                           std::to_string(format.palette.size()) + " colors. (Parameter 'data')");
        }
    }
}

// Samples in the picture's own order, or with red and blue exchanged.
void write_verbatim(imagework::Picture& picture, const Rect& area, const RawFormat& format, Verbatim verbatim,
                    const RawLines& lines) {
    const auto used = static_cast<size_t>(line_bytes(area.width, format.bits_per_pixel));
    if (verbatim == Verbatim::kSame) {
        const size_t size = lines.line_size * static_cast<size_t>(area.height - 1) + used;
        return picture.write_samples(area, lines.line_size, {reinterpret_cast<const uint8_t*>(lines.data), size});
    }
    const imagework::PixelForm form = picture.form();
    const int32_t step = lines_at_once(picture, area.width);
    std::vector<std::byte> part(used * static_cast<size_t>(step));
    for (int32_t top = 0; top < area.height; top += step) {
        const int32_t count = std::min(step, area.height - top);
        for (int32_t y = 0; y < count; ++y) {
            exchange_red_and_blue(lines.line(top + y), &part[static_cast<size_t>(y) * used],
                                  static_cast<size_t>(area.width), static_cast<size_t>(form.bands()),
                                  imagework::sample_size(form.sample));
        }
        picture.write_samples({area.x, area.y + top, area.width, count}, used,
                              {reinterpret_cast<const uint8_t*>(part.data()), used * static_cast<size_t>(count)});
    }
}

// Inks into a picture of inks.
void write_inks(imagework::Picture& picture, const Rect& area, const RawFormat& format, Packing packing,
                const RawLines& lines) {
    const imagework::PixelForm form = picture.form();
    const auto width = static_cast<size_t>(area.width);
    const size_t count = channels_of(format);
    const auto bands = static_cast<size_t>(form.bands());
    const size_t row_size = form.pixel_size() * width;
    std::vector<uint16_t> channels(width * count);
    std::vector<uint8_t> row(row_size);
    for (int32_t y = 0; y < area.height; ++y) {
        const Rect one{area.x, area.y + y, area.width, 1};
        picture.read_samples(one, row_size, row);  // an alpha that the data does not have stays
        unpack_line(format, packing, lines.line(y), width, channels.data());
        for (size_t i = 0; i < width; i++) {
            for (size_t band = 0; band < std::min(count, bands); band++) {
                const uint16_t value = channels[i * count + band];
                const size_t at = i * bands + band;
                if (form.sample == imagework::SampleType::kUint16) {
                    std::memcpy(&row[2 * at], &value, 2);
                } else {
                    row[at] = static_cast<uint8_t>((value * 255U + 32767) / 65535);
                }
            }
        }
        picture.write_samples(one, row_size, row);
    }
}

void save_raw_data(ImageObject& self, std::span<const std::byte> data, int32_t data_offset,
                   const RectangleValue& rectangle, Record* raw_data_settings) {
    self.require_live();
    const RawFormat format = format_of(self, raw_data_settings);
    const Packing packing = packing_of(format);
    imagework::Picture& picture = self.picture();
    const Rect area = rect_of(rectangle);
    const bool is_inside = area.x >= 0 && area.y >= 0 && area.width > 0 && area.height > 0 &&
                           area.width <= picture.width() - area.x && area.height <= picture.height() - area.y;
    if (!is_inside) {  // both refuse it
        read_block(self, {area.x, area.y, std::min(1, area.width), std::min(1, area.height)});
        read_block(self, area);
    }
    const size_t line_size = line_size_for(format, rectangle.width);
    const auto count = static_cast<size_t>(rectangle.height);
    const auto last = static_cast<size_t>(line_bytes(rectangle.width, format.bits_per_pixel));
    if (data_offset < 0 || static_cast<size_t>(data_offset) > data.size() ||
        data.size() - static_cast<size_t>(data_offset) < line_size * (count - 1) + last) {
        throw_argument("There are " + std::to_string(data.size()) + " bytes, from " + std::to_string(data_offset) +
                       " on not enough for " + std::to_string(count) + " lines of " + std::to_string(line_size) +
                       " bytes. (Parameter 'data')");
    }
    const RawLines lines{data.data() + data_offset, line_size};
    const bool premultiplied = property_bool(self, "PremultiplyComponents");
    const bool as_they_are = !premultiplied && format.fallback_index == 0;
    const Verbatim verbatim = as_they_are ? verbatim_of(format, picture) : Verbatim::kNone;
    try {
        if (verbatim != Verbatim::kNone) {
            return write_verbatim(picture, area, format, verbatim, lines);
        }
        if (format.layout == PixelLayout::kCmyk && packing != Packing::kSamples && picture.form().has_inks()) {
            return write_inks(picture, area, format, packing, lines);
        }
    } catch (const imagework::PictureError& error) {
        if (error.kind() == imagework::Failure::kArgument && error.parameter() == "data") {
            throw_argument(std::string(error.what()) + " (Parameter 'data')");
        }
        throw;
    }
    if (packing == Packing::kSamples) {
        throw_layout(format);
    }
    const auto width = static_cast<size_t>(rectangle.width);
    const size_t channel_count = channels_of(format);
    const auto row = [&](int32_t y, std::vector<uint16_t>& channels) {
        unpack_line(format, packing, lines.line(y), width, channels.data());
        if (format.indexed) {
            require_indices(format, channels);
        }
    };
    const int32_t step = lines_at_once(picture, rectangle.width);
    if (is_byte_format(format, packing)) {
        for (int32_t top = 0; top < rectangle.height; top += step) {
            const Rect part{area.x, area.y + top, area.width, std::min(step, rectangle.height - top)};
            std::vector<Argb> colors(width * static_cast<size_t>(part.height));
            for (size_t y = 0; y < static_cast<size_t>(part.height); ++y) {
                unpack_colors(format, lines.line(top + static_cast<int32_t>(y)),
                              std::span(colors).subspan(y * width, width));
            }
            write_block(self, part, std::move(colors));
        }
        return;
    }
    std::vector<uint16_t> channels(width * channel_count);
    // All lines before the first is written, so that a refusal changes nothing.
    if (format.indexed) {
        for (int32_t y = 0; y < rectangle.height; ++y) {
            row(y, channels);
        }
    }
    const bool deep = !premultiplied && !format.indexed && packing == Packing::kWords &&
                      picture.form().sample != imagework::SampleType::kUint8;
    std::vector<uint64_t> colors(width);
    for (int32_t top = 0; top < rectangle.height; top += step) {
        const Rect part{area.x, area.y + top, area.width, std::min(step, rectangle.height - top)};
        std::vector<uint64_t> wide_colors;
        std::vector<Argb> narrow_colors;
        for (int32_t y = top; y < top + part.height; ++y) {
            row(y, channels);
            if (format.indexed) {
                for (const uint16_t index : channels) {
                    narrow_colors.push_back(format.palette[index]);
                }
                continue;
            }
            join(format, channels.data(), colors);
            if (deep) {
                wide_colors.insert(wide_colors.end(), colors.begin(), colors.end());
                continue;
            }
            for (const uint64_t color : colors) {
                const auto channel = [&](int shift) {
                    return (static_cast<Argb>(color >> shift & 0xFFFF) * 255 + 32767) / 65535;
                };
                narrow_colors.push_back(channel(48) << 24 | channel(32) << 16 | channel(16) << 8 | channel(0));
            }
        }
        if (deep) {
            picture.write_argb64(part, wide_colors);
        } else {
            write_block(self, part, std::move(narrow_colors));
        }
    }
}

using RasterImageApi = api::RasterImage;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&is_raw_data_available, RasterImageApi::get_IsRawDataAvailable>(),
    behavior<&own_settings, RasterImageApi::get_RawDataSettings>(),
    behavior<&raw_format, RasterImageApi::get_RawDataFormat>(),
    behavior<&raw_line_size, RasterImageApi::get_RawLineSize>(),
    behavior<&load_default_raw_data, RasterImageApi::call_000_GetDefaultRawData>(),
    behavior<&get_default_raw_data, RasterImageApi::call_001_GetDefaultRawData>(),
    behavior<&load_raw_data, RasterImageApi::call_000_LoadRawData>(),
    behavior<&load_raw_data_for, RasterImageApi::call_001_LoadRawData>(),
    behavior<&save_raw_data, RasterImageApi::call_000_SaveRawData>(),
});

}  // namespace

}  // namespace zelmor::embed

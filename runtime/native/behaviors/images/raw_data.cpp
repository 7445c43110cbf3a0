// Raw data: pixels in the layout of a PixelDataFormat, line by line.
//
// Channels of 8 bits are bytes in the format's order, those of 16 bits pairs of bytes, the lower first; what has fewer
// than 8 bits fills its bytes from the upper end, and the 15- and 16-bit colors are words, the lower byte first.
#include <algorithm>
#include <cmath>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/behaviors/colors/pixel_data_format.h"
#include "runtime/native/behaviors/images/encoding_options.h"
#include "runtime/native/behaviors/images/palettes.h"
#include "runtime/native/behaviors/images/partial_loads.h"
#include "runtime/native/behaviors/images/picture_failures.h"
#include "runtime/native/behaviors/images/pixel_blocks.h"
#include "runtime/native/behaviors/values/cmyk.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"
#include "runtime/native/imagework/palette_search.h"

namespace zelmor::embed {

using imagework::Argb;
using imagework::Rect;

namespace {

struct RawFormat {
    PixelLayout layout{};
    std::vector<int32_t> bits;
    int32_t bits_per_pixel = 0;
    bool indexed = false;
    std::vector<Argb> palette;  // of an indexed one
    int64_t line_size = 0;      // 0: as many bytes as the pixels need
    std::string name;
};

[[noreturn]] void throw_layout(const RawFormat& format) {
    throw_not_supported("Raw data in the layout " + format.name + " of " + std::to_string(format.bits_per_pixel) +
                        " bits per pixel");
}

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
    const int32_t depth = picture.bits_per_channel();
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
    Ref<ManagedObject> settings = make_instance("Zelmor.Imaging.RawDataSettings");
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

RawFormat format_of(ImageObject& self, const Record* settings) {
    if (!settings) {
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
    format.layout = static_cast<PixelLayout>(property_int(*data_format, "PixelFormat"));
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

// ---- One pixel's channels, each 0 to 65535, in the format's order

using Channels = std::vector<uint32_t>;

uint32_t wide(uint32_t byte) {
    return byte * 257;
}
Argb narrow(uint32_t value) {
    return (value * 255 + 32767) / 65535;
}
uint32_t clipped(double value) {
    return static_cast<uint32_t>(std::clamp(std::lround(value), 0L, 65535L));
}

size_t color_channels(PixelLayout layout) {
    return layout == PixelLayout::kGrayscale ? 1 : layout == PixelLayout::kCmyk ? 4 : 3;
}

// From a color of 16 bits per channel.
void split(const RawFormat& format, uint64_t argb, Channels& channels) {
    const auto red = static_cast<uint32_t>(argb >> 32 & 0xFFFF);
    const auto green = static_cast<uint32_t>(argb >> 16 & 0xFFFF);
    const auto blue = static_cast<uint32_t>(argb & 0xFFFF);
    channels.clear();
    switch (format.layout) {
        case PixelLayout::kGrayscale:
            channels.push_back(clipped(0.299 * red + 0.587 * green + 0.114 * blue));
            break;
        case PixelLayout::kBgr:
            channels.insert(channels.end(), {blue, green, red});
            break;
        case PixelLayout::kRgb:
            channels.insert(channels.end(), {red, green, blue});
            break;
        case PixelLayout::kYCbCr: {
            const double y = 0.299 * red + 0.587 * green + 0.114 * blue;
            channels.insert(channels.end(),
                            {clipped(y), clipped(32896 + (blue - y) / 1.772), clipped(32896 + (red - y) / 1.402)});
            break;
        }
        case PixelLayout::kCmyk: {
            const CmykValue cmyk = cmyk_of(narrow(red) << 16 | narrow(green) << 8 | narrow(blue));
            channels.insert(channels.end(), {wide(cmyk.c), wide(cmyk.m), wide(cmyk.y), wide(cmyk.k)});
            break;
        }
        default:
            throw_layout(format);
    }
    if (format.bits.size() > channels.size()) {
        channels.push_back(static_cast<uint32_t>(argb >> 48));
    }
}

Argb joined(const RawFormat& format, const Channels& channels) {
    const size_t colors = color_channels(format.layout);
    const Argb alpha = channels.size() > colors ? narrow(channels[colors]) : 255;
    const auto argb = [&](double red, double green, double blue) {
        return alpha << 24 | narrow(clipped(red)) << 16 | narrow(clipped(green)) << 8 | narrow(clipped(blue));
    };
    switch (format.layout) {
        case PixelLayout::kGrayscale:
            return argb(channels[0], channels[0], channels[0]);
        case PixelLayout::kBgr:
            return argb(channels[2], channels[1], channels[0]);
        case PixelLayout::kRgb:
            return argb(channels[0], channels[1], channels[2]);
        case PixelLayout::kYCbCr: {
            const double y = channels[0], cb = channels[1] - 32896.0, cr = channels[2] - 32896.0;
            return argb(y + 1.402 * cr, y - 0.344136 * cb - 0.714136 * cr, y + 1.772 * cb);
        }
        case PixelLayout::kCmyk: {
            const auto part = [&](size_t i) { return static_cast<uint8_t>(narrow(channels[i])); };
            return alpha << 24 | (argb_of({part(0), part(1), part(2), part(3)}) & 0xFFFFFF);
        }
        default:
            throw_layout(format);
    }
}

// ---- Bits in bytes

enum class Packing { kBytes, kWords, kUpperBits, kColorWord };

Packing packing_of(const RawFormat& format) {
    const auto all = [&](int32_t bits) {
        return std::all_of(format.bits.begin(), format.bits.end(), [&](int32_t each) { return each == bits; });
    };
    const size_t channels = format.bits.size();
    const size_t colors = format.indexed ? 1 : color_channels(format.layout);
    const bool sound = channels == colors || channels == colors + 1;
    if (sound && all(8)) {
        return Packing::kBytes;
    }
    if (sound && all(16) && !format.indexed) {
        return Packing::kWords;
    }
    if (channels == 1 && (format.bits[0] == 1 || format.bits[0] == 2 || format.bits[0] == 4)) {
        return Packing::kUpperBits;
    }
    if (channels == 3 && format.bits_per_pixel <= 16 && format.bits[0] + format.bits[1] + format.bits[2] <= 16) {
        return Packing::kColorWord;
    }
    throw_layout(format);
}

class LineWriter {
 public:
    LineWriter(const RawFormat& format, std::byte* line)
        : m_format(format), m_packing(packing_of(format)), m_line(line) {}

    void put(const Channels& channels) {
        switch (m_packing) {
            case Packing::kBytes:
                for (const uint32_t value : channels) {
                    byte(m_format.indexed ? value : narrow(value));
                }
                for (size_t i = channels.size(); i < static_cast<size_t>(m_format.bits_per_pixel) / 8; ++i) {
                    byte(255);
                }
                break;
            case Packing::kWords:
                for (const uint32_t value : channels) {
                    byte(value & 0xFF);
                    byte(value >> 8);
                }
                break;
            case Packing::kUpperBits: {
                const int bits = m_format.bits[0];
                const uint32_t top = (1U << bits) - 1;
                const uint32_t value = m_format.indexed ? channels[0] : (channels[0] * top + 32767) / 65535;
                m_line[m_bit / 8] |= static_cast<std::byte>(value << (8 - bits - static_cast<int>(m_bit % 8)));
                m_bit += static_cast<size_t>(bits);
                break;
            }
            case Packing::kColorWord: {
                uint32_t word = 0;
                for (size_t i = 0; i < 3; ++i) {
                    const uint32_t top = (1U << m_format.bits[i]) - 1;
                    word = word << m_format.bits[i] | (channels[i] * top + 32767) / 65535;
                }
                byte(word & 0xFF);
                byte(word >> 8);
                break;
            }
        }
    }

 private:
    void byte(uint32_t value) {
        m_line[m_bit / 8] = static_cast<std::byte>(value);
        m_bit += 8;
    }
    const RawFormat& m_format;
    Packing m_packing;
    std::byte* m_line;
    size_t m_bit = 0;
};

class LineReader {
 public:
    LineReader(const RawFormat& format, const std::byte* line)
        : m_format(format), m_packing(packing_of(format)), m_line(line) {}

    void get(Channels& channels) {
        channels.clear();
        switch (m_packing) {
            case Packing::kBytes:
                for (size_t i = 0; i < m_format.bits.size(); ++i) {
                    channels.push_back(m_format.indexed ? byte() : wide(byte()));
                }
                for (size_t i = channels.size(); i < static_cast<size_t>(m_format.bits_per_pixel) / 8; ++i) {
                    byte();
                }
                break;
            case Packing::kWords:
                for (size_t i = 0; i < m_format.bits.size(); ++i) {
                    const uint32_t low = byte();
                    channels.push_back(low | byte() << 8);
                }
                break;
            case Packing::kUpperBits: {
                const int bits = m_format.bits[0];
                const uint32_t top = (1U << bits) - 1;
                const uint32_t value =
                    std::to_integer<uint32_t>(m_line[m_bit / 8]) >> (8 - bits - static_cast<int>(m_bit % 8)) & top;
                m_bit += static_cast<size_t>(bits);
                channels.push_back(m_format.indexed ? value : value * 65535 / top);
                break;
            }
            case Packing::kColorWord: {
                uint32_t word = byte();
                word |= byte() << 8;
                channels.resize(3);
                for (size_t i = 3; i-- > 0;) {
                    const uint32_t top = (1U << m_format.bits[i]) - 1;
                    channels[i] = (word & top) * 65535 / top;
                    word >>= m_format.bits[i];
                }
                break;
            }
        }
    }

 private:
    uint32_t byte() {
        const auto value = std::to_integer<uint32_t>(m_line[m_bit / 8]);
        m_bit += 8;
        return value;
    }
    const RawFormat& m_format;
    Packing m_packing;
    const std::byte* m_line;
    size_t m_bit = 0;
};

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
    packing_of(format);  // refuses what there is no way to write
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

// Channels and bytes of raw pixels; see raw_pixels.h.
#include "runtime/native/behaviors/images/raw_pixels.h"

#include <algorithm>
#include <cmath>

#include "runtime/native/behaviors/values/cmyk.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

using imagework::Argb;

void throw_layout(const RawFormat& format) {
    throw_not_supported("Raw data in the layout " + format.name + " of " + std::to_string(format.bits_per_pixel) +
                        " bits per pixel");
}

namespace {

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

}  // namespace

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

void LineWriter::put(const Channels& channels) {
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

void LineWriter::byte(uint32_t value) {
    m_line[m_bit / 8] = static_cast<std::byte>(value);
    m_bit += 8;
}

void LineReader::get(Channels& channels) {
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

uint32_t LineReader::byte() {
    const auto value = std::to_integer<uint32_t>(m_line[m_bit / 8]);
    m_bit += 8;
    return value;
}

}  // namespace zelmor::embed

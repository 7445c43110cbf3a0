// Which channels are which bands; see jpeg2000_layout.h.
#include "runtime/native/formats/jpeg2000/jpeg2000_layout.h"

#include <algorithm>
#include <cassert>
#include <string>

#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/samples.h"

namespace zelmor::imagework {
namespace {

constexpr int kMostBits = 24;

// The numbers of color spaces in files.
constexpr uint32_t kSpaceCmyk = 12;
constexpr uint32_t kSpaceSrgb = 16;
constexpr uint32_t kSpaceGray = 17;
constexpr uint32_t kSpaceYcc = 18;

struct Colors {
    ColorModel model = ColorModel::kRgb;
    bool ycc = false;
};

size_t count_of(ColorModel model) {
    PixelForm form;
    form.color = model;
    return static_cast<size_t>(form.color_bands());
}

class LayoutMaker {
 public:
    LayoutMaker(const ByteReader& file, const Jpeg2000Structure& structure)
        : m_in(file.in_order(true)), m_file(structure), m_channels(structure.channels) {
        if (m_channels.empty()) {
            name_channels();
        }
        for (const Jpeg2000Channel& channel : m_channels) {
            const bool known = channel.component < m_file.components.size() &&
                               (!channel.column || (m_file.palette && *channel.column < m_file.palette->bits.size()));
            if (!known) {
                jpeg2000_damaged("a channel stands for nothing");
            }
        }
    }

    Jpeg2000Layout make() {
        measure();
        const Colors colors = find_colors();
        m_layout.form.color = colors.model;
        m_layout.ycc = colors.ycc;
        choose_bands(count_of(colors.model));
        if (is_indexed()) {
            make_indexed();
        } else {
            choose_depth();
        }
        check_picture_size(m_layout.width, m_layout.height, static_cast<int>(m_layout.form.pixel_size()));
        return m_layout;
    }

 private:
    // Without the component mapping box, channels are components, or the columns of a palette.
    void name_channels() {
        if (m_file.palette) {
            for (size_t i = 0; i < m_file.palette->bits.size(); i++) {
                m_channels.push_back({0, static_cast<uint8_t>(i)});
            }
            return;
        }
        for (size_t i = 0; i < m_file.components.size(); i++) {
            m_channels.push_back({static_cast<uint16_t>(i), {}});
        }
    }

    void measure() {
        uint32_t dx = 255;
        uint32_t dy = 255;
        for (const Jpeg2000Component& component : m_file.components) {
            dx = std::min(dx, component.dx);
            dy = std::min(dy, component.dy);
        }
        for (const Jpeg2000Component& component : m_file.components) {
            if (component.dx % dx != 0 || component.dy % dy != 0) {
                jpeg2000_unsupported(
                    "this is a JPEG 2000 file whose components are sampled by sides that are no multiples of each "
                    "other");
            }
        }
        const auto span = [](uint32_t from, uint32_t to, uint32_t unit) {
            return (int64_t{to} + unit - 1) / unit - (int64_t{from} + unit - 1) / unit;
        };
        const int64_t width = span(m_file.grid.left, m_file.grid.right, dx);
        const int64_t height = span(m_file.grid.top, m_file.grid.bottom, dy);
        if (width <= 0 || height <= 0) {
            jpeg2000_damaged("it has no pixels");
        }
        if (width > limits::kSide || height > limits::kSide) {
            throw PictureError(Failure::kTooLarge, "the picture has " + std::to_string(std::max(width, height)) +
                                                       " pixels to a side; up to " + std::to_string(limits::kSide) +
                                                       " are read");
        }
        m_layout.width = static_cast<int32_t>(width);
        m_layout.height = static_cast<int32_t>(height);
        m_layout.unit_x = dx;
        m_layout.unit_y = dy;
    }

    Colors find_colors() const {
        if (m_file.color_space) {
            switch (*m_file.color_space) {
                case kSpaceCmyk:
                    return checked({ColorModel::kCmyk});
                case kSpaceSrgb:
                    return checked({ColorModel::kRgb});
                case kSpaceGray:
                    return checked({ColorModel::kGray});
                case kSpaceYcc:
                    return checked({ColorModel::kRgb, true});
                default:
                    jpeg2000_unsupported("this is a JPEG 2000 file of the color space number " +
                                         std::to_string(*m_file.color_space) + "; sRGB, gray, sYCC and CMYK are read");
            }
        }
        if (m_file.profile.size > 0) {
            const auto found = m_in.piece(m_file.profile.at + 16, 4);
            const std::string space(found.begin(), found.end());
            if (space == "GRAY") {
                return checked({ColorModel::kGray});
            }
            if (space == "RGB ") {
                return checked({ColorModel::kRgb});
            }
            if (space == "CMYK") {
                return checked({ColorModel::kCmyk});
            }
            jpeg2000_unsupported(
                "this is a JPEG 2000 file with a color profile of another space than gray, RGB and "
                "CMYK");
        }
        return by_count();
    }

    // A file that names colors which it does not have is read by the number of its channels.
    Colors checked(Colors colors) const { return count_of(colors.model) <= color_channels() ? colors : by_count(); }

    size_t color_channels() const {
        const auto others = std::count_if(m_file.definitions.begin(), m_file.definitions.end(),
                                          [](const Jpeg2000Definition& entry) { return entry.type != 0; });
        return m_channels.size() - std::min(m_channels.size(), static_cast<size_t>(others));
    }

    Colors by_count() const {
        const size_t count = color_channels();
        if (count <= 2) {
            return {ColorModel::kGray};
        }
        const auto& parts = m_file.components;
        const bool halved = !m_file.palette && parts[0].dx == 1 && parts[0].dy == 1 && parts[1].dx > 1 &&
                            parts[1].dx == parts[2].dx && parts[1].dy == parts[2].dy;
        return {ColorModel::kRgb, halved};
    }

    void choose_bands(size_t colors) {
        std::vector<size_t> chosen;
        std::optional<size_t> alpha;
        size_t others = 0;
        if (m_file.definitions.empty()) {
            for (size_t i = 0; i < colors; i++) {
                chosen.push_back(i);
            }
            if (m_channels.size() == colors + 1) {
                alpha = colors;
            } else if (m_channels.size() > colors) {
                others = m_channels.size() - colors;
            }
        } else {
            chosen.assign(colors, m_channels.size());
            for (const Jpeg2000Definition& entry : m_file.definitions) {
                if (entry.channel >= m_channels.size()) {
                    jpeg2000_damaged("a channel stands for nothing");
                }
                if (entry.type == 0 && entry.place >= 1 && entry.place <= colors) {
                    chosen[entry.place - 1U] = entry.channel;
                } else if ((entry.type == 1 || entry.type == 2) && entry.place == 0 && !alpha) {
                    alpha = entry.channel;
                    m_layout.premultiplied = entry.type == 2;
                } else {
                    others++;
                }
            }
        }
        if (others > 0) {
            jpeg2000_unsupported("this is a JPEG 2000 file with " + std::to_string(others) +
                                 " channels that are neither colors nor the opacity of the picture");
        }
        if (std::any_of(chosen.begin(), chosen.end(), [&](size_t i) { return i >= m_channels.size(); })) {
            jpeg2000_damaged("it lacks the channel of a color");
        }
        if (alpha) {
            chosen.push_back(*alpha);
        }
        m_layout.form.alpha = alpha.has_value();
        for (const size_t i : chosen) {
            m_layout.bands.push_back(band_of(m_channels[i]));
        }
    }

    Jpeg2000Band band_of(const Jpeg2000Channel& channel) const {
        Jpeg2000Band band{channel.component, channel.column};
        const Jpeg2000Component& component = m_file.components[channel.component];
        band.bits = channel.column ? m_file.palette->bits[*channel.column] : component.bits;
        band.is_signed = channel.column ? m_file.palette->is_signed[*channel.column] : component.is_signed;
        if (component.bits > kMostBits) {
            jpeg2000_unsupported("this is a JPEG 2000 file with " + std::to_string(component.bits) +
                                 " bits per component; up to " + std::to_string(kMostBits) + " are read");
        }
        return band;
    }

    bool is_indexed() const {
        if (m_layout.ycc || m_layout.form.color == ColorModel::kCmyk) {
            return false;
        }
        const Jpeg2000Component& component = m_file.components[m_layout.bands[0].component];
        return component.bits <= 8 && !component.is_signed && component.dx == m_layout.unit_x &&
               component.dy == m_layout.unit_y &&
               std::all_of(m_layout.bands.begin(), m_layout.bands.end(), [&](const Jpeg2000Band& band) {
                   return band.column && band.component == m_layout.bands[0].component;
               });
    }

    // The palette's sample as 16 bits.
    uint64_t entry(size_t index, const Jpeg2000Band& band) const {
        const Jpeg2000Palette& palette = *m_file.palette;
        const uint64_t top = (uint64_t{1} << band.bits) - 1;
        uint64_t value = palette.values[index * palette.bits.size() + *band.column] & top;
        if (band.is_signed) {
            value ^= uint64_t{1} << (band.bits - 1);
        }
        return (value * 0xFFFF + top / 2) / top;
    }

    void make_indexed() {
        const int bits = m_file.components[m_layout.bands[0].component].bits;
        const size_t count = std::min(m_file.palette->entries, size_t{1} << bits);
        const bool gray = m_layout.form.color == ColorModel::kGray;
        bool deep = false;
        for (const Jpeg2000Band& band : m_layout.bands) {
            deep = deep || band.bits > 8;
        }
        for (size_t i = 0; i < count; i++) {
            uint64_t color = m_layout.form.alpha ? entry(i, m_layout.bands.back()) : 0xFFFF;
            for (size_t band = 0; band < 3; band++) {
                color = color << 16 | entry(i, m_layout.bands[gray ? 0 : band]);
            }
            if (m_layout.premultiplied) {
                color = unmultiplied(color);
            }
            Argb narrow = 0;
            for (int shift = 48; shift >= 0; shift -= 16) {
                narrow = narrow << 8 | static_cast<Argb>(((color >> shift & 0xFFFF) * 255 + 32767) / 65535);
            }
            m_layout.palette.push_back(narrow);
            m_layout.deep_palette.push_back(color);
        }
        if (!deep) {
            m_layout.deep_palette.clear();
        }
        m_layout.bits = bits;
        m_layout.premultiplied = false;
        m_layout.form = {ColorModel::kIndexed, SampleType::kUint8, bits <= 2 ? bits : bits <= 4 ? 4 : 8, false};
        m_layout.bands = {{m_layout.bands[0].component, {}, bits, false}};
    }

    void choose_depth() {
        PixelForm& form = m_layout.form;
        bool all_signed = !m_layout.ycc && !m_layout.premultiplied;
        int bits = 1;
        for (const Jpeg2000Band& band : m_layout.bands) {
            bits = std::max(bits, band.bits);
            all_signed = all_signed && band.is_signed;
        }
        m_layout.bits = bits;
        if (bits <= 8) {
            form.sample = all_signed ? SampleType::kInt8 : SampleType::kUint8;
            const bool small = form.color == ColorModel::kGray && !form.alpha && !all_signed && bits <= 4 && bits != 3;
            form.bits = small ? bits : 8;
        } else if (bits <= 16) {
            form.sample = all_signed ? SampleType::kInt16 : SampleType::kUint16;
            form.bits = 16;
        } else {
            form.sample = all_signed ? SampleType::kInt32 : SampleType::kUint32;
            form.bits = 32;
        }
    }

    const ByteReader m_in;
    const Jpeg2000Structure& m_file;
    std::vector<Jpeg2000Channel> m_channels;
    Jpeg2000Layout m_layout;
};

}  // namespace

uint64_t unmultiplied(uint64_t color) {
    const uint64_t alpha = color >> 48;
    if (alpha == 0) {
        return 0;
    }
    uint64_t result = alpha;
    for (int shift = 32; shift >= 0; shift -= 16) {
        const uint64_t value = color >> shift & 0xFFFF;
        result = result << 16 | std::min<uint64_t>(0xFFFF, (value * 0xFFFF + alpha / 2) / alpha);
    }
    return result;
}

Jpeg2000Layout jpeg2000_layout(const ByteReader& file, const Jpeg2000Structure& structure) {
    return LayoutMaker(file, structure).make();
}

}  // namespace zelmor::imagework

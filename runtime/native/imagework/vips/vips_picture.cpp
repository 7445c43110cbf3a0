// The picture itself: its form, resolution, sharing, and access to single pixels and blocks.
#include "runtime/native/imagework/vips/vips_picture.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cstring>
#include <string>
#include <unordered_map>

#include "runtime/native/core/large_pages.h"
#include "runtime/native/imagework/units.h"
#include "runtime/native/imagework/vips/rows_image.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

// What the formats can tell.
Resolution in_range(Resolution resolution) {
    const auto limited = [](double dots) { return dots_per_millimeter(dots) * kMillimetersPerInch; };
    return {limited(resolution.horizontal), limited(resolution.vertical)};
}

SharedPalette shared_palette(const RowsHeader& header) {
    if (header.form.color != ColorModel::kIndexed) {
        return nullptr;
    }
    return std::make_shared<const Palette>(Palette{header.palette, header.deep_palette});
}

}  // namespace

VipsPicture::VipsPicture(const VImage& image, const RowsHeader& header)
    : m_image(computed(image)),
      m_form(header.form),
      m_resolution(in_range(header.resolution.value_or(kDefaultResolution))),
      m_tells_resolution(header.resolution.has_value()),
      m_palette(shared_palette(header)),
      m_profile(header.profile) {
    assert(m_image.bands() == m_form.bands());
}

VipsPicture::VipsPicture(SharedRows rows, const RowsHeader& header)
    : m_rows(std::move(rows)),
      m_form(header.form),
      m_resolution(in_range(header.resolution.value_or(kDefaultResolution))),
      m_tells_resolution(header.resolution.has_value()),
      m_palette(shared_palette(header)),
      m_profile(header.profile) {
    assert(m_rows != nullptr && m_rows->header().form.bands() == m_form.bands());
}

VipsPicture::VipsPicture(const VipsPicture& other, Shared)
    : Picture(other),
      m_image(other.m_rows != nullptr ? other.m_image : other.image()),
      m_rows(other.m_rows),
      m_again(other.m_again),
      m_form(other.m_form),
      m_resolution(other.m_resolution),
      m_tells_resolution(other.m_tells_resolution),
      m_palette(other.m_palette),
      m_profile(other.m_profile),
      m_origin(other.m_origin),
      m_to_srgb(other.m_to_srgb),
      m_exclusive(false) {}

const VImage& VipsPicture::image() const {
    if (m_rows != nullptr) {
        m_image = m_rows->image();
        m_exclusive = m_rows.use_count() == 1;  // otherwise copies of the picture, or steps of theirs, share the pixels
        if (m_exclusive) {
            m_rows->forget();
        }
        m_again = m_origin.source != nullptr ? m_rows : nullptr;
        m_rows.reset();
    }
    if (!m_unfilled.empty()) {
        const std::vector<uint8_t> pixel = std::exchange(m_unfilled, {});
        embed::expect_writes(row_of(m_image, 0), VIPS_IMAGE_SIZEOF_IMAGE(m_image.get_image()));
        for (int32_t y = 0; y < m_image.height(); y++) {
            repeat_pixel(pixel, m_image.width(), row_of(m_image, y));
        }
    }
    return m_image;
}

void VipsPicture::decode() const {
    if (packed() == nullptr) {
        image();
    }
}

void VipsPicture::let_go() const {
    if (m_rows != nullptr) {
        m_rows->forget();
    }
    if (m_again != nullptr && m_origin.source != nullptr) {
        m_again->forget();
        m_rows = std::move(m_again);
        m_image = VImage();
    }
}

std::unique_ptr<RowReader> VipsPicture::open_rows() const {
    return m_rows != nullptr ? m_rows->open() : rows_of_image(image(), rows_header());
}

void VipsPicture::take_rows(SharedRows rows) {
    assert(m_rows != nullptr);
    m_rows = std::move(rows);
    m_origin = {};
    note_change();
}

void VipsPicture::take(const VImage& image) {
    const PixelForm before = m_form;
    m_image = image;
    m_unfilled.clear();
    m_rows.reset();
    m_again.reset();
    m_origin = {};
    m_exclusive = true;
    note_change();
    m_form = form_of_image(image);
    if (storage_of(m_form.sample) == storage_of(before.sample)) {
        m_form.sample = before.sample;
        m_form.bits = before.bits;
        if (before.color == ColorModel::kIndexed && m_form.bands() == 1) {
            m_form.color = ColorModel::kIndexed;
        }
    }
    if (m_form.color != ColorModel::kIndexed) {
        m_palette.reset();
    }
    if (m_form.color != before.color) {
        m_profile.reset();  // it was one for the other colors
        m_to_srgb.reset();
    }
}

std::span<const Argb> VipsPicture::palette() const {
    return m_palette != nullptr ? std::span<const Argb>(m_palette->colors) : std::span<const Argb>();
}

bool VipsPicture::has_alpha() const {
    const auto transparent = [](Argb color) { return color >> 24 != 255; };
    return m_form.alpha || std::any_of(palette().begin(), palette().end(), transparent);
}

RowsHeader VipsPicture::rows_header() const {
    RowsHeader header;
    header.width = width();
    header.height = height();
    header.form = m_form;
    if (m_tells_resolution) {
        header.resolution = resolution();
    }
    if (m_palette != nullptr) {
        header.palette = m_palette->colors;
        header.deep_palette = m_palette->deep;
    }
    header.profile = m_profile;
    return header;
}

std::unique_ptr<Picture> VipsPicture::copy() const {
    m_exclusive = false;
    return std::unique_ptr<Picture>(new VipsPicture(*this, Shared{}));
}

void VipsPicture::set_resolution(Resolution resolution) {
    m_resolution = in_range(resolution);
    m_tells_resolution = true;
    m_origin = {};
}

void VipsPicture::make_writable() {
    image();
    m_origin = {};
    m_again.reset();
    if (m_exclusive && has_own_pixels(m_image)) {
        return;
    }
    m_image = guarded(Failure::kInternal, "the pixels could not be copied", [&] {
        VImage memory = VImage::new_memory();
        m_image.write(memory);
        return memory;
    });
    m_exclusive = true;
}

void VipsPicture::require_inside(const Rect& area) const {
    if (area.x < 0 || area.y < 0 || area.width <= 0 || area.height <= 0 || area.width > width() - area.x ||
        area.height > height() - area.y) {
        throw PictureError(Failure::kArgument,
                           "the rectangle {X=" + std::to_string(area.x) + ", Y=" + std::to_string(area.y) +
                               ", Width=" + std::to_string(area.width) + ", Height=" + std::to_string(area.height) +
                               "} does not lie inside the image of " + std::to_string(width()) + " by " +
                               std::to_string(height()) + " pixels",
                           "rectangle");
    }
}

Argb VipsPicture::get_argb(int32_t x, int32_t y) const {
    Argb color = 0;
    read_argb({x, y, 1, 1}, {&color, 1});
    return color;
}

void VipsPicture::set_argb(int32_t x, int32_t y, Argb color) {
    write_argb({x, y, 1, 1}, {&color, 1});
}

template <class Word>
void VipsPicture::read_words(const Rect& area, std::span<Word> out) const {
    require_inside(area);
    constexpr bool kWide = sizeof(Word) == 8;
    const auto width = static_cast<size_t>(area.width);
    std::array<Word, 256> table{};
    PixelForm rgb = m_form;
    rgb.color = ColorModel::kRgb;
    const bool converts = m_form.color == ColorModel::kCmyk || m_form.color == ColorModel::kLab;
    const std::shared_ptr<const PackedPixels> packed = this->packed();
    const VImage image = packed == nullptr ? this->image() : VImage();
    std::vector<uint8_t> unpacked(packed != nullptr ? width : 0);
    if (converts) {
        const SharedConversion conversion = to_srgb_conversion();
        // Rows that lie one behind the other are converted together.
        const bool whole = area.width == this->width();
        const int32_t together = whole ? std::clamp((1 << 18) / area.width, 1, area.height) : 1;
        std::vector<uint8_t> rows(width * static_cast<size_t>(together) * rgb.pixel_size());
        for (int32_t y = 0; y < area.height; y += together) {
            const size_t count = width * static_cast<size_t>(std::min(together, area.height - y));
            conversion->run(m_form, row_of(image, area.y + y, area.x), rgb, rows.data(), count);
            const std::span<Word> words = out.subspan(static_cast<size_t>(y) * width, count);
            if constexpr (kWide) {
                to_argb64(rgb, rows.data(), words);
            } else {
                to_argb(rgb, rows.data(), words);
            }
        }
        return;
    }
    if (m_palette != nullptr) {
        for (size_t i = 0; i < m_palette->colors.size(); i++) {
            table[i] = !kWide                    ? static_cast<Word>(m_palette->colors[i])
                       : m_palette->deep.empty() ? static_cast<Word>(widened(m_palette->colors[i]))
                                                 : static_cast<Word>(m_palette->deep[i]);
        }
    }
    for (int32_t y = 0; y < area.height; y++) {
        if (packed != nullptr) {
            packed->read(area.x, area.y + y, unpacked);
        }
        const uint8_t* samples = packed != nullptr ? unpacked.data() : row_of(image, area.y + y, area.x);
        const std::span<Word> words = out.subspan(static_cast<size_t>(y) * width, width);
        if (m_palette != nullptr) {
            std::transform(samples, samples + width, words.begin(), [&](uint8_t index) { return table[index]; });
            continue;
        }
        if constexpr (kWide) {
            to_argb64(m_form, samples, words);
        } else {
            to_argb(m_form, samples, words);
        }
    }
}

void VipsPicture::read_argb(const Rect& area, std::span<Argb> out) const {
    read_words(area, out);
}

void VipsPicture::read_argb64(const Rect& area, std::span<uint64_t> out) const {
    read_words(area, out);
}

namespace {

// Whether a gray form of few bits has the level of a gray color.
bool has_level(int bits, Argb color) {
    assert(bits < 8);
    return (color & 0xFF) % (255U / ((1U << bits) - 1)) == 0;
}
bool has_level(int bits, uint64_t color) {
    const auto level = static_cast<uint32_t>(color & 0xFFFF);
    return level % 257 == 0 && has_level(bits, Argb{level / 257});
}
bool is_gray_word(Argb color) {
    return is_gray_color(color);
}
bool is_gray_word(uint64_t color) {
    return is_gray_color64(color);
}

}  // namespace

void VipsPicture::fit_bits(int bits) {
    if (m_form.color != ColorModel::kGray || m_form.bands() != 1 || m_form.sample != SampleType::kUint8) {
        return;
    }
    for (int32_t y = 0; y < height(); y++) {
        const std::span<const uint8_t> row(row_of(image(), y), static_cast<size_t>(width()));
        if (!std::all_of(row.begin(), row.end(), [=](uint8_t level) { return has_level(bits, Argb{level}); })) {
            return;
        }
    }
    m_form.bits = bits;
}

template <class Word>
void VipsPicture::write_words(const Rect& area, std::span<const Word> pixels) {
    require_inside(area);
    constexpr bool kWide = sizeof(Word) == 8;
    const auto width = static_cast<size_t>(area.width);
    const auto count = width * static_cast<size_t>(area.height);
    assert(pixels.size() >= count);
    pixels = pixels.first(count);
    if (m_form.color == ColorModel::kIndexed) {
        std::vector<uint8_t> indices(count);
        const bool alpha = has_alpha();
        // Of entries that are alike the first counts. Without alpha in the palette that of the colors does not count.
        std::unordered_map<Word, uint8_t> known;
        const Word opaque = kWide ? static_cast<Word>(uint64_t{0xFFFF} << 48) : static_cast<Word>(kBlack);
        for (size_t i = 0; i < m_palette->colors.size(); i++) {
            const Word color = !kWide                    ? static_cast<Word>(m_palette->colors[i])
                               : m_palette->deep.empty() ? static_cast<Word>(widened(m_palette->colors[i]))
                                                         : static_cast<Word>(m_palette->deep[i]);
            known.emplace(alpha ? color : color | opaque, static_cast<uint8_t>(i));
        }
        // An invisible color that the palette has not takes the place of another invisible one.
        const int invisible = alpha ? index_of(0) : -1;
        bool all = true;
        for (size_t i = 0; i < count && all; i++) {
            const auto found = known.find(alpha ? pixels[i] : pixels[i] | opaque);
            const bool clear = invisible >= 0 && (pixels[i] & opaque) == 0;
            all = found != known.end() || clear;
            indices[i] = found != known.end() ? found->second : static_cast<uint8_t>(clear ? invisible : 0);
        }
        if (all) {
            make_writable();
            note_change();
            for (int32_t y = 0; y < area.height; y++) {
                std::copy_n(&indices[static_cast<size_t>(y) * width], width, row_of(image(), area.y + y, area.x));
            }
            return;
        }
    }
    if (count == static_cast<size_t>(this->width()) * static_cast<size_t>(height())) {
        drop_colors();
    }
    to_model_of_colors();
    if (is_gray()) {
        if (!std::all_of(pixels.begin(), pixels.end(), [](Word color) { return is_gray_word(color); })) {
            to_rgb();
        } else if (m_form.bits < 8 && !std::all_of(pixels.begin(), pixels.end(),
                                                   [&](Word color) { return has_level(m_form.bits, color); })) {
            m_form.bits = 8;
        }
    }
    make_writable();
    note_change();
    for (int32_t y = 0; y < area.height; y++) {
        const std::span<const Word> words = pixels.subspan(static_cast<size_t>(y) * width, width);
        if constexpr (kWide) {
            from_argb64(m_form, words, row_of(image(), area.y + y, area.x));
        } else {
            from_argb(m_form, words, row_of(image(), area.y + y, area.x));
        }
    }
}

void VipsPicture::write_argb(const Rect& area, std::span<const Argb> pixels) {
    write_words(area, pixels);
}

void VipsPicture::write_argb64(const Rect& area, std::span<const uint64_t> pixels) {
    write_words(area, pixels);
}

void VipsPicture::read_samples(const Rect& area, size_t row_size, std::span<uint8_t> out) const {
    require_inside(area);
    const size_t needed = m_form.pixel_size() * static_cast<size_t>(area.width);
    assert(row_size >= needed && out.size() >= row_size * static_cast<size_t>(area.height - 1) + needed);
    const std::shared_ptr<const PackedPixels> packed = this->packed();
    if (packed == nullptr && area.width == width() && row_size == needed) {  // no gaps: at once
        const std::span<uint8_t> all = out.first(needed * static_cast<size_t>(area.height));
        std::memcpy(all.data(), row_of(image(), area.y), all.size());
        turn_signs(m_form, all);
        return;
    }
    for (int32_t y = 0; y < area.height; y++) {
        const std::span<uint8_t> row = out.subspan(row_size * static_cast<size_t>(y), needed);
        if (packed != nullptr) {
            packed->read(area.x, area.y + y, row);
            continue;
        }
        std::memcpy(row.data(), row_of(image(), area.y + y, area.x), needed);
        turn_signs(m_form, row);
    }
}

void VipsPicture::write_samples(const Rect& area, size_t row_size, std::span<const uint8_t> samples) {
    require_inside(area);
    const size_t needed = m_form.pixel_size() * static_cast<size_t>(area.width);
    assert(row_size >= needed && samples.size() >= row_size * static_cast<size_t>(area.height - 1) + needed);
    for (int32_t y = 0; m_palette != nullptr && y < area.height; y++) {
        const auto row = samples.subspan(row_size * static_cast<size_t>(y), needed);
        const uint8_t most = *std::max_element(row.begin(), row.end());
        if (most >= m_palette->colors.size()) {
            throw PictureError(Failure::kArgument,
                               "The data has the index " + std::to_string(most) + ", the palette " +
                                   std::to_string(m_palette->colors.size()) + " colors.",
                               "data");
        }
    }
    if (area.width == width() && area.height == height()) {
        m_unfilled.clear();
    }
    make_writable();
    note_change();
    if (area.width == width()) {
        embed::expect_writes(row_of(image(), area.y), needed * static_cast<size_t>(area.height));
    }
    // Rows without gaps on either side are copied at once, by which the processor need not read what it writes over.
    const bool at_once = area.width == width() && row_size == needed;
    const size_t run = at_once ? needed * static_cast<size_t>(area.height) : needed;
    for (int32_t y = 0; y < (at_once ? 1 : area.height); y++) {
        const std::span<uint8_t> row(row_of(image(), area.y + y, area.x), run);
        std::memcpy(row.data(), samples.data() + row_size * static_cast<size_t>(y), run);
        turn_signs(m_form, row);
        if (m_form.color == ColorModel::kGray && m_form.bits < 8 &&
            !std::all_of(row.begin(), row.end(), [&](uint8_t level) { return has_level(m_form.bits, Argb{level}); })) {
            m_form.bits = 8;
        }
    }
}

}  // namespace zelmor::imagework

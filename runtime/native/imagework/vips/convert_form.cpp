// Conversions of a picture's form: color model, depth, alpha, and indices.
#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <cstring>
#include <string>

#include "runtime/native/imagework/vips/rows_image.h"
#include "runtime/native/imagework/vips/vips_picture.h"

using vips::VImage;

namespace zelmor::imagework {
namespace {

SampleType unsigned_of(SampleType sample) {
    switch (sample) {
        case SampleType::kInt8:
            return SampleType::kUint8;
        case SampleType::kInt16:
            return SampleType::kUint16;
        case SampleType::kInt32:
            return SampleType::kUint32;
        default:
            return sample;
    }
}

// Pixels that a step is given together: many, so that several threads are worth it, and few enough for the cache.
constexpr int32_t kPixelsTogether = 1 << 18;

// The luma of ITU-R BT.601, as luma() has it.
template <class Sample>
void to_gray(const Sample* from, int from_bands, Sample* to, int to_bands, size_t count) {
    for (size_t i = 0; i < count; i++) {
        const double value = 0.299 * from[0] + 0.587 * from[1] + 0.114 * from[2];
        to[0] = static_cast<Sample>(std::is_floating_point_v<Sample> ? value : value + 0.5);
        if (to_bands == 2) {
            to[1] = from[from_bands - 1];
        }
        from += from_bands;
        to += to_bands;
    }
}

template <class Sample>
void from_gray(const Sample* from, int from_bands, Sample* to, int to_bands, size_t count) {
    for (size_t i = 0; i < count; i++) {
        to[0] = to[1] = to[2] = from[0];
        if (to_bands == 4) {
            to[3] = from[from_bands - 1];
        }
        from += from_bands;
        to += to_bands;
    }
}

template <class Sample>
void copy_with_alpha(const Sample* from, int from_bands, Sample* to, int to_bands, size_t count) {
    const int kept = std::min(from_bands, to_bands);
    const auto opaque = sample_as<Sample>(uint8_t{255});
    for (size_t i = 0; i < count; i++) {
        std::copy_n(from, kept, to);
        if (to_bands > kept) {
            to[kept] = opaque;
        }
        from += from_bands;
        to += to_bands;
    }
}

// The level of a depth of few bits that is nearest to each of 8 bits, spread over the whole range again.
std::array<uint8_t, 256> levels_of(int bits) {
    const int top = (1 << bits) - 1;
    std::array<uint8_t, 256> levels{};
    for (int value = 0; value < 256; value++) {
        levels[static_cast<size_t>(value)] = static_cast<uint8_t>((value * top + 127) / 255 * 255 / top);
    }
    return levels;
}

}  // namespace

void VipsPicture::convert_rows(const PixelForm& form, RowStep step) {
    if (m_rows != nullptr) {
        take_rows(DeferredRows::converted(m_rows, form, std::move(step)));
        m_form = form;
        return;
    }
    const VImage& source = image();
    const VImage result = guarded(Failure::kInternal, "the pixels could not be converted", [&] {
        check_picture_size(width(), height(), static_cast<int>(form.pixel_size()));
        return blank_image(form, width(), height(), source);
    });
    const int32_t together = std::clamp(kPixelsTogether / width(), 1, height());
    for (int32_t y = 0; y < height(); y += together) {
        const int32_t rows = std::min(together, height() - y);
        step(row_of(source, y), row_of(result, y), static_cast<size_t>(width()) * static_cast<size_t>(rows));
    }
    m_image = result;
    m_origin = {};
    m_again.reset();
    m_form = form;
    m_exclusive = true;
    note_change();
}

namespace {

RowStep step_of(SharedConversion conversion, const PixelForm& from, const PixelForm& to) {
    return [conversion = std::move(conversion), from, to](const uint8_t* in, uint8_t* out, size_t count) {
        conversion->run(from, in, to, out, count);
    };
}

}  // namespace

SharedConversion VipsPicture::to_srgb_conversion() const {
    const ColorModel target = m_form.color == ColorModel::kGray ? ColorModel::kGray : ColorModel::kRgb;
    if (m_profile == nullptr) {
        return shared_conversion({m_form.color, {}}, {target, {}});
    }
    if (m_to_srgb == nullptr) {
        m_to_srgb = shared_conversion({m_form.color, m_profile}, {target, {}});
    }
    return m_to_srgb;
}

void VipsPicture::to_direct() {
    if (m_form.color == ColorModel::kIndexed) {
        const SharedPalette palette = m_palette;
        const bool deep = !palette->deep.empty();
        PixelForm form;
        form.alpha = has_alpha();
        form.sample = deep ? SampleType::kUint16 : SampleType::kUint8;
        form.bits = deep ? 16 : 8;
        const size_t size = form.pixel_size();
        // The samples of each entry; indices behind the last one, which a damaged file may have, are transparent.
        std::vector<uint8_t> entries(256 * size);
        if (deep) {
            from_argb64(form, palette->deep, entries.data());
        } else {
            from_argb(form, palette->colors, entries.data());
        }
        convert_rows(form, [entries = std::move(entries), size](const uint8_t* from, uint8_t* to, size_t count) {
            for (size_t i = 0; i < count; i++, to += size) {
                std::memcpy(to, &entries[from[i] * size], size);
            }
        });
        m_palette.reset();
        m_to_srgb.reset();
    }
    if (m_form.bits < 8) {
        m_form.bits = 8;
    }
}

void VipsPicture::drop_palette() {
    if (m_form.color == ColorModel::kIndexed) {
        to_direct();
    }
}

void VipsPicture::to_model_of_colors() {
    if (m_form.color == ColorModel::kIndexed) {
        to_direct();
    }
    if (m_form.color == ColorModel::kCmyk || m_form.color == ColorModel::kLab) {
        change_model(ColorModel::kRgb);
    }
}

void VipsPicture::drop_colors() {
    if (m_form.color != ColorModel::kCmyk && m_form.color != ColorModel::kLab) {
        return;
    }
    image();  // damage is reported as if the colors were needed
    PixelForm form = m_form;
    form.color = ColorModel::kRgb;
    form.sample = unsigned_of(form.sample);
    form.bits = std::max(8, form.bits);
    convert_rows(form, [](const uint8_t*, uint8_t*, size_t) {});
    m_profile.reset();
    m_to_srgb.reset();
}

void VipsPicture::to_colors() {
    to_direct();
    to_model_of_colors();
}

void VipsPicture::to_rgb() {
    to_colors();
    change_model(ColorModel::kRgb);
}

void VipsPicture::to_standard_colors() {
    to_colors();
    to_srgb();
}

VImage VipsPicture::colors() const {
    if (m_form.color == ColorModel::kGray || m_form.color == ColorModel::kRgb) {
        return image();
    }
    VipsPicture converted(*this, Shared{});
    converted.to_colors();
    return converted.image();
}

void VipsPicture::to_srgb() {
    if (m_profile == nullptr) {
        return;
    }
    if (m_form.color == ColorModel::kIndexed) {
        if (is_profile_of(m_profile, ColorModel::kRgb)) {
            const SharedConversion conversion =
                shared_conversion({ColorModel::kRgb, m_profile}, {ColorModel::kRgb, {}});
            PixelForm form;
            form.alpha = true;
            std::vector<Argb> colors = m_palette->colors;
            std::vector<uint8_t> from(4 * colors.size());
            std::vector<uint8_t> to(from.size());
            from_argb(form, colors, from.data());
            conversion->run(form, from.data(), form, to.data(), colors.size());
            to_argb(form, to.data(), colors);
            m_palette = std::make_shared<const Palette>(Palette{std::move(colors), {}});
            m_origin = {};
        }
    } else if (m_form.color == ColorModel::kGray || m_form.color == ColorModel::kRgb) {
        const SharedConversion conversion = to_srgb_conversion();
        if (is_profile_of(m_profile, m_form.color) && !conversion->changes_nothing()) {
            if (m_form.bits < 8) {
                m_form.bits = 8;
            }
            convert_rows(m_form, step_of(conversion, m_form, m_form));
        }
    } else {
        return;
    }
    m_profile.reset();
    m_to_srgb.reset();
}

void VipsPicture::change_model(ColorModel model) {
    assert(m_form.color != ColorModel::kIndexed && model != ColorModel::kIndexed);
    if (m_form.color == model) {
        return;
    }
    PixelForm form = m_form;
    form.color = model;
    form.sample = unsigned_of(form.sample);
    form.bits = std::max(8, form.bits);
    const auto plain = [](ColorModel color) { return color == ColorModel::kGray || color == ColorModel::kRgb; };
    const bool own_numbers = plain(m_form.color) && plain(model);
    if (model == ColorModel::kGray && !own_numbers) {
        change_model(ColorModel::kRgb);
        return change_model(model);
    }
    if (own_numbers) {
        to_srgb();
        with_storage(storage_of(form.sample), [&](auto sample) {
            using Sample = decltype(sample);
            const int from_bands = m_form.bands();
            const int to_bands = form.bands();
            convert_rows(form, [=](const uint8_t* from, uint8_t* to, size_t count) {
                const auto* in = reinterpret_cast<const Sample*>(from);
                auto* out = reinterpret_cast<Sample*>(to);
                if (model == ColorModel::kGray) {
                    to_gray(in, from_bands, out, to_bands, count);
                } else {
                    from_gray(in, from_bands, out, to_bands, count);
                }
            });
        });
    } else {
        SharedConversion conversion = model == ColorModel::kRgb
                                          ? to_srgb_conversion()
                                          : shared_conversion({m_form.color, m_profile}, {model, {}});
        convert_rows(form, step_of(std::move(conversion), m_form, form));
    }
    m_profile = model == ColorModel::kCmyk ? standard_cmyk_profile() : nullptr;
    m_to_srgb.reset();
}

void VipsPicture::to_space(const ColorSpace& space) {
    if (!is_output_profile_of(space.profile, space.model)) {
        throw PictureError(Failure::kEncoding,
                           "the color profile is not one that colors of the file can be converted to");
    }
    if (m_profile != nullptr && m_form.color == space.model && *m_profile == *space.profile) {
        return;
    }
    to_direct();
    if (is_gray()) {
        change_model(ColorModel::kRgb);
    }
    PixelForm form = m_form;
    form.color = space.model;
    form.sample = unsigned_of(form.sample);
    convert_rows(form, step_of(shared_conversion({m_form.color, m_profile}, space), m_form, form));
    m_profile = space.profile;
    m_to_srgb.reset();
}

void VipsPicture::change_depth(SampleType sample, int bits) {
    PixelForm form = m_form;
    form.sample = sample;
    form.bits = bits;
    const Storage from_storage = storage_of(m_form.sample);
    const Storage to_storage = storage_of(sample);
    assert(m_form.color != ColorModel::kIndexed);
    if (form.color == ColorModel::kGray && form.bits < 8 && (m_form.bits > form.bits || from_storage != to_storage)) {
        const auto levels = levels_of(bits);
        convert_rows(form, [=](const uint8_t* from, uint8_t* to, size_t count) {
            const size_t samples = count * static_cast<size_t>(form.bands());
            imagework::change_depth(from_storage, from, Storage::kByte, to, samples);
            std::transform(to, to + samples, to, [&](uint8_t value) { return levels[value]; });
        });
        return;
    }
    if (from_storage != to_storage) {
        const PixelForm before = m_form;
        convert_rows(form, [=](const uint8_t* from, uint8_t* to, size_t count) {
            if (form.color == ColorModel::kLab) {  // whose numbers do not stand for 0..1
                return standard_conversion(ColorModel::kLab, ColorModel::kLab).run(before, from, form, to, count);
            }
            imagework::change_depth(from_storage, from, to_storage, to, count * static_cast<size_t>(form.bands()));
        });
    }
    m_form = form;
}

void VipsPicture::change_alpha(bool alpha) {
    if (m_form.alpha == alpha) {
        return;
    }
    PixelForm form = m_form;
    form.alpha = alpha;
    const int from_bands = m_form.bands();
    with_storage(storage_of(form.sample), [&](auto sample) {
        using Sample = decltype(sample);
        convert_rows(form, [from_bands, bands = form.bands()](const uint8_t* from, uint8_t* to, size_t count) {
            copy_with_alpha(reinterpret_cast<const Sample*>(from), from_bands, reinterpret_cast<Sample*>(to), bands,
                            count);
        });
    });
}

void VipsPicture::to_form(const PixelForm& form) {
    if (form == m_form) {
        return;
    }
    if (form.color == ColorModel::kIndexed) {
        throw PictureError(Failure::kEncoding, "the picture has no palette");
    }
    if (m_form.color == ColorModel::kIndexed) {
        to_direct();
    }
    const bool narrows = form.is_integer() && !m_form.is_integer() && m_form.color != ColorModel::kLab;
    if (narrows) {
        const auto samples = static_cast<size_t>(width()) * static_cast<size_t>(m_form.bands());
        for (int32_t y = 0; y < height(); y++) {
            if (!in_range(storage_of(m_form.sample), row_of(image(), y), samples)) {
                throw PictureError(Failure::kEncoding,
                                   "the picture has floating samples outside the range 0 to 1, which integers of " +
                                       std::to_string(form.bits) + " bits cannot hold");
            }
        }
    }
    if (!form.alpha) {
        change_alpha(false);
    }
    // Colors are converted in the greater of the two depths.
    if (sample_size(form.sample) > sample_size(m_form.sample)) {
        change_depth(form.sample, std::max(8, form.bits));
    }
    change_model(form.color);
    change_depth(form.sample, form.bits);
    change_alpha(form.alpha);
}

void VipsPicture::set_profile(ProfileBytes profile) {
    const ColorModel model = m_form.color == ColorModel::kIndexed ? ColorModel::kRgb : m_form.color;
    m_profile = is_profile_of(profile, model) ? std::move(profile) : nullptr;
    m_origin = {};
    m_to_srgb.reset();
}

void VipsPicture::apply_profiles(const DecodeOptions& options) {
    if (m_profile == nullptr || options.ignore_profile) {
        set_profile(m_form.color == ColorModel::kCmyk ? options.cmyk_profile : options.rgb_profile);
    }
    if (!options.convert_profile) {
        return;
    }
    if (m_form.color == ColorModel::kCmyk || m_form.color == ColorModel::kLab) {
        to_rgb();
    }
    to_srgb();
}

void VipsPicture::fill(int32_t width, int32_t height, Argb color) {
    std::vector<uint8_t> pixel = pixel_of(color);
    const VImage image = guarded(Failure::kInternal, "there is no memory for the pixels",
                                 [&] { return zero_image(m_form, width, height, m_resolution); });
    if (std::all_of(pixel.begin(), pixel.end(), [](uint8_t byte) { return byte == 0; })) {
        pixel.clear();
    }
    m_image = image;
    m_rows.reset();
    m_unfilled = std::move(pixel);
    m_origin = {};
    m_again.reset();
    m_exclusive = true;
    note_change();
}

int VipsPicture::index_of(Argb color) const {
    // Transparent colors are all alike. Without alpha in the palette that of the color does not count.
    const bool alpha = has_alpha();
    const auto seen = [alpha](Argb entry) { return !alpha ? entry | kBlack : entry >> 24 == 0 ? 0 : entry; };
    const auto entries = palette();
    const auto found =
        std::find_if(entries.begin(), entries.end(), [&](Argb entry) { return seen(entry) == seen(color); });
    return found == entries.end() ? -1 : static_cast<int>(found - entries.begin());
}

void VipsPicture::admit(Argb color) {
    const bool transparent = color >> 24 != 255;
    if (m_form.color == ColorModel::kIndexed) {
        if (index_of(color) >= 0 && (!transparent || has_alpha())) {
            return;
        }
        to_direct();
    }
    if (transparent) {
        change_alpha(true);
    }
    const bool colored = color >> 24 != 0 && !is_gray_color(color);
    if (is_gray() && colored) {
        change_model(ColorModel::kRgb);
    }
    if (is_gray() && m_form.bits < 8 && color >> 24 != 0 && (color & 0xFF) % (255U / ((1U << m_form.bits) - 1)) != 0) {
        m_form.bits = 8;
    }
}

std::vector<double> VipsPicture::ink_of(Argb color) const {
    if (m_form.color == ColorModel::kIndexed) {
        return {static_cast<double>(std::max(0, index_of(color)))};
    }
    if (m_form.color == ColorModel::kGray || m_form.color == ColorModel::kRgb) {
        return ink(image(), color);
    }
    PixelForm rgb;
    rgb.alpha = m_form.alpha;
    std::array<uint8_t, 4> from{};
    std::vector<uint8_t> to(m_form.pixel_size());
    from_argb(rgb, {&color, 1}, from.data());
    shared_conversion({ColorModel::kRgb, {}}, {m_form.color, m_profile})->run(rgb, from.data(), m_form, to.data(), 1);
    std::vector<double> result(static_cast<size_t>(m_form.bands()));
    with_storage(storage_of(m_form.sample), [&](auto sample) {
        using Sample = decltype(sample);
        const auto* samples = reinterpret_cast<const Sample*>(to.data());
        std::copy_n(samples, result.size(), result.begin());
    });
    return result;
}

std::vector<uint8_t> VipsPicture::pixel_of(Argb color) const {
    std::vector<uint8_t> pixel(m_form.pixel_size());
    const std::vector<double> ink = ink_of(color);
    with_storage(storage_of(m_form.sample), [&](auto sample) {
        using Sample = decltype(sample);
        auto* samples = reinterpret_cast<Sample*>(pixel.data());
        std::transform(ink.begin(), ink.end(), samples, [](double amount) { return static_cast<Sample>(amount); });
    });
    return pixel;
}

void VipsPicture::set_indices(std::span<const uint8_t> indices, std::span<const Argb> palette) {
    assert(indices.size() == static_cast<size_t>(width()) * static_cast<size_t>(height()));
    PixelForm form;
    form.color = ColorModel::kIndexed;
    form.bits = index_bits(palette.size());
    size_t at = 0;
    image();  // the step below counts on rows that are there
    convert_rows(form, [&](const uint8_t*, uint8_t* to, size_t count) {
        std::copy_n(&indices[at], count, to);
        at += count;
    });
    m_palette = std::make_shared<const Palette>(Palette{{palette.begin(), palette.end()}, {}});
    m_to_srgb.reset();
    if (m_profile != nullptr && !is_profile_of(m_profile, ColorModel::kRgb)) {
        m_profile.reset();
    }
}

}  // namespace zelmor::imagework

// Writing PNG; see png_codec.h.
#include <algorithm>
#include <bit>
#include <cassert>
#include <cmath>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "runtime/native/formats/png/png_codec.h"
#include "runtime/native/formats/png/png_color_space.h"
#include "runtime/native/formats/png/png_encoding.h"
#include "runtime/native/formats/png/png_filters.h"
#include "runtime/native/formats/png/png_session.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::imagework {
namespace {

[[noreturn]] void unfit(const std::string& text) {
    throw PictureError(Failure::kEncoding, text);
}

int color_type_of(const PixelForm& form, bool alpha) {
    const bool deep = form.sample == SampleType::kUint16;
    if (!deep && form.sample != SampleType::kUint8) {
        unfit("PNG has samples of at most 16 bits, without sign and fraction");
    }
    switch (form.color) {
        case ColorModel::kGray:
            return alpha ? PNG_COLOR_TYPE_GRAY_ALPHA : PNG_COLOR_TYPE_GRAY;
        case ColorModel::kRgb:
            return alpha ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB;
        case ColorModel::kIndexed:
            if (!deep) {
                return PNG_COLOR_TYPE_PALETTE;
            }
            unfit("an indexed PNG has at most 8 bits per pixel");
        case ColorModel::kCmyk:
            unfit("PNG holds no CMYK colors");
        case ColorModel::kLab:
            break;
    }
    unfit("PNG holds no Lab colors");
}

// Bits of a sample in the file. Gray and RGB with alpha have at least 8.
int depth_of(const PixelForm& form, const PngEncoding& encoding) {
    if (form.sample == SampleType::kUint16) {
        return 16;
    }
    if (encoding.key) {
        return encoding.key->bit_depth;
    }
    const bool small = form.color == ColorModel::kIndexed || (form.color == ColorModel::kGray && !form.alpha);
    return small ? form.bits : 8;
}

int filters_of(PngFilter filter, bool plain) {
    switch (filter) {
        case PngFilter::kNone:
            return PNG_FILTER_NONE;
        case PngFilter::kSub:
            return PNG_FILTER_SUB;
        case PngFilter::kUp:
            return PNG_FILTER_UP;
        case PngFilter::kAverage:
            return PNG_FILTER_AVG;
        case PngFilter::kPaeth:
            return PNG_FILTER_PAETH;
        case PngFilter::kAdaptive:
            break;
    }
    return plain ? PNG_FILTER_NONE : PNG_ALL_FILTERS;
}

png_uint_32 dots_per_meter(double dots_per_inch) {
    return static_cast<png_uint_32>(std::clamp(std::round(dots_per_inch / kMetersPerInch), 0.0, 2147483647.0));
}

class PngWriter final : public RowWriter {
 public:
    PngWriter(const RowsHeader& header, const PngEncoding& encoding, ByteSink& out)
        : m_width(static_cast<size_t>(header.width)),
          m_height(static_cast<size_t>(header.height)),
          m_form(header.form),
          m_drops_alpha(encoding.key.has_value()),
          m_color(color_type_of(header.form, header.form.alpha && !m_drops_alpha)),
          m_depth(depth_of(header.form, encoding)),
          m_out(out),
          m_session(PngSession::Use::kWrite) {
        assert(header.width > 0 && header.height > 0);
        assert(!m_drops_alpha || (header.form.alpha && m_form.color != ColorModel::kIndexed));
        m_channels = static_cast<size_t>(header.form.bands()) - (m_drops_alpha ? 1 : 0);
        m_row.resize(m_width * m_channels * sample_size(m_form.sample));
        png_set_write_fn(m_session.png(), this, &on_write, nullptr);
        put_settings(encoding);
        put_header(encoding);
        put_palette(header);
        put_key(encoding);
        put_color_space(header, encoding);
        put_resolution(header, encoding);
        png_structp png = m_session.png();
        png_infop info = m_session.info();
        const bool packs = m_depth < 8;
        const bool noted = m_color == static_cast<int>(encoding.notes_color) && m_depth == encoding.notes_depth;
        const std::span<const PngNote> notes = noted ? encoding.notes : std::span<const PngNote>();
        m_session.run([=] {
            png_write_info_before_PLTE(png, info);
            put_notes(png, notes, true);
            png_write_info(png, info);
            put_notes(png, notes, false);
            if (packs) {
                png_set_packing(png);
            }
        });
        m_interlaced = encoding.interlaced;
        if (m_interlaced) {
            m_session.run([png] { png_set_interlace_handling(png); });
            m_whole.reserve(m_row.size() * m_height);
        }
        // The library finds the best filter too, but takes five times as long; the rows of a pass are its own.
        m_chooses = !m_interlaced && encoding.filter == PngFilter::kAdaptive && !is_plain();
        if (m_chooses) {
            m_above.resize(m_row.size());
        }
    }

    void write(int32_t count, std::span<const uint8_t> rows) override {
        const size_t size = m_form.pixel_size() * m_width;
        assert(rows.size() == size * static_cast<size_t>(count));
        for (int32_t i = 0; i < count; i++) {
            const uint8_t* row = file_row(rows.data() + size * static_cast<size_t>(i));
            if (m_interlaced) {
                m_whole.insert(m_whole.end(), row, row + m_row.size());
            } else {
                put_row(row);
            }
        }
    }

    void finish() override {
        if (m_interlaced) {
            assert(m_whole.size() == m_row.size() * m_height);
            constexpr int kPasses = 7;
            for (int pass = 0; pass < kPasses; pass++) {
                for (size_t y = 0; y < m_height; y++) {
                    put_row(m_whole.data() + y * m_row.size());
                }
            }
            m_whole = {};
        }
        png_structp png = m_session.png();
        m_session.run([png] { png_write_end(png, nullptr); });
    }

 private:
    void put_row(const uint8_t* row) {
        png_structp png = m_session.png();
        // The library makes room for the filters when the first row comes, and takes the choice from then on.
        const bool chooses = m_chooses && std::exchange(m_started, true);
        const size_t step = m_channels * sample_size(m_form.sample);
        const int filter = chooses ? best_png_filter(row, m_above.data(), m_row.size(), step) : 0;
        m_session.run([=] {
            if (filter != 0) {
                png_set_filter(png, PNG_FILTER_TYPE_BASE, filter);
            }
            png_write_row(png, row);
        });
        if (m_chooses) {
            std::memcpy(m_above.data(), row, m_above.size());
        }
    }

    // Pixels are indices, or share a byte: their differences are no smaller than they are.
    bool is_plain() const { return m_color == PNG_COLOR_TYPE_PALETTE || m_depth < 8; }

    // The samples as the library takes them: the higher byte first, or in the lower bits; without the alpha that a key
    // stands for.
    const uint8_t* file_row(const uint8_t* row) {
        const bool scales = m_depth < 8 && m_form.color == ColorModel::kGray;
        const bool swaps = m_depth == 16 && std::endian::native == std::endian::little;
        if (!m_drops_alpha && !scales && !swaps) {
            return row;
        }
        const size_t sample = sample_size(m_form.sample);
        const size_t kept = m_channels * sample;
        const size_t step = m_form.pixel_size();
        for (size_t x = 0; x < m_width; x++) {
            std::memcpy(m_row.data() + x * kept, row + x * step, kept);
        }
        if (scales) {
            const int top = (1 << m_depth) - 1;
            for (uint8_t& value : m_row) {
                value = static_cast<uint8_t>((value * top + 127) / 255);
            }
        }
        if (swaps) {
            for (size_t i = 0; i + 1 < m_row.size(); i += 2) {
                std::swap(m_row[i], m_row[i + 1]);
            }
        }
        return m_row.data();
    }

    void put_settings(const PngEncoding& encoding) {
        png_structp png = m_session.png();
        const int filters = filters_of(encoding.filter, is_plain());
        const int level = std::clamp(encoding.compression_level, 0, 9);
        m_session.run([=] {
            png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
            png_set_compression_level(png, level);
            png_set_filter(png, PNG_FILTER_TYPE_BASE, filters);
        });
    }

    void put_header(const PngEncoding& encoding) {
        png_structp png = m_session.png();
        png_infop info = m_session.info();
        const auto width = static_cast<png_uint_32>(m_width);
        const auto height = static_cast<png_uint_32>(m_height);
        const int interlace = encoding.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE;
        const int depth = m_depth;
        const int color = m_color;
        m_session.run([=] {
            png_set_IHDR(png, info, width, height, depth, color, interlace, PNG_COMPRESSION_TYPE_DEFAULT,
                         PNG_FILTER_TYPE_DEFAULT);
        });
    }

    void put_palette(const RowsHeader& header) {
        if (m_color != PNG_COLOR_TYPE_PALETTE) {
            return;
        }
        const size_t count = header.palette.size();
        if (count == 0 || count > size_t{1} << m_depth) {
            unfit("a palette of " + std::to_string(count) + " colors does not fit an indexed PNG of " +
                  std::to_string(m_depth) + " bits per pixel");
        }
        std::array<png_color, 256> colors{};
        std::array<png_byte, 256> alphas{};
        int alpha_count = 0;
        for (size_t i = 0; i < count; i++) {
            const Argb color = header.palette[i];
            colors[i] = {static_cast<png_byte>(color >> 16), static_cast<png_byte>(color >> 8),
                         static_cast<png_byte>(color)};
            alphas[i] = static_cast<png_byte>(color >> 24);
            if (alphas[i] != 255) {
                alpha_count = static_cast<int>(i) + 1;
            }
        }
        png_structp png = m_session.png();
        png_infop info = m_session.info();
        const png_color* first_color = colors.data();
        const png_byte* first_alpha = alphas.data();
        m_session.run([=] {
            png_set_PLTE(png, info, first_color, static_cast<int>(count));
            if (alpha_count > 0) {
                png_set_tRNS(png, info, first_alpha, alpha_count, nullptr);
            }
        });
    }

    void put_key(const PngEncoding& encoding) {
        if (!encoding.key) {
            return;
        }
        png_structp png = m_session.png();
        png_infop info = m_session.info();
        const auto& samples = encoding.key->samples;
        png_color_16 key{};
        if (m_form.color == ColorModel::kGray) {
            key.gray = samples[0];
        } else {
            key.red = samples[0];
            key.green = samples[1];
            key.blue = samples[2];
        }
        const png_color_16* const to_write = &key;
        m_session.run([=] { png_set_tRNS(png, info, nullptr, 0, to_write); });
    }

    void put_color_space(const RowsHeader& header, const PngEncoding& encoding) {
        png_structp png = m_session.png();
        png_infop info = m_session.info();
        if (header.profile != nullptr) {
            const uint8_t* bytes = header.profile->data();
            const auto size = static_cast<png_uint_32>(header.profile->size());
            m_session.run([=] {
                png_set_benign_errors(png, 1);  // whether the library took it is asked below
                png_set_iCCP(png, info, "ICC profile", PNG_COMPRESSION_TYPE_BASE, bytes, size);
            });
            if (png_get_valid(png, info, PNG_INFO_iCCP) == 0) {
                unfit("the picture's color profile is not one that PNG takes for its colors");
            }
            return;
        }
        m_session.run([png, info, &encoding] {
            if (encoding.srgb_intent) {
                png_set_sRGB(png, info, *encoding.srgb_intent);
            }
            if (encoding.srgb_gamma) {
                png_set_gAMA_fixed(png, info, kSrgbGamma);
            }
            if (encoding.srgb_chromaticities) {
                png_set_cHRM_fixed(png, info, kSrgbColors.white_x, kSrgbColors.white_y, kSrgbColors.red_x,
                                   kSrgbColors.red_y, kSrgbColors.green_x, kSrgbColors.green_y, kSrgbColors.blue_x,
                                   kSrgbColors.blue_y);
            }
        });
    }

    void put_resolution(const RowsHeader& header, const PngEncoding& encoding) {
        png_structp png = m_session.png();
        png_infop info = m_session.info();
        if (!header.resolution) {
            if (const auto aspect = encoding.aspect; aspect[0] != 0 && aspect[1] != 0) {
                m_session.run([=] { png_set_pHYs(png, info, aspect[0], aspect[1], PNG_RESOLUTION_UNKNOWN); });
            }
            return;
        }
        const png_uint_32 x = dots_per_meter(header.resolution->horizontal);
        const png_uint_32 y = dots_per_meter(header.resolution->vertical);
        m_session.run([=] { png_set_pHYs(png, info, x, y, PNG_RESOLUTION_METER); });
    }

    // Those that stand before a palette tell of the numbers of the colors and of their bits.
    static void put_notes(png_structp png, std::span<const PngNote> notes, bool before_palette) {
        for (const PngNote& note : notes) {
            const std::string_view type(note.type.data());
            if ((note.about == PngNote::About::kColors || type == "sBIT") == before_palette) {
                png_write_chunk(png, reinterpret_cast<png_const_bytep>(note.type.data()), note.content.data(),
                                note.content.size());
            }
        }
    }

    // Called by the library.
    static void on_write(png_structp png, png_bytep bytes, size_t count) {
        auto* self = static_cast<PngWriter*>(png_get_io_ptr(png));
        bool written = false;
        try {
            self->m_out.write({bytes, count});
            written = true;
        } catch (...) {
            self->m_session.keep(std::current_exception());
        }
        if (!written) {
            png_error(png, "the file could not be written");
        }
    }

    size_t m_width;
    size_t m_height;
    PixelForm m_form;
    bool m_drops_alpha;
    int m_color;
    int m_depth;
    size_t m_channels = 0;
    bool m_interlaced = false;
    bool m_chooses = false;  // the filter of each row
    bool m_started = false;
    ByteSink& m_out;
    std::vector<uint8_t> m_row;    // as the file has it, before packing
    std::vector<uint8_t> m_above;  // the row before, as the file has it
    std::vector<uint8_t> m_whole;  // the rows of an interlaced picture, which is written in passes
    PngSession m_session;
};

}  // namespace

std::unique_ptr<RowWriter> make_png_writer(const RowsHeader& header, const PngEncoding& encoding, ByteSink& out) {
    return std::make_unique<PngWriter>(header, encoding, out);
}

}  // namespace zelmor::imagework

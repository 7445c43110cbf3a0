// Reading PNG; see png_codec.h.
#include <algorithm>
#include <bit>
#include <cassert>
#include <optional>
#include <string>

#include "runtime/native/formats/png/png_chunks.h"
#include "runtime/native/formats/png/png_codec.h"
#include "runtime/native/formats/png/png_color_space.h"
#include "runtime/native/formats/png/png_repair.h"
#include "runtime/native/formats/png/png_session.h"
#include "runtime/native/imagework/pixels/source_bytes.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::imagework {
namespace {

// Chunks with descriptions, which are read elsewhere: the library would keep their text in memory.
constexpr png_byte kUnread[] = "tEXt\0zTXt\0iTXt\0eXIf\0sPLT\0hIST\0tIME\0oFFs\0pCAL\0sCAL\0bKGD\0";
constexpr int kChunkNameBytes = 5;

class PngReader final : public RowReader {
 public:
    PngReader(const SharedSource& source, const PngReading& reading)
        : m_lenient(reading.lenient),
          m_careless(reading.careless),
          m_memory(reading.memory),
          m_bytes(source),
          m_session(PngSession::Use::kRead) {
        start();
        take_header();
        take_palette();
        take_profile();
        set_transforms();
    }

    const RowsHeader& header() const override { return m_header; }

    void read(int32_t count, std::span<uint8_t> rows) override {
        const size_t row_size = m_header.form.pixel_size() * static_cast<size_t>(m_header.width);
        assert(count >= 0 && m_next_row + count <= m_header.height);
        assert(rows.size() == row_size * static_cast<size_t>(count));
        if (count == 0) {
            return;
        }
        if (m_passes > 1) {
            if (m_whole.empty()) {
                read_whole(row_size);
            }
            const auto from = m_whole.begin() + static_cast<std::ptrdiff_t>(row_size * static_cast<size_t>(m_next_row));
            std::copy_n(from, rows.size(), rows.begin());
            m_next_row += count;
            if (m_next_row == m_header.height) {
                drop_whole();
            }
        } else {
            read_rows(count, rows.data(), row_size);
            m_next_row += count;
            if (m_next_row == m_header.height) {
                end();
            }
        }
        check_indices(rows);
    }

 private:
    void start() {
        png_structp png = m_session.png();
        png_set_read_fn(png, this, &on_read);
        m_session.run([png] {
            png_set_user_limits(png, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
            png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, nullptr, 0);
            png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, kUnread,
                                        static_cast<int>(sizeof kUnread - 1) / kChunkNameBytes);
        });
        if (m_careless) {
            m_session.run([png] { png_set_crc_action(png, PNG_CRC_QUIET_USE, PNG_CRC_QUIET_USE); });
        }
        png_infop info = m_session.info();
        m_session.run([png, info] { png_read_info(png, info); });
    }

    void take_header() {
        png_structp png = m_session.png();
        png_infop info = m_session.info();
        m_header.width = static_cast<int32_t>(png_get_image_width(png, info));
        m_header.height = static_cast<int32_t>(png_get_image_height(png, info));
        m_color = png_get_color_type(png, info);
        m_depth = png_get_bit_depth(png, info);
        m_has_key = m_color != PNG_COLOR_TYPE_PALETTE && png_get_valid(png, info, PNG_INFO_tRNS) != 0;
        PixelForm& form = m_header.form;
        form.color = m_color == PNG_COLOR_TYPE_PALETTE       ? ColorModel::kIndexed
                     : (m_color & PNG_COLOR_MASK_COLOR) != 0 ? ColorModel::kRgb
                                                             : ColorModel::kGray;
        form.sample = m_depth == 16 ? SampleType::kUint16 : SampleType::kUint8;
        form.alpha = (m_color & PNG_COLOR_MASK_ALPHA) != 0 || m_has_key;
        form.bits = m_depth < 8 && form.alpha ? 8 : m_depth;
        png_uint_32 across = 0;
        png_uint_32 down = 0;
        int unit = PNG_RESOLUTION_UNKNOWN;
        png_get_pHYs(png, info, &across, &down, &unit);
        if (unit == PNG_RESOLUTION_METER && across > 0 && down > 0) {
            m_header.resolution = Resolution{across * kMetersPerInch, down * kMetersPerInch};
        }
    }

    void take_palette() {
        if (m_header.form.color != ColorModel::kIndexed) {
            return;
        }
        png_structp png = m_session.png();
        png_infop info = m_session.info();
        png_colorp colors = nullptr;
        int count = 0;
        png_get_PLTE(png, info, &colors, &count);
        png_bytep alphas = nullptr;
        int alpha_count = 0;
        png_get_tRNS(png, info, &alphas, &alpha_count, nullptr);
        count = std::min(count, 1 << m_depth);
        for (int i = 0; i < count; i++) {
            const Argb alpha = i < alpha_count ? alphas[i] : 0xFFU;
            m_header.palette.push_back(alpha << 24 | static_cast<Argb>(colors[i].red) << 16 |
                                       static_cast<Argb>(colors[i].green) << 8 | colors[i].blue);
        }
        if (m_header.palette.empty()) {
            throw PictureError(Failure::kDamaged, "the palette is missing");
        }
    }

    void take_profile() {
        png_structp png = m_session.png();
        png_infop info = m_session.info();
        png_charp name = nullptr;
        png_bytep bytes = nullptr;
        png_uint_32 size = 0;
        int compression = 0;
        if (png_get_iCCP(png, info, &name, &compression, &bytes, &size) != 0 && size > 0) {
            m_header.profile = std::make_shared<const std::vector<uint8_t>>(bytes, bytes + size);
            return;
        }
        int intent = 0;
        if (png_get_sRGB(png, info, &intent) != 0) {
            return;
        }
        png_fixed_point number = 0;
        std::optional<uint32_t> gamma;
        if (png_get_gAMA_fixed(png, info, &number) != 0 && number > 0) {
            gamma = static_cast<uint32_t>(number);
        }
        PngChromaticities colors{};
        const bool has_colors =
            png_get_cHRM_fixed(png, info, &colors.white_x, &colors.white_y, &colors.red_x, &colors.red_y,
                               &colors.green_x, &colors.green_y, &colors.blue_x, &colors.blue_y) != 0;
        m_header.profile = profile_of_numbers(gamma, has_colors ? std::optional(colors) : std::nullopt,
                                              m_header.form.color == ColorModel::kGray);
    }

    void set_transforms() {
        png_structp png = m_session.png();
        png_infop info = m_session.info();
        const bool spreads = m_color == PNG_COLOR_TYPE_GRAY && m_depth < 8;
        const bool swaps = m_depth == 16 && std::endian::native == std::endian::little;
        const bool has_key = m_has_key;
        const size_t row_size = m_header.form.pixel_size() * static_cast<size_t>(m_header.width);
        check_row(row_size);
        int passes = 1;
        int* const passes_to = &passes;
        m_session.run([=] {
            if (spreads) {
                png_set_expand_gray_1_2_4_to_8(png);
            } else {
                png_set_packing(png);
            }
            if (has_key) {
                png_set_tRNS_to_alpha(png);
            }
            if (swaps) {
                png_set_swap(png);
            }
            *passes_to = png_set_interlace_handling(png);
            png_read_update_info(png, info);
        });
        m_passes = passes;
        if (png_get_rowbytes(png, info) != row_size) {
            throw PictureError(Failure::kInternal, "the PNG decoder gives rows of another form");
        }
        if (m_passes > 1) {
            check_picture_size(m_header.width, m_header.height, static_cast<int>(m_header.form.pixel_size()));
        }
    }

    // The library keeps two rows from the beginning on. A picture of which not even one has room is refused before.
    void check_row(size_t row_size) const {
        MemoryBudget room(m_memory != nullptr ? m_memory->limit() : limits::kDecodedBytes);
        room.take(row_size);
    }

    void read_rows(int32_t count, uint8_t* rows, size_t row_size) {
        png_structp png = m_session.png();
        m_session.run([=] {
            for (int32_t i = 0; i < count; i++) {
                png_read_row(png, rows + row_size * static_cast<size_t>(i), nullptr);
            }
        });
    }

    void read_whole(size_t row_size) {
        const size_t size = row_size * static_cast<size_t>(m_header.height);
        m_share = MemoryShare(m_memory, size);
        m_whole.resize(size);
        try {
            for (int pass = 0; pass < m_passes; pass++) {
                read_rows(m_header.height, m_whole.data(), row_size);
            }
            end();
        } catch (const PictureError& error) {
            if (!m_careless || error.kind() != Failure::kDamaged) {
                drop_whole();
                throw;
            }
        }
    }

    void drop_whole() {
        m_whole = {};
        m_share.reset();
    }

    // Reads what follows the pixels, where damage shows that hit no pixel.
    void end() {
        if (!m_lenient) {
            png_structp png = m_session.png();
            m_session.run([png] { png_read_end(png, nullptr); });
        }
    }

    // A palette may have fewer entries than its indices could tell apart.
    void check_indices(std::span<uint8_t> rows) {
        const size_t count = m_header.palette.size();
        if (m_header.form.color != ColorModel::kIndexed || count == size_t{1} << m_depth) {
            return;
        }
        uint8_t greatest = 0;
        for (const uint8_t index : rows) {
            greatest = std::max(greatest, index);
        }
        if (greatest < count) {
            return;
        }
        if (!m_lenient) {
            throw PictureError(Failure::kDamaged, "a pixel has a color that the palette does not have");
        }
        for (uint8_t& index : rows) {
            index = index < count ? index : uint8_t{0};
        }
    }

    // The library reads the length and the name of a chunk together, and hardly ever as many bytes of its content.
    void count_chunk(size_t bytes) {
        constexpr size_t kHead = 8;
        if (bytes == kHead && ++m_chunks > limits::kChunks) {
            throw PictureError(Failure::kTooLarge,
                               "the PNG data have more than " + std::to_string(limits::kChunks) + " chunks");
        }
    }

    // Called by the library.
    static void on_read(png_structp png, png_bytep out, size_t count) {
        auto* self = static_cast<PngReader*>(png_get_io_ptr(png));
        bool found = false;
        try {
            self->count_chunk(count);
            found = self->m_bytes.copy(self->m_at, {out, count}) == count;
        } catch (...) {
            self->m_session.keep(std::current_exception());
        }
        if (!found) {
            png_error(png, "the data ends before the end chunk");
        }
        self->m_at += count;
    }

    bool m_lenient;
    bool m_careless;
    SharedBudget m_memory;
    SourceBytes m_bytes;
    uint64_t m_at = 0;
    uint64_t m_chunks = 0;
    PngSession m_session;
    RowsHeader m_header;
    int m_color = 0;
    int m_depth = 0;
    bool m_has_key = false;
    int m_passes = 1;
    int32_t m_next_row = 0;
    std::vector<uint8_t> m_whole;  // of an interlaced picture, until its last row was read
    MemoryShare m_share;           // for these
};

}  // namespace

std::unique_ptr<RowReader> open_png(const SharedSource& source, const PngReading& reading) {
    assert(source != nullptr);
    // Otherwise missing data are found when the rows before them have been read.
    if (reading.lenient && !is_whole_png(source)) {
        return std::make_unique<PngReader>(memory_source(mended_png(all_bytes(*source))), reading);
    }
    return std::make_unique<PngReader>(source, reading);
}

}  // namespace zelmor::imagework

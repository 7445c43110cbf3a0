// Reading JPEG 2000; see jpeg2000_codec.h.
#include <algorithm>
#include <array>
#include <cassert>
#include <cstring>
#include <optional>
#include <string>

#include "runtime/native/formats/jpeg2000/jpeg2000_codec.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_layout.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_probe.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_structure.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_tiles.h"
#include "runtime/native/formats/jpeg2000/sample_spread.h"
#include "runtime/native/formats/jpeg2000/tile_decoder.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {
namespace {

uint64_t ceil_shift(uint64_t value, int shift) {
    return (value + (uint64_t{1} << shift) - 1) >> shift;
}

uint32_t ceil_divided(uint64_t value, uint32_t by) {
    return static_cast<uint32_t>((value + by - 1) / by);
}

// All that is known of a file before samples are decoded. It does not change.
struct Jpeg2000File {
    SharedSource source;
    Jpeg2000Reading reading;
    Jpeg2000Structure structure;
    Jpeg2000Layout layout;
    std::vector<Jpeg2000Tile> tiles;
    ProfileBytes profile;
    Jpeg2000Facts facts;
    int most_reduction = 0;

    const Jpeg2000Codings& codings(const Jpeg2000Tile& tile) const {
        return tile.own != nullptr ? *tile.own : structure.coding;
    }
};

using SharedFile = std::shared_ptr<const Jpeg2000File>;

// The part of the picture that a tile covers, in pixels of the reduced picture, from the left or upper edge.
struct Span {
    int32_t from = 0;
    int32_t to = 0;
};

class Jpeg2000Reader final : public RowReader {
 public:
    Jpeg2000Reader(SharedFile file, int reduction) : m_file(std::move(file)), m_reduction(reduction) {
        const Jpeg2000Layout& layout = m_file->layout;
        const Jpeg2000Grid& grid = m_file->structure.grid;
        m_left = first_pixel(grid.left, layout.unit_x);
        m_top = first_pixel(grid.top, layout.unit_y);
        m_header.width = static_cast<int32_t>(first_pixel(grid.right, layout.unit_x) - m_left);
        m_header.height = static_cast<int32_t>(first_pixel(grid.bottom, layout.unit_y) - m_top);
        m_header.form = layout.form;
        m_header.resolution = m_file->structure.resolution;
        if (m_header.resolution) {
            m_header.resolution->horizontal /= 1 << m_reduction;
            m_header.resolution->vertical /= 1 << m_reduction;
        }
        m_header.palette = layout.palette;
        m_header.deep_palette = layout.deep_palette;
        m_header.profile = m_file->profile;
        for (const Jpeg2000Band& band : layout.bands) {
            m_spreads.emplace_back(band.bits, band.is_signed, layout.form);
        }
    }

    const RowsHeader& header() const override { return m_header; }

    void read(int32_t count, std::span<uint8_t> rows) override {
        assert(count >= 0 && m_next + count <= m_header.height &&
               rows.size() == row_size() * static_cast<size_t>(count));
        if (m_failed) {
            throw PictureError(Failure::kDamaged, "an earlier row could not be decoded");
        }
        for (int32_t i = 0; i < count; i++, m_next++) {
            try {
                while (m_next >= m_rows.to) {
                    decode_tiles(m_tile_row++);
                }
            } catch (...) {
                m_failed = true;
                m_tiles.clear();
                throw;
            }
            put_row(rows.data() + row_size() * static_cast<size_t>(i));
        }
        if (m_next == m_header.height) {
            m_tiles.clear();
            m_share.reset();
        }
    }

    std::vector<Rect> lost() const override {
        std::vector<Rect> areas;
        for (Rect area : m_lost) {
            area.height = std::min(area.height, m_next - area.y);
            if (area.height > 0) {
                areas.push_back(area);
            }
        }
        return areas;
    }

 private:
    struct Piece {
        Span columns;
        std::optional<DecodedTile> tile;  // absent: its pixels are lost
    };

    size_t row_size() const { return m_header.form.pixel_size() * static_cast<size_t>(m_header.width); }

    // The number of the first pixel at or behind a place of the reference grid.
    uint32_t first_pixel(uint32_t place, uint32_t unit) const {
        return static_cast<uint32_t>(ceil_shift(ceil_divided(place, unit), m_reduction));
    }

    void decode_tiles(uint32_t row) {
        const Jpeg2000Structure& structure = m_file->structure;
        const Jpeg2000Layout& layout = m_file->layout;
        assert(row < structure.grid.rows());
        m_tiles.clear();
        m_share.reset();
        for (uint32_t column = 0; column < structure.grid.columns(); column++) {
            const Jpeg2000Grid grid = jpeg2000_tile_grid(structure.grid, column, row);
            m_rows = {static_cast<int32_t>(first_pixel(grid.top, layout.unit_y) - m_top),
                      static_cast<int32_t>(first_pixel(grid.bottom, layout.unit_y) - m_top)};
            Piece piece{{static_cast<int32_t>(first_pixel(grid.left, layout.unit_x) - m_left),
                         static_cast<int32_t>(first_pixel(grid.right, layout.unit_x) - m_left)},
                        {}};
            if (m_rows.from >= m_rows.to || piece.columns.from >= piece.columns.to) {
                continue;
            }
            const size_t index = size_t{row} * structure.grid.columns() + column;
            if (column == 0) {
                m_share = MemoryShare(m_file->reading.memory, memory_of_row(row));
            }
            try {
                piece.tile = decode(m_file->tiles[index], grid);
            } catch (const PictureError& error) {
                if (error.kind() != Failure::kDamaged || m_file->reading.recovery != Recovery::kMaximal) {
                    throw;
                }
                m_lost.push_back(
                    {piece.columns.from, m_rows.from, piece.columns.to - piece.columns.from, m_rows.to - m_rows.from});
            }
            m_tiles.push_back(std::move(piece));
        }
    }

    // The samples of all tiles of a row, and the tables of the greatest.
    uint64_t memory_of_row(uint32_t row) const {
        const Jpeg2000Structure& structure = m_file->structure;
        uint64_t samples = 0;
        uint64_t tables = 0;
        for (uint32_t column = 0; column < structure.grid.columns(); column++) {
            const Jpeg2000Tile& tile = m_file->tiles[size_t{row} * structure.grid.columns() + column];
            if (tile.parts.empty()) {
                continue;
            }
            const Jpeg2000Grid grid = jpeg2000_tile_grid(structure.grid, column, row);
            samples += uint64_t{grid.right - grid.left} * (grid.bottom - grid.top) /
                       (uint64_t{m_file->layout.unit_x} * m_file->layout.unit_y);
            tables = std::max(
                tables, jpeg2000_tile_cost(structure, m_file->codings(tile), grid, m_reduction).bytes + tile.bytes());
        }
        return (samples >> 2 * m_reduction) * sizeof(int32_t) * structure.components.size() + tables;
    }

    DecodedTile decode(const Jpeg2000Tile& tile, const Jpeg2000Grid& grid) {
        const bool strict = m_file->reading.recovery != Recovery::kMaximal;
        if (tile.parts.empty() || (strict && !tile.complete)) {
            jpeg2000_damaged("the data of a tile are missing");
        }
        const TileCost cost = jpeg2000_tile_cost(m_file->structure, m_file->codings(tile), grid, m_reduction);
        // Each packet has a byte at least. Files that end early have fewer bytes than packets.
        constexpr uint64_t kPacketsOfByte = 16;
        constexpr uint64_t kSomePackets = 65536;
        if (cost.packets > kSomePackets && cost.packets / kPacketsOfByte > tile.bytes()) {
            jpeg2000_damaged("a tile claims more packets than it has bytes");
        }
        const auto start = DecodingClock::now();
        const TileRequest request{grid, &tile, m_reduction, strict, deadline(start)};
        DecodedTile decoded = decode_jpeg2000_tile(*m_file->source, m_file->structure, request);
        const auto taken = std::chrono::duration_cast<std::chrono::milliseconds>(DecodingClock::now() - start);
        m_taken += taken;
        const Jpeg2000Reading& reading = m_file->reading;
        if ((reading.most_time_of_tile > 0 && taken.count() > reading.most_time_of_tile) ||
            (reading.most_time > 0 && m_taken.count() > reading.most_time)) {
            throw PictureError(Failure::kInternal, kJpeg2000TooSlow);
        }
        check_planes(decoded, grid);
        return decoded;
    }

    std::optional<DecodingClock::time_point> deadline(DecodingClock::time_point start) const {
        const Jpeg2000Reading& reading = m_file->reading;
        std::optional<int64_t> left;
        if (reading.most_time > 0) {
            left = std::max<int64_t>(0, reading.most_time - m_taken.count());
        }
        if (reading.most_time_of_tile > 0) {
            left = std::min(left.value_or(INT64_MAX), reading.most_time_of_tile);
        }
        return left ? std::optional(start + std::chrono::milliseconds(*left)) : std::nullopt;
    }

    // The planes have the samples that the pixels of the tile ask for.
    void check_planes(const DecodedTile& tile, const Jpeg2000Grid& grid) const {
        for (const Jpeg2000Band& band : m_file->layout.bands) {
            const Jpeg2000Component& part = m_file->structure.components[band.component];
            const TilePlane plane = tile.plane(band.component);
            const auto from = [&](uint32_t place, uint32_t step) {
                return static_cast<uint32_t>(ceil_shift(ceil_divided(place, step), m_reduction));
            };
            if (plane.samples == nullptr || plane.width == 0 || plane.height == 0 ||
                plane.left != from(grid.left, part.dx) || plane.top != from(grid.top, part.dy) ||
                plane.left + plane.width != from(grid.right, part.dx) ||
                plane.top + plane.height != from(grid.bottom, part.dy)) {
                jpeg2000_damaged("a tile has no samples of a component");
            }
        }
    }

    void put_row(uint8_t* row) {
        const size_t step = m_header.form.pixel_size();
        for (const Piece& piece : m_tiles) {
            const auto width = static_cast<size_t>(piece.columns.to - piece.columns.from);
            uint8_t* const to = row + step * static_cast<size_t>(piece.columns.from);
            if (!piece.tile) {
                std::memset(to, 0, step * width);
                continue;
            }
            take_samples(piece, width);
            if (m_file->layout.ycc) {
                ycc_to_rgb(m_spreads[0], m_spreads[1], m_spreads[2], m_samples);
            }
            for (size_t band = 0; band < m_spreads.size(); band++) {
                m_spreads[band].put(m_samples[band], to, band, m_spreads.size());
            }
            if (m_file->layout.premultiplied) {
                unmultiply(m_header.form, to, width);
            }
        }
    }

    // The samples of each band for the pixels of a row in a tile. A sample may stand for several pixels.
    void take_samples(const Piece& piece, size_t width) {
        const Jpeg2000Layout& layout = m_file->layout;
        m_samples.resize(layout.bands.size());
        for (size_t band = 0; band < layout.bands.size(); band++) {
            const Jpeg2000Band& from = layout.bands[band];
            const Jpeg2000Component& part = m_file->structure.components[from.component];
            const TilePlane plane = piece.tile->plane(from.component);
            const uint32_t ratio_x = part.dx / layout.unit_x;
            const uint32_t ratio_y = part.dy / layout.unit_y;
            const uint32_t y =
                std::clamp((m_top + static_cast<uint32_t>(m_next)) / ratio_y, plane.top, plane.top + plane.height - 1);
            const int32_t* const samples = plane.samples + size_t{y - plane.top} * plane.width;
            const uint32_t first = m_left + static_cast<uint32_t>(piece.columns.from);
            std::vector<int32_t>& out = m_samples[band];
            out.resize(width);
            if (ratio_x == 1) {
                assert(first == plane.left && width == plane.width);
                std::copy_n(samples, width, out.begin());
            } else {
                for (size_t x = 0; x < width; x++) {
                    const uint32_t at = std::clamp((first + static_cast<uint32_t>(x)) / ratio_x, plane.left,
                                                   plane.left + plane.width - 1);
                    out[x] = samples[at - plane.left];
                }
            }
            if (from.column) {
                look_up(part, *from.column, out);
            }
        }
    }

    void look_up(const Jpeg2000Component& part, uint8_t column, std::vector<int32_t>& samples) const {
        const Jpeg2000Palette& palette = *m_file->structure.palette;
        const auto last = static_cast<int64_t>(palette.entries) - 1;
        const int64_t offset = part.is_signed ? int64_t{1} << (part.bits - 1) : 0;
        const int bits = palette.bits[column];
        for (int32_t& sample : samples) {
            const auto index = static_cast<size_t>(std::clamp<int64_t>(sample + offset, 0, last));
            auto value = static_cast<int32_t>(palette.values[index * palette.bits.size() + column]);
            if (palette.is_signed[column] && (value >> (bits - 1) & 1) != 0) {
                value -= 1 << bits;
            }
            sample = value;
        }
    }

    SharedFile m_file;
    int m_reduction;
    RowsHeader m_header;
    std::vector<SampleSpread> m_spreads;  // of each band
    uint32_t m_left = 0;                  // the first pixel of the picture, counted from the grid's origin
    uint32_t m_top = 0;
    int32_t m_next = 0;
    bool m_failed = false;
    uint32_t m_tile_row = 0;  // the next to decode
    Span m_rows;              // of the tiles that are decoded
    std::vector<Piece> m_tiles;
    MemoryShare m_share;
    std::vector<std::vector<int32_t>> m_samples;  // of each band, for a row in a tile
    std::vector<Rect> m_lost;
    std::chrono::milliseconds m_taken{0};
};

int most_reduction(const Jpeg2000File& file) {
    const Jpeg2000Layout& layout = file.layout;
    // Indices have no mean, and samples of a bit or two have no room for it.
    if (layout.form.color == ColorModel::kIndexed || layout.form.bits < 8 || file.structure.palette) {
        return 0;
    }
    int most = 16;
    const auto lessen = [&](const Jpeg2000Codings& codings) {
        for (size_t i = 0; i < file.structure.components.size(); i++) {
            most = std::min(most, codings.of(i).levels);
        }
    };
    lessen(file.structure.coding);
    for (const Jpeg2000Tile& tile : file.tiles) {
        if (tile.own != nullptr) {
            lessen(*tile.own);
        }
    }
    return most;
}

class Jpeg2000Frame final : public FrameSource {
 public:
    explicit Jpeg2000Frame(SharedFile file) : m_file(std::move(file)) {}

    size_t count() const override { return 1; }

    FrameHeader header([[maybe_unused]] size_t index) const override {
        assert(index == 0);
        FrameHeader header;
        header.facts = m_file->facts.facts;
        header.area = {0, 0, m_file->layout.width, m_file->layout.height};
        return header;
    }

    std::unique_ptr<RowReader> open(size_t index) const override { return open_reduced(index, 1); }

    int reduction([[maybe_unused]] size_t index, int most) const override {
        assert(index == 0 && most >= 1);
        int halvings = 0;
        while (halvings < m_file->most_reduction && (2 << halvings) <= most && fits(halvings + 1)) {
            halvings++;
        }
        return 1 << halvings;
    }

    std::unique_ptr<RowReader> open_reduced([[maybe_unused]] size_t index, int divisor) const override {
        assert(index == 0 && divisor == reduction(0, divisor));
        int halvings = 0;
        while ((1 << halvings) < divisor) {
            halvings++;
        }
        return std::make_unique<Jpeg2000Reader>(m_file, halvings);
    }

 private:
    // Whether the wavelet's picture has the size that the division gives. It counts from the origin of the grid, where
    // pictures need not begin.
    bool fits(int halvings) const {
        const Jpeg2000Layout& layout = m_file->layout;
        const Jpeg2000Grid& grid = m_file->structure.grid;
        const auto side = [&](uint32_t from, uint32_t to, uint32_t unit) {
            return ceil_shift(ceil_divided(to, unit), halvings) - ceil_shift(ceil_divided(from, unit), halvings);
        };
        return side(grid.left, grid.right, layout.unit_x) ==
                   ceil_shift(static_cast<uint64_t>(layout.width), halvings) &&
               side(grid.top, grid.bottom, layout.unit_y) == ceil_shift(static_cast<uint64_t>(layout.height), halvings);
    }

    SharedFile m_file;
};

}  // namespace

SharedFrames open_jpeg2000(const SharedSource& source, const Jpeg2000Reading& reading) {
    assert(source != nullptr);
    auto file = std::make_shared<Jpeg2000File>();
    file->source = source;
    file->reading = reading;
    SourceBytes bytes(source, SourceBytes::kHeaderWindow);
    const ByteReader in(bytes);
    file->structure = jpeg2000_structure(in);
    file->layout = jpeg2000_layout(in, file->structure);
    file->facts = probe_jpeg2000(in);
    const Jpeg2000Structure& structure = file->structure;
    if (structure.packed_headers) {
        jpeg2000_unsupported(
            "this is a JPEG 2000 file with the packet headers of all tiles in its main header, which "
            "cannot be read");
    }
    const BytesAt& place = structure.codestream;
    const uint64_t end = place.at + std::min(place.size, source->size() - std::min(source->size(), place.at));
    const bool lenient = reading.recovery != Recovery::kNone;
    file->tiles = jpeg2000_tiles(in, structure, end, lenient);
    size_t sound = 0;
    for (const Jpeg2000Tile& tile : file->tiles) {
        sound += !tile.parts.empty() && tile.complete ? 1 : 0;
    }
    if (sound < file->tiles.size() && !lenient) {
        jpeg2000_damaged("the data of " + std::to_string(file->tiles.size() - sound) + " of " +
                         std::to_string(file->tiles.size()) + " tiles are missing or cut off");
    }
    if (structure.profile.size > 0) {
        std::vector<uint8_t> profile(static_cast<size_t>(structure.profile.size));
        if (bytes.copy(structure.profile.at, profile) != profile.size()) {
            jpeg2000_damaged("its color profile is cut off");
        }
        file->profile = std::make_shared<const std::vector<uint8_t>>(std::move(profile));
    }
    file->most_reduction = most_reduction(*file);
    return std::make_shared<const Jpeg2000Frame>(std::move(file));
}

}  // namespace zelmor::imagework

// Walking over tile-parts; see jpeg2000_tiles.h.
#include "runtime/native/formats/jpeg2000/jpeg2000_tiles.h"

#include <algorithm>
#include <cassert>

#include "runtime/native/formats/jpeg2000/jpeg2000_markers.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

constexpr uint64_t kSotBytes = 12;
// Parts of one tile: the format numbers them in a byte.
constexpr size_t kMostParts = 255;

// Reads the codings in the header of a tile-part. PictureError(kDamaged) where it does not come to the data.
void read_part_header(const ByteReader& in, const Jpeg2000Structure& file, uint64_t at, uint64_t end,
                      Jpeg2000Tile& tile) {
    std::shared_ptr<Jpeg2000Codings> own;
    at += kSotBytes;
    for (;;) {
        const uint16_t marker = in.u16(at);
        if (!in.ok() || at + 2 > end || marker < 0xFF00) {
            jpeg2000_damaged("the header of a tile is cut off");
        }
        if (marker == kMarkerSod) {
            break;
        }
        const uint64_t size = in.u16(at + 2);
        if (size < 2 || size > end - at - 2) {
            jpeg2000_damaged("the header of a tile is cut off");
        }
        if (marker == kMarkerCod || marker == kMarkerCoc) {
            if (own == nullptr) {
                own = std::make_shared<Jpeg2000Codings>(tile.own != nullptr ? *tile.own : file.coding);
            }
            if (marker == kMarkerCod) {
                // It stands above what the main header says of single components.
                own->own.clear();
                read_jpeg2000_cod(in, at + 2, *own);
            } else {
                read_jpeg2000_coc(in, at + 2, file.components.size(), *own);
            }
        }
        at += 2 + size;
    }
    if (own != nullptr) {
        tile.own = std::move(own);
    }
}

class TileWalk {
 public:
    TileWalk(const ByteReader& file, const Jpeg2000Structure& structure, uint64_t end)
        : m_in(file.in_order(true)), m_file(structure), m_at(structure.tiles_at), m_end(end) {
        m_tiles.resize(size_t{structure.grid.columns()} * structure.grid.rows());
    }

    // Whether there was another part.
    bool step() {
        if (m_at + 2 > m_end || m_in.u16(m_at) != kMarkerSot) {
            return false;
        }
        const size_t index = m_in.u16(m_at + 4);
        const uint64_t told = m_in.u32(m_at + 6);
        if (!m_in.ok() || m_in.u16(m_at + 2) != kSotBytes - 2 || index >= m_tiles.size() ||
            (told != 0 && told < kSotBytes + 2)) {
            jpeg2000_damaged("a tile has no valid header");
        }
        Jpeg2000Tile& tile = m_tiles[index];
        if (tile.parts.size() >= kMostParts) {
            jpeg2000_damaged("a tile has too many parts");
        }
        const uint64_t rest = m_end - m_at;
        const uint64_t size = told == 0 ? rest : std::min(told, rest);
        tile.complete = tile.complete && size >= told;
        read_part_header(m_in, m_file, m_at, m_at + size, tile);
        tile.parts.push_back({m_at, size});
        m_at += size;
        return true;
    }

    std::vector<Jpeg2000Tile> take() { return std::move(m_tiles); }

 private:
    const ByteReader m_in;
    const Jpeg2000Structure& m_file;
    uint64_t m_at;
    uint64_t m_end;
    std::vector<Jpeg2000Tile> m_tiles;
};

uint64_t shifted_up(uint64_t value, int shift) {
    return (value + (uint64_t{1} << shift) - 1) >> shift;
}

}  // namespace

uint64_t Jpeg2000Tile::bytes() const {
    uint64_t sum = 0;
    for (const BytesAt& part : parts) {
        sum += part.size;
    }
    return sum;
}

std::vector<Jpeg2000Tile> jpeg2000_tiles(const ByteReader& file, const Jpeg2000Structure& structure, uint64_t end,
                                         bool lenient) {
    TileWalk walk(file, structure, end);
    try {
        while (walk.step()) {
        }
    } catch (const PictureError&) {
        if (!lenient) {
            throw;
        }
    }
    return walk.take();
}

Jpeg2000Grid jpeg2000_tile_grid(const Jpeg2000Grid& grid, uint32_t column, uint32_t row) {
    assert(column < grid.columns() && row < grid.rows());
    const uint64_t left = grid.tile_left + uint64_t{column} * grid.tile_width;
    const uint64_t top = grid.tile_top + uint64_t{row} * grid.tile_height;
    Jpeg2000Grid tile = grid;
    tile.tile_left = static_cast<uint32_t>(left);
    tile.tile_top = static_cast<uint32_t>(top);
    tile.left = std::max(grid.left, tile.tile_left);
    tile.top = std::max(grid.top, tile.tile_top);
    tile.right = static_cast<uint32_t>(std::min<uint64_t>(grid.right, left + grid.tile_width));
    tile.bottom = static_cast<uint32_t>(std::min<uint64_t>(grid.bottom, top + grid.tile_height));
    return tile;
}

TileCost jpeg2000_tile_cost(const Jpeg2000Structure& structure, const Jpeg2000Codings& codings,
                            const Jpeg2000Grid& tile, int reduction) {
    // Bytes of the decoder's tables, generously: a precinct of one band, and a code block with its nodes in two trees.
    constexpr uint64_t kPrecinct = 160;
    constexpr uint64_t kBlock = 256;
    TileCost cost;
    for (size_t i = 0; i < structure.components.size(); i++) {
        const Jpeg2000Component& component = structure.components[i];
        const Jpeg2000Coding& coding = codings.of(i);
        const auto divided = [](uint64_t value, uint32_t by) { return (value + by - 1) / by; };
        const uint64_t left = divided(tile.left, component.dx);
        const uint64_t right = divided(tile.right, component.dx);
        const uint64_t top = divided(tile.top, component.dy);
        const uint64_t bottom = divided(tile.bottom, component.dy);
        for (int resolution = 0; resolution <= coding.levels; resolution++) {
            const int shift = coding.levels - resolution;
            const int wide = coding.precinct_width(resolution);
            const int high = coding.precinct_height(resolution);
            if (resolution > 0 && (wide == 0 || high == 0)) {
                jpeg2000_damaged("its precincts have no size");
            }
            const uint64_t x0 = shifted_up(left, shift), x1 = shifted_up(right, shift);
            const uint64_t y0 = shifted_up(top, shift), y1 = shifted_up(bottom, shift);
            if (resolution == std::max(0, coding.levels - reduction)) {
                cost.bytes += sizeof(int32_t) * (x1 - x0) * (y1 - y0);
            }
            if (x0 >= x1 || y0 >= y1) {
                continue;
            }
            const uint64_t precincts = (shifted_up(x1, wide) - (x0 >> wide)) * (shifted_up(y1, high) - (y0 >> high));
            const int less = resolution == 0 ? 0 : 1;
            const int block_width = std::min(coding.block_width, wide - less);
            const int block_height = std::min(coding.block_height, high - less);
            const uint64_t blocks = ((x1 - x0) >> (block_width + less)) * ((y1 - y0) >> (block_height + less)) +
                                    ((x1 - x0) >> block_width) + ((y1 - y0) >> block_height) + 4 + precincts;
            const uint64_t bands = resolution == 0 ? 1 : 3;
            cost.packets += precincts * static_cast<uint64_t>(codings.layers);
            cost.bytes += bands * (precincts * kPrecinct + blocks * kBlock);
        }
    }
    return cost;
}

}  // namespace zelmor::imagework

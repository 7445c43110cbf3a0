// The tiles of a codestream: where their parts are, how they are coded, and how much work their headers claim.
//
// A *tile* is a rectangle of the picture that is coded on its own. Its data come in one or more *tile-parts*, which may
// lie anywhere among those of other tiles.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_TILES_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_TILES_H

#include <cstdint>
#include <memory>
#include <vector>

#include "runtime/native/formats/jpeg2000/jpeg2000_structure.h"

namespace zelmor::imagework {

struct Jpeg2000Tile {
    std::vector<BytesAt> parts;                       // from the marker of each on, as far as the file has them
    bool complete = true;                             // no part is cut off
    std::shared_ptr<const Jpeg2000Codings> own = {};  // where the tile's header changes those of the picture

    uint64_t bytes() const;
};

// All tiles, row after row; those that the file lacks have no parts. `end` is the end of the codestream.
// PictureError(kDamaged) where the chain of tile-parts makes no sense; with `lenient` the chain just ends there.
std::vector<Jpeg2000Tile> jpeg2000_tiles(const ByteReader& file, const Jpeg2000Structure& structure, uint64_t end,
                                         bool lenient);

// The rectangle of a tile on the reference grid, as the grid of a picture of that tile alone.
Jpeg2000Grid jpeg2000_tile_grid(const Jpeg2000Grid& grid, uint32_t column, uint32_t row);

// What a decoder takes for a tile.
struct TileCost {
    uint64_t packets = 0;  // that the tile's data consist of, a byte each at least
    uint64_t bytes = 0;    // memory for samples and for the tables of precincts and code blocks
};
TileCost jpeg2000_tile_cost(const Jpeg2000Structure& structure, const Jpeg2000Codings& codings,
                            const Jpeg2000Grid& tile, int reduction);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_TILES_H

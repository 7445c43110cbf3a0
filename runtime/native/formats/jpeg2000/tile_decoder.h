// Decodes one tile of a JPEG 2000 codestream.
//
// The library sees each tile as a codestream of its own: a main header that tells of the tile's area alone, and the
// parts of that tile. All coordinates are those of the reference grid, so that the samples are the same. So the library
// takes memory for one tile at a time, tiles may come in any order, and damage in one does not reach another.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_TILE_DECODER_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_TILE_DECODER_H

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

#include "runtime/native/formats/jpeg2000/jpeg2000_structure.h"
#include "runtime/native/formats/jpeg2000/jpeg2000_tiles.h"
#include "runtime/native/imagework/pixels/data_source.h"

struct opj_image;

namespace zelmor::imagework {

// What is said where decoding took longer than it may.
constexpr const char* kJpeg2000TooSlow =
    "decoding takes longer than maximum_decoding_time or maximum_decoding_time_for_tile allow";

using DecodingClock = std::chrono::steady_clock;

// The samples of one component in a tile. Coordinates count samples of the component, from those of the whole grid.
struct TilePlane {
    const int32_t* samples = nullptr;
    uint32_t left = 0;
    uint32_t top = 0;
    uint32_t width = 0;
    uint32_t height = 0;
};

class DecodedTile {
 public:
    explicit DecodedTile(opj_image* image) : m_image(image) {}
    TilePlane plane(size_t component) const;

 private:
    struct Release {
        void operator()(opj_image* image) const;
    };
    std::unique_ptr<opj_image, Release> m_image;
};

struct TileRequest {
    Jpeg2000Grid grid;  // of a picture of the tile alone
    const Jpeg2000Tile* tile = nullptr;
    int reduction = 0;   // how often the sides are halved
    bool strict = true;  // data that end early are an error
    std::optional<DecodingClock::time_point> deadline = {};
};

// PictureError(kDamaged); kInternal where the deadline passed while data were read.
DecodedTile decode_jpeg2000_tile(const DataSource& source, const Jpeg2000Structure& structure,
                                 const TileRequest& request);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_TILE_DECODER_H

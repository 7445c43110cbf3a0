// The structure of a JPEG 2000 file: its boxes, and the main header of its codestream. No pixel is decoded here.
//
// A *box* is a length, a type of four letters, and its content. The *codestream* holds the compressed samples of all
// *components*; boxes say which component is which *channel* (red, opacity, ...), directly or through a palette.
// A bare codestream has no boxes.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_STRUCTURE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_STRUCTURE_H

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "runtime/native/formats/jpeg2000/jpeg2000_encoding.h"
#include "runtime/native/imagework/formats.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {

struct BytesAt {
    uint64_t at = 0;
    uint64_t size = 0;
};

struct Jpeg2000Component {
    int bits = 8;
    bool is_signed = false;
    uint32_t dx = 1;  // pixels of the reference grid that a sample stands for
    uint32_t dy = 1;
};

// How the samples of one component are coded. Numbers are exponents of two.
struct Jpeg2000Coding {
    int levels = 0;  // how often the wavelet halves the sides
    int block_width = 6;
    int block_height = 6;
    std::vector<uint8_t> precincts = {};  // of each resolution, width in the lower half byte; empty: 15 for all
    bool reversible = false;              // the 5-3 wavelet

    int precinct_width(int resolution) const { return precincts.empty() ? 15 : precincts[size_of(resolution)] & 15; }
    int precinct_height(int resolution) const { return precincts.empty() ? 15 : precincts[size_of(resolution)] >> 4; }

 private:
    static size_t size_of(int index) { return static_cast<size_t>(index); }
};

// The coding of all components, by the main header or by the header of a tile.
struct Jpeg2000Codings {
    int layers = 1;
    Jpeg2000Coding usual;
    std::vector<std::pair<uint16_t, Jpeg2000Coding>> own = {};  // of components that differ; the last one counts

    const Jpeg2000Coding& of(size_t component) const {
        for (auto found = own.rbegin(); found != own.rend(); found++) {
            if (found->first == component) {
                return found->second;
            }
        }
        return usual;
    }
};

// The area of the picture and its tiles on the reference grid.
struct Jpeg2000Grid {
    uint32_t left = 0, top = 0, right = 0, bottom = 0;
    uint32_t tile_left = 0, tile_top = 0, tile_width = 0, tile_height = 0;

    uint32_t columns() const { return (right - tile_left - 1) / tile_width + 1; }
    uint32_t rows() const { return (bottom - tile_top - 1) / tile_height + 1; }
};

struct Jpeg2000Palette {
    std::vector<int> bits;  // of each column
    std::vector<bool> is_signed;
    size_t entries = 0;
    std::vector<uint32_t> values;  // entry after entry
};

// A channel, as the component mapping box tells: a component, or the column of the palette that a component picks from.
struct Jpeg2000Channel {
    uint16_t component = 0;
    std::optional<uint8_t> column = {};
};

// An entry of the channel definition box.
struct Jpeg2000Definition {
    uint16_t channel = 0;
    uint16_t type = 0;   // 0 color, 1 opacity, 2 opacity that the colors are multiplied by
    uint16_t place = 0;  // which color, from 1; 0 all of the picture
};

struct Jpeg2000Structure {
    Jpeg2000Codec codec = Jpeg2000Codec::kJ2k;
    BytesAt codestream;  // to the end of the file where the file does not tell
    Jpeg2000Grid grid;
    std::vector<Jpeg2000Component> components;
    Jpeg2000Codings coding;
    std::vector<BytesAt> kept_markers;  // of the main header, behind the size, that a single tile needs
    uint64_t tiles_at = 0;              // the first tile-part
    bool packed_headers = false;        // packet headers stand in the main header
    std::vector<std::string> comments;

    std::optional<uint32_t> color_space;  // the number of the color specification box
    BytesAt profile;                      // an ICC profile, instead of such a number
    std::optional<Jpeg2000Palette> palette;
    std::vector<Jpeg2000Channel> channels;  // without the box: the components
    std::vector<Jpeg2000Definition> definitions;
    std::optional<Resolution> resolution;
    BytesAt xmp;
    BytesAt exif;
};

// Whether the bytes begin a JPEG 2000 file.
bool is_jpeg2000(const ByteReader& file);

// PictureError(kDamaged) where the boxes or the main header make no sense.
Jpeg2000Structure jpeg2000_structure(const ByteReader& file);

// Reads a COD or COC marker segment at the offset of its length field into codings that apply from here on.
void read_jpeg2000_cod(const ByteReader& in, uint64_t at, Jpeg2000Codings& codings);
// The latter is of one of so many components.
void read_jpeg2000_coc(const ByteReader& in, uint64_t at, size_t components, Jpeg2000Codings& codings);

[[noreturn]] void jpeg2000_damaged(const std::string& reason);
[[noreturn]] void jpeg2000_unsupported(const std::string& reason);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_JPEG2000_JPEG2000_STRUCTURE_H

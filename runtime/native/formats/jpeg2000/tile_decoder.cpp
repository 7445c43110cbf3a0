// One tile by OpenJPEG; see tile_decoder.h.
#include "runtime/native/formats/jpeg2000/tile_decoder.h"

#include <openjpeg.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <span>
#include <string>
#include <vector>

#include "runtime/native/formats/jpeg2000/jpeg2000_markers.h"
#include "runtime/native/formats/jpeg2000/library_handles.h"
#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

// The bytes of the codestream that the library sees: pieces made here and pieces of the file, one after the other.
class PatchedStream {
 public:
    explicit PatchedStream(const DataSource& source) : m_source(source) {}

    void add(std::vector<uint8_t> bytes) {
        const uint64_t size = bytes.size();
        m_pieces.push_back({m_size, size, 0, std::move(bytes)});
        m_size += size;
    }
    void add(const BytesAt& place) {
        m_pieces.push_back({m_size, place.size, place.at, {}});
        m_size += place.size;
    }

    uint64_t size() const { return m_size; }
    uint64_t position() const { return m_position; }
    void seek(uint64_t position) { m_position = std::min(position, m_size); }
    void set_deadline(std::optional<DecodingClock::time_point> deadline) { m_deadline = deadline; }
    bool is_late() const { return m_late; }

    // How many bytes there were; -1 behind the last one, or where reading fails.
    size_t read(std::span<uint8_t> out) {
        m_late = m_late || (m_deadline && DecodingClock::now() > *m_deadline);
        size_t done = 0;
        while (!m_late && done < out.size() && m_position < m_size) {
            const auto after = std::upper_bound(m_pieces.begin(), m_pieces.end(), m_position,
                                                [](uint64_t at, const Piece& piece) { return at < piece.begin; });
            const Piece& piece = *(after - 1);
            const uint64_t skip = m_position - piece.begin;
            const auto count = static_cast<size_t>(std::min<uint64_t>(piece.size - skip, out.size() - done));
            const auto to = out.subspan(done, count);
            if (!piece.bytes.empty()) {
                std::copy_n(piece.bytes.begin() + static_cast<std::ptrdiff_t>(skip), count, to.begin());
            } else if (m_source.read_at(piece.at + skip, to) != count) {
                break;
            }
            done += count;
            m_position += count;
        }
        return done > 0 ? done : static_cast<size_t>(-1);
    }

 private:
    struct Piece {
        uint64_t begin;
        uint64_t size;
        uint64_t at;  // in the file
        std::vector<uint8_t> bytes;
    };
    const DataSource& m_source;
    std::vector<Piece> m_pieces;
    uint64_t m_size = 0;
    uint64_t m_position = 0;
    std::optional<DecodingClock::time_point> m_deadline;
    bool m_late = false;
};

// Called by the library, which no exception may pass through.
OPJ_SIZE_T read_stream(void* buffer, OPJ_SIZE_T size, void* data) {
    try {
        return static_cast<PatchedStream*>(data)->read({static_cast<uint8_t*>(buffer), size});
    } catch (const std::exception&) {
        return static_cast<OPJ_SIZE_T>(-1);
    }
}

OPJ_OFF_T skip_stream(OPJ_OFF_T count, void* data) {
    auto* stream = static_cast<PatchedStream*>(data);
    if (count < 0 || static_cast<uint64_t>(count) > stream->size() - stream->position()) {
        return -1;
    }
    stream->seek(stream->position() + static_cast<uint64_t>(count));
    return count;
}

OPJ_BOOL seek_stream(OPJ_OFF_T position, void* data) {
    auto* stream = static_cast<PatchedStream*>(data);
    if (position < 0 || static_cast<uint64_t>(position) > stream->size()) {
        return OPJ_FALSE;
    }
    stream->seek(static_cast<uint64_t>(position));
    return OPJ_TRUE;
}

std::vector<uint8_t> size_segment(const Jpeg2000Structure& file, const Jpeg2000Grid& grid) {
    std::vector<uint8_t> out;
    put(out, kMarkerSoc, 2);
    put(out, kMarkerSiz, 2);
    put(out, 38 + 3 * file.components.size(), 2);
    put(out, 0, 2);  // no profile is promised
    for (const uint32_t value : {grid.right, grid.bottom, grid.left, grid.top, grid.tile_width, grid.tile_height,
                                 grid.tile_left, grid.tile_top}) {
        put(out, value, 4);
    }
    put(out, file.components.size(), 2);
    for (const Jpeg2000Component& component : file.components) {
        put(out, static_cast<uint64_t>(component.bits - 1) | (component.is_signed ? 0x80U : 0U), 1);
        put(out, component.dx, 1);
        put(out, component.dy, 1);
    }
    return out;
}

// The parts of the tile, as the only one of its picture.
void add_tile(const Jpeg2000Tile& tile, const DataSource& source, PatchedStream& stream) {
    constexpr size_t kHeader = 12;
    for (const BytesAt& part : tile.parts) {
        std::vector<uint8_t> header(kHeader);
        if (part.size < kHeader || source.read_at(part.at, header) != kHeader) {
            jpeg2000_damaged("a tile has no header");
        }
        header[4] = header[5] = 0;
        stream.add(std::move(header));
        stream.add(BytesAt{part.at + kHeader, part.size - kHeader});
    }
    stream.add(std::vector<uint8_t>{kMarkerEoc >> 8, kMarkerEoc & 0xFF});
}

}  // namespace

void DecodedTile::Release::operator()(opj_image* image) const {
    opj_image_destroy(image);
}

TilePlane DecodedTile::plane(size_t component) const {
    assert(component < m_image->numcomps);
    const opj_image_comp_t& found = m_image->comps[component];
    const int shift = static_cast<int>(found.factor);
    const auto reduced = [shift](OPJ_UINT32 value) {
        return static_cast<uint32_t>((uint64_t{value} + (uint64_t{1} << shift) - 1) >> shift);
    };
    return {found.data, reduced(found.x0), reduced(found.y0), found.w, found.h};
}

DecodedTile decode_jpeg2000_tile(const DataSource& source, const Jpeg2000Structure& structure,
                                 const TileRequest& request) {
    assert(request.tile != nullptr && !request.tile->parts.empty());
    PatchedStream bytes(source);
    bytes.set_deadline(request.deadline);
    bytes.add(size_segment(structure, request.grid));
    for (const BytesAt& marker : structure.kept_markers) {
        bytes.add(marker);
    }
    add_tile(*request.tile, source, bytes);

    constexpr size_t kMostBuffer = size_t{256} << 10;
    constexpr size_t kLeastBuffer = 1024;
    const size_t buffer = std::clamp(static_cast<size_t>(bytes.size()), kLeastBuffer, kMostBuffer);
    const LibraryStream stream(opj_stream_create(buffer, OPJ_TRUE));
    const LibraryCodec codec(opj_create_decompress(OPJ_CODEC_J2K));
    if (stream == nullptr || codec == nullptr) {
        throw std::bad_alloc();
    }
    opj_stream_set_user_data(stream.get(), &bytes, nullptr);
    opj_stream_set_user_data_length(stream.get(), bytes.size());
    opj_stream_set_read_function(stream.get(), read_stream);
    opj_stream_set_skip_function(stream.get(), skip_stream);
    opj_stream_set_seek_function(stream.get(), seek_stream);

    LibraryMessages messages;
    messages.listen(codec.get());
    const auto fail = [&]() {
        if (bytes.is_late()) {
            throw PictureError(Failure::kInternal, kJpeg2000TooSlow);
        }
        jpeg2000_damaged(messages.text("a tile cannot be decoded"));
    };
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    parameters.cp_reduce = static_cast<OPJ_UINT32>(request.reduction);
    opj_image_t* image = nullptr;
    if (opj_setup_decoder(codec.get(), &parameters) == OPJ_FALSE ||
        opj_decoder_set_strict_mode(codec.get(), request.strict ? OPJ_TRUE : OPJ_FALSE) == OPJ_FALSE ||
        opj_read_header(stream.get(), codec.get(), &image) == OPJ_FALSE || image == nullptr) {
        opj_image_destroy(image);
        fail();
    }
    assert(image != nullptr);
    DecodedTile decoded(image);
    // The whole area: the sizes that the header left in the image are those of an area that begins at the origin.
    if (opj_set_decode_area(codec.get(), image, 0, 0, 0, 0) == OPJ_FALSE ||
        opj_decode(codec.get(), stream.get(), image) == OPJ_FALSE) {
        fail();
    }
    for (size_t i = 0; i < structure.components.size(); i++) {
        if (i >= image->numcomps ||
            (image->comps[i].data == nullptr && image->comps[i].w > 0 && image->comps[i].h > 0)) {
            fail();
        }
    }
    return decoded;
}

}  // namespace zelmor::imagework

// Reading boxes and the main header; see jpeg2000_structure.h.
#include "runtime/native/formats/jpeg2000/jpeg2000_structure.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "runtime/native/formats/jpeg2000/jpeg2000_markers.h"
#include "runtime/native/formats/jpeg2000/latin_text.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::imagework {
namespace {

constexpr uint32_t box_type(const char (&letters)[5]) {
    return static_cast<uint32_t>(static_cast<uint8_t>(letters[0])) << 24 |
           static_cast<uint32_t>(static_cast<uint8_t>(letters[1])) << 16 |
           static_cast<uint32_t>(static_cast<uint8_t>(letters[2])) << 8 | static_cast<uint8_t>(letters[3]);
}

constexpr int kMostLevels = 32;
constexpr size_t kMostMarkers = 100'000;
constexpr size_t kMostBoxes = 100'000;
constexpr size_t kPaletteEntries = 1024;

struct Box {
    uint32_t type = 0;
    BytesAt content;
    bool to_end = false;  // its length is not told
};

// The boxes of a span of the file, one after the other.
class Boxes {
 public:
    Boxes(const ByteReader& in, uint64_t at, uint64_t end, bool whole_file = false)
        : m_in(in), m_at(at), m_end(end), m_whole_file(whole_file) {}

    std::optional<Box> next() {
        if (m_at >= m_end || (!m_whole_file && m_end - m_at < 8) || !m_in.has(m_at, 8)) {
            return std::nullopt;
        }
        if (++m_count > kMostBoxes) {
            jpeg2000_damaged("there are too many boxes");
        }
        uint64_t length = m_in.u32(m_at);
        uint64_t header = 8;
        Box box{m_in.u32(m_at + 4), {}, false};
        if (length == 1) {
            header = 16;
            length = m_in.u64(m_at + 8);
        }
        if (length == 0 && m_whole_file) {
            box.to_end = true;
            box.content = {m_at + header, m_end - m_at - header};
            m_at = m_end;
            return box;
        }
        if (length < header || length > m_end - m_at) {
            jpeg2000_damaged("a box does not end where it should");
        }
        box.content = {m_at + header, length - header};
        m_at += length;
        return box;
    }

 private:
    const ByteReader& m_in;
    uint64_t m_at;
    uint64_t m_end;
    bool m_whole_file;
    size_t m_count = 0;
};

void read_palette(const ByteReader& in, const BytesAt& place, Jpeg2000Structure& file) {
    Jpeg2000Palette palette;
    palette.entries = in.u16(place.at);
    const size_t columns = in.u8(place.at + 2);
    if (palette.entries == 0 || palette.entries > kPaletteEntries || columns == 0) {
        jpeg2000_damaged("its palette has no valid size");
    }
    uint64_t at = place.at + 3;
    for (size_t i = 0; i < columns; i++) {
        const uint8_t depth = in.u8(at++);
        palette.bits.push_back((depth & 0x7F) + 1);
        palette.is_signed.push_back((depth & 0x80) != 0);
        if (palette.bits.back() > 16) {
            jpeg2000_unsupported("this is a JPEG 2000 file with a palette of " + std::to_string(palette.bits.back()) +
                                 " bits a sample; up to 16 are read");
        }
    }
    for (size_t i = 0; i < palette.entries * columns; i++) {
        const bool wide = palette.bits[i % columns] > 8;
        palette.values.push_back(wide ? in.u16(at) : in.u8(at));
        at += wide ? 2 : 1;
    }
    if (!in.ok() || at > place.at + place.size) {
        jpeg2000_damaged("its palette is cut off");
    }
    file.palette = std::move(palette);
}

void read_color(const ByteReader& in, const BytesAt& place, Jpeg2000Structure& file) {
    if (file.color_space || file.profile.size > 0 || place.size < 3) {
        return;  // the first box counts
    }
    const int method = in.u8(place.at);
    if (method == 1 && place.size >= 7) {
        file.color_space = in.u32(place.at + 3);
    } else if ((method == 2 || method == 3) && place.size - 3 <= limits::kProfileBytes) {
        file.profile = {place.at + 3, place.size - 3};
    }
}

std::optional<Resolution> read_resolution(const ByteReader& in, uint64_t at) {
    const auto value = [&](uint64_t number, uint64_t exponent) {
        const double below = in.u16(number + 2);
        const double power = std::pow(10.0, static_cast<int8_t>(in.u8(exponent)));
        return below > 0 ? in.u16(number) / below * power * kMetersPerInch : 0.0;
    };
    const Resolution found{value(at + 4, at + 9), value(at, at + 8)};
    const bool usable = in.ok() && found.horizontal > 0 && found.vertical > 0 && std::isfinite(found.horizontal) &&
                        std::isfinite(found.vertical);
    return usable ? std::optional(found) : std::nullopt;
}

void read_resolutions(const ByteReader& in, const BytesAt& place, Jpeg2000Structure& file) {
    Boxes boxes(in, place.at, place.at + place.size);
    while (const auto box = boxes.next()) {
        if (box->content.size < 10) {
            continue;
        }
        // That of the capture stands before the one of a display.
        if (box->type == box_type("resc") || (box->type == box_type("resd") && !file.resolution)) {
            file.resolution = read_resolution(in, box->content.at);
        }
    }
}

void read_header_box(const ByteReader& in, const BytesAt& place, Jpeg2000Structure& file) {
    Boxes boxes(in, place.at, place.at + place.size);
    while (const auto box = boxes.next()) {
        const BytesAt& content = box->content;
        if (box->type == box_type("colr")) {
            read_color(in, content, file);
        } else if (box->type == box_type("pclr") && !file.palette) {
            read_palette(in, content, file);
        } else if (box->type == box_type("cmap") && file.channels.empty()) {
            for (uint64_t at = content.at; at + 4 <= content.at + content.size; at += 4) {
                Jpeg2000Channel channel{in.u16(at), {}};
                if (in.u8(at + 2) == 1) {
                    channel.column = in.u8(at + 3);
                }
                file.channels.push_back(channel);
            }
        } else if (box->type == box_type("cdef") && file.definitions.empty() && content.size >= 2) {
            const uint64_t count = std::min<uint64_t>(in.u16(content.at), (content.size - 2) / 6);
            for (uint64_t i = 0; i < count; i++) {
                const uint64_t at = content.at + 2 + 6 * i;
                file.definitions.push_back({in.u16(at), in.u16(at + 2), in.u16(at + 4)});
            }
        } else if (box->type == box_type("res ")) {
            read_resolutions(in, content, file);
        }
        if (file.channels.size() > limits::kSamplesOfPixel || file.definitions.size() > limits::kSamplesOfPixel) {
            jpeg2000_damaged("it has too many channels");
        }
    }
}

void read_uuid(const ByteReader& in, const BytesAt& place, Jpeg2000Structure& file) {
    const auto id = in.piece(place.at, kJpeg2000Uuid);
    if (place.size < kJpeg2000Uuid || id.size() != kJpeg2000Uuid) {
        return;
    }
    const BytesAt content{place.at + kJpeg2000Uuid, place.size - kJpeg2000Uuid};
    if (std::equal(id.begin(), id.end(), kXmpUuid.begin()) && file.xmp.size == 0) {
        file.xmp = content;
    } else if (std::equal(id.begin(), id.end(), kExifUuid.begin()) && file.exif.size == 0) {
        file.exif = content;
    }
}

void read_boxes(const ByteReader& in, Jpeg2000Structure& file) {
    Boxes boxes(in, 0, limits::kOffset, true);
    bool header = false;
    bool found = false;
    // Metadata may follow the codestream. Damage there takes nothing away from the picture.
    try {
        while (const auto box = boxes.next()) {
            if (box->type == box_type("jp2h") && !header) {
                header = true;
                read_header_box(in, box->content, file);
            } else if (box->type == box_type("jp2c") && !found) {
                found = true;
                file.codestream = box->content;
            } else if (box->type == box_type("uuid")) {
                read_uuid(in, box->content, file);
            }
        }
    } catch (const PictureError&) {
        if (!found) {
            throw;
        }
    }
    if (!header || !found) {
        jpeg2000_damaged(header ? "it has no codestream" : "it has no header box");
    }
}

void read_size(const ByteReader& in, uint64_t at, Jpeg2000Structure& file) {
    Jpeg2000Grid& grid = file.grid;
    const uint64_t length = in.u16(at);
    const uint64_t count = in.u16(at + 36);
    grid = {in.u32(at + 12), in.u32(at + 16), in.u32(at + 4),  in.u32(at + 8),
            in.u32(at + 28), in.u32(at + 32), in.u32(at + 20), in.u32(at + 24)};
    if (!in.ok() || length != 38 + 3 * count || count == 0) {
        jpeg2000_damaged("its size segment makes no sense");
    }
    if (count > limits::kSamplesOfPixel) {
        jpeg2000_unsupported("this is a JPEG 2000 file with " + std::to_string(count) + " components; up to " +
                             std::to_string(limits::kSamplesOfPixel) + " are read");
    }
    constexpr uint32_t kMostCoordinate = 0x7FFFFFFF;
    const bool sound = grid.right <= kMostCoordinate && grid.bottom <= kMostCoordinate && grid.left < grid.right &&
                       grid.top < grid.bottom && grid.tile_width > 0 && grid.tile_height > 0 &&
                       grid.tile_left <= grid.left && grid.tile_top <= grid.top &&
                       uint64_t{grid.tile_left} + grid.tile_width > grid.left &&
                       uint64_t{grid.tile_top} + grid.tile_height > grid.top;
    constexpr uint64_t kMostTiles = 65535;
    if (!sound || uint64_t{grid.columns()} * grid.rows() > kMostTiles) {
        jpeg2000_damaged("its size or its tiles make no sense");
    }
    for (uint64_t i = 0; i < count; i++) {
        const uint64_t entry = at + 38 + 3 * i;
        const uint8_t depth = in.u8(entry);
        Jpeg2000Component component{(depth & 0x7F) + 1, (depth & 0x80) != 0, in.u8(entry + 1), in.u8(entry + 2)};
        if (component.bits > 38 || component.dx == 0 || component.dy == 0) {
            jpeg2000_damaged("a component makes no sense");
        }
        file.components.push_back(component);
    }
}

// The fields that COD and COC share.
Jpeg2000Coding read_coding(const ByteReader& in, uint64_t at, uint64_t end, bool precincts) {
    Jpeg2000Coding coding;
    coding.levels = in.u8(at);
    coding.block_width = (in.u8(at + 1) & 15) + 2;
    coding.block_height = (in.u8(at + 2) & 15) + 2;
    coding.reversible = in.u8(at + 4) == 1;
    const bool sound = in.ok() && coding.levels <= kMostLevels && coding.block_width <= 10 &&
                       coding.block_height <= 10 && coding.block_width + coding.block_height <= 12;
    if (!sound) {
        jpeg2000_damaged("its coding makes no sense");
    }
    if (precincts) {
        for (int i = 0; i <= coding.levels; i++) {
            coding.precincts.push_back(in.u8(at + 5 + static_cast<uint64_t>(i)));
        }
        at += coding.precincts.size();
    }
    if (!in.ok() || at + 5 > end) {
        jpeg2000_damaged("its coding is cut off");
    }
    return coding;
}

// One marker segment of the main header. Which of them a single tile needs besides the size is asked here.
bool read_segment(const ByteReader& in, uint16_t marker, const BytesAt& segment, Jpeg2000Structure& file) {
    switch (marker) {
        case kMarkerCod:
            read_jpeg2000_cod(in, segment.at, file.coding);
            return true;
        case kMarkerCoc:
            read_jpeg2000_coc(in, segment.at, file.components.size(), file.coding);
            return true;
        case kMarkerPpm:
            file.packed_headers = true;
            return false;
        case kMarkerTlm:
        case kMarkerPlm:
        case kMarkerCrg:
            return false;
        case kMarkerCom:
            if (segment.size >= 4 && in.u16(segment.at + 2) == 1) {
                const auto text = in.piece(segment.at + 4, segment.size - 4);
                file.comments.push_back(from_latin9(text));
            }
            return false;
        default:
            return true;
    }
}

void read_main_header(const ByteReader& in, Jpeg2000Structure& file) {
    uint64_t at = file.codestream.at;
    if (in.u16(at) != kMarkerSoc || in.u16(at + 2) != kMarkerSiz) {
        jpeg2000_damaged("its codestream has no header");
    }
    at += 2;
    bool coded = false;
    uint64_t text = 0;
    for (size_t count = 0;; count++) {
        const uint16_t marker = in.u16(at);
        if (!in.ok() || marker < 0xFF00 || count > kMostMarkers) {
            jpeg2000_damaged("its main header is cut off");
        }
        if (marker == kMarkerSot) {
            break;
        }
        const BytesAt segment{at + 2, in.u16(at + 2)};
        text += segment.size;
        if (segment.size < 2 || !in.has(segment.at, segment.size) || text > limits::kTextBytes) {
            jpeg2000_damaged("its main header is cut off");
        }
        if (marker == kMarkerSiz) {
            if (count > 0) {
                jpeg2000_damaged("it has two sizes");
            }
            read_size(in, segment.at, file);
        } else if (read_segment(in, marker, segment, file)) {
            file.kept_markers.push_back({at, segment.size + 2});
        }
        coded = coded || marker == kMarkerCod;
        at = segment.at + segment.size;
    }
    if (!coded) {
        jpeg2000_damaged("its main header does not tell the coding");
    }
    file.tiles_at = at;
}

}  // namespace

void jpeg2000_damaged(const std::string& reason) {
    throw PictureError(Failure::kDamaged, "the JPEG 2000 file is damaged: " + reason);
}

void jpeg2000_unsupported(const std::string& reason) {
    throw PictureError(Failure::kUnsupported, reason);
}

void read_jpeg2000_cod(const ByteReader& in, uint64_t at, Jpeg2000Codings& codings) {
    const uint64_t end = at + in.u16(at);
    codings.layers = in.u16(at + 4);
    if (codings.layers == 0) {
        jpeg2000_damaged("it has no quality layer");
    }
    codings.usual = read_coding(in, at + 7, end, (in.u8(at + 2) & 1) != 0);
}

void read_jpeg2000_coc(const ByteReader& in, uint64_t at, size_t components, Jpeg2000Codings& codings) {
    const uint64_t end = at + in.u16(at);
    const uint16_t component = in.u8(at + 2);  // one byte, as there are fewer than 257 components
    constexpr size_t kMostChanges = 1024;      // there is one for a component
    if (component >= components || codings.own.size() >= kMostChanges) {
        jpeg2000_damaged("a coding belongs to no component");
    }
    codings.own.emplace_back(component, read_coding(in, at + 4, end, (in.u8(at + 3) & 1) != 0));
}

bool is_jpeg2000(const ByteReader& file) {
    using namespace std::string_view_literals;
    return file.starts_with(0, "\0\0\0\x0CjP  \r\n\x87\n"sv) || file.starts_with(0, "\xFF\x4F\xFF\x51"sv);
}

Jpeg2000Structure jpeg2000_structure(const ByteReader& file) {
    const ByteReader in = file.in_order(true);
    Jpeg2000Structure found;
    if (!is_jpeg2000(in)) {
        jpeg2000_damaged("it has no signature");
    }
    found.codestream = {0, limits::kOffset};
    if (in.u8(0) == 0) {
        found.codec = Jpeg2000Codec::kJp2;
        read_boxes(in, found);
    }
    read_main_header(in, found);
    return found;
}

}  // namespace zelmor::imagework

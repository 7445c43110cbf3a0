// XMP in DICOM files: in a private block of elements, since the format has no place for it. The creator of the block is
// "XMP PACKET", and its element 01 is the packet.
#include <algorithm>
#include <optional>
#include <vector>

#include "runtime/native/behaviors/metadata/containers/file_parts.h"
#include "runtime/native/behaviors/metadata/containers/metadata_container.h"
#include "runtime/native/formats/dicom/dicom_encoding.h"

namespace zelmor::embed {

namespace {

using imagework::ByteReader;
using imagework::DicomElement;
using imagework::DicomHeader;
using imagework::DicomOrder;
using imagework::DicomTag;

constexpr std::string_view kCreator = "XMP PACKET";
constexpr DicomTag kGroup = 0x00090000;
constexpr DicomTag kFirstBlock = 0x10;
constexpr DicomTag kLastBlock = 0xFF;

bool in_group(DicomTag tag) {
    return (tag & 0xFFFF0000) == kGroup;
}
bool is_creator(DicomTag tag) {
    return in_group(tag) && (tag & 0xFFFF) >= kFirstBlock && (tag & 0xFFFF) <= kLastBlock;
}
DicomTag data_tag(DicomTag block) {
    return kGroup | block << 8 | 1;
}

// The elements outside of sequences up to the end of the group, each with the sequences in it.
struct Piece {
    DicomElement element;
    uint64_t end;
};
std::vector<Piece> pieces_of(const ByteReader& in, const DicomHeader& header) {
    std::vector<Piece> pieces;
    imagework::DicomWalk walk(in, header.data_set_at, header.order);
    while (const auto element = walk.next()) {
        if (element->depth > 0) {
            continue;
        }
        if (!pieces.empty()) {
            pieces.back().end = element->header_at;
        }
        if (element->tag > (kGroup | 0xFFFF)) {
            return pieces;
        }
        pieces.push_back({*element, UINT64_MAX});
    }
    if (!pieces.empty()) {
        pieces.pop_back();  // whose end is not known
    }
    return pieces;
}

std::optional<DicomTag> block_of(const ByteReader& in, const std::vector<Piece>& pieces) {
    for (const Piece& piece : pieces) {
        if (is_creator(piece.element.tag) && imagework::dicom_text(in, piece.element) == kCreator) {
            return piece.element.tag & 0xFF;
        }
    }
    return std::nullopt;
}

FileMetadata find_in_dicom(const imagework::SharedSource& source) {
    FileMetadata found;
    const auto file = imagework::open_dicom_file(source, imagework::limits::kTileBytes);
    if (!file) {
        return found;
    }
    FileParts parts(file->source, FileParts::kHeaders);
    const ByteReader in = parts.reader(false);
    const auto pieces = pieces_of(in, file->header);
    const auto block = block_of(in, pieces);
    for (const Piece& piece : pieces) {
        if (block && piece.element.tag == data_tag(*block) && piece.element.length <= parts.size()) {
            found.xmp = parts.take(piece.element.at, piece.element.length);
            while (!found.xmp.empty() && found.xmp.back() == std::byte{0}) {
                found.xmp.pop_back();  // makes the number of bytes even
            }
        }
    }
    return found;
}

void put_element(Bytes& out, DicomTag tag, std::string_view type, Bytes value, std::byte filling, DicomOrder order) {
    if (value.size() % 2 != 0) {
        value.push_back(filling);
    }
    put_number(out, tag >> 16, 2, order.big_endian);
    put_number(out, tag & 0xFFFF, 2, order.big_endian);
    const bool is_long = type == "OB";
    if (order.explicit_types) {
        for (const char c : type) {
            out.push_back(static_cast<std::byte>(c));
        }
        if (is_long) {
            put_number(out, 0, 2, order.big_endian);
        }
    }
    put_number(out, value.size(), order.explicit_types && !is_long ? 2 : 4, order.big_endian);
    out.insert(out.end(), value.begin(), value.end());
}

Bytes bytes_of(std::string_view text) {
    const auto* data = reinterpret_cast<const std::byte*>(text.data());
    return {data, data + text.size()};
}

// Of a file that an encoder has written, or copied as it was.
Bytes write_to_dicom(std::span<const std::byte> file, const MetadataToWrite& metadata) {
    const ByteReader in({reinterpret_cast<const uint8_t*>(file.data()), file.size()});
    auto header = imagework::dicom_file_header(in);
    if (!header || header->syntax == nullptr || header->syntax->deflated || header->data_set_at > file.size()) {
        return {file.begin(), file.end()};
    }
    const auto pieces = pieces_of(in, *header);
    const auto old = block_of(in, pieces);
    DicomTag block = old.value_or(kFirstBlock);
    const auto is_taken = [&](DicomTag candidate) {
        return std::any_of(pieces.begin(), pieces.end(), [&](const Piece& piece) {
            const DicomTag tag = piece.element.tag;
            return tag == (kGroup | candidate) || (in_group(tag) && (tag >> 8 & 0xFF) == candidate);
        });
    };
    while (!old && block < kLastBlock && is_taken(block)) {
        block++;
    }
    const auto is_old = [&](DicomTag tag) {
        return old && (tag == (kGroup | *old) || (in_group(tag) && (tag >> 8 & 0xFF) == *old));
    };
    Bytes out(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(header->data_set_at));
    bool has_creator = metadata.xmp.empty();
    bool has_packet = metadata.xmp.empty();
    // Elements stand in the order of their tags.
    const auto put_before = [&](DicomTag next) {
        if (!has_creator && next > (kGroup | block)) {
            put_element(out, kGroup | block, "LO", bytes_of(kCreator), std::byte{' '}, header->order);
            has_creator = true;
        }
        if (!has_packet && next > data_tag(block)) {
            put_element(out, data_tag(block), "OB", metadata.xmp, std::byte{0}, header->order);
            has_packet = true;
        }
    };
    uint64_t at = header->data_set_at;
    for (const Piece& piece : pieces) {
        at = std::min<uint64_t>(piece.end, file.size());  // the last element of a damaged file claims more
        if (is_old(piece.element.tag) || at <= piece.element.header_at) {
            continue;
        }
        put_before(piece.element.tag);
        const auto kept = file.subspan(static_cast<size_t>(piece.element.header_at),
                                       static_cast<size_t>(at - piece.element.header_at));
        out.insert(out.end(), kept.begin(), kept.end());
    }
    put_before(UINT32_MAX);
    out.insert(out.end(), file.begin() + static_cast<std::ptrdiff_t>(at), file.end());
    return out;
}

}  // namespace

extern const MetadataContainer kDicomContainer;
const MetadataContainer kDicomContainer{
    .format = imagework::Format::kDicom,
    .find = &find_in_dicom,
    .write = &write_to_dicom,
};

}  // namespace zelmor::embed

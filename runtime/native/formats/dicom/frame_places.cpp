// Compressed pixels: a table of offsets, and pieces. A frame has one piece or several; see frame_places.h.
#include "runtime/native/formats/dicom/frame_places.h"

#include <algorithm>
#include <cassert>
#include <optional>
#include <utility>

#include "runtime/native/formats/dicom/stored_samples.h"
#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {
namespace {

constexpr uint32_t kItem = 0xFFFEE000;
constexpr uint64_t kItemHeader = 8;

struct Fragments {
    DicomPiece table = {};
    std::vector<DicomPiece> pieces = {};
};

Fragments find_fragments(const ByteReader& in, uint64_t at, uint64_t end) {
    Fragments found;
    bool first = true;
    while (at < end) {
        const uint32_t tag = uint32_t{in.u16(at)} << 16 | in.u16(at + 2);
        const uint32_t length = in.u32(at + 4);
        if (!in.ok() || tag != kItem || length == kDicomUndefined) {
            break;
        }
        const DicomPiece piece{at + kItemHeader, std::min<uint64_t>(length, end - std::min(end, at + kItemHeader))};
        if (first) {
            found.table = piece;
            first = false;
        } else {
            if (found.pieces.size() == 2 * limits::kFrames) {
                dicom_damaged("the pixels have more than " + std::to_string(2 * limits::kFrames) + " pieces");
            }
            found.pieces.push_back(piece);
        }
        at = piece.at + length;
    }
    return found;
}

// The offsets of the frames, from the first piece on. Nothing where the file has no table of all frames.
std::optional<std::vector<uint64_t>> offsets_of(const ByteReader& in, const DicomHeader& header,
                                                const DicomPiece& table, size_t frames) {
    std::vector<uint64_t> offsets;
    if (header.offsets.length / 8 >= frames && header.offsets.length != kDicomUndefined) {
        for (size_t i = 0; i < frames; i++) {
            offsets.push_back(in.u64(header.offsets.at + 8 * i));
        }
    } else if (table.size / 4 >= frames) {
        for (size_t i = 0; i < frames; i++) {
            offsets.push_back(in.u32(table.at + 4 * i));
        }
    }
    const bool good = in.ok() && !offsets.empty() && offsets[0] == 0 && std::is_sorted(offsets.begin(), offsets.end());
    return good ? std::optional(std::move(offsets)) : std::nullopt;
}

// Whether a JPEG or a JPEG 2000 codestream begins there.
bool begins_codestream(const ByteReader& in, const DicomPiece& piece) {
    const uint16_t mark = in.in_order(true).u16(piece.at);
    return mark == 0xFFD8 || mark == 0xFF4F;
}

}  // namespace

std::vector<std::vector<DicomPiece>> dicom_frame_pieces(const DicomFile& file) {
    const DicomHeader& header = file.header;
    assert(header.pixels);
    constexpr size_t kWindow = 512;
    SourceBytes bytes(file.source, kWindow);
    const ByteReader in(bytes);
    const auto claimed = static_cast<size_t>(std::min<int64_t>(header.frames, limits::kFrames));
    const Fragments found = find_fragments(in, header.pixels->at, file.source->size());
    const auto& pieces = found.pieces;
    std::vector<std::vector<DicomPiece>> frames;
    if (pieces.empty()) {
        return frames;
    }
    if (claimed == 1) {
        frames.push_back(pieces);
        return frames;
    }
    if (pieces.size() <= claimed) {
        for (const DicomPiece& piece : pieces) {
            frames.push_back({piece});
        }
        return frames;
    }
    if (const auto offsets = offsets_of(in.in_order(false), header, found.table, claimed)) {
        frames.resize(claimed);
        const uint64_t begin = pieces[0].at - kItemHeader;
        for (const DicomPiece& piece : pieces) {
            const uint64_t offset = piece.at - kItemHeader - begin;
            const auto after = std::upper_bound(offsets->begin(), offsets->end(), offset);
            frames[static_cast<size_t>(after - offsets->begin()) - 1].push_back(piece);
        }
    } else {
        for (const DicomPiece& piece : pieces) {
            if (frames.empty() || begins_codestream(in, piece)) {
                frames.emplace_back();
            }
            frames.back().push_back(piece);
        }
    }
    const bool each_has = std::none_of(frames.begin(), frames.end(), [](const auto& frame) { return frame.empty(); });
    // One frame of all pieces is one that no beginning told from the next.
    if (frames.size() > claimed || frames.size() == 1 || !each_has) {
        dicom_damaged("the file does not tell which of its " + std::to_string(pieces.size()) +
                      " pieces of pixels belong to which of its " + std::to_string(claimed) + " frames");
    }
    return frames;
}

namespace {

class JoinedPieces final : public DataSource {
 public:
    JoinedPieces(SharedSource source, const std::vector<DicomPiece>& pieces, std::vector<uint8_t> before)
        : m_source(std::move(source)), m_before(std::move(before)), m_size(m_before.size()) {
        for (const DicomPiece& piece : pieces) {
            m_pieces.push_back({m_size, piece});
            m_size += piece.size;
        }
    }

    uint64_t size() const override { return m_size; }

    size_t read_at(uint64_t offset, std::span<uint8_t> out) const override {
        size_t done = 0;
        while (done < out.size() && offset + done < m_size) {
            const uint64_t at = offset + done;
            const size_t room = out.size() - done;
            if (at < m_before.size()) {
                const size_t count = std::min(room, m_before.size() - static_cast<size_t>(at));
                std::copy_n(m_before.begin() + static_cast<std::ptrdiff_t>(at), count,
                            out.begin() + static_cast<std::ptrdiff_t>(done));
                done += count;
                continue;
            }
            const auto after = std::upper_bound(m_pieces.begin(), m_pieces.end(), at,
                                                [](uint64_t place, const Part& part) { return place < part.begin; });
            const Part& part = *(after - 1);
            const uint64_t skip = at - part.begin;
            const auto count = static_cast<size_t>(std::min<uint64_t>(room, part.piece.size - skip));
            if (m_source->read_at(part.piece.at + skip, out.subspan(done, count)) != count) {
                break;
            }
            done += count;
        }
        return done;
    }

    std::span<const uint8_t> in_memory() const override {
        const auto all = m_source->in_memory();
        if (!m_before.empty() || m_pieces.size() != 1 || all.empty()) {
            return {};
        }
        return all.subspan(static_cast<size_t>(m_pieces[0].piece.at), static_cast<size_t>(m_size));
    }

 private:
    struct Part {
        uint64_t begin;
        DicomPiece piece;
    };
    SharedSource m_source;
    std::vector<uint8_t> m_before;
    std::vector<Part> m_pieces;
    uint64_t m_size;
};

}  // namespace

SharedSource joined_pieces(const SharedSource& source, std::vector<DicomPiece> pieces, std::vector<uint8_t> before) {
    std::erase_if(pieces, [](const DicomPiece& piece) { return piece.size == 0; });
    for ([[maybe_unused]] const DicomPiece& piece : pieces) {
        assert(piece.at <= source->size() && piece.size <= source->size() - piece.at);
    }
    return std::make_shared<const JoinedPieces>(source, pieces, std::move(before));
}

}  // namespace zelmor::imagework

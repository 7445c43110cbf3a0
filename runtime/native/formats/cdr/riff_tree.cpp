// Reading chunks; see riff_tree.h.
#include "runtime/native/formats/cdr/riff_tree.h"

#include <algorithm>

#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/picture_error.h"
#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/probe/inflate.h"

namespace zelmor::imagework {
namespace {

constexpr uint64_t kChunkHeader = 8;

std::string name_at(const ByteReader& in, uint64_t at) {
    const auto bytes = in.piece(at, 4);
    return {bytes.begin(), bytes.end()};
}

class TreeReader {
 public:
    TreeReader(RiffTree& tree, bool big_endian) : m_tree(tree), m_big_endian(big_endian) {}

    // `sizes` is the table of a compressed list; empty where chunks state their size.
    std::vector<RiffChunk> chunks(std::span<const uint8_t> data, const std::vector<uint32_t>& sizes, size_t depth) {
        std::vector<RiffChunk> result;
        const ByteReader in(data, m_big_endian);
        uint64_t at = 0;
        while (in.has(at, kChunkHeader) && depth < limits::kDrawingDepth) {
            if (++m_count > limits::kDrawingNodes) {
                throw PictureError(Failure::kTooLarge, "the file has too many chunks");
            }
            RiffChunk chunk;
            chunk.id = name_at(in, at);
            uint64_t size = in.u32(at + 4);
            if (!sizes.empty()) {
                size = size < sizes.size() ? sizes[static_cast<size_t>(size)] : 0;
            }
            chunk.data = in.piece(at + kChunkHeader, size);
            if (chunk.id == "LIST" || chunk.id == "RIFF" || chunk.id == "RIFX") {
                list(chunk, sizes, depth);
            }
            at += kChunkHeader + size + (size & 1);
            result.push_back(std::move(chunk));
        }
        return result;
    }

 private:
    void list(RiffChunk& chunk, const std::vector<uint32_t>& sizes, size_t depth) {
        const ByteReader in(chunk.data, m_big_endian);
        if (!in.has(0, 4)) {
            return;
        }
        chunk.kind = name_at(in, 0);
        chunk.data = chunk.data.subspan(4);
        if (chunk.kind.starts_with("CDR") || chunk.kind.starts_with("cdr")) {
            m_style_table = chunk.kind[3] >= '7';
        }
        if (chunk.kind == "stlt" && m_style_table) {
            return;  // styles have a form of their own
        }
        if (chunk.kind != "cmpr") {
            chunk.children = chunks(chunk.data, sizes, depth + 1);
            return;
        }
        // Two packed parts: the chunks, and the table of their sizes.
        const ByteReader packed(chunk.data, m_big_endian);
        const uint64_t packed_size = packed.u32(0);
        const uint64_t table_size = packed.u32(8);
        constexpr uint64_t kHead = 16;
        constexpr uint64_t kMark = 8;  // "CPng" and two numbers
        const std::vector<uint8_t>* content = unpacked(packed, kHead + kMark, packed_size);
        const std::vector<uint8_t>* table = unpacked(packed, kHead + 2 * kMark + packed_size, table_size);
        if (content == nullptr || table == nullptr) {
            return;  // a list that cannot be read has no chunks
        }
        const ByteReader numbers(*table, m_big_endian);
        std::vector<uint32_t> own;
        for (uint64_t at = 0; numbers.has(at, 4); at += 4) {
            own.push_back(numbers.u32(at));
        }
        if (!own.empty()) {
            chunk.children = chunks(*content, own, depth + 1);
        }
    }

    const std::vector<uint8_t>* unpacked(const ByteReader& in, uint64_t at, uint64_t size) {
        constexpr uint64_t kWrapper = 2;  // of zlib before the packed data
        if (size <= kWrapper || m_unpacked >= limits::kInflatedBytes) {
            return nullptr;
        }
        Unpacked result = inflated(in, at + kWrapper, size - kWrapper, Wrapping::kNone,
                                   static_cast<size_t>(limits::kInflatedBytes - m_unpacked));
        if (!result.complete) {
            return nullptr;
        }
        m_unpacked += result.bytes.size();
        m_tree.unpacked.push_back(std::make_unique<std::vector<uint8_t>>(std::move(result.bytes)));
        return m_tree.unpacked.back().get();
    }

    RiffTree& m_tree;
    bool m_big_endian;
    bool m_style_table = true;
    uint64_t m_count = 0;
    uint64_t m_unpacked = 0;
};

}  // namespace

const RiffChunk* RiffChunk::child(std::string_view of_id) const {
    const auto found =
        std::find_if(children.begin(), children.end(), [&](const RiffChunk& each) { return each.id == of_id; });
    return found != children.end() ? &*found : nullptr;
}

RiffTree riff_tree(std::span<const uint8_t> bytes) {
    RiffTree tree;
    const ByteReader in(bytes);
    tree.big_endian = in.starts_with(0, "RIFX");
    if (!tree.big_endian && !in.starts_with(0, "RIFF")) {
        throw PictureError(Failure::kDamaged, "the data are no RIFF file");
    }
    std::vector<RiffChunk> all = TreeReader(tree, tree.big_endian).chunks(bytes, {}, 0);
    if (all.empty()) {
        throw PictureError(Failure::kDamaged, "the RIFF file ends early");
    }
    tree.root = std::move(all.front());
    return tree;
}

}  // namespace zelmor::imagework

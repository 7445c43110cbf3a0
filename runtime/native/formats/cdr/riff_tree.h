// The chunks of a RIFF file as a tree, which CDR and CMX drawings consist of.
//
// Lists that are compressed are unpacked; the sizes of the chunks in them are numbers of a table behind them. Sizes are
// claims: a chunk ends where the list around it ends.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_RIFF_TREE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_RIFF_TREE_H

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace zelmor::imagework {

struct RiffChunk {
    std::string id;    // "vrsn"; "LIST" and "RIFF" for lists
    std::string kind;  // of a list: "page"
    std::span<const uint8_t> data;
    std::vector<RiffChunk> children;
    bool is_list() const { return !kind.empty(); }
    // The first child, or null.
    const RiffChunk* child(std::string_view of_id) const;
};

struct RiffTree {
    RiffChunk root;
    bool big_endian = false;
    // Behind chunks that were packed.
    std::vector<std::unique_ptr<std::vector<uint8_t>>> unpacked;
};

// PictureError: kDamaged where the bytes are no RIFF file, kTooLarge where it has too many chunks. The bytes outlive
// the tree.
RiffTree riff_tree(std::span<const uint8_t> bytes);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_CDR_RIFF_TREE_H

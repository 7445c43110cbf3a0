// The elements of a flat SVG document (flat_svg.h) as a tree.
#ifndef ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_FLAT_TREE_H
#define ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_FLAT_TREE_H

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "runtime/native/drawwork/geometry.h"

namespace zelmor::imagework {

struct FlatNode {
    std::string name;
    std::vector<std::pair<std::string, std::string>> attributes;  // those of `style` among them
    std::vector<std::unique_ptr<FlatNode>> children;
    size_t begin = 0, end = 0;  // of its text in the document

    // The value of an attribute; empty where there is none.
    std::string_view get(std::string_view attribute) const;
    double number(std::string_view attribute, double otherwise = 0) const;
};

struct FlatTree {
    std::unique_ptr<FlatNode> root;
    std::map<std::string, const FlatNode*, std::less<>> by_id;
    // What "#id" or "url(#id)" refers to; null where there is none.
    const FlatNode* target(std::string_view reference) const;
};

// PictureError(kInternal) for a text that is no XML.
FlatTree flat_tree(std::string_view document);

// "matrix(a,b,c,d,e,f)"; the identity for an empty text.
drawwork::Affine flat_matrix(std::string_view text);
// Path data of absolute M, L, C and Z.
drawwork::Outline flat_outline(std::string_view text);
// Numbers that are separated by commas or white space.
std::vector<double> flat_numbers(std::string_view text);

}  // namespace zelmor::imagework

#endif  // ZELMOR_RUNTIME_NATIVE_FORMATS_SVG_FLAT_TREE_H

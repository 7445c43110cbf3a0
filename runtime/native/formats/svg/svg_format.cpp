// SVG: an XML document whose root is named so. SVGZ is that packed by gzip.
#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>

#include "runtime/native/formats/format_room.h"
#include "runtime/native/formats/svg/svg_root.h"
#include "runtime/native/imagework/probe/packed_head.h"
#include "runtime/native/imagework/probe/text_head.h"

namespace zelmor::imagework {
namespace {

constexpr size_t kMostSvg = 16384;

bool is_svg(const ByteReader& in) {
    const std::string text = text_head(in, kMostSvg, "<");
    const std::string_view root = xml_root(text);
    return root == "svg" || root.ends_with(":svg");
}

bool begins_svg(const ByteReader& in) {
    return is_svg(in) || is_svg(ByteReader(unpacked_head(in, kMostSvg)));
}

// A side that the root does not tell stays 0.
void probe_svg(const ByteReader& in, FileFacts& facts) {
    const bool plain = is_svg(in);
    facts.variant = plain ? Variant::kUsual : Variant::kSvgz;
    constexpr size_t kMostOfRoot = 1 << 18;  // a document type may come before it
    const std::string text = plain ? svg_text(in.piece(0, kMostOfRoot)) : svg_text(unpacked_head(in, kMostOfRoot));
    const auto root = svg_root(text);
    if (!root) {
        return;
    }
    const SvgSize size = svg_size(*root);
    constexpr double kMostSvg = 1e9;
    facts.width = static_cast<int64_t>(std::ceil(std::min(size.width, kMostSvg)));
    facts.height = static_cast<int64_t>(std::ceil(std::min(size.height, kMostSvg)));
    facts.bits_per_pixel = 32;
    facts.has_alpha = true;
    facts.readable = true;
}

constexpr const char* kSvgExtensions[] = {"svg", "svgz"};

}  // namespace

extern const FormatRoom kSvgRoom;
const FormatRoom kSvgRoom{
    .format = Format::kSvg,
    .name = "SVG",
    .extensions = kSvgExtensions,
    .begins = &begins_svg,
    .probe = &probe_svg,
};

}  // namespace zelmor::imagework

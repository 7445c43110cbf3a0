// SVG: an XML document whose root is named so. SVGZ is that packed by gzip.
#include <string>
#include <string_view>

#include "runtime/native/formats/format_room.h"
#include "runtime/native/imagework/probe/packed_head.h"
#include "runtime/native/imagework/probe/text_head.h"

namespace zelmor::imagework {
namespace {

constexpr size_t kMost = 16384;

bool is_svg(const ByteReader& in) {
    const std::string text = text_head(in, kMost, "<");
    const std::string_view root = xml_root(text);
    return root == "svg" || root.ends_with(":svg");
}

bool begins_svg(const ByteReader& in) {
    return is_svg(in) || is_svg(ByteReader(unpacked_head(in, kMost)));
}

Variant variant_of(const ByteReader& in) {
    return is_svg(in) ? Variant::kUsual : Variant::kSvgz;
}

constexpr const char* kExtensions[] = {"svg", "svgz"};

}  // namespace

extern const FormatRoom kSvgRoom;
const FormatRoom kSvgRoom{
    .format = Format::kSvg,
    .name = "SVG",
    .extensions = kExtensions,
    .begins = &begins_svg,
    .variant = &variant_of,
};

}  // namespace zelmor::imagework

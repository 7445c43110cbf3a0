// OpenDocument drawings: a zip archive, or as FODG one XML document.
#include <string>
#include <string_view>

#include "runtime/native/formats/format_room.h"
#include "runtime/native/imagework/probe/packed_head.h"
#include "runtime/native/imagework/probe/text_head.h"

namespace zelmor::imagework {
namespace {

constexpr std::string_view kType = "application/vnd.oasis.opendocument.graphics";
constexpr size_t kMostOpenDocument = 4096;

bool is_flat(const ByteReader& in) {
    const std::string text = text_head(in, kMostOpenDocument, "<");
    const std::string quoted = '"' + std::string(kType) + '"';
    return xml_root(text) == "office:document" && text.find(quoted) != std::string::npos;
}

bool begins_odg(const ByteReader& in) {
    return is_zip_of_type(in, kType) || is_flat(in);
}

Variant opendocument_variant_of(const ByteReader& in) {
    return is_zip_of_type(in, kType) ? Variant::kUsual : Variant::kFOdg;
}

// The size of the pages stands in a part of the archive.
void probe_odg(const ByteReader& in, FileFacts& facts) {
    facts.readable = true;
    facts.bits_per_pixel = 32;
    facts.has_alpha = true;
    facts.variant = opendocument_variant_of(in);
}

constexpr const char* kOdgExtensions[] = {"odg", "fodg"};

}  // namespace

extern const FormatRoom kOdgRoom;
const FormatRoom kOdgRoom{
    .format = Format::kOdg,
    .name = "ODG",
    .extensions = kOdgExtensions,
    .begins = &begins_odg,
    .probe = &probe_odg,
};

}  // namespace zelmor::imagework

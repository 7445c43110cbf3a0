// TGA: no mark; the fields of the header have to go together.
#include "runtime/native/formats/format_room.h"
#include "runtime/native/formats/tga/tga_encoding.h"
#include "runtime/native/formats/tga/tga_header.h"

namespace zelmor::imagework {
namespace {

bool begins_tga(const ByteReader& file) {
    if (!file.has(0, TgaHeader::kSize)) {
        return false;
    }
    const TgaHeader header = read_tga_header(file);
    // A header alone is no file; so other data that look like one are told apart where there are few of them.
    return is_plausible_tga(header) && file.has(header.pixels_at(), 1);
}

void probe_tga(const ByteReader& file, FileFacts& facts) {
    const TgaHeader header = read_tga_header(file);
    facts.obstacle = tga_refusal(header);
    facts.readable = facts.obstacle.empty() && tga_damage(header).empty();
    facts.width = header.width;
    facts.height = header.height;
    facts.bits_per_pixel = header.depth;
    facts.has_alpha = tga_alpha(header, std::nullopt) != TgaAlpha::kNone;
    TgaEncoding encoding;
    encoding.bits_per_pixel = header.depth;
    facts.encoding = encoding;
}

// The areas behind the pixels are found from the end of the file, so that all that follows belongs to it.
class TgaEnd final : public PictureEnd {
 public:
    explicit TgaEnd(const FileFacts& facts) : PictureEnd(facts) {}
    uint64_t needed(std::span<const uint8_t>) override { return kUnknown; }
};

std::unique_ptr<PictureEnd> tga_end(const FileFacts& facts) {
    return std::make_unique<TgaEnd>(facts);
}

constexpr const char* kTgaExtensions[] = {"tga"};

}  // namespace

extern const FormatRoom kTgaRoom;
const FormatRoom kTgaRoom{
    .format = Format::kTga,
    .name = "TGA",
    .extensions = kTgaExtensions,
    .begins = &begins_tga,
    .probe = &probe_tga,
    .end = &tga_end,
    .default_settings = &default_settings_of<TgaEncoding>,
};

}  // namespace zelmor::imagework

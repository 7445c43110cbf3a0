// DNG: a TIFF file whose first directory has the version of DNG.
#include <algorithm>
#include <string_view>

#include "runtime/native/formats/dng/dng_structure.h"
#include "runtime/native/formats/format_room.h"
#include "runtime/native/formats/tiff/tiff_end.h"
#include "runtime/native/formats/tiff/tiff_structure.h"

namespace zelmor::imagework {
namespace {

constexpr uint16_t kDngVersion = 50706;

bool begins_dng(const ByteReader& file) {
    constexpr std::string_view kLittle("II*\0", 4);
    constexpr std::string_view kBig("MM\0*", 4);
    const bool big_endian = file.starts_with(0, kBig);
    if (!big_endian && !file.starts_with(0, kLittle)) {
        return false;
    }
    const ByteReader in = file.in_order(big_endian);
    const TiffForm form = tiff_form(in);
    const uint64_t directory = form.read_word(in, form.link_at());
    // Entries are sorted by their tags, and no camera writes more of them.
    constexpr uint64_t kMostEntries = 512;
    const uint64_t count = std::min(form.entries(in, directory), kMostEntries);
    for (uint64_t i = 0; i < count; i++) {
        const uint64_t at = form.entry_at(directory, i);
        if (!in.has(at, 2) || in.u16(at) >= kDngVersion) {
            return in.u16(at) == kDngVersion;
        }
    }
    return false;
}

void probe_dng(const ByteReader& file, FileFacts& facts) {
    const DngStructure found = dng_structure(file);
    if (!found.readable) {
        return;
    }
    const PixelForm form = found.form();
    facts.width = found.width();
    facts.height = found.height();
    facts.bits_per_pixel = static_cast<int>(8 * form.pixel_size());
    facts.has_resolution = found.resolution.has_value();
    facts.obstacle = found.obstacle;
    facts.readable = found.obstacle.empty();
}

constexpr const char* kDngExtensions[] = {"dng"};

}  // namespace

extern const FormatRoom kDngRoom;
const FormatRoom kDngRoom{
    .format = Format::kDng,
    .name = "DNG",
    .extensions = kDngExtensions,
    .begins = &begins_dng,
    .probe = &probe_dng,
    .end = &tiff_end,
    .may_point_behind_end = true,
};

}  // namespace zelmor::imagework

// The three tags of the first directory; see exif_resolution.h.
#include "runtime/native/imagework/probe/exif_resolution.h"

#include <string_view>

#include "runtime/native/formats/tiff/tiff_structure.h"
#include "runtime/native/imagework/probe/byte_reader.h"
#include "runtime/native/imagework/units.h"

namespace zelmor::imagework {
namespace {

double rational_at(const ByteReader& in, uint64_t at) {
    const uint32_t divisor = in.u32(at + 4);
    return divisor == 0 ? 0 : static_cast<double>(in.u32(at)) / divisor;
}

}  // namespace

std::optional<Resolution> exif_resolution(std::span<const uint8_t> exif) {
    constexpr std::string_view kMark("Exif\0\0", 6);
    if (ByteReader(exif).starts_with(0, kMark)) {
        exif = exif.subspan(kMark.size());
    }
    const bool big_endian = ByteReader(exif).starts_with(0, std::string_view("MM\0*", 4));
    if (!big_endian && !ByteReader(exif).starts_with(0, std::string_view("II*\0", 4))) {
        return std::nullopt;
    }
    const ByteReader in(exif, big_endian);
    constexpr TiffForm kForm{false};
    const uint64_t directory = kForm.read_word(in, kForm.link_at());
    Resolution found{0, 0};
    uint64_t unit = 2;  // inches, where the data do not tell
    for (uint64_t i = 0; i < kForm.entries(in, directory); i++) {
        const uint64_t entry = kForm.entry_at(directory, i);
        const uint16_t tag = in.u16(entry);
        const bool rational = in.u16(entry + 2) == kTiffRational && kForm.values(in, entry) == 1;
        if (tag == kTiffXResolution && rational) {
            found.horizontal = rational_at(in, in.u32(kForm.value_at(entry)));
        } else if (tag == kTiffYResolution && rational) {
            found.vertical = rational_at(in, in.u32(kForm.value_at(entry)));
        } else if (tag == kTiffResolutionUnit && in.u16(entry + 2) == kTiffShort) {
            unit = in.u16(kForm.value_at(entry));
        }
        if (!in.ok()) {
            return std::nullopt;
        }
    }
    if (found.horizontal <= 0 || found.vertical <= 0 || (unit != 2 && unit != 3)) {
        return std::nullopt;
    }
    const double scale = unit == 3 ? kCentimetersPerInch : 1;
    return Resolution{found.horizontal * scale, found.vertical * scale};
}

}  // namespace zelmor::imagework

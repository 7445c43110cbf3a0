// WMF: a header of nine words, with or without that of a placeable file before it. WMZ is that packed by gzip.
#include "runtime/native/formats/format_room.h"
#include "runtime/native/imagework/probe/packed_head.h"

namespace zelmor::imagework {
namespace {

bool is_wmf(const ByteReader& file) {
    const ByteReader in = file.in_order(false);
    constexpr uint16_t kHeaderWords = 9;
    const bool standard =
        (in.u16(0) == 1 || in.u16(0) == 2) && in.u16(2) == kHeaderWords && (in.u16(4) == 0x0100 || in.u16(4) == 0x0300);
    return standard || in.starts_with(0, "\xD7\xCD\xC6\x9A");
}

std::vector<uint8_t> unpacked(const ByteReader& file) {
    constexpr size_t kHeader = 22;
    return unpacked_head(file, kHeader);
}

bool begins_wmf(const ByteReader& in) {
    return is_wmf(in) || is_wmf(ByteReader(unpacked(in)));
}

Variant variant_of(const ByteReader& in) {
    return is_wmf(in) ? Variant::kUsual : Variant::kWmz;
}

constexpr const char* kExtensions[] = {"wmf", "wmz"};

}  // namespace

extern const FormatRoom kWmfRoom;
const FormatRoom kWmfRoom{
    .format = Format::kWmf,
    .name = "WMF",
    .extensions = kExtensions,
    .begins = &begins_wmf,
    .variant = &variant_of,
};

}  // namespace zelmor::imagework

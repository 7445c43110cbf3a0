// Reading the directory; see ico_directory.h.
#include "runtime/native/formats/ico/ico_directory.h"

namespace zelmor::imagework {
namespace {

constexpr uint32_t kLeastEntryBytes = 13;  // the shortest header of a BMP picture, and a pixel

int32_t side_of(uint8_t stored) {
    return stored == 0 ? 256 : stored;
}

}  // namespace

bool is_ico(const ByteReader& file) {
    const ByteReader in = file.in_order(false);
    const uint16_t kind = in.u16(2);
    if (in.u16(0) != 0 || (kind != 1 && kind != 2) || in.u16(4) == 0 || !in.ok()) {
        return false;
    }
    // The rest of the directory has no signature, so that the first entry must be one.
    const IcoDirectory directory = read_ico_directory(in);
    const IcoEntry entry = read_ico_entry(in, directory, 0);
    const uint8_t reserved = in.u8(IcoDirectory::kHeaderSize + 3);  // zero; some programs write 255
    return in.ok() && (reserved == 0 || reserved == 0xFF) && entry.size >= kLeastEntryBytes &&
           entry.at >= IcoDirectory::kHeaderSize + IcoDirectory::kEntrySize;
}

IcoDirectory read_ico_directory(const ByteReader& file) {
    const ByteReader in = file.in_order(false);
    return {in.u16(2) == 2 ? IcoKind::kCursor : IcoKind::kIcon, in.u16(4)};
}

IcoEntry read_ico_entry(const ByteReader& in, const IcoDirectory& directory, size_t index) {
    const uint64_t at = IcoDirectory::kHeaderSize + index * IcoDirectory::kEntrySize;
    IcoEntry entry;
    entry.width = side_of(in.u8(at));
    entry.height = side_of(in.u8(at + 1));
    if (directory.kind == IcoKind::kCursor) {
        entry.hot_spot = {in.u16(at + 4), in.u16(at + 6)};
    } else {
        entry.bits_per_pixel = in.u16(at + 6);
    }
    entry.size = in.u32(at + 8);
    entry.at = in.u32(at + 12);
    return entry;
}

bool is_png_entry(const ByteReader& file, const IcoEntry& entry) {
    return entry.size >= 8 && file.starts_with(entry.at, "\x89PNG\r\n\x1A\n");
}

}  // namespace zelmor::imagework

// ICO and CUR: a list of pictures that lie behind it.
#include "runtime/native/formats/format_room.h"

namespace zelmor::imagework {
namespace {

bool begins_ico(const ByteReader& file) {
    const ByteReader in = file.in_order(false);
    constexpr uint64_t kHeader = 6;
    constexpr uint64_t kEntry = 16;
    const uint16_t type = in.u16(2);
    const uint16_t count = in.u16(4);
    if (in.u16(0) != 0 || (type != 1 && type != 2) || count == 0) {
        return false;
    }
    const bool reserved = in.u8(kHeader + 3) == 0;
    const uint32_t size = in.u32(kHeader + 8);
    const uint32_t at = in.u32(kHeader + 12);
    return in.ok() && reserved && size > 0 && at >= kHeader + kEntry * count;
}

constexpr const char* kExtensions[] = {"ico", "cur"};

}  // namespace

extern const FormatRoom kIcoRoom;
const FormatRoom kIcoRoom{
    .format = Format::kIco,
    .name = "ICO",
    .extensions = kExtensions,
    .begins = &begins_ico,
};

}  // namespace zelmor::imagework

// TGA: no mark; the fields of the header have to go together.
#include "runtime/native/formats/format_room.h"

namespace zelmor::imagework {
namespace {

bool begins_tga(const ByteReader& file) {
    const ByteReader in = file.in_order(false);
    const int map = in.u8(1);
    const int type = in.u8(2);
    const int depth = in.u8(16);
    const int map_depth = in.u8(7);
    const bool indexed = type == 1 || type == 9;
    const bool direct = type == 2 || type == 3 || type == 10 || type == 11;
    const bool map_fits =
        map == 0 ? in.u16(3) == 0 && in.u16(5) == 0 && map_depth == 0
                 : in.u16(5) > 0 && (map_depth == 15 || map_depth == 16 || map_depth == 24 || map_depth == 32);
    const bool depth_fits = depth == 8 || (!indexed && (depth == 15 || depth == 16 || depth == 24 || depth == 32));
    const int descriptor = in.u8(17);
    return map <= 1 && (indexed ? map == 1 : direct) && map_fits && depth_fits && in.u16(12) > 0 && in.u16(14) > 0 &&
           (descriptor & 0xC0) == 0 && (descriptor & 0x0F) <= 8 && in.ok();
}

constexpr const char* kExtensions[] = {"tga"};

}  // namespace

extern const FormatRoom kTgaRoom;
const FormatRoom kTgaRoom{
    .format = Format::kTga,
    .name = "TGA",
    .extensions = kExtensions,
    .begins = &begins_tga,
};

}  // namespace zelmor::imagework

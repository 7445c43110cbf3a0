// PSD, and PSB for large pictures: the mark and the version.
#include "runtime/native/formats/format_room.h"

namespace zelmor::imagework {
namespace {

bool begins_psd(const ByteReader& file) {
    const ByteReader in = file.in_order(true);
    return in.starts_with(0, "8BPS") && (in.u16(4) == 1 || in.u16(4) == 2);
}

constexpr const char* kExtensions[] = {"psb", "psd"};

}  // namespace

extern const FormatRoom kPsdRoom;
const FormatRoom kPsdRoom{
    .format = Format::kPsd,
    .name = "PSD",
    .extensions = kExtensions,
    .begins = &begins_psd,
};

}  // namespace zelmor::imagework

// DjVu: an IFF form behind four letters, of one page or of several.
#include "runtime/native/formats/djvu/djvu_structure.h"
#include "runtime/native/formats/format_room.h"

namespace zelmor::imagework {
namespace {

constexpr const char* kExtensions[] = {"djvu", "djv"};

}  // namespace

extern const FormatRoom kDjvuRoom;
const FormatRoom kDjvuRoom{
    .format = Format::kDjvu,
    .name = "DjVu",
    .extensions = kExtensions,
    .begins = &is_djvu,
};

}  // namespace zelmor::imagework

// FileFormatExtensions: questions about a set of file formats.
#include <bit>

#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

// One of the formats and not several, none or something else.
bool is_single_format_defined(uint64_t file_format) {
    static const TypeInfo& formats = require_type("Zelmor.Imaging.FileFormat");
    return std::has_single_bit(file_format) && find_enum_member(formats, static_cast<int64_t>(file_format));
}

const Behavior kMembers[] = {
    {"Zelmor.Imaging.Extensions.FileFormatExtensions", "call_000_IsSingleFormatDefined",
     entry<&is_single_format_defined>()},
};
const BehaviorTable table(Assembly::kImaging, kMembers);

}  // namespace

}  // namespace zelmor::embed

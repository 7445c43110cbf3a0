// FileFormatExtensions: questions about a set of file formats.
#include <bit>

#include "generated/runtime/Zelmor.Imaging.Extensions.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

// One of the formats and not several, none or something else.
bool is_single_format_defined(uint64_t file_format) {
    static const TypeInfo& formats = require_type("Zelmor.Imaging.FileFormat");
    return std::has_single_bit(file_format) && find_enum_member(formats, static_cast<int64_t>(file_format)) != nullptr;
}

using FileFormatExtensionsApi = api::Extensions::FileFormatExtensions;

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&is_single_format_defined, FileFormatExtensionsApi::call_000_IsSingleFormatDefined>(),
});

}  // namespace

}  // namespace zelmor::embed

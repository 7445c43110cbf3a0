// A tag's value as the type that a property of the library has.
//
// The type of a tag is chosen by the file, that of a property by the library: numbers of another width are converted.
// Other values are refused with InvalidCastException, numbers that are too large with OverflowException.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_TAG_VALUES_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_TAG_VALUES_H

#include <optional>
#include <string>

#include "runtime/native/behaviors/metadata/tiff/tiff_tags.h"

namespace zelmor::embed {

std::optional<std::u16string> text_of_tag(const Value& value);
std::optional<Bytes> bytes_of_tag(const Value& value);
// The tag's own array where its elements are of the type already.
Ref<ManagedList> array_of_tag(const Value& value, const ElementType& element);

// The argument of a setter as a value for a tag: null for None.
Value given_text(const std::optional<std::u16string>& text);
Value given_bytes(const PyBytesArg* bytes);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_TAG_VALUES_H

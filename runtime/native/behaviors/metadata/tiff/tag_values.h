// A tag's value as the type that a property of the library has.
//
// A file chooses the types of its tags, and a property has one of its own: numbers of another width are converted, and
// what cannot be is refused with InvalidCastException, or with OverflowException where a number is too large.
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

// What a setter was given, as a value for a tag: null for None.
Value given_text(const std::optional<std::u16string>& text);
Value given_bytes(const PyBytesArg* bytes);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_TAG_VALUES_H

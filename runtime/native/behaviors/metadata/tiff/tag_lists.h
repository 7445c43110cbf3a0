// Tags as managed arrays, and managed collections as tags.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_TAG_LISTS_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_TAG_LISTS_H

#include <vector>

#include "runtime/native/behaviors/metadata/tiff/tiff_tags.h"

namespace zelmor::embed {

// The array that was handed out before if it holds just these tags, otherwise a new one in its place: a property that
// nobody changed gives the same object.
Ref<ManagedList> same_array(Ref<ManagedList>& shown, const std::vector<Ref<TagObject>>& tags);
// Tags as a managed array, and one that was given, as tags. ArgumentNullException for an element that is null.
Ref<ManagedList> tag_array(const std::vector<Ref<TagObject>>& tags);
std::vector<Ref<TagObject>> tags_of(const std::vector<Value>& elements);
// The elements of a collection that stands in a value; InvalidCastException for another object, empty for null.
std::vector<Value> elements_of_value(const Value& value);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_METADATA_TIFF_TAG_LISTS_H

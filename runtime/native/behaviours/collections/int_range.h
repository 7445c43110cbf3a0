// IntRange: a run of page numbers or the like.
#pragma once

#include <vector>

#include "runtime/native/core/records.h"

namespace zelmor::embed {

// The numbers start, start + delta, ...: `count` of them.
std::vector<int32_t> int_range(int32_t start, int32_t count, int32_t delta);
// The numbers of an IntRange object.
std::vector<int32_t> numbers_of_range(const ManagedObject& range);

}  // namespace zelmor::embed

// IntRange's members. Its numbers are the stored property, an Int32[].
#include "runtime/native/behaviours/collections/int_range.h"

#include <limits>
#include <utility>

#include "runtime/native/core/collection.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

namespace {

constexpr const char* kRange = "Zelmor.Imaging.IntRange";

Ref<ManagedObject> make_range(std::vector<int32_t> numbers) {
    auto range = make_instance(kRange);
    set_property(*range, "Range", Ref<ManagedObject>(make_array(std::move(numbers))));
    return range;
}

Ref<ManagedObject> of_count(int32_t start, int32_t count) {
    return make_range(int_range(start, count, 1));
}
Ref<ManagedObject> of_steps(int32_t start, int32_t count, int32_t delta) {
    return make_range(int_range(start, count, delta));
}
Ref<ManagedObject> of_numbers(const VariantArg* range) {
    return make_range(read_array<int32_t>(range, "range"));
}

Collection get_range(int32_t start, int32_t count, int32_t delta) {
    return {Ref<ManagedObject>(make_array(int_range(start, count, delta)))};
}

Collection one_item(Record& self, int32_t index) {
    const std::vector<int32_t> numbers = numbers_of_range(self);
    if (index < 0 || static_cast<size_t>(index) >= numbers.size()) {
        throw_out_of_range("index", "The range has " + std::to_string(numbers.size()) + " numbers, none at " +
                                        std::to_string(index) + ".");
    }
    return {Ref<ManagedObject>(make_array<int32_t>({numbers[static_cast<size_t>(index)]}))};
}

const Behaviour kMembers[] = {
    {kRange, "ctor_000_IntRange", entry<&of_count>()},
    {kRange, "ctor_001_IntRange", entry<&of_steps>()},
    {kRange, "ctor_002_IntRange", entry<&of_numbers>()},
    {kRange, "call_000_GetRange", entry<&get_range>()},
    {kRange, "call_000_GetArrayOneItemFromIndex", entry<&one_item>()},
};
const BehaviourTable table(Assembly::kImaging, kMembers);

}  // namespace

std::vector<int32_t> int_range(int32_t start, int32_t count, int32_t delta) {
    if (count < 0) throw_out_of_range("count", "A range cannot have " + std::to_string(count) + " numbers.");
    const int64_t last = start + (static_cast<int64_t>(count) - 1) * delta;
    if (count > 0 && !std::in_range<int32_t>(last)) {
        throw_out_of_range("count", "The last number of the range does not fit 32 bits.");
    }
    std::vector<int32_t> numbers;
    numbers.reserve(static_cast<size_t>(count));
    for (int32_t i = 0; i < count; ++i)
        numbers.push_back(static_cast<int32_t>(start + static_cast<int64_t>(i) * delta));
    return numbers;
}

std::vector<int32_t> numbers_of_range(const ManagedObject& range) {
    const auto numbers = property_object(range, "Range");
    return numbers ? cast_object<ScalarList<int32_t>>(*numbers).items : std::vector<int32_t>();
}

}  // namespace zelmor::embed

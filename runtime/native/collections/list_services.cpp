// What Python asks of a managed collection: length, elements, search, change, bulk operations.
//
// Indices and bounds that the caller leaves to this side are read as Python's list reads them: a negative one counts
// from the end, and insertion and search bounds are clamped. Reading an element may run Python code that changes the
// list: what was found out about the list before is found out again after it.
#include "runtime/native/collections/list_services.h"

#include <algorithm>

#include "runtime/native/collections/bounds.h"
#include "runtime/native/collections/element_values.h"
#include "runtime/native/core/marshal.h"

namespace zelmor::embed {

namespace {

ManagedList& list_of(ServiceCall& call) {
    return target<ManagedList>(call.frame.argument<Handle>(0));
}

ManagedList& growing_list_of(ServiceCall& call) {
    return require_growing(list_of(call));
}

Value element_argument(ServiceCall& call, size_t index) {
    return read_element(call.frame, index, *call.service.element);
}

std::vector<Value> elements_of(const ManagedList& list) {
    std::vector<Value> values;
    values.reserve(list.size());
    for (size_t i = 0; i < list.size(); ++i) {
        values.push_back(list.get(i));
    }
    return values;
}

void length(ServiceCall& call) {
    const size_t size = target<ManagedCollection>(call.frame.argument<Handle>(0)).size();
    call.frame.set_result(static_cast<int32_t>(size));
}

void get_item(ServiceCall& call) {
    const ManagedList& list = list_of(call);
    const auto index = call.frame.argument<int32_t>(1);
    if (!in_range(list, index)) {
        return call.frame.set_result<int32_t>(kOutOfRange);
    }
    store_element(list.get(position(index)), *call.service.element, call.frame.argument<void*>(2));
    call.frame.set_result<int32_t>(kDelivered);
}

void get_item_no_check(ServiceCall& call) {
    const ManagedList& list = list_of(call);
    const auto index = call.frame.argument<int32_t>(1);
    require_in_range(list, index);
    return_element(call.frame, list.get(position(index)), *call.service.element);
}

void set_item(ServiceCall& call) {
    ManagedList& list = list_of(call);
    const auto index = call.frame.argument<int32_t>(1);
    if (!in_range(list, index)) {
        return call.frame.set_result<int32_t>(kOutOfRange);
    }
    const Value element = element_argument(call, 2);
    if (!in_range(list, index)) {
        return call.frame.set_result<int32_t>(kOutOfRange);
    }
    list.set(position(index), element);
    call.frame.set_result<int32_t>(kDelivered);
}

void set_item_no_check(ServiceCall& call) {
    ManagedList& list = list_of(call);
    const auto index = call.frame.argument<int32_t>(1);
    require_in_range(list, index);
    const Value element = element_argument(call, 2);
    require_in_range(list, index);
    list.set(position(index), element);
}

void add(ServiceCall& call) {
    growing_list_of(call).append(element_argument(call, 1));
}

void insert(ServiceCall& call) {
    ManagedList& list = growing_list_of(call);
    const Value element = element_argument(call, 2);
    list.insert(position(clamped(call.frame.argument<int32_t>(1), size_of(list))), element);
}

void remove(ServiceCall& call) {
    ManagedList& list = growing_list_of(call);
    call.frame.set_result<int32_t>(list.remove(element_argument(call, 1)) ? 1 : 0);
}

void remove_at(ServiceCall& call) {
    ManagedList& list = growing_list_of(call);
    const auto index = call.frame.argument<int32_t>(1);
    if (!in_range(list, index)) {
        return call.frame.set_result<int32_t>(kOutOfRange);
    }
    list.erase(position(index), 1);
    call.frame.set_result<int32_t>(kDelivered);
}

void pop(ServiceCall& call) {
    ManagedList& list = growing_list_of(call);
    if (list.size() == 0) {
        return call.frame.set_result<int32_t>(kEmpty);
    }
    int32_t index = call.frame.argument<uint8_t>(1) ? call.frame.argument<int32_t>(2) : -1;
    if (index < 0) {
        index += size_of(list);
    }
    if (!in_range(list, index)) {
        return call.frame.set_result<int32_t>(kOutOfRange);
    }
    store_element(list.get(position(index)), *call.service.element, call.frame.argument<void*>(3));
    list.erase(position(index), 1);
    call.frame.set_result<int32_t>(kDelivered);
}

void clear(ServiceCall& call) {
    ManagedList& list = growing_list_of(call);
    list.erase(0, list.size());
}

void inplace_concat(ServiceCall& call) {
    ManagedList& list = growing_list_of(call);
    const auto source = bulk_source(call.frame.argument<const VariantArg*>(1));
    if (!source || &source->element() != &list.element()) {
        return call.frame.set_result<int32_t>(kDeclined);
    }
    // Taken out first: the source may be the list itself.
    const std::vector<Value> added = elements_of(*source);
    list.reserve(list.size() + added.size());
    for (const Value& value : added) {
        list.append(value);
    }
    call.frame.set_result<int32_t>(kDone);
}

void inplace_repeat(ServiceCall& call) {
    ManagedList& list = growing_list_of(call);
    const auto count = call.frame.argument<int32_t>(1);
    if (count <= 0) {
        return list.erase(0, list.size());
    }
    const std::vector<Value> once = elements_of(list);
    if (once.size() * static_cast<size_t>(count) > static_cast<size_t>(INT32_MAX)) {
        throw ManagedException("OutOfMemoryException", "The repeated collection would be too long.");
    }
    list.reserve(once.size() * static_cast<size_t>(count));
    for (int32_t i = 1; i < count; ++i) {
        for (const Value& value : once) {
            list.append(value);
        }
    }
}

void set_items(ServiceCall& call) {
    ManagedList& list = list_of(call);
    const auto source = bulk_source(call.frame.argument<const VariantArg*>(1));
    const auto start = call.frame.argument<int32_t>(2);
    const auto count = call.frame.argument<int32_t>(3);
    const auto step = call.frame.argument<int32_t>(4);
    if (!source || &source->element() != &list.element() || source->size() != static_cast<size_t>(count)) {
        return call.frame.set_result<int32_t>(kDeclined);
    }
    require_run(list, start, count, step);
    const std::vector<Value> values = elements_of(*source);
    for (int32_t i = 0; i < count; ++i) {
        list.set(position(start + i * step), values[position(i)]);
    }
    call.frame.set_result<int32_t>(kDone);
}

// The caller normalizes the run so that it walks downward. A run of neighbors comes with its lowest index from some
// callers and its highest from others: the one that lies in the list with the whole run is meant.
void remove_items(ServiceCall& call) {
    ManagedList& list = growing_list_of(call);
    const auto start = call.frame.argument<int32_t>(1);
    const auto count = call.frame.argument<int32_t>(2);
    const auto step = call.frame.argument<int32_t>(3);
    if (count <= 0) {
        return;
    }
    if (step == -1 && call.service.kind == ServiceKind::kArrayList) {
        require_run(list, start, count, 1);
        return list.erase(position(start), position(count));
    }
    require_run(list, start, count, step);
    for (int32_t i = 0; i < count; ++i) {
        list.erase(position(start + i * step), 1);
    }
}

void reverse(ServiceCall& call) {
    list_of(call).reverse();
}

void sort(ServiceCall& call) {
    list_of(call).sort(call.frame.argument<uint8_t>(1) != 0);
}

void index_by(ServiceCall& call) {
    const ManagedList& list = list_of(call);
    const Value value = element_argument(call, 5);
    const int32_t size = size_of(list);
    const int32_t first = call.frame.argument<uint8_t>(1) ? clamped(call.frame.argument<int32_t>(2), size) : 0;
    const int32_t end = call.frame.argument<uint8_t>(3) ? clamped(call.frame.argument<int32_t>(4), size) : size;
    const int64_t found = first < end ? list.find(value, position(first), position(end)) : -1;
    call.frame.set_result(static_cast<int32_t>(found));
}

void contains(ServiceCall& call) {
    auto& collection = target<ManagedCollection>(call.frame.argument<Handle>(0));
    call.frame.set_result<int32_t>(collection.contains(element_argument(call, 1)) ? 1 : 0);
}

void count_of(ServiceCall& call) {
    auto& collection = target<ManagedCollection>(call.frame.argument<Handle>(0));
    call.frame.set_result(static_cast<int32_t>(collection.count_of(element_argument(call, 1))));
}

void ensure_capacity(ServiceCall& call) {
    ManagedList& list = growing_list_of(call);
    list.reserve(list.size() + position(std::max(0, call.frame.argument<int32_t>(1))));
}

void get_enumerator(ServiceCall& call) {
    auto& enumerable = target<ManagedEnumerable>(call.frame.argument<Handle>(0));
    write_interface(enumerable.enumerator(), call.frame.argument<PyObjectOutArg*>(1));
}

void move_next(ServiceCall& call) {
    Value element;
    const bool moved = target<ManagedEnumerator>(call.frame.argument<Handle>(0)).move_next(element);
    if (moved) {
        store_element(element, *call.service.element, call.frame.argument<void*>(1));
    }
    call.frame.set_result<int32_t>(moved ? kDelivered : kEmpty);
}

// A managed collection for a Python one: a proxy for the interfaces, a copy for the classes.
void create(ServiceCall& call, HandleTag tag) {
    const VariantArg arg{tag, call.frame.argument<PyObject*>(0)};
    const auto made = [&](CollectionShape shape) {
        call.frame.set_result(make_handle(read_collection(&arg, shape, variant_element())));
    };
    const auto copied = [&](ListShape shape) {
        const auto source = read_list(&arg, variant_element());
        auto list = make_list(shape, variant_element());
        list->reserve(source->size());
        for (size_t i = 0; i < source->size(); ++i) {
            list->append(source->get(i));
        }
        call.frame.set_result(make_handle(std::move(list)));
    };
    switch (call.service.kind) {
        case ServiceKind::kArray:
            return made(CollectionShape::kSystemArray);
        case ServiceKind::kArrayList:
            return made(CollectionShape::kArrayList);
        case ServiceKind::kCollectionBase:
            return copied(ListShape::kCollectionBase);
        case ServiceKind::kReadOnlyCollectionBase:
            return copied(ListShape::kReadOnlyCollectionBase);
        case ServiceKind::kList:
            return made(CollectionShape::kIList);
        case ServiceKind::kCollection:
            return made(CollectionShape::kICollection);
        default:
            return made(CollectionShape::kIEnumerable);
    }
}

void create_from_list(ServiceCall& call) {
    create(call, kHandlePyObject);
}

void create_from_sequence(ServiceCall& call) {
    create(call, kHandlePySequence);
}

// In the signatures, E stands for an element argument and N for a returned element.
constexpr ServiceOperation kListOperations[] = {
    {"SqLength", "ip", length},
    {"SqContains", "ipE", contains},
    {"CountOf", "ipE", count_of},
    {"SqGetItem", "ipir", get_item},
    {"SqGetItemNoCheck", "Npi", get_item_no_check},
    {"SqSetItem", "ipiE", set_item},
    {"SqSetItemNoCheck", "vpiE", set_item_no_check},
    {"SqSetItemNoChek", "vpiE", set_item_no_check},
    {"Add", "vpE", add},
    {"Insert", "vpiE", insert},
    {"Remove", "ipE", remove},
    {"RemoveAt", "ipi", remove_at},
    {"Pop", "ipbir", pop},
    {"Clear", "vp", clear},
    {"SqInplaceConcat", "ipV", inplace_concat},
    {"SqInplaceRepeat", "vpi", inplace_repeat},
    {"MpSetItems", "ipViii", set_items},
    {"MpRemoveItems", "vpiii", remove_items},
    {"Reverse", "vp", reverse},
    {"Sort", "vpb", sort},
    {"IndexBy", "ipbibiE", index_by},
    {"EnsureCapacity", "vpi", ensure_capacity},
    {"GetEnumerator", "ipo", get_enumerator},
    {"MoveNext", "ipr", move_next},
    {"CreateInstanceFromPyList", "pp", create_from_list},
    {"CreateInstanceFromPySequence", "pp", create_from_sequence},
    {"CreateInstanceFromPyIterable", "pp", create_from_list},
};

}  // namespace

std::span<const ServiceOperation> list_operations() {
    return kListOperations;
}

}  // namespace zelmor::embed

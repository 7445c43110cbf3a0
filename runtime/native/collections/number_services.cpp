// Typed functions over ScalarList, for each number type.
#include "runtime/native/collections/number_services.h"

#include <span>
#include <vector>

#include "runtime/native/collections/bounds.h"

namespace zelmor::embed {

namespace {

template <class T>
struct Numbers {
    using List = ScalarList<T>;

    static int32_t length(List& list) { return size_of(list); }
    static int32_t get_item(List& list, int32_t index, T* out) {
        if (!in_range(list, index)) {
            return kOutOfRange;
        }
        *out = list.items[position(index)];
        return kDelivered;
    }
    static T get_item_no_check(List& list, int32_t index) {
        require_in_range(list, index);
        return list.items[position(index)];
    }
    static int32_t set_item(List& list, int32_t index, T value) {
        if (!in_range(list, index)) {
            return kOutOfRange;
        }
        list.put(position(index), value);
        return kDelivered;
    }
    static void set_item_no_check(List& list, int32_t index, T value) {
        require_in_range(list, index);
        list.put(position(index), value);
    }

    // Numbers of another kind are left to the caller, whose conversion tests each.
    static int32_t set_items(List& list, const VariantArg* source, int32_t start, int32_t count, int32_t step) {
        const auto other = bulk_source(source);
        if (!other || &other->element() != &list.element() || other->size() != static_cast<size_t>(count)) {
            return kDeclined;
        }
        require_run(list, start, count, step);
        const std::vector<T> numbers = cast_object<List>(*other).items;  // a copy: it may be the list itself
        for (int32_t i = 0; i < count; ++i) {
            list.put(position(start + i * step), numbers[position(i)]);
        }
        return kDone;
    }
    static int32_t index_by(List& list, bool has_start, int32_t start, bool has_stop, int32_t stop, T value) {
        const int32_t size = size_of(list);
        const int32_t first = has_start ? clamped(start, size) : 0;
        const int32_t end = has_stop ? clamped(stop, size) : size;
        return first < end ? static_cast<int32_t>(list.find_number(value, position(first), position(end))) : -1;
    }
    static int32_t contains(List& list, T value) { return list.find_number(value, 0, list.size()) >= 0 ? 1 : 0; }
    static int32_t count_of(List& list, T value) { return static_cast<int32_t>(list.count_number(value)); }

    static void add(List& list, T value) { require_growing(list).put_new(list.size(), value); }
    static void insert(List& list, int32_t index, T value) {
        require_growing(list).put_new(position(clamped(index, size_of(list))), value);
    }
    static int32_t remove(List& list, T value) {
        const int64_t found = require_growing(list).find_number(value, 0, list.size());
        if (found >= 0) {
            list.erase(static_cast<size_t>(found), 1);
        }
        return found >= 0 ? 1 : 0;
    }

    static int32_t move_next(ListEnumerator& enumerator, T* out) {
        const List& list = cast_object<List>(enumerator.list());
        size_t index = 0;
        if (!enumerator.step(list, index)) {
            return kEmpty;
        }
        *out = list.items[index];
        return kDelivered;
    }
};

struct NumberOperation {
    std::string_view name;
    EntryPoint point;
};

template <class T>
std::span<const NumberOperation> fixed_size_operations() {
    using N = Numbers<T>;
    static const NumberOperation kAll[] = {
        {"SqLength", entry<&N::length>()},      {"SqContains", entry<&N::contains>()},
        {"SqGetItem", entry<&N::get_item>()},   {"SqGetItemNoCheck", entry<&N::get_item_no_check>()},
        {"SqSetItem", entry<&N::set_item>()},   {"SqSetItemNoChek", entry<&N::set_item_no_check>()},
        {"MpSetItems", entry<&N::set_items>()}, {"IndexBy", entry<&N::index_by>()},
        {"CountOf", entry<&N::count_of>()},
    };
    return kAll;
}

template <class T>
std::span<const NumberOperation> growing_operations() {
    using N = Numbers<T>;
    static const NumberOperation kAll[] = {
        {"Add", entry<&N::add>()},
        {"Insert", entry<&N::insert>()},
        {"Remove", entry<&N::remove>()},
    };
    return kAll;
}

template <class T>
std::span<const NumberOperation> enumerator_operations() {
    static const NumberOperation kAll[] = {{"MoveNext", entry<&Numbers<T>::move_next>()}};
    return kAll;
}

EntryPoint find_operation(std::span<const NumberOperation> operations, std::string_view entry) {
    for (const NumberOperation& operation : operations) {
        if (operation.name == entry) {
            return operation.point;
        }
    }
    return {nullptr, nullptr};
}

template <class T>
EntryPoint service_of(ServiceKind kind, std::string_view entry) {
    if (kind == ServiceKind::kEnumerator) {
        return find_operation(enumerator_operations<T>(), entry);
    }
    if (kind != ServiceKind::kArray && kind != ServiceKind::kArrayList) {
        return {nullptr, nullptr};
    }
    const EntryPoint point = find_operation(fixed_size_operations<T>(), entry);
    return point.address != nullptr || kind == ServiceKind::kArray ? point
                                                                   : find_operation(growing_operations<T>(), entry);
}

}  // namespace

EntryPoint number_service(const ServiceClass& service, std::string_view entry) {
    switch (service.element->wire) {
        case Wire::kInt8:
            return service_of<int8_t>(service.kind, entry);
        case Wire::kInt16:
            return service_of<int16_t>(service.kind, entry);
        case Wire::kUInt16:
            return service_of<uint16_t>(service.kind, entry);
        case Wire::kInt32:
            return service_of<int32_t>(service.kind, entry);
        case Wire::kUInt32:
            return service_of<uint32_t>(service.kind, entry);
        case Wire::kInt64:
            return service_of<int64_t>(service.kind, entry);
        case Wire::kUInt64:
            return service_of<uint64_t>(service.kind, entry);
        case Wire::kSingle:
            return service_of<float>(service.kind, entry);
        case Wire::kDouble:
            return service_of<double>(service.kind, entry);
        default:
            return {nullptr, nullptr};
    }
}

}  // namespace zelmor::embed

// Storage and operations of managed lists.
#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>

#include "runtime/native/collections/collection.h"
#include "runtime/native/collections/drawing_record.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/references.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace {

std::string element_name(const ElementType& element) {
    const ElementType* inner = element.inner();
    return inner != nullptr ? element_name(*inner) + "[]" : element.name;
}

const TypeInfo& list_type(ListShape shape, const ElementType& element) {
    switch (shape) {
        case ListShape::kArray: {
            static const TypeInfo& array = intern_type("System.Array");
            return intern_type(element_name(element) + "[]", TypeKind::kClass, &array);
        }
        case ListShape::kArrayList:
            return intern_type("System.Collections.ArrayList");
        case ListShape::kCollectionBase:
            return intern_type("System.Collections.CollectionBase");
        case ListShape::kReadOnlyCollectionBase:
            return intern_type("System.Collections.ReadOnlyCollectionBase");
        case ListShape::kList:
        case ListShape::kOther:  // brings a type of its own
            break;
    }
    return intern_type("System.Collections.Generic.List`1[" + element_name(element) + "]");
}

[[noreturn]] void throw_overflow(const ElementType& element) {
    throw ManagedException("OverflowException",
                           std::string("Value was either too large or too small for a ") + element.name + ".");
}

// What a conversion without loss takes: an integer in range for an integer, any number for a floating one.
template <class T>
T scalar_from(const Value& value, const ElementType& element) {
    if constexpr (std::is_floating_point_v<T>) {
        if (const auto* x = std::get_if<double>(&value); x != nullptr) {
            return static_cast<T>(*x);
        }
        if (const auto* x = std::get_if<int64_t>(&value); x != nullptr) {
            return static_cast<T>(*x);
        }
        if (const auto* x = std::get_if<uint64_t>(&value); x != nullptr) {
            return static_cast<T>(*x);
        }
    } else {
        if (const auto* x = std::get_if<int64_t>(&value); x != nullptr) {
            if (!std::in_range<T>(*x)) {
                throw_overflow(element);
            }
            return static_cast<T>(*x);
        }
        if (const auto* x = std::get_if<uint64_t>(&value); x != nullptr) {
            if (!std::in_range<T>(*x)) {
                throw_overflow(element);
            }
            return static_cast<T>(*x);
        }
        // A boxed enumeration is its number.
        if (const auto* object = std::get_if<Ref<ManagedObject>>(&value); object != nullptr && *object) {
            if (const auto* boxed = dynamic_cast<const EnumObject*>(object->get()); boxed != nullptr) {
                return scalar_from<T>(boxed->value(), element);
            }
        }
    }
    throw_invalid_value_cast(value, element.name);
}

template <class T>
Value value_from(T x) {
    if constexpr (std::is_floating_point_v<T>) {
        return static_cast<double>(x);
    } else if constexpr (std::is_same_v<T, uint64_t>) {
        if (x > static_cast<uint64_t>(std::numeric_limits<int64_t>::max())) {
            return x;
        }
        return static_cast<int64_t>(x);
    } else {
        return static_cast<int64_t>(x);
    }
}

auto at(auto& items, size_t index) {
    return items.begin() + static_cast<std::ptrdiff_t>(index);
}

// Of the numbers, NaN comes first.
template <class T>
bool number_less(T x, T y) {
    if constexpr (std::is_floating_point_v<T>) {
        if (std::isnan(x) || std::isnan(y)) {
            return std::isnan(x) && !std::isnan(y);
        }
    }
    return x < y;
}

// Ordering of values that have one: text by code units, numbers by size, booleans false first, null before all.
bool less(const Value& a, const Value& b) {
    if (is_null(a) || is_null(b)) {
        return is_null(a) && !is_null(b);
    }
    if (a.index() == b.index()) {
        if (const auto* x = std::get_if<std::u16string>(&a); x != nullptr) {
            return *x < std::get<std::u16string>(b);
        }
        if (const auto* x = std::get_if<bool>(&a); x != nullptr) {
            return !*x && std::get<bool>(b);
        }
        if (const auto* x = std::get_if<int64_t>(&a); x != nullptr) {
            return *x < std::get<int64_t>(b);
        }
        if (const auto* x = std::get_if<uint64_t>(&a); x != nullptr) {
            return *x < std::get<uint64_t>(b);
        }
        if (const auto* x = std::get_if<double>(&a); x != nullptr) {
            return number_less(*x, std::get<double>(b));
        }
    }
    throw_invalid_operation("Failed to compare two elements in the collection: their type has no order.");
}

}  // namespace

ManagedList::ManagedList(ListShape shape, const ElementType& element)
    : ManagedCollection(list_type(shape, element)), m_shape(shape), m_element(&element) {}

ManagedList::ManagedList(const TypeInfo& type, const ElementType& element)
    : ManagedCollection(type), m_shape(ListShape::kOther), m_element(&element) {}

void ManagedList::set(size_t index, const Value& value) {
    store(index, value);
    ++m_version;
}
void ManagedList::insert(size_t index, const Value& value) {
    store_new(index, value);
    ++m_version;
}
void ManagedList::erase(size_t first, size_t count) {
    take_out(first, count);
    ++m_version;
}
bool ManagedList::remove(const Value& value) {
    if (!take_out_equal(value)) {
        return false;
    }
    ++m_version;
    return true;
}
void ManagedList::reverse() {
    turn();
    ++m_version;
}
void ManagedList::sort(bool descending) {
    order(descending);
    ++m_version;
}

bool ManagedList::take_out_equal(const Value& value) {
    const int64_t index = find(value, 0, size());
    if (index < 0) {
        return false;
    }
    take_out(static_cast<size_t>(index), 1);
    return true;
}

int64_t ManagedList::find(const Value& value, size_t first, size_t end) const {
    for (size_t i = first; i < end; ++i) {
        if (values_equal(get(i), value)) {
            return static_cast<int64_t>(i);
        }
    }
    return -1;
}

size_t ManagedList::count_of(const Value& value) {
    size_t count = 0;
    for (size_t i = 0; i < size(); ++i) {
        count += values_equal(get(i), value) ? 1 : 0;
    }
    return count;
}

Ref<ManagedEnumerator> ManagedList::enumerator() {
    return make_ref<ListEnumerator>(Ref<ManagedList>(this));
}

bool ManagedCollection::contains(const Value& value) {
    const auto walk = enumerator();
    for (Value each; walk->move_next(each);) {
        if (values_equal(each, value)) {
            return true;
        }
    }
    return false;
}

size_t ManagedCollection::count_of(const Value& value) {
    const auto walk = enumerator();
    size_t count = 0;
    for (Value each; walk->move_next(each);) {
        count += values_equal(each, value) ? 1 : 0;
    }
    return count;
}

PyObject* ManagedList::write_wrapper() {
    const PyOlistCallbacks& lists = *tables().olist;
    const auto write = m_shape == ListShape::kArray       ? lists.write_clr_array
                       : m_shape == ListShape::kArrayList ? lists.write_clr_arrlist
                                                          : lists.write_clr_ilist;
    // A failed callback has given the handle back.
    PyObject* wrapper = write(make_handle(Ref<ManagedObject>(this)));
    if (wrapper == nullptr) {
        throw PythonErrorPending();
    }
    return wrapper;
}

template <class T>
Value ScalarList<T>::get(size_t index) const {
    return value_from(items[index]);
}
template <class T>
int64_t ScalarList<T>::find(const Value& value, size_t first, size_t end) const {
    if constexpr (std::is_integral_v<T>) {
        if (const auto* x = std::get_if<int64_t>(&value); x != nullptr) {
            return std::in_range<T>(*x) ? find_number(static_cast<T>(*x), first, end) : -1;
        }
    }
    return ManagedList::find(value, first, end);
}
template <class T>
int64_t ScalarList<T>::find_number(T number, size_t first, size_t end) const {
    const auto found = std::find(at(items, first), at(items, end), number);
    return found == at(items, end) ? -1 : found - items.begin();
}
template <class T>
size_t ScalarList<T>::count_number(T number) const {
    return static_cast<size_t>(std::count(items.begin(), items.end(), number));
}
template <class T>
void ScalarList<T>::store(size_t index, const Value& value) {
    items[index] = scalar_from<T>(value, element());
}
template <class T>
void ScalarList<T>::store_new(size_t index, const Value& value) {
    items.insert(at(items, index), scalar_from<T>(value, element()));
}
template <class T>
void ScalarList<T>::take_out(size_t first, size_t count) {
    items.erase(at(items, first), at(items, first + count));
}
template <class T>
void ScalarList<T>::turn() {
    std::reverse(items.begin(), items.end());
}
template <class T>
void ScalarList<T>::order(bool descending) {
    std::sort(items.begin(), items.end(), [descending](const T& a, const T& b) {
        const T& x = descending ? b : a;
        const T& y = descending ? a : b;
        return number_less(x, y);
    });
}

template class ScalarList<int8_t>;
template class ScalarList<uint8_t>;
template class ScalarList<int16_t>;
template class ScalarList<uint16_t>;
template class ScalarList<int32_t>;
template class ScalarList<uint32_t>;
template class ScalarList<int64_t>;
template class ScalarList<uint64_t>;
template class ScalarList<float>;
template class ScalarList<double>;

Value ValueList::checked(const Value& value) const {
    const ElementType& e = element();
    if (e.wire == Wire::kRecord) {
        return Ref<ManagedObject>(DrawingRecord::of(value, e));
    }
    if (is_null(value)) {
        if (e.wire == Wire::kStruct) {
            throw_invalid_cast("null", e.name);
        }
        return value;
    }
    bool fits = true;
    switch (e.wire) {
        case Wire::kString:
            fits = std::holds_alternative<std::u16string>(value);
            break;
        case Wire::kBytes:
            fits = std::holds_alternative<Bytes>(value);
            break;
        case Wire::kClass:
        case Wire::kStruct:
        case Wire::kInterface: {
            const auto* object = std::get_if<Ref<ManagedObject>>(&value);
            const TypeInfo* type = e.type();
            fits = object != nullptr && (type == nullptr || is_assignable(*type, (*object)->type()));
            break;
        }
        case Wire::kCollection: {
            const auto* object = std::get_if<Ref<ManagedObject>>(&value);
            const auto* list = object != nullptr ? dynamic_cast<const ManagedList*>(object->get()) : nullptr;
            fits = list != nullptr && &list->element() == e.inner();
            break;
        }
        default:
            break;
    }
    if (!fits) {
        throw_invalid_value_cast(value, element_name(e));
    }
    return value;
}

ValueList::ValueList(ListShape shape, const ElementType& element, std::vector<Value> initial)
    : ManagedList(shape, element), items(std::move(initial)) {
    const Wire wire = element.wire;
    if (wire == Wire::kObject || wire == Wire::kClass || wire == Wire::kInterface || wire == Wire::kCollection) {
        track();
    }
}

void ValueList::references(ReferenceVisitor& visitor) {
    visitor(items);
}

// What an element held goes when the list is whole again.
void ValueList::store(size_t index, const Value& value) {
    Value stored = checked(value);
    items[index].swap(stored);
}
void ValueList::store_new(size_t index, const Value& value) {
    items.insert(at(items, index), checked(value));
}
void ValueList::take_out(size_t first, size_t count) {
    const auto begin = at(items, first);
    const auto end = at(items, first + count);
    const std::vector<Value> taken(std::make_move_iterator(begin), std::make_move_iterator(end));
    items.erase(begin, end);
}
void ValueList::resize(size_t count) {
    if (items.size() > count) {
        take_out(count, items.size() - count);
    }
    // Each value type has a box of its own.
    const bool record = element().wire == Wire::kRecord;
    while (items.size() < count) {
        items.push_back(record ? Value(Ref<ManagedObject>(make_ref<DrawingRecord>(element())))
                               : zero_value(element().wire, element().type()));
    }
}
void ValueList::turn() {
    std::reverse(items.begin(), items.end());
}
void ValueList::order(bool descending) {
    // Sorted aside: a comparison that fails leaves everything where it was.
    std::vector<Value> sorted = items;
    std::stable_sort(sorted.begin(), sorted.end(),
                     [descending](const Value& a, const Value& b) { return descending ? less(b, a) : less(a, b); });
    items.swap(sorted);
}

ListEnumerator::ListEnumerator(Ref<ManagedList> list)
    : ManagedEnumerator(
          intern_disposable_type("System.Collections.Generic.IEnumerator`1[" + element_name(list->element()) + "]")),
      m_list(std::move(list)),
      m_expected_version(m_list->version()) {
    if (m_list->is_holder()) {
        track();
    }
}

void ListEnumerator::references(ReferenceVisitor& visitor) {
    visitor(m_list);
}

void ListEnumerator::throw_modified() {
    throw_invalid_operation("Collection was modified; enumeration operation may not execute.");
}

bool ListEnumerator::move_next(Value& element) {
    size_t index = 0;
    if (!step(*m_list, index)) {
        return false;
    }
    element = m_list->get(index);
    return true;
}

Ref<ManagedList> make_list(ListShape shape, const ElementType& element, size_t count) {
    const auto sized = [&](Ref<ManagedList> list) {
        list->resize(count);
        return list;
    };
    switch (element.wire) {
        case Wire::kInt8:
            return sized(make_ref<ScalarList<int8_t>>(shape, element));
        case Wire::kUInt8:
            return sized(make_ref<ScalarList<uint8_t>>(shape, element));
        case Wire::kInt16:
            return sized(make_ref<ScalarList<int16_t>>(shape, element));
        case Wire::kUInt16:
            return sized(make_ref<ScalarList<uint16_t>>(shape, element));
        case Wire::kInt32:
            return sized(make_ref<ScalarList<int32_t>>(shape, element));
        case Wire::kUInt32:
            return sized(make_ref<ScalarList<uint32_t>>(shape, element));
        case Wire::kInt64:
            return sized(make_ref<ScalarList<int64_t>>(shape, element));
        case Wire::kUInt64:
            return sized(make_ref<ScalarList<uint64_t>>(shape, element));
        case Wire::kSingle:
            return sized(make_ref<ScalarList<float>>(shape, element));
        case Wire::kDouble:
            return sized(make_ref<ScalarList<double>>(shape, element));
        default:
            return sized(make_ref<ValueList>(shape, element));
    }
}

}  // namespace zelmor::embed

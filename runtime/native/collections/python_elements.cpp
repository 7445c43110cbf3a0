// Reading Python lists and sequences through the callbacks.
#include "runtime/native/collections/python_elements.h"

#include <cassert>
#include <climits>
#include <cstring>
#include <string>

#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/marshal.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {

namespace {

// The slot of an element's table: lists in the first half of the generic callbacks, sequences in the second. Any value
// of a list comes through the list's own callback; one of a sequence through the typed callback, which alone gives
// the element's reference back in every case.
void* typed_slot(const ElementType& element, bool is_list) {
    if (callbacks().generic == nullptr || (is_list && element.wire == Wire::kObject)) {
        return nullptr;
    }
    for (size_t i = 0; i < kGenericElementCount; ++i) {
        if (std::strcmp(kGenericElements[i], element.id) != 0) {
            continue;
        }
        void** table = callbacks().generic[is_list ? i : i + kGenericElementCount];
        return table != nullptr ? *table : nullptr;
    }
    return nullptr;
}

std::string reading(size_t index) {
    return "Reading element " + std::to_string(index);
}

// The buffer view that a byte array element is shown through, in memory of this side.
class BufferState {
 public:
    BufferState() : m_view(tables().buffer->get_sizeof()) { tables().buffer->create(m_view.data()); }
    ~BufferState() {
        if (info.acquired) {
            tables().buffer->release(m_view.data());
        }
    }
    BufferState(const BufferState&) = delete;
    BufferState& operator=(const BufferState&) = delete;
    void* view() { return m_view.data(); }
    PyBytesArg info{0, -1, nullptr};

 private:
    std::vector<std::byte> m_view;
};

}  // namespace

void throw_failed_access(int status, std::string_view doing_what) {
    throw_python_error(doing_what, status == -2 ? "ArgumentOutOfRangeException" : "PythonException");
}

PythonElements::PythonElements(const VariantArg& arg, const ElementType& element, Unmeasured)
    : m_object(static_cast<PyObject*>(arg.value)), m_element(&element), m_is_list(arg.tag == kHandlePyObject) {
    assert(arg.tag == kHandlePyObject || arg.tag == kHandlePySequence);
    m_typed = typed_slot(element, m_is_list);
}

PythonElements::PythonElements(const VariantArg& arg, const ElementType& element)
    : PythonElements(arg, element, Unmeasured()) {
    const PyUcolCallbacks& ucol = *tables().ucol;
    const int64_t size = m_is_list ? ucol.list_longlength(m_object) : ucol.sequence_longlength(m_object);
    if (size < 0) {
        throw_python_error("Reading the length of the sequence");
    }
    if (size > INT_MAX) {
        throw ManagedException("OverflowException", "The sequence has too many elements.");
    }
    m_size = static_cast<size_t>(size);
}

Value PythonElements::read_one(const VariantArg& arg, const ElementType& element, size_t index) {
    return PythonElements(arg, element, Unmeasured()).read(index);
}

// Calls the typed slot. The result is the reference that a sequence's element is kept by, none for a list's.
template <class T>
PyHeld PythonElements::fetch(size_t index, T* out) const {
    PyObject* owner = nullptr;
    const int at = static_cast<int>(index);
    const int status =
        m_is_list ? reinterpret_cast<int (*)(PyObject*, int, T*)>(m_typed)(m_object, at, out)
                  : reinterpret_cast<int (*)(PyObject*, int, PyObject**, T*)>(m_typed)(m_object, at, &owner, out);
    if (status < 0) {
        throw_failed_access(status, reading(index));
    }
    return PyHeld::steal(owner);
}

template <class T>
T PythonElements::read_number(size_t index) const {
    T value{};
    const PyHeld owner = fetch(index, &value);
    return value;
}

// A byte array has its buffer locked while it is copied.
Value PythonElements::read_bytes_element(size_t index) const {
    BufferState state;
    PyObject* owner = nullptr;
    const int at = static_cast<int>(index);
    const int status = m_is_list ? reinterpret_cast<int (*)(PyObject*, int, PyBytesArg*, void*)>(m_typed)(
                                       m_object, at, &state.info, state.view())
                                 : reinterpret_cast<int (*)(PyObject*, int, PyObject**, PyBytesArg*, void*)>(m_typed)(
                                       m_object, at, &owner, &state.info, state.view());
    if (status < 0) {
        throw_failed_access(status, reading(index));
    }
    const PyHeld held = PyHeld::steal(owner);
    if (state.info.length < 0) {
        return Ref<ManagedObject>();
    }
    const auto* data = static_cast<const std::byte*>(state.info.data);
    return Bytes(data, data + state.info.length);
}

Value PythonElements::read_variant_element(size_t index) const {
    VariantArg element{};
    const int at = static_cast<int>(index);
    if (m_typed != nullptr) {
        const PyHeld owner = fetch(index, &element);
        return read_variant(&element);
    }
    const int status =
        m_is_list ? tables().olist->get_item(m_object, at, &element) : tables().oseq->get_item(m_object, at, &element);
    if (status < 0) {
        throw_failed_access(status, reading(index));
    }
    const bool python = element.tag == kVariantNull || element.tag >= kVariantString;
    auto* object = python ? static_cast<PyObject*>(element.value) : nullptr;
    // A list lends its element, and reading it may run code that takes it out of the list. A sequence's element comes
    // with a reference; behind a handle there is no Python object to give it back to.
    const PyHeld owner = m_is_list && object != nullptr ? PyHeld::borrow(object) : PyHeld::steal(object);
    return read_variant(&element);
}

Value PythonElements::read(size_t index) const {
    if (m_typed == nullptr) {
        return read_variant_element(index);
    }
    switch (m_element->wire) {
        case Wire::kString: {
            PyStringArg text{-1, 0, nullptr};
            const PyHeld owner = fetch(index, &text);
            auto read = read_string(text);
            if (!read) {
                return Ref<ManagedObject>();
            }
            return std::move(*read);
        }
        case Wire::kBytes:
            return read_bytes_element(index);
        case Wire::kClass: {
            void* handle = nullptr;
            const PyHeld owner = fetch(index, &handle);
            return Ref<ManagedObject>(object_of(handle));
        }
        case Wire::kStruct: {
            VariantArg arg{};
            const PyHeld owner = fetch(index, &arg);
            const auto object = read_object(&arg);
            return object ? object->copy() : object;
        }
        case Wire::kInterface: {
            VariantArg arg{};
            const PyHeld owner = fetch(index, &arg);
            return Value(read_object(&arg));
        }
        case Wire::kCollection: {
            VariantArg arg{};
            const PyHeld owner = fetch(index, &arg);
            // Reading the inner list may run code that takes it out of the outer one, which only lends it.
            const bool python = arg.tag == kHandlePyObject || arg.tag == kHandlePySequence;
            const PyHeld inner = python ? PyHeld::borrow(static_cast<PyObject*>(arg.value)) : PyHeld();
            return Value(Ref<ManagedObject>(read_list(&arg, *m_element->inner())));
        }
        default:
            return read_variant_element(index);
    }
}

template <class T>
void PythonElements::fill(ManagedList& list) const {
    auto& numbers = dynamic_cast<ScalarList<T>&>(list);
    if (!m_is_list) {
        for (size_t i = 0; i < m_size; ++i) {
            numbers.items[i] = read_number<T>(i);
        }
        return;
    }
    // A list lends its elements: there is nothing to give back in between.
    const auto get = reinterpret_cast<int (*)(PyObject*, int, T*)>(m_typed);
    for (size_t i = 0; i < m_size; ++i) {
        const int status = get(m_object, static_cast<int>(i), &numbers.items[i]);
        if (status < 0) {
            throw_failed_access(status, reading(i));
        }
    }
}

bool PythonElements::read_into(ManagedList& list) const {
    if (m_typed == nullptr) {
        return false;
    }
    switch (m_element->wire) {
        case Wire::kInt8:
            fill<int8_t>(list);
            break;
        case Wire::kInt16:
            fill<int16_t>(list);
            break;
        case Wire::kUInt16:
            fill<uint16_t>(list);
            break;
        case Wire::kInt32:
            fill<int32_t>(list);
            break;
        case Wire::kUInt32:
            fill<uint32_t>(list);
            break;
        case Wire::kInt64:
            fill<int64_t>(list);
            break;
        case Wire::kUInt64:
            fill<uint64_t>(list);
            break;
        case Wire::kSingle:
            fill<float>(list);
            break;
        case Wire::kDouble:
            fill<double>(list);
            break;
        default:
            return false;
    }
    return true;
}

namespace {

template <class T>
const ElementType& scalar_element() {
    constexpr bool is_signed = std::is_signed_v<T>;
    if constexpr (std::is_same_v<T, float>) {
        return element_of(Wire::kSingle);
    } else if constexpr (std::is_same_v<T, double>) {
        return element_of(Wire::kDouble);
    } else if constexpr (sizeof(T) == 2) {
        return element_of(is_signed ? Wire::kInt16 : Wire::kUInt16, is_signed ? "System.Int16" : "System.UInt16");
    } else if constexpr (sizeof(T) == 4) {
        return element_of(is_signed ? Wire::kInt32 : Wire::kUInt32, is_signed ? "System.Int32" : "System.UInt32");
    } else {
        return element_of(is_signed ? Wire::kInt64 : Wire::kUInt64, is_signed ? "System.Int64" : "System.UInt64");
    }
}

template <class T>
std::vector<T> items_of(const ManagedList& list) {
    if (const auto* same = dynamic_cast<const ScalarList<T>*>(&list); same != nullptr) {
        return same->items;
    }
    throw_invalid_cast(list.type().full_name, std::string(scalar_element<T>().name) + "[]");
}

}  // namespace

std::vector<Value> read_elements(const VariantArg* arg, const ElementType& element, const char* parameter) {
    const auto list = read_list(arg, element);
    if (!list) {
        throw_argument_null(parameter);
    }
    std::vector<Value> values;
    values.reserve(list->size());
    for (size_t i = 0; i < list->size(); ++i) {
        values.push_back(list->get(i));
    }
    return values;
}

template <class T>
std::vector<T> read_array(const VariantArg* arg, const char* parameter) {
    if (arg->tag == kHandleObject || arg->tag == kHandleStruct) {
        const auto* list = target_or_null<ManagedList>(arg->value);
        if (list == nullptr) {
            throw_argument_null(parameter);
        }
        return items_of<T>(*list);
    }
    return items_of<T>(*read_list(arg, scalar_element<T>()));
}

template <class T>
Ref<ManagedList> make_array(std::vector<T> items) {
    return make_ref<ScalarList<T>>(ListShape::kArray, scalar_element<T>(), std::move(items));
}

template std::vector<int16_t> read_array<int16_t>(const VariantArg*, const char*);
template std::vector<uint16_t> read_array<uint16_t>(const VariantArg*, const char*);
template std::vector<int32_t> read_array<int32_t>(const VariantArg*, const char*);
template std::vector<uint32_t> read_array<uint32_t>(const VariantArg*, const char*);
template std::vector<int64_t> read_array<int64_t>(const VariantArg*, const char*);
template std::vector<float> read_array<float>(const VariantArg*, const char*);
template std::vector<double> read_array<double>(const VariantArg*, const char*);
template Ref<ManagedList> make_array<int32_t>(std::vector<int32_t>);
template Ref<ManagedList> make_array<int64_t>(std::vector<int64_t>);
template Ref<ManagedList> make_array<float>(std::vector<float>);
template Ref<ManagedList> make_array<double>(std::vector<double>);
template Ref<ManagedList> make_array<uint16_t>(std::vector<uint16_t>);
template Ref<ManagedList> make_array<int16_t>(std::vector<int16_t>);
template Ref<ManagedList> make_array<uint32_t>(std::vector<uint32_t>);
template Ref<ManagedList> make_array<uint64_t>(std::vector<uint64_t>);

}  // namespace zelmor::embed

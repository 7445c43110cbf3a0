// Collection arguments: what a Python object or a handle becomes, by the type that the member names.
#include "runtime/native/collections/python_elements.h"
#include "runtime/native/collections/python_proxies.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/marshal.h"

namespace zelmor::embed {

namespace {

// Lists in lists are read one within the other; one that holds itself would never end.
class NestingGuard {
 public:
    NestingGuard() {
        if (depth >= kDeepest) {
            throw_argument("The list is nested too deeply, or holds itself.");
        }
        ++depth;
    }
    ~NestingGuard() { --depth; }
    NestingGuard(const NestingGuard&) = delete;
    NestingGuard& operator=(const NestingGuard&) = delete;

 private:
    static constexpr int kDeepest = 100;
    // Each thread reads lists of its own: a `__len__` or `__getitem__` in one lets the others in.
    static inline constinit thread_local int depth = 0;
};

Ref<ManagedList> copied(const VariantArg& arg, ListShape shape, const ElementType& element) {
    const NestingGuard guard;
    const PythonElements elements(arg, element);
    auto list = make_list(shape, element, elements.size());
    if (elements.read_into(*list)) {
        return list;
    }
    for (size_t i = 0; i < elements.size(); ++i) {
        list->set(i, elements.read(i));
    }
    return list;
}

bool is_reference(const ElementType& element) {
    return element.wire == Wire::kString || element.wire == Wire::kBytes || element.wire == Wire::kClass ||
           element.wire == Wire::kInterface || element.wire == Wire::kCollection || element.wire == Wire::kObject;
}

const char* name_of(CollectionShape shape) {
    switch (shape) {
        case CollectionShape::kArray:
            return "a typed array";
        case CollectionShape::kList:
            return "System.Collections.Generic.List`1";
        case CollectionShape::kIList:
            return "System.Collections.IList";
        case CollectionShape::kICollection:
            return "System.Collections.ICollection";
        case CollectionShape::kIEnumerable:
            return "System.Collections.IEnumerable";
        case CollectionShape::kIEnumerator:
            return "System.Collections.IEnumerator";
        case CollectionShape::kSystemArray:
            return "System.Array";
        case CollectionShape::kArrayList:
            return "System.Collections.ArrayList";
        case CollectionShape::kNone:
            break;
    }
    return "a collection";
}

Ref<ManagedObject> from_python(const VariantArg& arg, CollectionShape shape, const ElementType& element) {
    const bool is_sequence = arg.tag == kHandlePySequence;
    const auto held = [&] { return PyHeld::borrow(static_cast<PyObject*>(arg.value)); };
    switch (shape) {
        case CollectionShape::kArray:
        case CollectionShape::kSystemArray:
            return copied(arg, ListShape::kArray, element);
        case CollectionShape::kList:
            return copied(arg, ListShape::kList, element);
        case CollectionShape::kArrayList:
            return copied(arg, ListShape::kArrayList, element);
        case CollectionShape::kIList:
            return make_ref<PythonList>(held(), !is_sequence);
        case CollectionShape::kICollection:
            return make_ref<PythonCollection>(held());
        case CollectionShape::kIEnumerable:
            return make_ref<PythonEnumerable>(held());
        case CollectionShape::kIEnumerator:
            return make_ref<PythonEnumerator>(held());
        case CollectionShape::kNone:
            break;
    }
    throw_argument("A Python object was given for something that is no collection.");
}

}  // namespace

bool fits_collection(CollectionShape shape, const ElementType& element, const ManagedObject& object) {
    const bool any = element.wire == Wire::kObject;
    const auto* list = dynamic_cast<const ManagedList*>(&object);
    // An array of references counts as an array of objects.
    const bool same = list != nullptr && (&list->element() == &element || (any && is_reference(list->element())));
    const auto* enumerable = dynamic_cast<const ManagedEnumerable*>(&object);
    const bool yields = enumerable != nullptr && (any || &enumerable->element() == &element);
    switch (shape) {
        case CollectionShape::kArray:
            return same && list->shape() == ListShape::kArray;
        case CollectionShape::kList:
            return list != nullptr && &list->element() == &element && list->shape() == ListShape::kList;
        case CollectionShape::kSystemArray:
            return list != nullptr && list->shape() == ListShape::kArray;
        case CollectionShape::kArrayList:
            return list != nullptr && list->shape() == ListShape::kArrayList;
        case CollectionShape::kIList:
            return yields && list != nullptr && list->shape() != ListShape::kReadOnlyCollectionBase;
        case CollectionShape::kICollection:
            return yields && dynamic_cast<const ManagedCollection*>(&object) != nullptr;
        case CollectionShape::kIEnumerable:
            return yields;
        case CollectionShape::kIEnumerator: {
            const auto* enumerator = dynamic_cast<const ManagedEnumerator*>(&object);
            return enumerator != nullptr && (any || &enumerator->element() == &element);
        }
        case CollectionShape::kNone:
            break;
    }
    return false;
}

Ref<ManagedObject> read_collection(const VariantArg* arg, CollectionShape shape, const ElementType& element) {
    if (arg->tag == kHandlePyObject || arg->tag == kHandlePySequence) {
        return from_python(*arg, shape, element);
    }
    Ref<ManagedObject> object = read_object(arg);
    if (object && !fits_collection(shape, element, *object)) {
        const bool typed = shape == CollectionShape::kArray || shape == CollectionShape::kList;
        const ListShape made = shape == CollectionShape::kArray ? ListShape::kArray : ListShape::kList;
        throw_invalid_cast(object->type().full_name,
                           typed ? make_list(made, element)->type().full_name : name_of(shape));
    }
    return object;
}

Ref<ManagedList> read_list(const VariantArg* arg, const ElementType& element) {
    auto object = read_collection(arg, CollectionShape::kArray, element);
    return object ? Ref<ManagedList>(&cast_object<ManagedList>(*object)) : nullptr;
}

Ref<ManagedList> read_variant_list(const VariantArg* arg) {
    const bool is_list = arg->tag == kVariantList;
    return copied({is_list ? kHandlePyObject : kHandlePySequence, arg->value},
                  is_list ? ListShape::kArrayList : ListShape::kArray, variant_element());
}

}  // namespace zelmor::embed

// The service classes of collections, enumerators, disposables and streams: "Zelmor.WrpGen.Interop.SiApi<Kind>" over
// elements of any type and "Zelmor.WrpGen.Generic.SiApi<Kind>_<element>" over elements of one.
#ifndef ZELMOR_RUNTIME_NATIVE_COLLECTIONS_SERVICES_H
#define ZELMOR_RUNTIME_NATIVE_COLLECTIONS_SERVICES_H

#include <string_view>

#include "runtime/native/collections/collection.h"
#include "runtime/native/core/entry.h"

namespace zelmor::embed {

enum class ServiceKind {
    kDisposable,
    kEnumerator,
    kEnumerable,
    kCollection,  // ICollection
    kList,        // IList
    kArray,
    kArrayList,  // ArrayList, or List<T>
    kCollectionBase,
    kReadOnlyCollectionBase,
    kStream,
};

// One service class.
struct ServiceClass {
    ServiceKind kind;
    const ElementType* element;  // of a typed class; the variant element for the others
    bool typed;
};

// The service class with this managed name; nothing for another name.
std::optional<ServiceClass> find_service_class(std::string_view managed_name);

// The delegate of one of its entry points; a null address for a name that the class does not have.
EntryPoint make_service_delegate(const ServiceClass& service, std::string_view entry, Assembly assembly);

// Whether an object may stand for the kind.
bool fits_service(const ServiceClass& service, const ManagedObject& object);
// The managed type that the kind stands for.
const TypeInfo& type_of_service(const ServiceClass& service);

// A running call of a service entry point.
class CallFrame;
struct ServiceCall {
    const ServiceClass& service;
    CallFrame& frame;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_COLLECTIONS_SERVICES_H

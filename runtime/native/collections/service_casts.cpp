// The casts of the service classes, by what a kind accepts.
#include "runtime/native/collections/collection.h"
#include "runtime/native/collections/list_services.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/marshal.h"
#include "runtime/native/core/stream.h"

namespace zelmor::embed {

namespace {

Ref<ManagedObject> source_of(ServiceCall& call) {
    if (call.frame.signature()[1] == 'V') {
        const auto* arg = call.frame.argument<const VariantArg*>(0);
        return arg->tag > kHandleStruct ? nullptr : read_object(arg);
    }
    return Ref<ManagedObject>(object_of(call.frame.argument<Handle>(0)));
}

void type_of(ServiceCall& call) {
    *call.frame.argument<Handle*>(0) = make_handle(type_object(type_of_service(call.service)));
    call.frame.set_result<int32_t>(1);
}

void cast_to(ServiceCall& call) {
    call.frame.fails_with(kCastFailed);
    auto object = source_of(call);
    const bool made = !object || fits_service(call.service, *object);
    if (made) {
        *call.frame.argument<Handle*>(1) = make_handle(std::move(object));
    }
    call.frame.set_result<int32_t>(made ? kCastMade : kCastImpossible);
}

void cast_as(ServiceCall& call) {
    call.frame.fails_with(kCastFailed);
    auto object = source_of(call);
    const bool made = object && fits_service(call.service, *object);
    if (made) {
        *call.frame.argument<Handle*>(1) = make_handle(std::move(object));
    }
    call.frame.set_result<int32_t>(made ? kCastMade : kCastImpossible);
}

void is_assignable_to(ServiceCall& call) {
    const auto object = source_of(call);
    call.frame.set_result<int32_t>(object && fits_service(call.service, *object) ? 1 : 0);
}

void reinterpret(ServiceCall& call) {
    Ref<ManagedObject> object(&require_object(call.frame.argument<Handle>(0)));
    if (!fits_service(call.service, *object)) {
        throw_invalid_cast(object->type().full_name, type_of_service(call.service).full_name);
    }
    *call.frame.argument<Handle*>(1) = make_handle(std::move(object));
    call.frame.set_result<int32_t>(1);
}

// A stands for a handle where the kind tests references alone, and for a tagged argument elsewhere.
constexpr ServiceOperation kCastOperations[] = {
    {"btp_TypeOf", "ir", type_of},
    {"btp_CastTo", "iVr", cast_to},
    {"btp_ReInterpretObj", "ipr", reinterpret},
    {"btp_CastAs", "iDr", cast_as},
    {"btp_IsAssignable", "iA", is_assignable_to},
};

}  // namespace

std::span<const ServiceOperation> cast_operations() {
    return kCastOperations;
}

bool fits_service(const ServiceClass& service, const ManagedObject& object) {
    const auto fits = [&](CollectionShape shape) { return fits_collection(shape, *service.element, object); };
    const auto* list = dynamic_cast<const ManagedList*>(&object);
    switch (service.kind) {
        case ServiceKind::kDisposable:
            return is_assignable(disposable_type(), object.type()) ||
                   dynamic_cast<const ManagedStream*>(&object) != nullptr ||
                   dynamic_cast<const ManagedEnumerator*>(&object) != nullptr;
        case ServiceKind::kEnumerator:
            return fits(CollectionShape::kIEnumerator);
        case ServiceKind::kEnumerable:
            return fits(CollectionShape::kIEnumerable);
        case ServiceKind::kCollection:
            return fits(CollectionShape::kICollection);
        case ServiceKind::kList:
            return fits(CollectionShape::kIList);
        case ServiceKind::kArray:
            return fits(service.typed ? CollectionShape::kArray : CollectionShape::kSystemArray);
        case ServiceKind::kArrayList:
            return fits(service.typed ? CollectionShape::kList : CollectionShape::kArrayList);
        case ServiceKind::kCollectionBase:
            return list != nullptr && list->shape() == ListShape::kCollectionBase;
        case ServiceKind::kReadOnlyCollectionBase:
            return list != nullptr && list->shape() == ListShape::kReadOnlyCollectionBase;
        case ServiceKind::kStream:
            return dynamic_cast<const ManagedStream*>(&object) != nullptr;
    }
    return false;
}

const TypeInfo& type_of_service(const ServiceClass& service) {
    const auto interface = [&](const char* name) -> const TypeInfo& {
        std::string full = std::string("System.Collections.") + (service.typed ? "Generic." : "") + name;
        if (service.typed) {
            full += std::string("`1[") + service.element->name + "]";
        }
        return intern_type(full, TypeKind::kInterface);
    };
    switch (service.kind) {
        case ServiceKind::kDisposable:
            return disposable_type();
        case ServiceKind::kEnumerator:
            return interface("IEnumerator");
        case ServiceKind::kEnumerable:
            return interface("IEnumerable");
        case ServiceKind::kCollection:
            return interface("ICollection");
        case ServiceKind::kList:
            return interface("IList");
        case ServiceKind::kArray:
            return service.typed ? make_list(ListShape::kArray, *service.element)->type() : intern_type("System.Array");
        case ServiceKind::kArrayList:
            return make_list(service.typed ? ListShape::kList : ListShape::kArrayList, *service.element)->type();
        case ServiceKind::kCollectionBase:
            return intern_type("System.Collections.CollectionBase");
        case ServiceKind::kReadOnlyCollectionBase:
            return intern_type("System.Collections.ReadOnlyCollectionBase");
        case ServiceKind::kStream:
            return intern_type("System.IO.Stream");
    }
    return object_type();
}

}  // namespace zelmor::embed

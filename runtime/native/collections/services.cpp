// Which service classes there are, which entry points each has, and their delegates.
#include "runtime/native/collections/services.h"

#include <algorithm>
#include <memory>

#include "runtime/native/collections/element_values.h"
#include "runtime/native/collections/list_services.h"
#include "runtime/native/collections/number_services.h"

namespace zelmor::embed {

namespace {

constexpr std::string_view kInteropPrefix = "Zelmor.WrpGen.Interop.SiApi";
constexpr std::string_view kGenericPrefix = "Zelmor.WrpGen.Generic.SiApi";

struct KindName {
    std::string_view name;
    ServiceKind kind;
};
constexpr KindName kInteropKinds[] = {
    {"Disposable", ServiceKind::kDisposable},
    {"Enumerator", ServiceKind::kEnumerator},
    {"Enumerable", ServiceKind::kEnumerable},
    {"CntCollection", ServiceKind::kCollection},
    {"CntList", ServiceKind::kList},
    {"Array", ServiceKind::kArray},
    {"ArrayList", ServiceKind::kArrayList},
    {"CollectionBase", ServiceKind::kCollectionBase},
    {"ReadOnlyCollectionBase", ServiceKind::kReadOnlyCollectionBase},
    {"Stream", ServiceKind::kStream},
};
constexpr KindName kGenericKinds[] = {
    {"Enumerator", ServiceKind::kEnumerator},
    {"Enumerable", ServiceKind::kEnumerable},
    {"CntCollection", ServiceKind::kCollection},
    {"CntList", ServiceKind::kList},
    {"Array", ServiceKind::kArray},
    {"List", ServiceKind::kArrayList},
};

// The entry points of each kind, as names parted by blanks. The spelling of the unchecked store differs on purpose.
constexpr std::string_view kFourCasts = " btp_IsAssignable btp_TypeOf btp_CastTo btp_CastAs ";
constexpr std::string_view kFiveCasts = " btp_IsAssignable btp_TypeOf btp_CastTo btp_ReInterpretObj btp_CastAs ";
constexpr std::string_view kArrayNames =
    " SqLength SqContains SqGetItem SqGetItemNoCheck SqSetItem SqSetItemNoChek MpSetItems Reverse Sort IndexBy "
    "CountOf ";
constexpr std::string_view kArrayListNames =
    " SqLength Add Remove Clear SqContains SqGetItem SqGetItemNoCheck SqSetItem SqSetItemNoChek Insert RemoveAt Pop "
    "SqInplaceConcat SqInplaceRepeat MpSetItems MpRemoveItems Reverse Sort IndexBy CountOf EnsureCapacity ";
constexpr std::string_view kFromSequence = " CreateInstanceFromPyList CreateInstanceFromPySequence ";
constexpr std::string_view kStreamNames =
    " CanRead CanSeek CanWrite Length Position Close Flush Read Seek SetLength Write ";

struct Names {
    ServiceKind kind;
    bool typed;
    std::string_view lists[3];
};
constexpr Names kNames[] = {
    {ServiceKind::kDisposable, false, {kFourCasts}},
    {ServiceKind::kEnumerator, false, {" MoveNext ", kFourCasts}},
    {ServiceKind::kEnumerable, false, {" GetEnumerator CreateInstanceFromPyIterable ", kFourCasts}},
    {ServiceKind::kCollection,
     false,
     {" SqLength SqContains CountOf CreateInstanceFromPyList CreateInstanceFromPyIterable ", kFourCasts}},
    {ServiceKind::kList,
     false,
     {" SqGetItem SqGetItemNoCheck SqSetItem SqSetItemNoCheck Add Insert Remove RemoveAt Pop Clear SqInplaceConcat "
      "SqInplaceRepeat MpSetItems MpRemoveItems Reverse Sort IndexBy SqContains CountOf ",
      kFromSequence, kFourCasts}},
    {ServiceKind::kArray, false, {kArrayNames, kFromSequence, kFiveCasts}},
    {ServiceKind::kArrayList, false, {kArrayListNames, kFromSequence, kFiveCasts}},
    {ServiceKind::kCollectionBase, false, {kFromSequence, kFiveCasts}},
    {ServiceKind::kReadOnlyCollectionBase, false, {kFromSequence, kFiveCasts}},
    {ServiceKind::kStream, false, {kStreamNames, kFiveCasts}},
    {ServiceKind::kEnumerator, true, {" MoveNext ", kFourCasts}},
    {ServiceKind::kEnumerable, true, {" GetEnumerator ", kFourCasts}},
    {ServiceKind::kCollection,
     true,
     {" SqLength Add Remove Clear SqInplaceConcat SqInplaceRepeat SqContains CountOf "}},
    {ServiceKind::kList,
     true,
     {" SqGetItem SqGetItemNoCheck SqSetItem SqSetItemNoChek Insert RemoveAt Pop SqInplaceConcat SqInplaceRepeat "
      "MpSetItems MpRemoveItems Reverse Sort IndexBy CountOf ",
      kFourCasts}},
    {ServiceKind::kArray, true, {kArrayNames, kFiveCasts}},
    {ServiceKind::kArrayList, true, {kArrayListNames, kFiveCasts}},
};

bool has_entry(const ServiceClass& service, std::string_view entry) {
    const std::string blanked = ' ' + std::string(entry) + ' ';
    for (const Names& names : kNames) {
        if (names.kind != service.kind || names.typed != service.typed) {
            continue;
        }
        for (const std::string_view list : names.lists) {
            if (list.find(blanked) != std::string_view::npos) {
                return true;
            }
        }
    }
    return false;
}

std::optional<ServiceKind> find_kind(std::span<const KindName> kinds, std::string_view name) {
    for (const KindName& kind : kinds) {
        if (kind.name == name) {
            return kind.kind;
        }
    }
    return std::nullopt;
}

// Arrays and other classes test a bare reference; interfaces and streams' casts take a tagged argument.
bool is_interface(const ServiceClass& service) {
    return service.kind <= ServiceKind::kList;
}

std::string signature_of(const ServiceOperation& operation, const ServiceClass& service) {
    std::string signature;
    char trailing = '\0';
    for (const char* code = operation.signature; *code; ++code) {
        switch (*code) {
            case 'E':
                signature += element_argument_code(*service.element);
                break;
            case 'N':
                signature += element_result_code(*service.element);
                trailing = element_trailing_code(*service.element);
                break;
            case 'A':  // assignability
                signature += is_interface(service) ? 'V' : 'p';
                break;
            case 'D':  // `as`: the typed arrays and lists alone take a bare reference
                signature += service.typed && !is_interface(service) ? 'p' : 'V';
                break;
            default:
                signature += *code;
        }
    }
    return trailing ? signature + trailing : signature;
}

struct ServiceContext {
    ServiceClass service;
    const ServiceOperation* operation;
    std::string signature;
};

void run(void* context, CallFrame& frame) {
    const auto& entry = *static_cast<const ServiceContext*>(context);
    ServiceCall call{entry.service, frame};
    entry.operation->run(call);
}

const ServiceOperation* find_operation(std::string_view entry) {
    for (const auto operations : {list_operations(), stream_operations(), cast_operations()}) {
        for (const ServiceOperation& operation : operations) {
            if (entry == operation.name) {
                return &operation;
            }
        }
    }
    return nullptr;
}

}  // namespace

std::optional<ServiceClass> find_service_class(std::string_view managed_name) {
    if (managed_name.starts_with(kInteropPrefix)) {
        const auto kind = find_kind(kInteropKinds, managed_name.substr(kInteropPrefix.size()));
        if (!kind) {
            return std::nullopt;
        }
        return ServiceClass{*kind, &variant_element(), false};
    }
    if (!managed_name.starts_with(kGenericPrefix)) {
        return std::nullopt;
    }
    const std::string_view rest = managed_name.substr(kGenericPrefix.size());
    const size_t bar = rest.find('_');
    if (bar == std::string_view::npos) {
        return std::nullopt;
    }
    const auto kind = find_kind(kGenericKinds, rest.substr(0, bar));
    const ElementType* element = find_element(rest.substr(bar + 1));
    if (!kind || element == nullptr) {
        return std::nullopt;
    }
    return ServiceClass{*kind, element, true};
}

EntryPoint make_service_delegate(const ServiceClass& service, std::string_view entry, Assembly assembly) {
    if (!has_entry(service, entry)) {
        return {nullptr, nullptr};
    }
    // The typed functions work with the callbacks of the one assembly that has typed collections.
    if (service.typed && assembly == Assembly::kImaging) {
        const EntryPoint typed = number_service(service, entry);
        if (typed.address != nullptr) {
            return typed;
        }
    }
    const ServiceOperation* operation = find_operation(entry);
    if (operation == nullptr) {
        return {nullptr, nullptr};
    }
    auto context = std::make_shared<ServiceContext>();
    context->service = service;
    context->operation = operation;
    context->signature = signature_of(*operation, service);
    const char* signature = context->signature.c_str();
    return {signature, make_delegate(signature, assembly, run, std::move(context))};
}

}  // namespace zelmor::embed

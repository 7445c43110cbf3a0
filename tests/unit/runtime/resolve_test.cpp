// Finding delegates by assembly, type and method.
#include "runtime/native/delegates/resolve.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "exchange/wire/entry_points.h"
#include "fake_python.h"
#include "runtime/native/core/type_system.h"

namespace zelmor::embed {
namespace {

constexpr const char* kImaging = "WrpInterop.Zelmor.Imaging";
constexpr const char* kAssemblies[] = {"WrpInterop.Zelmor.PyGc",         "WrpInterop.Zelmor.PyCore",
                                       "WrpInterop.Zelmor.PyReflection", "WrpInterop.Zelmor.PyIo",
                                       "WrpInterop.Zelmor.PyDrawing",    kImaging};

class ResolveTest : public test::RuntimeTest {};

TEST_F(ResolveTest, EveryEntryPointOfTheCatalogueHasADelegate) {
    for (const TypeInfo& type : types()) {
        for (const EntryInfo& entry : type.entries) {
            const Delegate made = resolve_delegate(type.assembly, type.host_class, entry.name);
            ASSERT_EQ(made.status, kOk) << type.full_name << "::" << entry.name;
            EXPECT_NE(made.address, nullptr);
            EXPECT_STREQ(made.signature, entry.signature) << type.full_name << "::" << entry.name;
        }
    }
}

TEST_F(ResolveTest, TheSameEntryPointHasTheSameAddress) {
    const TypeInfo& type = require_type("Zelmor.Imaging.LoadOptions");
    const auto ask = [&] { return resolve_delegate(kImaging, type.host_class, "get_BufferSizeHint").address; };
    EXPECT_EQ(ask(), ask());
}

TEST_F(ResolveTest, EachAssemblyHasItsServiceClasses) {
    std::set<void*> addresses;
    for (const char* assembly : kAssemblies) {
        for (const char* method : kExchangeHostEntryPoints) {
            EXPECT_EQ(resolve_delegate(assembly, kExchangeHostType, method).status, kOk) << assembly << " " << method;
        }
        for (const char* method : kObjectHostEntryPoints) {
            EXPECT_EQ(resolve_delegate(assembly, kObjectHostType, method).status, kOk) << assembly << " " << method;
        }
        addresses.insert(resolve_delegate(assembly, kExchangeHostType, "SetExceptionCallback").address);
    }
    EXPECT_EQ(addresses.size(), std::size(kAssemblies)) << "callbacks are kept per assembly";
}

TEST_F(ResolveTest, AMissingEntryPointHasAStatus) {
    const TypeInfo& type = require_type("Zelmor.Imaging.LoadOptions");
    EXPECT_EQ(resolve_delegate("Some.Other", kExchangeHostType, "InitServices").status, kAssemblyNotFound);
    EXPECT_EQ(resolve_delegate(kImaging, "WrpNs_Zelmor.WrpCs_None_00000000", "get_X").status, kTypeNotFound);
    EXPECT_EQ(resolve_delegate("WrpInterop.Zelmor.PyIo", type.host_class, "get_BufferSizeHint").status, kTypeNotFound);
    EXPECT_EQ(resolve_delegate(kImaging, type.host_class, "get_NoSuch").status, kMethodNotFound);
    EXPECT_EQ(resolve_delegate(kImaging, kExchangeHostType, "NoSuch").status, kMethodNotFound);
    EXPECT_EQ(resolve_delegate(kImaging, "Zelmor.WrpGen.Interop.SiApiNothing", "MoveNext").status, kTypeNotFound);
    EXPECT_EQ(resolve_delegate(kImaging, "Zelmor.WrpGen.Generic.SiApiArray_00000000", "SqLength").status,
              kTypeNotFound);
}

// The names of each interop class as its caller binds them, in order.
TEST_F(ResolveTest, TheInteropClassesHaveTheirEntryPointsAndNoOthers) {
    struct Class {
        const char* name;
        std::vector<const char*> present;
        std::vector<const char*> absent;
    };
    const std::vector<const char*> four = {"btp_IsAssignable", "btp_TypeOf", "btp_CastTo", "btp_CastAs"};
    const Class classes[] = {
        {"Disposable", {}, {"btp_ReInterpretObj", "MoveNext"}},
        {"Enumerator", {"MoveNext"}, {"GetEnumerator"}},
        {"Enumerable", {"GetEnumerator", "CreateInstanceFromPyIterable"}, {"SqLength"}},
        {"CntCollection",
         {"SqLength", "SqContains", "CountOf", "CreateInstanceFromPyList", "CreateInstanceFromPyIterable"},
         {"Add", "btp_ReInterpretObj"}},
        {"CntList",
         {"SqGetItem", "SqSetItemNoCheck", "MpRemoveItems", "Pop", "IndexBy"},
         {"SqSetItemNoChek", "SqLength"}},
        {"Array", {"SqLength", "SqSetItemNoChek", "MpSetItems", "btp_ReInterpretObj"}, {"SqSetItemNoCheck", "Add"}},
        {"ArrayList",
         {"EnsureCapacity", "MpRemoveItems", "SqSetItemNoChek", "btp_ReInterpretObj"},
         {"SqSetItemNoCheck"}},
        {"CollectionBase", {"CreateInstanceFromPyList", "CreateInstanceFromPySequence", "btp_ReInterpretObj"}, {"Add"}},
        {"ReadOnlyCollectionBase", {"CreateInstanceFromPyList", "btp_ReInterpretObj"}, {"SqLength"}},
        {"Stream", {"CanRead", "Length", "Position", "SetLength", "Write", "btp_ReInterpretObj"}, {"SqLength"}},
    };
    for (const Class& each : classes) {
        const std::string type = std::string("Zelmor.WrpGen.Interop.SiApi") + each.name;
        const auto status = [&](const char* method) { return resolve_delegate(kImaging, type.c_str(), method).status; };
        for (const char* method : four) {
            EXPECT_EQ(status(method), kOk) << type << " " << method;
        }
        for (const char* method : each.present) {
            EXPECT_EQ(status(method), kOk) << type << " " << method;
        }
        for (const char* method : each.absent) {
            EXPECT_EQ(status(method), kMethodNotFound) << type << " " << method;
        }
    }
}

}  // namespace
}  // namespace zelmor::embed

// The exchange host's and the object host's entry points, called as the module calls them.
#include <gtest/gtest.h>

#include <memory>

#include "exchange/wire/entry_points.h"
#include "fake_python.h"
#include "runtime/native/core/records.h"
#include "runtime/native/core/values.h"

namespace zelmor::embed {
namespace {

constexpr const char* kImaging = "WrpInterop.Zelmor.Imaging";

class HostsTest : public test::RuntimeTest {
 protected:
    template <class R, class... Args>
    static R service(const char* type, const char* method, Args... args) {
        return reinterpret_cast<R (*)(Args...)>(resolve_delegate(kImaging, type, method).address)(args...);
    }
};

TEST_F(HostsTest, TypeNamesComeThroughTheBuilder) {
    test::Owned size(make_struct_handle(SizeValue{}));
    const std::unique_ptr<std::u16string> name(service<std::u16string*>(kExchangeHostType, "GetTypeName", size.get()));
    EXPECT_EQ(*name, u"Zelmor.Imaging.Size");
    EXPECT_EQ(service<void*>(kExchangeHostType, "GetTypeName", static_cast<void*>(nullptr)), nullptr);
    EXPECT_EQ(test::take_raised().name, "NullReferenceException");
}

TEST_F(HostsTest, HandlesAreGivenBackOnce) {
    Handle handle = make_struct_handle(SizeValue{});
    service<void>(kExchangeHostType, "FreeInstance", handle);
    service<void>(kExchangeHostType, "FreeInstance", handle);
    const auto raised = test::take_raised();
    EXPECT_EQ(raised.name, "InvalidOperationException");
    EXPECT_NE(raised.detail.find("not live"), std::string::npos);
    service<void>(kExchangeHostType, "FreeInstance", static_cast<void*>(nullptr));
}

TEST_F(HostsTest, PendingArgumentsAreGivenBack) {
    VariantArg args[] = {{0, make_handle(make_instance("Zelmor.Imaging.LoadOptions"))},
                         {1, make_struct_handle(SizeValue{})},
                         {2, reinterpret_cast<void*>(0x1234)},
                         {0, nullptr}};
    service<void>(kExchangeHostType, "FreePendingArgs", static_cast<VariantArg*>(args), 4);
}

TEST_F(HostsTest, ABoxOfAStructIsItsOwnHandle) {
    test::Owned size(make_struct_handle(SizeValue{}));
    EXPECT_EQ(service<void*>(kExchangeHostType, "BoxStcTarget", size.get()), size.get());
}

TEST_F(HostsTest, ServicesAreRefusedWhileACallbackIsMissing) {
    service<void>(kExchangeHostType, "InitServices");
    const auto bytes = callbacks_of(Assembly::kImaging).py_bytes;
    service<void>(kExchangeHostType, "SetPyBytesBuilderCallback", static_cast<void*>(nullptr));
    service<void>(kExchangeHostType, "InitServices");
    EXPECT_EQ(test::take_raised().name, "InvalidOperationException");
    service<void>(kExchangeHostType, "SetPyBytesBuilderCallback", reinterpret_cast<void*>(bytes));
    service<void>(kExchangeHostType, "InitServices");
}

TEST_F(HostsTest, TextHashAndEqualityOfValues) {
    test::Owned a(make_struct_handle(SizeValue{3, 4}));
    test::Owned b(make_struct_handle(SizeValue{3, 4}));
    test::Owned c(make_struct_handle(SizeValue{4, 3}));
    void* text = nullptr;
    EXPECT_EQ(service<int>(kObjectHostType, "ToStringOfStc", a.get(), &text), 1);
    EXPECT_EQ(test::text_of_object(static_cast<PyObject*>(text)), u"{Width=3, Height=4}");
    const auto hash = [&](const test::Owned& x) { return service<int>(kObjectHostType, "GetHashOfStc", x.get()); };
    EXPECT_EQ(hash(a), hash(b));
    EXPECT_NE(hash(a), hash(c));
    const auto equal = [&](const test::Owned& x, VariantArg y) {
        return service<int>(kObjectHostType, "IsEqualsOfStc", x.get(), &y);
    };
    EXPECT_EQ(equal(a, b.struct_arg()), 1);
    EXPECT_EQ(equal(a, c.struct_arg()), 0);
    EXPECT_EQ(equal(a, VariantArg{0, nullptr}), 0);
}

TEST_F(HostsTest, ObjectsAreEqualByIdentity) {
    const auto object = make_instance("Zelmor.Imaging.LoadOptions");
    test::Owned a(make_handle(object));
    test::Owned b(make_handle(object));
    test::Owned other(make_handle(make_instance("Zelmor.Imaging.LoadOptions")));
    const VariantArg same = b.object_arg(), different = other.object_arg();
    EXPECT_EQ(service<int>(kObjectHostType, "IsEqualsOfObj", a.get(), &same), 1);
    EXPECT_EQ(service<int>(kObjectHostType, "IsEqualsOfObj", a.get(), &different), 0);
    const int hash = service<int>(kObjectHostType, "GetHashOfObj", a.get());
    EXPECT_EQ(service<int>(kObjectHostType, "GetHashOfObj", b.get()), hash);
    EXPECT_NE(service<int>(kObjectHostType, "GetHashOfObj", other.get()), hash);
}

TEST_F(HostsTest, TheTypeIsTheRunTimeType) {
    test::Owned size(make_struct_handle(SizeValue{}));
    void* type = nullptr;
    EXPECT_EQ(service<int>(kObjectHostType, "GetStcType", size.get(), &type), 1);
    test::Owned owned(type);
    EXPECT_EQ(&target<TypeObject>(type).described(), &require_type("Zelmor.Imaging.Size"));
    const VariantArg arg = owned.object_arg();
    EXPECT_EQ(service<int>(kObjectHostType, "IsTypeOf", size.get(), &arg), 1);
}

TEST_F(HostsTest, DisposalMarksTheObject) {
    test::Owned options(make_handle(make_instance("Zelmor.Imaging.ImageOptions.PngOptions")));
    const auto disposed = [&] {
        return test::call<bool>("Zelmor.Imaging.DisposableObject", "get_Disposed", options.get());
    };
    EXPECT_FALSE(disposed());
    service<void>(kObjectHostType, "Dispose", options.get());
    service<void>(kObjectHostType, "Dispose", options.get());
    EXPECT_TRUE(disposed());
    EXPECT_THROW(object_of(options.get())->require_live(), ManagedException);

    test::Owned size(make_struct_handle(SizeValue{}));
    service<void>(kObjectHostType, "Dispose", size.get());
    EXPECT_EQ(test::take_raised().name, "InvalidCastException");
}

}  // namespace
}  // namespace zelmor::embed

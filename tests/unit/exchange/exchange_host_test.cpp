// The service channel binds its fifteen delegates in their order and passes everything on unchanged.
#include "exchange/exchange_host.h"

#include "bridge_test.h"
#include "exchange/missing_method.h"
#include "exchange/wire/entry_points.h"

namespace {

constexpr const char* kAssembly = "WrpInterop.Zelmor.Imaging";

class ExchangeHostTest : public BridgeTest {
 protected:
    static void bind() { ASSERT_TRUE(ExchangeHost::get_instance().initialize(kAssembly)); }
};

void* pointer(intptr_t number) {
    return reinterpret_cast<void*>(number);
}

TEST_F(ExchangeHostTest, AMissingMethodIsNamedWithItsTypeAssemblyAndStatus) {
    EXPECT_EQ(missing_method_error_message("Some.Assembly", "Some.Type", "SomeMethod", -2146233070),
              "While initializing the host for the 'Some.Type (Assembly=Some.Assembly)' type, an error occurred - "
              "Method 'SomeMethod' not found (error=-2146233070)");
}

TEST_F(ExchangeHostTest, BindsInTheOrderOfTheManagedSide) {
    bind();
    const std::vector<std::string> expected = {
        "GetTypeName",
        "SetExceptionCallback",
        "SetCatchAndClearErrorCallback",
        "SetU16StrBuilderCallback",
        "SetPyUnraisableStrBuilderCallback",
        "SetPyStrBuilderCallback",
        "SetPyBytesBuilderCallback",
        "SetPyObjApiCallbacks",
        "SetPyStaticCallbacks",
        "SetPyGenericCallbacks",
        "FreePendingArgs",
        "FreeInstance",
        "FreeInstance",
        "InitServices",
        "BoxStcTarget",
    };
    EXPECT_EQ(methods_looked_up("Zelmor.WrpGen.Interop.ExchangeHost"), expected);
    EXPECT_EQ(runtime.lookups.front(), "WrpInterop.Zelmor.Imaging|Zelmor.WrpGen.Interop.ExchangeHost|GetTypeName");
    EXPECT_STREQ(ExchangeHost::get_instance().get_assembly_name(), kAssembly);
    EXPECT_TRUE(runtime.calls.empty());
}

TEST_F(ExchangeHostTest, TheLastMissingMethodIsNamed) {
    runtime.missing = {{"BoxStcTarget", 7}};
    EXPECT_FALSE(ExchangeHost::get_instance().initialize(kAssembly));
    EXPECT_EQ(ExchangeHost::get_instance().error_msg(),
              "While initializing the host for the 'Zelmor.WrpGen.Interop.ExchangeHost "
              "(Assembly=WrpInterop.Zelmor.Imaging)' type, an error occurred - Method 'BoxStcTarget' not found "
              "(error=7)");
    EXPECT_EQ(methods_looked_up(kExchangeHostType).size(), 15u);
    EXPECT_TRUE(runtime.calls.empty());
}

TEST_F(ExchangeHostTest, TheStringBuilderIsLookedForAfterTheUnraisableOne) {
    runtime.missing = {{"SetPyStrBuilderCallback", -1}};
    EXPECT_FALSE(ExchangeHost::get_instance().initialize(kAssembly));
    const auto asked = methods_looked_up(kExchangeHostType);
    ASSERT_EQ(asked.size(), 6u);
    EXPECT_EQ(asked[4], "SetPyUnraisableStrBuilderCallback");
    EXPECT_EQ(asked[5], "SetPyStrBuilderCallback");
}

TEST_F(ExchangeHostTest, AFailedInitializationCanBeRepeated) {
    runtime.missing = {{"InitServices", 1}};
    ExchangeHost& host = ExchangeHost::get_instance();
    EXPECT_FALSE(host.initialize("Other.Assembly"));
    EXPECT_NE(host.error_msg().find("'InitServices' not found (error=1)"), std::string::npos);
    runtime.missing = {{"GetTypeName", 2}};
    EXPECT_FALSE(host.initialize(kAssembly));
    EXPECT_NE(host.error_msg().find("'GetTypeName' not found (error=2)"), std::string::npos);
    runtime.missing = {};
    runtime.lookups.clear();
    EXPECT_TRUE(host.initialize(kAssembly));
    EXPECT_STREQ(host.get_assembly_name(), kAssembly);
}

TEST_F(ExchangeHostTest, ObjectAndStructHandlesAreGivenBackThroughTheirOwnSlot) {
    bind();
    ExchangeHost& host = ExchangeHost::get_instance();
    host.free_instance(pointer(11));
    host.free_struct(pointer(12));
    EXPECT_EQ(runtime.calls, (std::vector<std::string>{"FreeInstance of objects", "FreeInstance of structs"}));
    EXPECT_EQ(runtime.received["FreeInstance of objects"], pointer(11));
    EXPECT_EQ(runtime.received["FreeInstance of structs"], pointer(12));
}

TEST_F(ExchangeHostTest, OperationsPassTheirArgumentsOnAndAnswerWhatTheDelegateAnswers) {
    bind();
    ExchangeHost& host = ExchangeHost::get_instance();
    EXPECT_EQ(host.get_type_name(pointer(1)), pointer(2));
    EXPECT_EQ(host.box_stc_target(pointer(3)), pointer(4));
    host.set_py_str_builder_callback(pointer(5));
    host.set_py_unraisable_str_builder(pointer(6));
    EXPECT_EQ(runtime.received["SetPyStrBuilderCallback"], pointer(5));
    EXPECT_EQ(runtime.received["SetPyUnraisableStrBuilderCallback"], pointer(6));
    VariantArg args[2] = {};
    host.free_pending_args(args, 2);
    EXPECT_EQ(runtime.received["FreePendingArgs"], args);
    EXPECT_EQ(runtime.received_count, 2);
}

}  // namespace

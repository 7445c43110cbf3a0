// The object services are bound once per process, to the assembly of the service channel, and stay as they came out.
#include "exchange/object_host.h"

#include "bridge_test.h"
#include "exchange/exchange_host.h"
#include "in_child.h"

namespace {

constexpr const char* kObjectHost = "Zelmor.WrpGen.Interop.ObjectHost";

class ObjectHostTest : public BridgeTest {};

void* pointer(intptr_t number) {
    return reinterpret_cast<void*>(number);
}

void binds_in_field_order_and_once() {
    CHILD_CHECK(ExchangeHost::get_instance().initialize("WrpInterop.Zelmor.Imaging"));
    CHILD_CHECK(!ObjectHost::get_instance().is_not_valid());
    CHILD_CHECK(ObjectHost::get_instance().error_msg().empty());
    CHILD_CHECK(
        (methods_looked_up(kObjectHost) ==
         std::vector<std::string>{"ToStringOfObj", "ToStringOfStc", "GetHashOfObj", "GetHashOfStc", "IsEqualsOfObj",
                                  "IsEqualsOfStc", "IsTypeOf", "GetTypeName", "GetObjType", "GetStcType", "Dispose"}));
    CHILD_CHECK(runtime.lookups.back() == "WrpInterop.Zelmor.Imaging|Zelmor.WrpGen.Interop.ObjectHost|Dispose");
    ObjectHost::get_instance();
    CHILD_CHECK(methods_looked_up(kObjectHost).size() == 11);
}

TEST_F(ObjectHostTest, BindsInFieldOrderAndOnce) {
    RUN_IN_CHILD(binds_in_field_order_and_once);
}

void a_failed_binding_stops_and_stays() {
    runtime.missing = {{"GetStcType", 5}};
    CHILD_CHECK(ExchangeHost::get_instance().initialize("WrpInterop.Zelmor.Imaging"));
    const std::string message =
        "While initializing the host for the 'Zelmor.WrpGen.Interop.ObjectHost "
        "(Assembly=WrpInterop.Zelmor.Imaging)' type, an error occurred - Method 'GetStcType' not found (error=5)";
    CHILD_CHECK(ObjectHost::get_instance().is_not_valid());
    CHILD_CHECK(ObjectHost::get_instance().error_msg() == message);
    CHILD_CHECK(methods_looked_up(kObjectHost).size() == 10);
    CHILD_CHECK(methods_looked_up(kObjectHost).back() == "GetStcType");
    runtime.missing = {};
    CHILD_CHECK(ObjectHost::get_instance().is_not_valid());
    CHILD_CHECK(ObjectHost::get_instance().error_msg() == message);
    CHILD_CHECK(methods_looked_up(kObjectHost).size() == 10);
}

TEST_F(ObjectHostTest, AFailedBindingStopsAndStays) {
    RUN_IN_CHILD(a_failed_binding_stops_and_stays);
}

void each_operation_reaches_its_own_service() {
    CHILD_CHECK(ExchangeHost::get_instance().initialize("WrpInterop.Zelmor.Imaging"));
    const ObjectHost& host = ObjectHost::get_instance();
    void* out = nullptr;
    VariantArg other = {1, pointer(40)};
    CHILD_CHECK(host.to_string_of_obj(pointer(1), &out) == 1 && out == pointer(1));
    CHILD_CHECK(host.to_string_of_stc(pointer(2), &out) == 1 && out == pointer(2));
    CHILD_CHECK(host.get_hash_code_of_obj(pointer(3)) == 3);
    CHILD_CHECK(host.get_hash_code_of_stc(pointer(4)) == 4);
    CHILD_CHECK(host.equals_of_obj(pointer(5), &other) == 1);
    CHILD_CHECK(host.equals_of_stc(pointer(6), &other) == 1);
    CHILD_CHECK(host.is_type_of(pointer(7), &other) == 1);
    CHILD_CHECK(host.get_type_name(&other, &out) == 1 && out == pointer(40));
    CHILD_CHECK(host.get_obj_type(pointer(8), &out) == 1 && out == pointer(8));
    CHILD_CHECK(host.get_stc_type(pointer(9), &out) == 1 && out == pointer(9));
    host.dispose(pointer(10));
    CHILD_CHECK(runtime.received["Dispose"] == pointer(10));
    CHILD_CHECK(
        (runtime.calls == std::vector<std::string>{"ToStringOfObj", "ToStringOfStc", "GetHashOfObj", "GetHashOfStc",
                                                   "IsEqualsOfObj", "IsEqualsOfStc", "IsTypeOf",
                                                   "ObjectHost.GetTypeName", "GetObjType", "GetStcType", "Dispose"}));
}

TEST_F(ObjectHostTest, EachOperationReachesItsOwnService) {
    RUN_IN_CHILD(each_operation_reaches_its_own_service);
}

}  // namespace

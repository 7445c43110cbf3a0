// The boundary comes up in a fixed order, and a part that is missing becomes a TypeError that names it.
#include "exchange/start_up.h"

#include "bridge_test.h"
#include "exchange/callbacks.h"
#include "exchange/exception_bridge.h"
#include "exchange/u16_buffer.h"
#include "in_child.h"

using zelmor::PyRef;

namespace {

class StartUp : public BridgeTest {};

int start() {
    return initialize_clr_host("3.1", "WrpInterop.Zelmor.Imaging", false, "zelmor", "imaging");
}

template <class Function>
bool received(const char* method, Function* callback) {
    return runtime.received[method] == reinterpret_cast<void*>(callback);
}

bool pending(PyObject* type, const std::string& text) {
    const PyRef error = take_error();
    return error && reinterpret_cast<PyObject*>(Py_TYPE(error.get())) == type && text_of(error.get()) == text;
}

void hands_over_in_order() {
    CHILD_CHECK(start() == 0);
    CHILD_CHECK(PyErr_Occurred() == nullptr);
    CHILD_CHECK(
        (runtime.started_with == std::vector<std::string>{"3.1", "release", "zelmor", "imaging", "(null)", "(null)"}));
    CHILD_CHECK((runtime.calls == std::vector<std::string>{
                                      "SetExceptionCallback",
                                      "SetCatchAndClearErrorCallback",
                                      "SetU16StrBuilderCallback",
                                      "SetPyStrBuilderCallback",
                                      "SetPyUnraisableStrBuilderCallback",
                                      "SetPyObjApiCallbacks",
                                      "SetPyStaticCallbacks",
                                      "SetPyGenericCallbacks",
                                      "SetPyBytesBuilderCallback",
                                      "InitServices",
                                  }));
    // The object services are bound last.
    CHILD_CHECK(runtime.lookups.size() == 15 + 11);
    CHILD_CHECK(methods_looked_up("Zelmor.WrpGen.Interop.ObjectHost").size() == 11);
}

TEST_F(StartUp, HandsOverInOrder) {
    RUN_IN_CHILD(hands_over_in_order);
}

void hands_over_the_callbacks_themselves() {
    CHILD_CHECK(start() == 0);
    CHILD_CHECK(received("SetExceptionCallback", on_clr_exception));
    CHILD_CHECK(received("SetCatchAndClearErrorCallback", fn_catch_and_clear_py_error));
    CHILD_CHECK(received("SetU16StrBuilderCallback", fn_create_u16_buffer));
    CHILD_CHECK(received("SetPyStrBuilderCallback", fn_conv_clr_string_to_py_string));
    CHILD_CHECK(received("SetPyUnraisableStrBuilderCallback", fn_conv_clr_string_to_py_unraisable));
    CHILD_CHECK(received("SetPyBytesBuilderCallback", fn_conv_clr_bytes_to_py_bytes));
    CHILD_CHECK(runtime.received["SetPyObjApiCallbacks"] == &m_py_obj_api_callbacks);
    CHILD_CHECK(runtime.received["SetPyStaticCallbacks"] == &m_all_py_wrapper_callbacks);
    CHILD_CHECK(runtime.received["SetPyGenericCallbacks"] == &m_all_py_generic_callbacks);
}

TEST_F(StartUp, HandsOverTheCallbacksThemselves) {
    RUN_IN_CHILD(hands_over_the_callbacks_themselves);
}

void a_missing_service_of_the_channel_hands_nothing_over() {
    runtime.missing = {{"BoxStcTarget", 3}};
    CHILD_CHECK(start() == -1);
    CHILD_CHECK(pending(PyExc_TypeError,
                        "While initializing the host for the 'Zelmor.WrpGen.Interop.ExchangeHost "
                        "(Assembly=WrpInterop.Zelmor.Imaging)' type, an error occurred - Method 'BoxStcTarget' not "
                        "found (error=3)"));
    CHILD_CHECK(runtime.calls.empty());
    CHILD_CHECK(methods_looked_up("Zelmor.WrpGen.Interop.ObjectHost").empty());
}

TEST_F(StartUp, AMissingServiceOfTheChannelHandsNothingOver) {
    RUN_IN_CHILD(a_missing_service_of_the_channel_hands_nothing_over);
}

void a_missing_object_service_is_reported_by_every_attempt() {
    const std::string message =
        "While initializing the host for the 'Zelmor.WrpGen.Interop.ObjectHost (Assembly=WrpInterop.Zelmor.Imaging)' "
        "type, an error occurred - Method 'Dispose' not found (error=-4)";
    runtime.missing = {{"Dispose", -4}};
    CHILD_CHECK(start() == -1);
    CHILD_CHECK(pending(PyExc_TypeError, message));
    CHILD_CHECK(runtime.calls.back() == "InitServices");
    // The channel is bound again, the object services are not.
    runtime.missing = {};
    CHILD_CHECK(start() == -1);
    CHILD_CHECK(pending(PyExc_TypeError, message));
    CHILD_CHECK(runtime.lookups.size() == 15 + 11 + 15);
}

TEST_F(StartUp, AMissingObjectServiceIsReportedByEveryAttempt) {
    RUN_IN_CHILD(a_missing_object_service_is_reported_by_every_attempt);
}

void a_managed_failure_while_services_are_built_ends_the_start() {
    runtime.during_init_services = [] {
        on_clr_exception(PyUnicode_FromString("InvalidOperationException"), PyUnicode_FromString("no services"));
    };
    CHILD_CHECK(start() == -1);
    CHILD_CHECK(pending(PyExc_RuntimeError, "Proxy error(InvalidOperationException): no services"));
    CHILD_CHECK(methods_looked_up("Zelmor.WrpGen.Interop.ObjectHost").empty());
}

TEST_F(StartUp, AManagedFailureWhileServicesAreBuiltEndsTheStart) {
    RUN_IN_CHILD(a_managed_failure_while_services_are_built_ends_the_start);
}

}  // namespace

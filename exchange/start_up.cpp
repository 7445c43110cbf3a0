// The order in which the boundary comes up.
#include "exchange/start_up.h"

#include <cassert>

#include "exchange/callbacks.h"
#include "exchange/exception_bridge.h"
#include "exchange/exchange_host.h"
#include "exchange/object_host.h"
#include "exchange/u16_buffer.h"
#include "host/host_environment.h"
#include "pyshell/python.h"

namespace {

template <class Function>
void* callback(Function* function) {
    return reinterpret_cast<void*>(function);
}

}  // namespace

int initialize_clr_host(std::string version, const char* assembly, bool debug, std::string suffix,
                        std::string product) {
    assert(PyGILState_Check() && PyErr_Occurred() == nullptr);
    assert(assembly != nullptr);
    HostEnvironment::instance(version.c_str(), debug, suffix.c_str(), product.c_str(), nullptr, nullptr);

    ExchangeHost& exchange = ExchangeHost::get_instance();
    if (!exchange.initialize(assembly)) {
        PyErr_SetString(PyExc_TypeError, exchange.error_msg().c_str());
        return -1;
    }

    // The exception callback comes first: it reports a failure of a later step. The services come last: they may use
    // every callback.
    exchange.set_exception_callback(callback(on_clr_exception));
    exchange.set_catch_and_clear_error_callback(callback(fn_catch_and_clear_py_error));
    exchange.set_u16_bytes_builder_callback(callback(fn_create_u16_buffer));
    exchange.set_py_str_builder_callback(callback(fn_conv_clr_string_to_py_string));
    exchange.set_py_unraisable_str_builder(callback(fn_conv_clr_string_to_py_unraisable));
    exchange.set_py_obj_api_callbacks(get_py_obj_api_callbacks());
    exchange.set_py_static_callbacks(get_all_py_wrapper_callbacks());
    exchange.set_py_generic_callbacks(get_all_pygn_generic_callbacks());
    exchange.set_py_bytes_builder_callback(callback(fn_conv_clr_bytes_to_py_bytes));
    exchange.init_services();
    if (PyErr_Occurred() != nullptr) {
        return -1;
    }

    const ObjectHost& objects = ObjectHost::get_instance();
    if (objects.is_not_valid()) {
        PyErr_SetString(PyExc_TypeError, objects.error_msg().c_str());
        return -1;
    }
    return 0;
}

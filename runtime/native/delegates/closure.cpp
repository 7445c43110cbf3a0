// Delegates over libffi that run inside the exception boundary.
#include "runtime/native/delegates/closure.h"

#include <memory>
#include <vector>

#include "runtime/native/core/boundary.h"

namespace zelmor::embed {

namespace {

struct Closure {
    const char* signature;
    Assembly assembly;
    ClosureHandler handler;
    std::shared_ptr<void> context;
};

// All closures there are, for all threads: they are made under the interpreter lock and never change. What libffi keeps
// of them lies in memory that no leak checker looks at.
std::vector<std::unique_ptr<Closure>>& closures() {
    static auto& all = *new std::vector<std::unique_ptr<Closure>>;
    return all;
}

void run_guarded(ffi_cif*, void* result, void** arguments, void* user) noexcept {
    const auto& closure = *static_cast<const Closure*>(user);
    CallFrame frame(closure.signature, result, arguments);
    AssemblyScope scope(closure.assembly);
    frame.set_zero_result();
    try {
        closure.handler(closure.context.get(), frame);
    } catch (...) {
        frame.set_failed_result();
        report_current_exception();
    }
}

}  // namespace

void* make_delegate(const char* signature, Assembly assembly, ClosureHandler handler, std::shared_ptr<void> context) {
    closures().push_back(std::make_unique<Closure>(Closure{signature, assembly, handler, std::move(context)}));
    return make_native_function(signature, run_guarded, closures().back().get());
}

}  // namespace zelmor::embed

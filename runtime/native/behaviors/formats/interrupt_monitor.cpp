// InterruptMonitor: a flag that one thread raises and another one asks for, and the monitor of each thread. The image
// work of this runtime runs to its end: it does not ask.
#include <unordered_map>

#include "generated/runtime/Zelmor.Imaging.MultiThreading.h"
#include "runtime/native/core/defaults.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/records.h"

namespace zelmor::embed {

namespace {

constexpr const char* kMonitor = "Zelmor.Imaging.MultiThreading.InterruptMonitor";

constexpr DefaultValue kDefaults[] = {
    {kMonitor, "IsInterrupted", false},
};
const DefaultTable defaults(kDefaults);

void interrupt(Record& self) {
    set_property(self, "IsInterrupted", true);
}

// The monitors are looked after here and not in thread-local storage: a thread ends without the lock that objects need
// to be let go of. A thread's number is never given again.
std::unordered_map<uint64_t, Ref<ManagedObject>>& monitors() {
    // Shared by all threads, as each has an entry of its own: no callback runs while the map is looked at.
    static auto& all = *new std::unordered_map<uint64_t, Ref<ManagedObject>>;
    return all;
}
uint64_t this_thread() {
    static uint64_t given = 0;  // counts on for all threads, under the interpreter lock
    thread_local const uint64_t number = ++given;
    return number;
}

Interface get_instance() {
    const auto found = monitors().find(this_thread());
    return {found == monitors().end() ? nullptr : found->second};
}
void set_instance(const VariantArg* value) {
    static const TypeInfo& declared = require_type("Zelmor.Imaging.MultiThreading.IInterruptMonitor");
    if (auto monitor = read_object(value, declared)) {
        monitors()[this_thread()] = std::move(monitor);
    } else {
        monitors().erase(this_thread());
    }
}

using InterruptMonitorApi = api::MultiThreading::InterruptMonitor;

const BehaviorTable table({
    behavior<&interrupt, InterruptMonitorApi::call_000_Interrupt>(),
    behavior<&get_instance, InterruptMonitorApi::getsa_ThreadLocalInstance>(),
    behavior<&set_instance, InterruptMonitorApi::setsa_ThreadLocalInstance>(),
});

}  // namespace

}  // namespace zelmor::embed

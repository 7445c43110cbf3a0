// InterruptMonitor: a flag that one thread sets and another one reads, and the monitor of each thread; see
// interrupt_monitor.h.
#include "runtime/native/behaviors/formats/interrupt_monitor.h"

#include <unordered_map>

#include "generated/runtime/Zelmor.Imaging.MultiThreading.h"
#include "runtime/native/core/defaults.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {

namespace {

using Monitor = api::MultiThreading::InterruptMonitor;

constexpr DefaultValue kMonitorDefaults[] = {
    {Monitor::property_IsInterrupted, false},
};
const DefaultTable ZELMOR_UNNAMED(kMonitorDefaults);

void interrupt(Record& self) {
    set_property(self, "IsInterrupted", true);
}

// The monitors are kept here and not in thread-local storage: a thread ends without the interpreter lock, which is
// needed to release objects. A thread's number is never used again.
std::unordered_map<uint64_t, Ref<ManagedObject>>& monitors() {
    // Shared by all threads; each has an entry of its own, and no callback runs during a search.
    static auto& all = *new std::unordered_map<uint64_t, Ref<ManagedObject>>;
    return all;
}
uint64_t this_thread() {
    static uint64_t given = 0;  // counts on for all threads, under the interpreter lock
    thread_local const uint64_t number = ++given;
    return number;
}

void require_not_set(const ManagedObject& monitor) {
    if (has_property(monitor, "IsInterrupted") && property_bool(monitor, "IsInterrupted")) {
        throw ManagedException("OperationInterruptedException", "The operation was interrupted by its monitor.");
    }
}

Interface get_instance() {
    const auto found = monitors().find(this_thread());
    return {found == monitors().end() ? nullptr : found->second};
}
void set_instance(const VariantArg* value) {
    static const TypeInfo& declared = require_type(api::MultiThreading::IInterruptMonitor::kType.name);
    if (auto monitor = read_object(value, declared)) {
        monitors()[this_thread()] = std::move(monitor);
    } else {
        monitors().erase(this_thread());
    }
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&interrupt, Monitor::call_000_Interrupt>(),
    behavior<&get_instance, Monitor::getsa_ThreadLocalInstance>(),
    behavior<&set_instance, Monitor::setsa_ThreadLocalInstance>(),
});

}  // namespace

void require_uninterrupted() {
    const auto found = monitors().find(this_thread());
    if (found != monitors().end()) {
        require_not_set(*found->second);
    }
}

void require_uninterrupted(const Record& image) {
    require_uninterrupted();
    const Ref<ManagedObject> own =
        has_property(image, "InterruptMonitor") ? property_object(image, "InterruptMonitor") : nullptr;
    if (own) {
        require_not_set(*own);
    }
}

}  // namespace zelmor::embed

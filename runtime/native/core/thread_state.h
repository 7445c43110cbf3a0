// The state of the calls that are running on one thread.
//
// Every entry point runs under the interpreter lock, but a callback may run Python code, which may release that lock:
// other threads then enter and leave entry points before the callback returns. State that is set for the length of a
// call is therefore thread-local; state that all threads share is written once, or is consistent whenever a callback
// runs.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_THREAD_STATE_H
#define ZELMOR_RUNTIME_NATIVE_CORE_THREAD_STATE_H

namespace zelmor::embed {

struct Callbacks;
struct WaitingReference;
class ManagedObject;

struct ThreadState {
    // Of the entry point that is running; null outside of any.
    Callbacks* callbacks = nullptr;
    // Objects whose last count is gone, in the order in which they wait for their end (object.cpp).
    const ManagedObject* first_ended = nullptr;
    const ManagedObject* last_ended = nullptr;
    bool ending = false;
    // References to Python objects that those held (callbacks.cpp).
    WaitingReference* first_reference = nullptr;
    WaitingReference* last_reference = nullptr;
    bool releasing = false;
};

extern constinit thread_local ThreadState thread_state;

// Gives back the references to Python objects that wait, unless that is under way further up.
void release_waiting_references(ThreadState& state) noexcept;

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_THREAD_STATE_H

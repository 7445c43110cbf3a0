// What belongs to the calls of one thread.
//
// Every entry point runs under the interpreter lock, but a callback may run Python code, and that lets other threads
// in: they enter and leave entry points of their own before the callback returns. So whatever is set for the length of
// a call is kept for each thread; what all threads share is either written once or whole between two callbacks.
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

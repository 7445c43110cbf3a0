// Work on a thread of the runtime's own.
//
// The thread touches plain data only: it has not the interpreter lock, and counts of references are not for several
// threads. Everything that concerns managed objects is done by the thread of a call, before and after. Signals go to
// the other threads of the process.
#ifndef ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_BACKGROUND_WORK_H
#define ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_BACKGROUND_WORK_H

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <memory>

namespace zelmor::embed {

class BackgroundWork {
 public:
    // The work calls the function that it gets from time to time; once stop() was called, that throws an exception
    // which ends the work.
    using Work = std::function<void(const std::function<void()>& checkpoint)>;

    explicit BackgroundWork(Work work);
    // Stops the work and waits for its end.
    ~BackgroundWork();
    BackgroundWork(const BackgroundWork&) = delete;
    BackgroundWork& operator=(const BackgroundWork&) = delete;

    // Asks the work to end at its next checkpoint.
    void stop() noexcept;
    // Waits for the end, no longer than the time given; whether it is reached. A forked process has not the threads of
    // its parent: there the work has ended, by a failure.
    bool wait(std::chrono::milliseconds most) const;
    bool is_done() const { return wait(std::chrono::milliseconds(0)); }
    // Once it is done: whether stop() ended it.
    bool was_stopped() const;
    // Once it is done: throws the exception that it ended with, if any.
    void rethrow() const;

 private:
    struct Shared;
    bool is_of_parent() const;

    std::shared_ptr<Shared> m_shared;
    pid_t m_process;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_BEHAVIORS_MASKING_BACKGROUND_WORK_H

// Asynchronous tasks: a separation on a thread of the runtime's own.
//
// run_async() takes what the work needs from the image and the options, and starts a thread with it. The thread works
// on these data only. What it found becomes a result in the next call that asks for it, on the thread of that call; so
// do failures, and interruption by monitors is looked at while a call waits.
#include "runtime/native/behaviors/masking/masking_task.h"

#include <optional>

#include "generated/runtime/Zelmor.Imaging.AsyncTask.h"
#include "generated/runtime/Zelmor.Imaging.Masking.h"
#include "runtime/native/behaviors/masking/background_work.h"
#include "runtime/native/core/entry.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/references.h"

namespace zelmor::embed {

namespace {

using MaskingTaskApi = api::Masking::IMaskingAsyncTask;
using TaskApi = api::AsyncTask::IAsyncTask;

class MaskingTask final : public ManagedObject {
 public:
    static constexpr const char* kManagedName = MaskingTaskApi::kType.name;
    MaskingTask(Ref<MaskingSession> session, Ref<Record> arguments)
        : ManagedObject(require_type(kManagedName)), m_session(std::move(session)), m_arguments(std::move(arguments)) {
        track();
    }

    void run() {
        require_live();
        if (m_state != State::kReady) {
            throw_invalid_operation(m_state == State::kCanceled ? "The task was canceled."
                                                                : "The task was run before.");
        }
        SegmentationTask task = m_session->begin(m_arguments.get());
        m_state = State::kRunning;
        auto found = std::make_shared<Segmentation>();
        m_found = found;
        m_work = std::make_unique<BackgroundWork>([found, task = std::move(task)](const Checkpoint& checkpoint) {
            checkpoint();
            if (task.pixels != nullptr) {
                *found = segment(task, checkpoint);
            }
        });
    }

    // The work may go on until its next checkpoint.
    void cancel() {
        require_live();
        if (m_state == State::kReady) {
            m_state = State::kCanceled;
        } else if (m_state == State::kRunning) {
            m_work->stop();
        }
    }
    // The same without a look at the work again: whatever it finds is lost.
    void abort() {
        cancel();
        if (m_state == State::kRunning) {
            m_state = State::kCanceled;
        }
    }

    void wait() {
        require_live();
        if (m_state == State::kReady) {
            throw_invalid_operation("The task was not run: nothing would end the waiting.");
        }
        constexpr std::chrono::milliseconds kBetweenLooks{10};
        while (m_state == State::kRunning && !m_work->wait(kBetweenLooks)) {
            try {
                require_uninterrupted(m_session->image());
            } catch (const ManagedException&) {
                abort();
                throw;
            }
        }
        settle();
    }

    bool is_busy() {
        settle();
        return m_state == State::kRunning;
    }
    bool is_canceled() {
        settle();
        return m_state == State::kCanceled;
    }
    bool is_faulted() {
        settle();
        return m_state == State::kFaulted;
    }
    Ref<ManagedObject> result() {
        settle();
        return m_result;
    }
    std::optional<std::string> error() {
        settle();
        return m_error ? std::optional(m_error->name() + ": " + m_error->detail()) : std::nullopt;
    }
    // The result of a task that has one; otherwise the exception that says why it has none.
    Ref<ManagedObject> required_result() {
        settle();
        switch (m_state) {
            case State::kReady:
                throw_invalid_operation("The task was not run.");
            case State::kRunning:
                throw_invalid_operation("The task is under way.");
            case State::kCanceled:
                throw ManagedException("OperationCanceledException", "The task was canceled.");
            case State::kFaulted:
                throw ManagedException(*m_error);
            case State::kDone:
                break;
        }
        return m_result;
    }

    void on_dispose() override {
        m_work.reset();
        m_found.reset();
        m_state = State::kCanceled;
        m_result = nullptr;
    }
    void references(ReferenceVisitor& visitor) override {
        visitor(m_session);
        visitor(m_arguments);
        visitor(m_result);
    }
    std::u16string to_text() const override { return u"Zelmor.Imaging.Masking.MaskingAsyncTask"; }

 private:
    enum class State { kReady, kRunning, kCanceled, kFaulted, kDone };

    // Takes over what the thread has found, once it has ended.
    void settle() {
        require_live();
        if (m_state != State::kRunning || !m_work->is_done()) {
            return;
        }
        const std::unique_ptr<BackgroundWork> work = std::move(m_work);
        try {
            work->rethrow();
            if (work->was_stopped()) {
                m_state = State::kCanceled;
                return;
            }
            m_result = m_session->finish(std::move(*m_found));
            m_state = State::kDone;
        } catch (const ManagedException& error) {
            fail(error);
        } catch (const std::bad_alloc&) {
            fail({"OutOfMemoryException", "The separation needs more memory than there is."});
        } catch (const std::exception& error) {
            fail({"InvalidOperationException", error.what()});
        }
    }
    void fail(const ManagedException& error) {
        m_error = error;
        m_state = State::kFaulted;
    }

    Ref<MaskingSession> m_session;
    Ref<Record> m_arguments;
    std::unique_ptr<BackgroundWork> m_work;
    std::shared_ptr<Segmentation> m_found;  // written by the thread, read once it has ended
    State m_state = State::kReady;
    Ref<ManagedObject> m_result;
    std::optional<ManagedException> m_error;
};

void run_async(MaskingTask& self) {
    self.run();
}
void cancel(MaskingTask& self) {
    self.cancel();
}
void abort_task(MaskingTask& self) {
    self.abort();
}
void wait_on_done(MaskingTask& self) {
    self.wait();
}
bool is_busy(MaskingTask& self) {
    return self.is_busy();
}
bool is_canceled(MaskingTask& self) {
    return self.is_canceled();
}
bool is_faulted(MaskingTask& self) {
    return self.is_faulted();
}
Value result(MaskingTask& self) {
    return self.result();
}
Ref<ManagedObject> get_masking_result(MaskingTask& self) {
    return self.required_result();
}
std::optional<std::string> get_error(MaskingTask& self) {
    return self.error();
}

const BehaviorTable ZELMOR_UNNAMED({
    behavior<&run_async, TaskApi::call_000_RunAsync>(),
    behavior<&cancel, TaskApi::call_000_Cancel>(),
    behavior<&abort_task, TaskApi::call_000_Abort>(),
    behavior<&wait_on_done, TaskApi::call_000_WaitOnDone>(),
    behavior<&is_busy, TaskApi::get_IsBusy>(),
    behavior<&is_canceled, TaskApi::get_IsCanceled>(),
    behavior<&is_faulted, TaskApi::get_IsFaulted>(),
    behavior<&result, TaskApi::get_Result>(),
    behavior<&get_masking_result, MaskingTaskApi::call_000_GetMaskingResult>(),
    behavior<&get_error, MaskingTaskApi::call_000_GetError>(),
});

}  // namespace

Ref<ManagedObject> make_masking_task(Ref<MaskingSession> session, Ref<Record> arguments) {
    return make_ref<MaskingTask>(std::move(session), std::move(arguments));
}

}  // namespace zelmor::embed

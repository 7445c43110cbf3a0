// Leaving a panic; see rsvg_calls.h.
#include "runtime/native/formats/svg/rsvg_calls.h"

#include <csetjmp>
#include <exception>
#include <thread>

#include "runtime/native/imagework/picture_error.h"

namespace zelmor::imagework {
namespace {

// Leaves the unwinding of a panic, as nothing may catch it. An exception of C++ goes on.
class WayOut {
 public:
    explicit WayOut(std::jmp_buf& place) : m_place(place) {}
    ~WayOut() {
        if (!m_done && std::uncaught_exceptions() == m_exceptions) {
            std::longjmp(m_place, 1);
        }
    }
    WayOut(const WayOut&) = delete;
    WayOut& operator=(const WayOut&) = delete;
    void done() { m_done = true; }

 private:
    std::jmp_buf& m_place;
    int m_exceptions = std::uncaught_exceptions();
    bool m_done = false;
};

// False if the calls end in a panic, whose object is never freed: freeing it is what ends the process.
[[gnu::noinline]] bool come_back(const std::function<void()>& calls) {
    std::jmp_buf place;
    if (setjmp(place) != 0) {
        return false;
    }
    WayOut way_out(place);
    calls();
    way_out.done();
    return true;
}

// A panic begins only where something will catch it, as far as the unwinder can see.
[[gnu::noinline]] bool come_back_from_panic(const std::function<void()>& calls) {
    try {
        return come_back(calls);
    } catch (...) {
        throw;
    }
}

// The library counts the panics of a thread, and this one has never ended: a second one would end the process.
thread_local bool t_has_panicked = false;

}  // namespace

void make_rsvg_calls(const std::function<void()>& calls) {
    bool came_back = false;
    if (!t_has_panicked) {
        came_back = come_back_from_panic(calls);
        t_has_panicked = !came_back;
    } else {
        std::exception_ptr error;
        std::thread([&] {
            try {
                came_back = come_back_from_panic(calls);
            } catch (...) {
                error = std::current_exception();
            }
        }).join();
        if (error != nullptr) {
            std::rethrow_exception(error);
        }
    }
    if (!came_back) {
        throw PictureError(Failure::kUnsupported, "the SVG document cannot be drawn: the drawing library fails");
    }
}

}  // namespace zelmor::imagework

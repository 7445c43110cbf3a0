// The lock of the interface; see turns.h.
#include "runtime/native/c_api/turns.h"

#include <cassert>
#include <mutex>
#include <utility>

namespace zelmor::embed {

namespace {

std::mutex& turn_lock() {
    static auto& lock = *new std::mutex;  // finalizers of the host may come when statics have ended
    return lock;
}
constinit thread_local int turn_depth = 0;

}  // namespace

Turn::Turn() {
    if (turn_depth == 0) {
        turn_lock().lock();
    }
    ++turn_depth;
}

Turn::~Turn() {
    if (--turn_depth == 0) {
        turn_lock().unlock();
    }
}

Pause::Pause() : m_depth(std::exchange(turn_depth, 0)) {
    assert(m_depth > 0);
    turn_lock().unlock();
}

Pause::~Pause() {
    turn_lock().lock();
    turn_depth = m_depth;
}

}  // namespace zelmor::embed

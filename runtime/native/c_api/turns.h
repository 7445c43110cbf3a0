// One thread at a time: the lock under which the interface works, in the place of the interpreter's lock.
//
// Nothing in the runtime is made for two threads at once. A turn may begin within another of the same thread, since the
// host's functions may call back. While such a function runs, the lock is let go of: it may have to wait for another
// thread, which may be waiting for its turn.
#ifndef ZELMOR_RUNTIME_NATIVE_C_API_TURNS_H
#define ZELMOR_RUNTIME_NATIVE_C_API_TURNS_H

namespace zelmor::embed {

class Turn {
 public:
    Turn();
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
};

// Between its begin and end this thread has no turn.
class Pause {
 public:
    Pause();
    ~Pause();
    Pause(const Pause&) = delete;
    Pause& operator=(const Pause&) = delete;

 private:
    int m_depth;
};

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_C_API_TURNS_H

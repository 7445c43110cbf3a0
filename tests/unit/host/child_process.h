// Runs a piece of a test in a forked child: for what ends a process, what is done once per process, and what writes
// to the standard streams.
#ifndef ZELMOR_TESTS_UNIT_HOST_CHILD_PROCESS_H
#define ZELMOR_TESTS_UNIT_HOST_CHILD_PROCESS_H

#include <functional>
#include <string>

struct ChildResult {
    int exit_code;  // -1 if the child was ended by a signal
    int signal;     // 0 if the child exited
    std::string out;
    std::string err;
};

/// The child runs `work` and then exits as main would, with static destructors. An exception ends it in terminate.
ChildResult run_in_child(const std::function<void()>& work);

#endif  // ZELMOR_TESTS_UNIT_HOST_CHILD_PROCESS_H

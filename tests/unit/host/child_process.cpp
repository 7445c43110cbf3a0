// Runs a piece of a test in a forked child, with both standard streams captured in files.
#include "tests/unit/host/child_process.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

#include "tests/unit/host/temp_directory.h"

namespace {

// Keeps an exception from reaching the test framework's own handler further up the stack.
void run_uncaught(const std::function<void()>& work) noexcept {
    work();
}

bool redirect(int descriptor, const std::string& path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    return file >= 0 && dup2(file, descriptor) == descriptor;
}

}  // namespace

ChildResult run_in_child(const std::function<void()>& work) {
    const TempDirectory streams;
    const std::string out = streams / "out";
    const std::string err = streams / "err";
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        if (!redirect(STDOUT_FILENO, out) || !redirect(STDERR_FILENO, err)) {
            _exit(125);
        }
        run_uncaught(work);
        std::exit(0);
    }
    EXPECT_GT(child, 0);
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, WIFSIGNALED(status) ? WTERMSIG(status) : 0,
            streams.read("out"), streams.read("err")};
}

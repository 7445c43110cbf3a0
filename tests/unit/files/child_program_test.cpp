// Programs in processes of their own: what they get, what comes back, and how they end.
#include "runtime/native/core/child_program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include "../support/in_child.h"
#include "runtime/native/core/child_limits.h"
#include "system_calls.h"

namespace zelmor::embed {
namespace {

using End = ChildResult::End;

// Whom the process has sent a signal.
std::vector<pid_t>& killed() {
    static std::vector<pid_t> processes;
    return processes;
}

// From beside the program of the tests, wherever that lies.
std::string system_program(const std::string& name) {
    std::string path;
    for (int i = 0; i < 32; i++) {
        path += "../";
    }
    return path + name;
}

std::span<const uint8_t> bytes_of(const std::string& text) {
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

std::string text_of(const ChildResult& result) {
    return {result.output.begin(), result.output.end()};
}

ChildResult shell(const std::string& script, const std::string& input = "", int seconds = 60,
                  size_t most_output = 1 << 24, const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments{"-c", script};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return run_child(system_program("bin/sh"), arguments, bytes_of(input), seconds, most_output);
}

class ChildPrograms : public ::testing::Test {
 protected:
    void SetUp() override { m_open = test::open_descriptors(); }
    void TearDown() override {
        EXPECT_EQ(test::open_descriptors(), m_open);
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);  // none is left, running or not waited for
        EXPECT_EQ(errno, ECHILD);
    }

 private:
    size_t m_open = 0;
};

TEST_F(ChildPrograms, TheEndIsTold) {
    for (const int code : {0, 1, 7, 127, 255}) {
        const ChildResult result = shell("exit " + std::to_string(code));
        EXPECT_EQ(result.end, End::kExited);
        EXPECT_EQ(result.code, code);
        EXPECT_EQ(text_of(result), "");
    }
    for (const int signal : {SIGTERM, SIGKILL, SIGSEGV}) {
        const ChildResult result = shell("printf before; kill -" + std::to_string(signal) + " $$");
        EXPECT_EQ(result.end, End::kSignaled);
        EXPECT_EQ(result.code, signal);
        EXPECT_EQ(text_of(result), "before");
    }
    EXPECT_EQ(run_child("no such program", {}, {}, 60, 100).end, End::kNotStarted);
    std::signal(SIGCHLD, SIG_IGN);  // nobody has to wait for processes, and nobody can
    const ChildResult unknown = shell("printf text");
    std::signal(SIGCHLD, SIG_DFL);
    EXPECT_EQ(unknown.end, End::kUnknown);
    EXPECT_EQ(text_of(unknown), "text");
}

TEST_F(ChildPrograms, BytesGoThroughBothWays) {
    std::string input;
    for (size_t i = 0; i < 3'000'000; i++) {
        input += static_cast<char>(i * i >> 3);
    }
    const ChildResult result = run_child(system_program("bin/cat"), {}, bytes_of(input), 60, input.size());
    EXPECT_EQ(result.end, End::kExited);
    EXPECT_TRUE(text_of(result) == input);
    EXPECT_EQ(text_of(shell("wc -c", input)), "3000000\n");
    EXPECT_EQ(text_of(shell("cat")), "");
    // One that wants nothing, or no more.
    EXPECT_EQ(text_of(shell("exec 0<&-; printf done", input)), "done");
    EXPECT_EQ(text_of(shell("head -c 3; exec 0<&-; printf done", "abc" + input)), "abcdone");
}

TEST_F(ChildPrograms, AProgramGetsNothingButItsArguments) {
    ASSERT_EQ(setenv("ZELMOR_CHILD_TEST", "1", 1), 0);
    EXPECT_EQ(text_of(run_child(system_program("usr/bin/env"), {}, {}, 60, 1000)), "");
    unsetenv("ZELMOR_CHILD_TEST");
    EXPECT_EQ(text_of(shell("printf '%s|' \"$0\" \"$@\"", "", 60, 1000, {"a", "b c", "", "d"})), "a|b c||d|");
    EXPECT_EQ(text_of(shell("printf lost >&2; readlink /proc/self/fd/2")), "/dev/null\n");
    const int inherited = ::dup2(STDERR_FILENO, 60);
    EXPECT_EQ(text_of(shell("ls /proc/self/fd")), "0\n1\n2\n3\n");  // the last is the folder that it lists
    ::close(inherited);
}

TEST_F(ChildPrograms, OneThatTakesOrGivesTooMuchIsEnded) {
    EXPECT_EQ(shell("head -c 100000 /dev/zero", "", 60, 100'000).end, End::kExited);
    EXPECT_EQ(shell("head -c 100000 /dev/zero; sleep 60", "", 60, 99'999).end, End::kTooMuch);
    EXPECT_EQ(shell("sleep 60", "", 0).end, End::kTimedOut);
}

// The number of a process that is over may soon be another's.
TEST_F(ChildPrograms, OnlyAProcessThatRunsIsEnded) {
    killed().clear();
    EXPECT_EQ(shell("exit 3").end, End::kExited);
    EXPECT_EQ(shell("kill -9 $$").end, End::kSignaled);
    EXPECT_EQ(run_child("no such program", {}, {}, 60, 100).end, End::kNotStarted);
    EXPECT_TRUE(killed().empty());
    EXPECT_EQ(shell("sleep 60", "", 0).end, End::kTimedOut);
    ASSERT_EQ(killed().size(), 1U);
    EXPECT_GT(killed()[0], 0);
}

TEST_F(ChildPrograms, WithoutDescriptorsNothingIsStarted) {
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const int lowest = ::dup(STDOUT_FILENO);
    ::close(lowest);
    // Two connections of two ends each, and for a moment two more.
    for (int more = 0; more <= 12; more++) {
        const rlimit few{static_cast<rlim_t>(lowest + more), before.rlim_max};
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
        const ChildResult result = shell("printf text");
        ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
        EXPECT_EQ(result.end, more < 6 ? End::kNotStarted : End::kExited) << more;
        EXPECT_EQ(text_of(result), more < 6 ? "" : "text");
    }
}

// New descriptors get the numbers of the standard streams then.
TEST_F(ChildPrograms, AProcessWithoutStandardStreamsStartsPrograms) {
    const pid_t process = fork();
    if (process == 0) {
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
            ::close(stream);
        }
        const ChildResult result = shell("cat; readlink /proc/self/fd/2", "text\n");
        std::_Exit(result.end == End::kExited && text_of(result) == "text\n/dev/null\n" ? 0 : 1);
    }
    int status = -1;
    ASSERT_EQ(waitpid(process, &status, 0), process);
    EXPECT_EQ(status, 0);
}

TEST_F(ChildPrograms, AProgramLimitsItself) {
    RUN_IN_CHILD([] {
        CHILD_CHECK(::dup2(STDERR_FILENO, 60) == 60);
        limit_process(77, uint64_t{3} << 30);
        const auto limited = [](auto resource, rlim_t most) {
            rlimit limit{};
            return getrlimit(resource, &limit) == 0 && limit.rlim_cur == most && limit.rlim_max == most;
        };
        CHILD_CHECK(limited(RLIMIT_CPU, 77));
#ifndef __SANITIZE_ADDRESS__
        CHILD_CHECK(limited(RLIMIT_AS, rlim_t{3} << 30));
#endif
        CHILD_CHECK(limited(RLIMIT_CORE, 0));
        CHILD_CHECK(limited(RLIMIT_FSIZE, 0));
        CHILD_CHECK(fcntl(60, F_GETFD) == -1 && fcntl(STDERR_FILENO + 1, F_GETFD) == -1);
        CHILD_CHECK(fcntl(STDERR_FILENO, F_GETFD) != -1);
    });
}

}  // namespace

void write_down_killed(pid_t process) {
    killed().push_back(process);
}
}  // namespace zelmor::embed

// In place of the C library's: nothing but a single process is ever ended, whatever goes wrong.
extern "C" int kill(pid_t process, int signal) {
    zelmor::embed::write_down_killed(process);
    if (process <= 0) {
        errno = ESRCH;
        return -1;
    }
    return static_cast<int>(syscall(SYS_kill, process, signal));
}

// Starting a program, and passing bytes to it and from it; see child_program.h.
#include "runtime/native/core/child_program.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>

namespace zelmor::embed {

namespace {

// Beside the shared object that this function is a part of.
std::string path_of(const std::string& program) {
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&path_of), &info) == 0 || info.dli_fname == nullptr) {
        return program;
    }
    const std::string path = info.dli_fname;
    return path.substr(0, path.rfind('/') + 1) + program;
}

class Socket {
 public:
    Socket() = default;
    explicit Socket(int number) : m_number(number) {}
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    ~Socket() { reset(); }
    int get() const { return m_number; }
    void reset(int number = -1) {
        if (m_number >= 0) {
            close(m_number);
        }
        m_number = number;
    }

 private:
    int m_number = -1;
};

// A copy of the descriptor that is no standard stream, or -1. Where the process has closed its standard streams, new
// descriptors get their numbers, which the child program needs for its own.
int above_standard_streams(int descriptor) {
    return fcntl(descriptor, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
}

// Two ends of a connection, none of which other programs inherit. A socket, since writing to a process that has ended
// is then an error and no signal.
bool connect(Socket& ours, Socket& theirs) {
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
        return false;
    }
    const Socket first(ends[0]), second(ends[1]);
    ours.reset(above_standard_streams(ends[0]));
    theirs.reset(above_standard_streams(ends[1]));
    return ours.get() >= 0 && theirs.get() >= 0;
}

// Ends the process, whatever happens, and waits for it.
class Child {
 public:
    explicit Child(pid_t process) : m_process(process) {}
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    ~Child() {
        if (!m_is_over) {
            kill(m_process, SIGKILL);
            wait();
        }
    }
    // The status, or -1 where somebody else waited for the process.
    int wait() {
        int status = -1;
        while (waitpid(m_process, &status, 0) < 0) {
            if (errno != EINTR) {
                status = -1;
                break;
            }
        }
        m_is_over = true;
        return status;
    }

 private:
    pid_t m_process;
    bool m_is_over = false;  // the number may be another process's then
};

// The process, or -1.
pid_t start(const std::string& program, const std::vector<std::string>& arguments, int input, int output) {
    const std::string path = path_of(program);
    std::vector<std::string> texts{path};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& text : texts) {
        pointers.push_back(text.data());
    }
    pointers.push_back(nullptr);
    char* no_environment[] = {nullptr};  // libraries take options from there
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    pid_t process = -1;
    const int failure = posix_spawn(&process, path.c_str(), &actions, nullptr, pointers.data(), no_environment);
    posix_spawn_file_actions_destroy(&actions);
    return failure == 0 ? process : -1;
}

}  // namespace

ChildResult run_child(const std::string& program, const std::vector<std::string>& arguments,
                      std::span<const uint8_t> input, int seconds, size_t most_output) {
    using Clock = std::chrono::steady_clock;
    ChildResult result;
    Socket ours_in, theirs_in, ours_out, theirs_out;
    const bool connected = connect(ours_in, theirs_in) && connect(ours_out, theirs_out);
    const pid_t process = connected ? start(program, arguments, theirs_in.get(), theirs_out.get()) : -1;
    if (process < 0) {
        result.end = ChildResult::End::kNotStarted;
        return result;
    }
    Child child(process);
    theirs_in.reset();
    theirs_out.reset();

    size_t sent = 0;
    const auto last_time = Clock::now() + std::chrono::seconds(seconds);
    while (true) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(last_time - Clock::now()).count();
        if (left <= 0) {
            result.end = ChildResult::End::kTimedOut;
            return result;
        }
        if (sent == input.size()) {
            ours_in.reset();
        }
        pollfd waiting[2] = {{ours_out.get(), POLLIN, 0}, {ours_in.get(), POLLOUT, 0}};
        if (poll(waiting, 2, static_cast<int>(left)) <= 0) {  // which passes over what is closed
            continue;                                         // a signal, or the time is over
        }
        if (waiting[1].revents != 0) {
            const ssize_t count =
                send(ours_in.get(), input.data() + sent, input.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
            if (count > 0) {
                sent += static_cast<size_t>(count);
            } else if (errno != EAGAIN && errno != EINTR) {
                ours_in.reset();  // the program wants no more
            }
        }
        if (waiting[0].revents != 0) {
            std::array<uint8_t, size_t{1} << 16> piece;
            const ssize_t count = recv(ours_out.get(), piece.data(), piece.size(), MSG_DONTWAIT);
            if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) {
                break;
            }
            if (count > 0) {
                result.output.insert(result.output.end(), piece.begin(), piece.begin() + count);
            }
            if (result.output.size() > most_output) {
                result.end = ChildResult::End::kTooMuch;
                return result;
            }
        }
    }
    const int status = child.wait();  // -1 is neither
    if (WIFEXITED(status)) {
        result.end = ChildResult::End::kExited;
        result.code = WEXITSTATUS(status);
    } else if (WIFSIGNALED(status)) {
        result.end = ChildResult::End::kSignaled;
        result.code = WTERMSIG(status);
    }
    return result;
}

}  // namespace zelmor::embed

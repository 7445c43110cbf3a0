// The calls; see system_calls.h.
#include "system_calls.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <filesystem>

namespace zelmor::embed::test {
namespace {

SystemCalls* recording = nullptr;

// The call of the C library, or of what stands before it in turn.
template <class Function>
Function* original(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

std::string label_of(int file) {
    const auto& open_files = recording->open_files;
    const auto found = open_files.find(file);
    return found != open_files.end() ? found->second : "?";
}

// The call, unless it is to fail. `told` says whether it is written down where it succeeds.
template <class Call>
auto called(const char* name, bool told, const std::string& what, Call call) -> decltype(call()) {
    const int failure = recording->failure(name);
    decltype(call()) result = -1;
    if (failure != 0) {
        errno = failure;
    } else {
        result = call();
    }
    const int error = errno;
    if (told || failure != 0) {
        recording->write_down(std::string(name) + " " + what, result < 0 ? error : 0);
    }
    errno = error;
    return result;
}

std::string words_of(int flags) {
    std::string words = (flags & O_ACCMODE) == O_RDONLY ? " r" : (flags & O_ACCMODE) == O_WRONLY ? " w" : " rw";
    const std::pair<int, const char*> kinds[] = {
        {O_TMPFILE, " nameless"}, {O_CREAT, " create"},        {O_EXCL, " exclusive"},
        {O_NOFOLLOW, " no link"}, {O_NONBLOCK, " no waiting"}, {O_TRUNC, " truncate"},
    };
    for (const auto& [bits, word] : kinds) {
        if ((flags & bits) == bits) {
            words += word;
        }
    }
    if ((flags & O_TMPFILE) == O_DIRECTORY) {
        words += " directory";
    }
    return words + ((flags & O_CLOEXEC) != 0 ? "" : " inherited");
}

ino_t inode_of(int file) {
    struct stat info {};
    original<int(int, struct stat*)>("fstat")(file, &info);
    return info.st_ino;
}

ssize_t given(const std::string& content, void* into, size_t room) {
    if (room == 0) {
        return static_cast<ssize_t>(content.size());
    }
    if (content.size() > room) {
        errno = ERANGE;
        return -1;
    }
    std::copy(content.begin(), content.end(), static_cast<char*>(into));
    return static_cast<ssize_t>(content.size());
}

}  // namespace

SystemCalls::SystemCalls(std::string directory) : m_directory(std::move(directory)) {
    recording = this;
}

SystemCalls::~SystemCalls() {
    recording = nullptr;
}

void SystemCalls::fail(const std::string& name, int error, int first, int times) {
    m_failures.push_back({name, error, first, times});
}

int SystemCalls::failure(const std::string& name) {
    int error = 0;
    for (Failure& failure : m_failures) {
        if (failure.name != name) {
            continue;
        }
        if (failure.first > 0) {
            failure.first--;
        } else if (failure.times > 0 && error == 0) {
            failure.times--;
            error = failure.error;
        }
    }
    return error;
}

void SystemCalls::write_down(std::string line, int error) {
    if (error != 0) {
        line += std::string(": ") + strerrorname_np(error);
    }
    m_lines.push_back(std::move(line));
}

std::string SystemCalls::log() const {
    std::string text;
    int missing = 0;
    for (size_t i = 0; i < m_lines.size(); i++) {
        const std::string& line = m_lines[i];
        const auto is_search = [](const std::string& each) {
            return each.starts_with("open .zelmor-") && each.ends_with(".part r no link no waiting: ENOENT");
        };
        if (is_search(line)) {
            missing++;
            if (i + 1 < m_lines.size() && is_search(m_lines[i + 1])) {
                continue;
            }
            text += std::to_string(missing) + " names looked at\n";
            missing = 0;
            continue;
        }
        text += line + "\n";
    }
    return text;
}

std::string SystemCalls::name_of(const char* path) const {
    const std::string name = path;
    if (name == m_directory || name == m_directory + "/") {
        return ".";
    }
    if (name.starts_with(m_directory + "/")) {
        return name.substr(m_directory.size() + 1);
    }
    return name.starts_with("/proc/self/fd/") ? label_of(std::stoi(name.substr(14))) : name;
}

size_t open_descriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
}

}  // namespace zelmor::embed::test

using namespace zelmor::embed::test;

extern "C" {

int open(const char* path, int flags, ...) {
    mode_t mode = 0;
    if ((flags & (O_CREAT | (O_TMPFILE & ~O_DIRECTORY))) != 0) {
        va_list rest;
        va_start(rest, flags);
        mode = va_arg(rest, mode_t);
        va_end(rest);
    }
    const auto call = [&] { return original<int(const char*, int, ...)>("open")(path, flags, mode); };
    if (recording == nullptr) {
        return call();
    }
    const std::string name = recording->name_of(path);
    const int file = called("open", true, name + words_of(flags), call);
    if (file >= 0) {
        const int error = errno;
        const bool nameless = (flags & O_TMPFILE) == O_TMPFILE;
        recording->open_files[file] = nameless ? "draft" : name;
        if (nameless || (flags & O_EXCL) != 0) {
            recording->attributes[inode_of(file)] = recording->attributes_of_new_files;
        }
        errno = error;
    }
    return file;
}

int close(int file) {
    const auto call = [&] { return original<int(int)>("close")(file); };
    if (recording == nullptr) {
        return call();
    }
    const int failure = recording->failure("close");
    const int result = call();
    if (failure == 0) {
        return result;
    }
    errno = failure;
    return -1;
}

ssize_t read(int file, void* into, size_t count) {
    const auto call = [&](size_t most) { return original<ssize_t(int, void*, size_t)>("read")(file, into, most); };
    if (recording == nullptr) {
        return call(count);
    }
    return called("read", false, label_of(file), [&] { return call(std::min(count, recording->longest)); });
}

ssize_t pread(int file, void* into, size_t count, off_t offset) {
    const auto call = [&](size_t most) {
        return original<ssize_t(int, void*, size_t, off_t)>("pread")(file, into, most, offset);
    };
    if (recording == nullptr) {
        return call(count);
    }
    return called("pread", false, label_of(file), [&] { return call(std::min(count, recording->longest)); });
}

ssize_t write(int file, const void* from, size_t count) {
    const auto call = [&](size_t most) {
        return original<ssize_t(int, const void*, size_t)>("write")(file, from, most);
    };
    if (recording == nullptr) {
        return call(count);
    }
    return called("write", true, label_of(file) + " " + std::to_string(count),
                  [&] { return call(std::min(count, recording->longest)); });
}

ssize_t pwrite(int file, const void* from, size_t count, off_t offset) {
    const auto call = [&](size_t most) {
        return original<ssize_t(int, const void*, size_t, off_t)>("pwrite")(file, from, most, offset);
    };
    if (recording == nullptr) {
        return call(count);
    }
    return called("pwrite", true, label_of(file) + " " + std::to_string(count) + " at " + std::to_string(offset),
                  [&] { return call(std::min(count, recording->longest)); });
}

off_t lseek(int file, off_t offset, int origin) noexcept {
    const auto call = [&] { return original<off_t(int, off_t, int)>("lseek")(file, offset, origin); };
    return recording == nullptr ? call() : called("lseek", false, label_of(file), call);
}

// Only written down, for it takes long.
int fsync(int file) {
    if (recording == nullptr) {
        return original<int(int)>("fsync")(file);
    }
    return called("fsync", true, label_of(file), [] { return 0; });
}

int ftruncate(int file, off_t length) noexcept {
    const auto call = [&] { return original<int(int, off_t)>("ftruncate")(file, length); };
    return recording == nullptr ? call()
                                : called("ftruncate", true, label_of(file) + " " + std::to_string(length), call);
}

int fallocate(int file, int mode, off_t offset, off_t length) {
    const auto call = [&] { return original<int(int, int, off_t, off_t)>("fallocate")(file, mode, offset, length); };
    if (recording == nullptr) {
        return call();
    }
    return called("fallocate", true,
                  label_of(file) + " " + std::to_string(length) + " from " + std::to_string(offset) +
                      (mode == FALLOC_FL_KEEP_SIZE ? "" : " of another mode"),
                  call);
}

int fchmod(int file, mode_t mode) noexcept {
    const auto call = [&] { return original<int(int, mode_t)>("fchmod")(file, mode); };
    if (recording == nullptr) {
        return call();
    }
    char text[16];
    std::snprintf(text, sizeof text, " %o", mode);
    return called("fchmod", true, label_of(file) + text, call);
}

// Only written down: most users may not give files away.
int fchown(int file, uid_t owner, gid_t group) noexcept {
    if (recording == nullptr) {
        return original<int(int, uid_t, gid_t)>("fchown")(file, owner, group);
    }
    return called("fchown", true, label_of(file) + " " + std::to_string(owner) + ":" + std::to_string(group),
                  [] { return 0; });
}

int fstat(int file, struct stat* info) noexcept {
    const auto call = [&] { return original<int(int, struct stat*)>("fstat")(file, info); };
    if (recording == nullptr) {
        return call();
    }
    const int result = called("fstat", false, label_of(file), call);
    if (result == 0 && recording->owner_of_drafts && label_of(file) == "draft") {
        info->st_uid = *recording->owner_of_drafts;
    }
    return result;
}

int stat(const char* path, struct stat* info) noexcept {
    const auto call = [&] { return original<int(const char*, struct stat*)>("stat")(path, info); };
    return recording == nullptr ? call() : called("stat", false, recording->name_of(path), call);
}

int access(const char* path, int mode) noexcept {
    const auto call = [&] { return original<int(const char*, int)>("access")(path, mode); };
    return recording == nullptr ? call() : called("access", false, recording->name_of(path), call);
}

int faccessat(int directory, const char* path, int mode, int flags) noexcept {
    const auto call = [&] {
        return original<int(int, const char*, int, int)>("faccessat")(directory, path, mode, flags);
    };
    return recording == nullptr ? call() : called("faccessat", false, recording->name_of(path), call);
}

int unlink(const char* path) noexcept {
    const auto call = [&] { return original<int(const char*)>("unlink")(path); };
    return recording == nullptr ? call() : called("unlink", true, recording->name_of(path), call);
}

int rename(const char* from, const char* to) noexcept {
    const auto call = [&] { return original<int(const char*, const char*)>("rename")(from, to); };
    return recording == nullptr
               ? call()
               : called("rename", true, recording->name_of(from) + " to " + recording->name_of(to), call);
}

int linkat(int from, const char* path, int to, const char* name, int flags) noexcept {
    const auto call = [&] {
        return original<int(int, const char*, int, const char*, int)>("linkat")(from, path, to, name, flags);
    };
    return recording == nullptr
               ? call()
               : called("linkat", true, recording->name_of(path) + " to " + recording->name_of(name), call);
}

int flock(int file, int operation) noexcept {
    const auto call = [&] { return original<int(int, int)>("flock")(file, operation); };
    return recording == nullptr ? call() : called("flock", true, label_of(file), call);
}

ssize_t flistxattr(int file, char* list, size_t size) noexcept {
    if (recording == nullptr) {
        return original<ssize_t(int, char*, size_t)>("flistxattr")(file, list, size);
    }
    return called("flistxattr", false, label_of(file), [&] {
        std::string names;
        for (const auto& [name, value] : recording->attributes[inode_of(file)]) {
            names += name + '\0';
        }
        return given(names, list, size);
    });
}

ssize_t fgetxattr(int file, const char* name, void* value, size_t size) noexcept {
    if (recording == nullptr) {
        return original<ssize_t(int, const char*, void*, size_t)>("fgetxattr")(file, name, value, size);
    }
    return called("fgetxattr", false, label_of(file) + " " + name, [&]() -> ssize_t {
        const auto& all = recording->attributes[inode_of(file)];
        const auto found = all.find(name);
        if (found == all.end()) {
            errno = ENODATA;
            return -1;
        }
        return given(found->second, value, size);
    });
}

int fsetxattr(int file, const char* name, const void* value, size_t size, int flags) noexcept {
    if (recording == nullptr) {
        return original<int(int, const char*, const void*, size_t, int)>("fsetxattr")(file, name, value, size, flags);
    }
    return called("fsetxattr", true, label_of(file) + " " + name, [&] {
        recording->attributes[inode_of(file)][name] = std::string(static_cast<const char*>(value), size);
        return 0;
    });
}

int fremovexattr(int file, const char* name) noexcept {
    if (recording == nullptr) {
        return original<int(int, const char*)>("fremovexattr")(file, name);
    }
    return called("fremovexattr", true, label_of(file) + " " + name, [&] {
        recording->attributes[inode_of(file)].erase(name);
        return 0;
    });
}

}  // extern "C"

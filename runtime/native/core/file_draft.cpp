// Drafts of files; see file_draft.h.
#include "runtime/native/core/file_draft.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <array>
#include <cstdio>

#include "runtime/native/core/files.h"

namespace zelmor::embed {
namespace {

std::string draft_name(const std::string& target, int place) {
    return name_beside(target, (place == 0 ? "" : "-" + std::to_string(place)) + ".part");
}

// Removes a draft unless a program is still writing it: who writes one holds its lock. Whether the name is free now.
bool remove_left_over(const std::string& name) {
    const Descriptor file(::open(name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!file.is_open()) {
        return errno == ENOENT;
    }
    return ::flock(file.get(), LOCK_EX | LOCK_NB) == 0 && ::unlink(name.c_str()) == 0;
}

constexpr const char* kDescriptors = "/proc/self/fd";

// Programs that may write drafts for one target at the same time.
constexpr int kDraftPlaces = 16;

int flush_directory(const std::string& directory) {
    const Descriptor opened(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // One that may be written to and not read from, such as a drop box, cannot be opened.
    return opened.is_open() ? flush_file(opened.get()) : 0;
}

}  // namespace

int write_all(int descriptor, std::span<const uint8_t> data) {
    while (!data.empty()) {
        const ssize_t written = retried([&] { return ::write(descriptor, data.data(), data.size()); });
        if (written < 0) {
            return errno;
        }
        data = data.subspan(static_cast<size_t>(written));
    }
    return 0;
}

// A file system that knows no flushing has nothing to flush.
int flush_file(int descriptor) {
    if (retried([&] { return ::fsync(descriptor); }) == 0 || errno == EINVAL || errno == EROFS || errno == ENOTSUP) {
        return 0;
    }
    return errno;
}

std::string name_beside(const std::string& target, const std::string& suffix) {
    uint64_t hash = 0xcbf29ce484222325;
    const size_t slash = target.rfind('/');
    for (const char c : target.substr(slash == std::string::npos ? 0 : slash + 1)) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3;
    }
    std::array<char, 24> number{};
    std::snprintf(number.data(), number.size(), "%016llx", static_cast<unsigned long long>(hash));
    const std::string directory = directory_of(target);
    return directory + (directory.back() == '/' ? "" : "/") + ".zelmor-" + number.data() + suffix;
}

FileDraft::FileDraft(std::string target) : m_target(std::move(target)) {}

FileDraft::~FileDraft() {
    if (!m_name.empty()) {
        ::unlink(m_name.c_str());
    }
}

int FileDraft::create() {
    for (int place = 0; place < kDraftPlaces; ++place) {
        remove_left_over(draft_name(m_target, place));
    }
    // The file gets its name through the directory of descriptors, which a system need not have mounted.
    if (::access(kDescriptors, F_OK) == 0) {
        m_file = Descriptor(::open(directory_of(m_target).c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0666));
        if (m_file.is_open()) {
            m_nameless = true;
            return lock();
        }
        // How file systems and kernels say that they have no files without a name.
        if (errno != EOPNOTSUPP && errno != EISDIR && errno != EINVAL && errno != ENOENT) {
            return errno;
        }
    }
    return give_name([&](const std::string& name) {
        m_file = Descriptor(::open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
        return m_file.is_open() ? lock() : errno;
    });
}

int FileDraft::move_into_place(bool replaces) {
    if (const int error = flush_file(m_file.get())) {
        return error;
    }
    if (m_nameless) {
        const int error = replaces ? EEXIST : link_to(m_target);
        if (error == 0) {
            return flush_directory(directory_of(m_target));
        }
        if (error != EEXIST) {
            return error;
        }
        if (const int failed = give_name([&](const std::string& name) { return link_to(name); })) {
            return failed;
        }
    }
    if (::rename(m_name.c_str(), m_target.c_str()) != 0) {
        return errno;
    }
    m_name.clear();
    // Errors of writing that only closing brings to light came with the flush.
    return flush_directory(directory_of(m_target));
}

int FileDraft::give_name(const std::function<int(const std::string& name)>& make) {
    for (int place = 0; place < kDraftPlaces; ++place) {
        std::string name = draft_name(m_target, place);
        const int error = make(name);
        if (error == 0) {
            m_name = std::move(name);
            return 0;
        }
        if (error != EEXIST) {
            return error;
        }
    }
    return EBUSY;
}

// EEXIST where another program took this file for a left-over, in the moment between its making and its locking,
// and removes it. In a file system without locks nobody removes left-overs.
int FileDraft::lock() const {
    const bool taken = ::flock(m_file.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    struct stat info {};
    const bool removed = !m_nameless && ::fstat(m_file.get(), &info) == 0 && info.st_nlink == 0;
    return taken || removed ? EEXIST : 0;
}

int FileDraft::link_to(const std::string& name) const {
    const std::string self = std::string(kDescriptors) + '/' + std::to_string(m_file.get());
    return ::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0 ? 0 : errno;
}

}  // namespace zelmor::embed

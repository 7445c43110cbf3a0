// Writing a file as a whole (files.h: write_file).
//
// A new file, and one that can be replaced, is written as a *draft* beside the target and moved there when it is
// complete. The draft has no name if the file system can do without; then nothing is left of a program that is killed.
// Otherwise its name follows from that of the target, and the next save of the target removes it.
//
// A file is written *in place* where replacing it would lose something: where it has several hard links, where its
// owner or its attributes cannot be given to another file, and where its directory cannot be written to. Space for the
// new content is reserved first, and images that are still to be decoded from the file keep its content. If writing
// fails, the old content is put back. While it is written, a *backup* of the old content lies beside the file, unless
// the directory cannot be written to; it is there for people whose program was killed in the middle, and the next save
// removes it.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cassert>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <vector>

#include "runtime/native/core/file_changes.h"
#include "runtime/native/core/files.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {
namespace {

class Descriptor {
 public:
    explicit Descriptor(int number = -1) : m_number(number) {}
    ~Descriptor() {
        if (m_number >= 0) {
            ::close(m_number);
        }
    }
    Descriptor(Descriptor&& other) noexcept : m_number(std::exchange(other.m_number, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept {
        std::swap(m_number, other.m_number);
        return *this;
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return m_number; }
    bool is_open() const { return m_number >= 0; }
    // Tells of an error that only closing brings to light.
    int close() {
        const int result = ::close(m_number);
        m_number = -1;
        return result;
    }

 private:
    int m_number;
};

template <class Call>
auto retried(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

// All functions of this kind answer with an error number, or 0.
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
int flush(int descriptor) {
    if (retried([&] { return ::fsync(descriptor); }) == 0 || errno == EINVAL || errno == EROFS || errno == ENOTSUP) {
        return 0;
    }
    return errno;
}

int flush_directory(const std::string& directory) {
    const Descriptor opened(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // One that may be written to and not read from, such as a drop box, cannot be opened.
    return opened.is_open() ? flush(opened.get()) : 0;
}

// There is no permission to replace the file, but there may be one to write to it.
bool forbids_replacement(int error) {
    return error == EACCES || error == EPERM || error == EROFS || error == EBUSY || error == EXDEV;
}

// ".zelmor-0123456789abcdef.part", beside the target. The number is a hash (FNV-1a) of the target's name, so that the
// names of one file are found without a search.
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

// A file in the target's directory that is gone again unless it was moved into place.
class Draft {
 public:
    explicit Draft(std::string target) : m_target(std::move(target)) {}
    ~Draft() {
        if (!m_name.empty()) {
            ::unlink(m_name.c_str());
        }
    }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    int descriptor() const { return m_file.get(); }

    int create() {
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

    // The content is on the disk, and then under the target's name; `replaces` says that there is a file of that name.
    int move_into_place(bool replaces) {
        if (const int error = flush(m_file.get())) {
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

 private:
    template <class Make>
    int give_name(Make make) {
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
    int lock() const {
        const bool taken = ::flock(m_file.get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
        struct stat info {};
        const bool removed = !m_nameless && ::fstat(m_file.get(), &info) == 0 && info.st_nlink == 0;
        return taken || removed ? EEXIST : 0;
    }
    int link_to(const std::string& name) const {
        const std::string self = std::string(kDescriptors) + '/' + std::to_string(m_file.get());
        return ::linkat(AT_FDCWD, self.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0 ? 0 : errno;
    }

    std::string m_target;
    std::string m_name;  // while the draft has one
    Descriptor m_file;
    bool m_nameless = false;
};

using Attribute = std::vector<char>;

std::optional<Attribute> attribute_of(int descriptor, const char* name) {
    const ssize_t size = ::fgetxattr(descriptor, name, nullptr, 0);
    if (size < 0) {
        return std::nullopt;
    }
    Attribute value(static_cast<size_t>(size));
    const ssize_t read = ::fgetxattr(descriptor, name, value.data(), value.size());
    if (read < 0) {
        return std::nullopt;
    }
    value.resize(static_cast<size_t>(read));
    return value;
}

// The names of the extended attributes, those of access control lists among them.
std::vector<std::string> attributes_of(int descriptor) {
    const ssize_t size = ::flistxattr(descriptor, nullptr, 0);
    if (size <= 0) {
        return {};
    }
    std::vector<char> list(static_cast<size_t>(size));
    const ssize_t read = ::flistxattr(descriptor, list.data(), list.size());
    std::vector<std::string> names;
    for (ssize_t at = 0; at < read;) {
        names.emplace_back(list.data() + at);
        at += static_cast<ssize_t>(names.back().size()) + 1;
    }
    return names;
}

// Gives the draft all that is known of the old file. False where a part of it cannot be given.
bool take_over(int old, const struct stat& info, int draft) {
    struct stat made {};
    if (::fstat(draft, &made) != 0) {
        return false;
    }
    const bool same_owner = made.st_uid == info.st_uid && made.st_gid == info.st_gid;
    if (!same_owner && ::fchown(draft, info.st_uid, info.st_gid) != 0) {
        return false;
    }
    // Writing takes the right to run as another user away, so it is not given to the new file.
    if (::fchmod(draft, info.st_mode & 01777) != 0) {
        return false;
    }
    const std::vector<std::string> names = attributes_of(old);
    // A directory may give its new files an access control list.
    for (const std::string& name : attributes_of(draft)) {
        if (std::find(names.begin(), names.end(), name) == names.end() && ::fremovexattr(draft, name.c_str()) != 0) {
            return false;
        }
    }
    return std::all_of(names.begin(), names.end(), [&](const std::string& name) {
        const auto value = attribute_of(old, name.c_str());
        return value && (attribute_of(draft, name.c_str()) == value ||
                         ::fsetxattr(draft, name.c_str(), value->data(), value->size(), 0) == 0);
    });
}

[[noreturn]] void throw_write_error(const std::string& path, int error) {
    throw_file_error(path, error, "write");
}

void write_directly(const std::string& path, std::span<const uint8_t> data) {
    Descriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
    if (!file.is_open()) {
        throw_write_error(path, errno);
    }
    int error = write_all(file.get(), data);
    if (file.close() != 0 && error == 0) {
        error = errno;
    }
    if (error != 0) {
        throw_write_error(path, error);
    }
}

// The content of a file from its beginning; the file is open for reading.
int read_all(int descriptor, std::vector<uint8_t>& content) {
    size_t came = 0;
    while (came < content.size()) {
        const auto at = static_cast<off_t>(came);
        const ssize_t count =
            retried([&] { return ::pread(descriptor, content.data() + came, content.size() - came, at); });
        if (count < 0) {
            return errno;
        }
        if (count == 0) {
            break;
        }
        came += static_cast<size_t>(count);
    }
    content.resize(came);
    return 0;
}

// Makes the file these bytes long and these bytes, and sees to it that they are on the disk.
int fill(int descriptor, std::span<const uint8_t> data) {
    if (::lseek(descriptor, 0, SEEK_SET) < 0) {
        return errno;
    }
    if (const int error = write_all(descriptor, data)) {
        return error;
    }
    if (retried([&] { return ::ftruncate(descriptor, static_cast<off_t>(data.size())); }) != 0) {
        return errno;
    }
    return flush(descriptor);
}

bool exists(const std::string& name) {
    struct stat info {};
    return ::lstat(name.c_str(), &info) == 0;
}

// Puts a copy of the old content beside the file, unless the directory cannot be written to.
int back_up(const std::string& name, std::span<const uint8_t> content) {
    Draft copy(name);
    int error = copy.create();
    if (error == 0 && ::fchmod(copy.descriptor(), 0600) != 0) {
        error = errno;
    }
    if (error == 0) {
        error = write_all(copy.descriptor(), content);
    }
    if (error == 0) {
        error = copy.move_into_place(false);
    }
    return forbids_replacement(error) ? 0 : error;
}

void write_in_place(const std::string& target, std::span<const uint8_t> data) {
    Descriptor file(::open(target.c_str(), O_RDWR | O_CLOEXEC));
    const bool readable = file.is_open();
    if (!readable) {
        file = Descriptor(::open(target.c_str(), O_WRONLY | O_CLOEXEC));
    }
    struct stat info {};
    if (!file.is_open() || ::fstat(file.get(), &info) != 0) {
        throw_write_error(target, errno);
    }
    announce_change(file.get());
    const std::string backup = name_beside(target, ".backup");
    std::vector<uint8_t> old;
    if (readable) {
        old.resize(static_cast<size_t>(info.st_size));
        if (const int error = read_all(file.get(), old)) {
            throw_write_error(target, error);
        }
    }
    // A file system that cannot reserve finds out when it is written to.
    if (!data.empty() && ::fallocate(file.get(), FALLOC_FL_KEEP_SIZE, 0, static_cast<off_t>(data.size())) != 0 &&
        (errno == ENOSPC || errno == EDQUOT || errno == EFBIG)) {
        const int error = errno;
        retried([&] { return ::ftruncate(file.get(), info.st_size); });  // gives back what was reserved
        throw_write_error(target, error);
    }
    // A backup that is there is of a save that was killed: it is whole, and the file may not be.
    const bool backs_up = readable && !exists(backup);
    if (backs_up) {
        if (const int error = back_up(backup, old)) {
            throw_write_error(target, error);
        }
    }
    if (const int error = fill(file.get(), data)) {
        if (readable && fill(file.get(), old) == 0 && backs_up) {
            ::unlink(backup.c_str());
        }
        throw_write_error(target, error);
    }
    ::unlink(backup.c_str());
}

// Whether the file was replaced; false where that would lose something of it, or is not allowed.
bool replace(const std::string& target, const struct stat* info, std::span<const uint8_t> data) {
    Draft draft(target);
    if (const int error = draft.create()) {
        if (info != nullptr && forbids_replacement(error)) {
            return false;
        }
        if (error == EACCES || error == EPERM) {
            throw_denied(target, "there is no permission to write to its directory");
        }
        throw_write_error(target, error);
    }
    if (info != nullptr) {
        // Opening for reading is needed for the attributes alone; a file that may not be read has to keep its own.
        const Descriptor old(::open(target.c_str(), O_RDONLY | O_CLOEXEC));
        if (!old.is_open() || !take_over(old.get(), *info, draft.descriptor())) {
            return false;
        }
    }
    int error = write_all(draft.descriptor(), data);
    if (error == 0) {
        error = draft.move_into_place(info != nullptr);
        if (info != nullptr && forbids_replacement(error)) {
            return false;
        }
    }
    if (error != 0) {
        throw_write_error(target, error);
    }
    ::unlink(name_beside(target, ".backup").c_str());
    return true;
}

}  // namespace

void write_file(const std::string& path, std::span<const uint8_t> data) {
    require_writable_target(path);
    const std::string target = link_target_of(path);
    struct stat info {};
    const bool is_there = ::stat(target.c_str(), &info) == 0;
    if (is_there && !S_ISREG(info.st_mode)) {
        write_directly(target, data);
        return;
    }
    const bool has_links = is_there && info.st_nlink > 1;
    if (has_links || !replace(target, is_there ? &info : nullptr, data)) {
        write_in_place(target, data);
    }
}

}  // namespace zelmor::embed

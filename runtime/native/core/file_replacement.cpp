// Writing a file as a whole (files.h: write_file, NewFile).
//
// A new file, and one that can be replaced, is written as a *draft* beside the target and moved there when it is
// complete (file_draft.h).
//
// A file is written *in place* where replacing it would lose something: where it has several hard links, where its
// owner or its attributes cannot be given to another file, and where its directory cannot be written to. Space for the
// new content is reserved first, and images that are still to be decoded from the file keep its content. If writing
// fails, the old content is put back. While it is written, a *backup* of the old content lies beside the file, unless
// the directory cannot be written to; it is there for people whose program was killed in the middle, and the next save
// removes it.
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <optional>
#include <vector>

#include "runtime/native/core/file_changes.h"
#include "runtime/native/core/file_draft.h"
#include "runtime/native/core/files.h"
#include "runtime/native/core/managed_exception.h"

namespace zelmor::embed {
namespace {

// There is no permission to replace the file, but there may be one to write to it.
bool forbids_replacement(int error) {
    return error == EACCES || error == EPERM || error == EROFS || error == EBUSY || error == EXDEV;
}

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

// The names of the extended attributes, those of access control lists among them; nothing where they cannot be read.
std::optional<std::vector<std::string>> attributes_of(int descriptor) {
    std::vector<std::string> names;
    const ssize_t size = ::flistxattr(descriptor, nullptr, 0);
    if (size <= 0) {
        return size == 0 || errno == ENOTSUP ? std::optional(names) : std::nullopt;
    }
    std::vector<char> list(static_cast<size_t>(size));
    const ssize_t read = ::flistxattr(descriptor, list.data(), list.size());
    if (read < 0) {
        return std::nullopt;
    }
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
    const auto names = attributes_of(old);
    const auto given = attributes_of(draft);
    if (!names || !given) {
        return false;
    }
    // A directory may give its new files an access control list.
    for (const std::string& name : *given) {
        if (std::find(names->begin(), names->end(), name) == names->end() && ::fremovexattr(draft, name.c_str()) != 0) {
            return false;
        }
    }
    return std::all_of(names->begin(), names->end(), [&](const std::string& name) {
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

// Reads bytes of a file that is open for reading; `came` tells how many there are.
int read_from(int descriptor, uint64_t offset, std::span<uint8_t> out, size_t& came) {
    for (came = 0; came < out.size();) {
        const auto at = static_cast<off_t>(offset + came);
        const ssize_t count = retried([&] { return ::pread(descriptor, out.data() + came, out.size() - came, at); });
        if (count < 0) {
            return errno;
        }
        if (count == 0) {
            break;
        }
        came += static_cast<size_t>(count);
    }
    return 0;
}

// The content of a file from its beginning.
int read_all(int descriptor, std::vector<uint8_t>& content) {
    size_t came = 0;
    if (const int error = read_from(descriptor, 0, content, came)) {
        return error;
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
    return flush_file(descriptor);
}

bool exists(const std::string& name) {
    struct stat info {};
    return ::lstat(name.c_str(), &info) == 0;
}

// Puts a copy of the old content beside the file, unless the directory cannot be written to.
int back_up(const std::string& name, std::span<const uint8_t> content) {
    FileDraft copy(name);
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

// What is at the end of a path, or nothing.
std::optional<struct stat> status_of(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 ? std::optional(info) : std::nullopt;
}

// Whether another file can take the place of this one, as far as that is seen without trying.
bool may_be_replaced(const std::optional<struct stat>& info) {
    return !info || (S_ISREG(info->st_mode) && info->st_nlink == 1);
}

// Gives the draft all that is known of the file at its target, if there is one. False where a part of it cannot be
// given.
bool take_over_target(const FileDraft& draft, const std::optional<struct stat>& info) {
    if (!info) {
        return true;
    }
    // Opening for reading is needed for the attributes alone; a file that may not be read has to keep its own.
    const Descriptor old(::open(draft.target().c_str(), O_RDONLY | O_CLOEXEC));
    return old.is_open() && take_over(old.get(), *info, draft.descriptor());
}

// Whether the draft is in its place; false where that is not allowed.
bool move_into_place(FileDraft& draft, bool replaces) {
    const int error = draft.move_into_place(replaces);
    if (replaces && forbids_replacement(error)) {
        return false;
    }
    if (error != 0) {
        throw_write_error(draft.target(), error);
    }
    ::unlink(name_beside(draft.target(), ".backup").c_str());
    return true;
}

// Whether the file was replaced; false where that would lose something of it, or is not allowed.
bool replace(const std::string& target, const std::optional<struct stat>& info, std::span<const uint8_t> data) {
    FileDraft draft(target);
    if (const int error = draft.create()) {
        if (info && forbids_replacement(error)) {
            return false;
        }
        if (error == EACCES || error == EPERM) {
            throw_denied(target, "there is no permission to write to its directory");
        }
        throw_write_error(target, error);
    }
    if (!take_over_target(draft, info)) {
        return false;
    }
    if (const int error = write_all(draft.descriptor(), data)) {
        throw_write_error(target, error);
    }
    return move_into_place(draft, info.has_value());
}

}  // namespace

void write_file(const std::string& path, std::span<const uint8_t> data) {
    require_writable_target(path);
    const std::string target = link_target_of(path);
    const auto info = status_of(target);
    if (info && !S_ISREG(info->st_mode)) {
        write_directly(target, data);
        return;
    }
    if (!may_be_replaced(info) || !replace(target, info, data)) {
        write_in_place(target, data);
    }
}

NewFile::NewFile(std::string path) : m_path(std::move(path)) {}

NewFile::~NewFile() = default;  // where the draft's class is known

// The draft gets the rights of the file at the target before it gets content that others may not read.
void NewFile::begin_draft() {
    const std::string target = link_target_of(m_path);
    const auto info = status_of(target);
    if (!may_be_replaced(info)) {
        return;
    }
    auto draft = std::make_unique<FileDraft>(target);
    if (draft->create() == 0 && take_over_target(*draft, info)) {
        m_draft = std::move(draft);
    }
}

namespace {
constexpr size_t kKeptPiece = size_t{64} << 10;
}

void NewFile::begin_long_file() {
    if (!m_is_long) {
        m_is_long = true;
        begin_draft();
    }
}

void NewFile::write(std::span<const uint8_t> data) {
    m_kept.insert(m_kept.end(), data.begin(), data.end());
    if (m_kept.size() < kKeptPiece) {
        return;
    }
    begin_long_file();
    if (m_draft != nullptr) {
        move_to_draft();
    }
}

void NewFile::write_at(uint64_t offset, std::span<const uint8_t> data) {
    const uint64_t end = offset + data.size();
    if (end > size() + kKeptPiece) {
        begin_long_file();
    }
    if (m_draft != nullptr && (offset < m_size || end > size() + kKeptPiece)) {
        move_to_draft();
        put_in_draft(offset, data);
        return;
    }
    const auto at = static_cast<size_t>(offset - m_size);
    m_kept.resize(std::max(m_kept.size(), at + data.size()));
    std::copy(data.begin(), data.end(), m_kept.begin() + static_cast<std::ptrdiff_t>(at));
    write({});  // which sends on what has become long
}

void NewFile::read_at(uint64_t offset, std::span<uint8_t> out) const {
    assert(offset <= size() && out.size() <= size() - offset);
    const auto in_draft = static_cast<size_t>(std::min<uint64_t>(out.size(), m_size - std::min(offset, m_size)));
    if (in_draft > 0) {
        size_t came = 0;
        const int error = read_from(m_draft->descriptor(), offset, out.first(in_draft), came);
        if (error != 0 || came < in_draft) {
            throw_write_error(m_draft->target(), error != 0 ? error : EIO);
        }
    }
    if (in_draft == out.size()) {
        return;
    }
    const auto from = static_cast<std::ptrdiff_t>(offset + in_draft - m_size);
    std::copy_n(m_kept.begin() + from, out.size() - in_draft, out.begin() + static_cast<std::ptrdiff_t>(in_draft));
}

void NewFile::put_in_draft(uint64_t offset, std::span<const uint8_t> data) {
    m_size = std::max<uint64_t>(m_size, offset + data.size());
    while (!data.empty()) {
        const ssize_t written = retried(
            [&] { return ::pwrite(m_draft->descriptor(), data.data(), data.size(), static_cast<off_t>(offset)); });
        if (written < 0) {
            throw_write_error(m_draft->target(), errno);
        }
        offset += static_cast<uint64_t>(written);
        data = data.subspan(static_cast<size_t>(written));
    }
}

void NewFile::move_to_draft() {
    put_in_draft(m_size, m_kept);
    m_kept.clear();
}

void NewFile::finish() {
    if (m_draft != nullptr) {
        move_to_draft();
        require_writable_target(m_path);
        const std::string target = link_target_of(m_path);
        const auto info = status_of(target);  // which may have changed since the draft was begun
        if (target == m_draft->target() && may_be_replaced(info) && take_over_target(*m_draft, info) &&
            move_into_place(*m_draft, info.has_value())) {
            return;
        }
        m_kept.resize(m_size);
        if (const int error = read_all(m_draft->descriptor(), m_kept)) {
            throw_write_error(target, error);
        }
        m_draft.reset();
    }
    write_file(m_path, m_kept);
}

}  // namespace zelmor::embed

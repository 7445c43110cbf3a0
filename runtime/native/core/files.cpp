// Names of files and replacing them; see files.h.
#include "runtime/native/core/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <random>

#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {
namespace {

std::string directory_of(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
}

bool is_directory(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// By the rights that opening goes by, those of the effective user.
bool may_write(const std::string& path) {
    return ::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0;
}

std::string quoted(const std::string& path) {
    return "'" + to_utf8(to_utf16(path)) + "'";
}

[[noreturn]] void throw_denied(const std::string& path, const std::string& reason) {
    throw ManagedException("UnauthorizedAccessException",
                           "Access to the path " + quoted(path) + " is denied: " + reason + ".");
}

class Descriptor {
 public:
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor() {
        if (m_number >= 0) {
            ::close(m_number);
        }
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return m_number; }
    // Tells of an error that only closing brings to light.
    int close() {
        const int result = ::close(m_number);
        m_number = -1;
        return result;
    }

 private:
    int m_number;
};

int write_all(int descriptor, std::span<const uint8_t> data) {
    while (!data.empty()) {
        const ssize_t written = ::write(descriptor, data.data(), data.size());
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return errno;
        }
        data = data.subspan(static_cast<size_t>(written));
    }
    return 0;
}

// What a link stands for in the end, so that the link itself is not replaced; a name that is new stays as it is.
std::string resolved(const std::string& path) {
    char buffer[PATH_MAX];
    return ::realpath(path.c_str(), buffer) ? std::string(buffer) : path;
}

// A file beside the target that is gone again unless it was moved into place.
class Draft {
 public:
    explicit Draft(const std::string& target) : m_target(target) {
        std::random_device random;
        do {
            m_name = directory_of(target) + "/.zelmor-" + std::to_string(random()) + ".part";
            m_descriptor = ::open(m_name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        } while (m_descriptor < 0 && errno == EEXIST);
        if (m_descriptor >= 0) {
            return;
        }
        if (errno == EACCES || errno == EPERM) {
            throw_denied(target, "there is no permission to write to its directory");
        }
        throw_file_error(target, errno, "write");
    }
    ~Draft() {
        if (m_descriptor >= 0) {
            ::close(m_descriptor);
        }
        if (!m_moved) {
            ::unlink(m_name.c_str());
        }
    }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    void write(std::span<const uint8_t> data) {
        if (const int error = write_all(m_descriptor, data)) {
            throw_file_error(m_target, error, "write");
        }
    }
    void set_mode(mode_t mode) {
        if (::fchmod(m_descriptor, mode) != 0) {
            throw_file_error(m_target, errno, "write");
        }
    }
    void move_into_place() {
        const int closed = ::close(m_descriptor);  // tells of errors that writing left behind
        m_descriptor = -1;
        if (closed != 0 || ::rename(m_name.c_str(), m_target.c_str()) != 0) {
            throw_file_error(m_target, errno, "write");
        }
        m_moved = true;
    }

 private:
    const std::string& m_target;
    std::string m_name;
    int m_descriptor = -1;
    bool m_moved = false;
};

void write_directly(const std::string& path, std::span<const uint8_t> data) {
    Descriptor file(::open(path.c_str(), O_WRONLY | O_CLOEXEC));
    if (file.get() < 0) {
        throw_file_error(path, errno, "write");
    }
    int error = write_all(file.get(), data);
    if (file.close() != 0 && error == 0) {
        error = errno;
    }
    if (error != 0) {
        throw_file_error(path, error, "write");
    }
}

}  // namespace

void throw_file_error(const std::string& path, int error, const char* doing) {
    switch (error) {
        case ENOENT:
        case ENOTDIR:
            if (!is_directory(directory_of(path))) {
                throw ManagedException("DirectoryNotFoundException", "Could not find a part of the path " +
                                                                         quoted(path) + ": there is no directory " +
                                                                         quoted(directory_of(path)) + ".");
            }
            throw ManagedException("FileNotFoundException", "Could not find file " + quoted(path) + ".");
        case EISDIR:
            throw_denied(path, "it is a directory");
        case EACCES:
        case EPERM:
            throw_denied(path, std::string("there is no permission to ") + doing + " it");
        case EROFS:
            throw_denied(path, "the file system is read-only");
        case ENAMETOOLONG:
            throw ManagedException("PathTooLongException", "The path " + quoted(path) + " is too long.");
        default:
            throw ManagedException(
                "IOException", "Cannot " + std::string(doing) + " " + quoted(path) + ": " + std::strerror(error) + ".");
    }
}

std::string file_path_of(const std::optional<std::u16string>& text, const char* parameter) {
    if (!text) {
        throw_argument_null(parameter);
    }
    if (text->empty()) {
        throw_argument(std::string("The path is empty. (Parameter '") + parameter + "')");
    }
    std::string path;
    size_t from = 0;
    for (size_t i = 0; i <= text->size(); ++i) {
        const char16_t unit = i < text->size() ? (*text)[i] : u'\0';
        if (i < text->size() && unit == u'\0') {
            throw_argument(std::string("The path has a null character in it. (Parameter '") + parameter + "')");
        }
        const bool after_high = i > 0 && ((*text)[i - 1] & 0xFC00) == 0xD800;
        const bool escaped_byte = unit >= 0xDC80 && unit <= 0xDCFF && !after_high;
        if (i < text->size() && !escaped_byte) {
            continue;
        }
        path += to_utf8(std::u16string_view(*text).substr(from, i - from));
        if (escaped_byte) {
            path.push_back(static_cast<char>(unit & 0xFF));
        }
        from = i + 1;
    }
    return path;
}

std::u16string text_of_file_path(const std::string& path) {
    std::u16string text;
    const std::string_view all = path;
    for (size_t at = 0; at < all.size();) {
        size_t length = std::min<size_t>(4, all.size() - at);
        // The longest piece from here that is a single code point in UTF-8.
        while (length > 0) {
            const std::u16string unit = to_utf16(all.substr(at, length));
            const bool single = unit.size() == 1 || (unit.size() == 2 && (unit[0] & 0xFC00) == 0xD800);
            if (single && to_utf8(unit) == all.substr(at, length)) {
                text += unit;
                break;
            }
            --length;
        }
        if (length == 0) {
            text.push_back(static_cast<char16_t>(0xDC00 + static_cast<unsigned char>(all[at])));
        }
        at += std::max<size_t>(1, length);
    }
    return text;
}

bool file_exists(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0;
}

void require_writable_target(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) == 0) {
        if (S_ISDIR(info.st_mode)) {
            throw_file_error(path, EISDIR, "write");
        }
        if (!may_write(path)) {
            throw_file_error(path, errno, "write");
        }
        return;
    }
    const std::string directory = directory_of(path);
    if (!is_directory(directory)) {
        throw_file_error(path, ENOENT, "write");
    }
    if (path.back() == '/') {
        throw_file_error(path, EISDIR, "write");
    }
    if (!may_write(directory)) {
        if (errno == EACCES) {
            throw_denied(path, "there is no permission to write to its directory");
        }
        throw_file_error(path, errno, "write");
    }
}

void write_file(const std::string& path, std::span<const uint8_t> data) {
    require_writable_target(path);
    const std::string target = resolved(path);
    struct stat info {};
    const bool exists = ::stat(target.c_str(), &info) == 0;
    if (exists && !S_ISREG(info.st_mode)) {
        write_directly(target, data);
        return;
    }
    Draft draft(target);
    draft.write(data);
    if (exists) {
        draft.set_mode(info.st_mode & 0777);
    }
    draft.move_into_place();
}

}  // namespace zelmor::embed

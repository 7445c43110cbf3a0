// Names of files, and what stands in the way of writing them; see files.h.
#include "runtime/native/core/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/text.h"

namespace zelmor::embed {
namespace {

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

}  // namespace

std::string directory_of(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash == 0 ? 1 : slash);
}

void throw_denied(const std::string& path, const std::string& reason) {
    throw ManagedException("UnauthorizedAccessException",
                           "Access to the path " + quoted(path) + " is denied: " + reason + ".");
}

std::string link_target_of(const std::string& path) {
    constexpr int kMostLinks = 40;  // as the system follows
    std::string target = path;
    for (int followed = 0; followed <= kMostLinks; ++followed) {
        char buffer[PATH_MAX];
        const ssize_t length = ::readlink(target.c_str(), buffer, sizeof buffer);
        if (length < 0) {
            return target;  // no link, or nothing there
        }
        const std::string named(buffer, static_cast<size_t>(length));
        if (named.starts_with('/')) {
            target = named;
        } else {
            target = directory_of(target);
            if (target.back() != '/') {
                target += '/';
            }
            target += named;
        }
    }
    throw_file_error(path, ELOOP, "write");
}

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
    // Every file has one text here, the one that Python shows for it. A lone surrogate that stands for no byte, and
    // bytes that are written apart though they are a character together, would be further texts for the file of another
    // name.
    if (text_of_file_path(path) != *text) {
        throw_argument(std::string("The path has a lone surrogate in it, which no file name can have. (Parameter '") +
                       parameter + "')");
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

std::string absolute_path(std::string path) {
    std::error_code failed;
    const std::filesystem::path whole = std::filesystem::absolute(path, failed);
    return failed ? std::move(path) : whole.string();  // in a directory that was removed, there is none
}

bool file_exists(const std::string& path) {
    struct stat info {};
    return ::stat(path.c_str(), &info) == 0;
}

void require_writable_target(const std::string& given) {
    const std::string path = link_target_of(given);
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
    if (!may_write(directory)) {
        if (errno == EACCES) {
            throw_denied(path, "there is no permission to write to its directory");
        }
        throw_file_error(path, errno, "write");
    }
}

}  // namespace zelmor::embed

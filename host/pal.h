// The thin layer between the host code and the operating system: console output, environment, paths, dynamic
// loading, and the two directory scans that find the runtime and the managed assemblies. Paths are narrow strings
// without any encoding step. HostEnvironment decides which files are loaded.
#ifndef ZELMOR_HOST_PAL_H
#define ZELMOR_HOST_PAL_H

#include <cstdarg>
#include <string>
#include <vector>

namespace pal {

/// Formats to standard error and ends the line with "\r\n".
void err_vprintf(const char* format, va_list args);

/// Formats to standard output and ends the line with "\r\n".
void out_vprintf(const char* format, va_list args);

/// Copies the environment variable into `value`; true only if it is set and not empty.
bool getenv(const char* name, std::string& value);

/// The leading decimal number of the text, 0 if there is none.
int to_int(const std::string& text);

/// The system's text for an error number.
std::string to_error_string(int code);

/// prefix, "0x" and the code as an unsigned 32-bit value in lower-case hexadecimal, suffix.
std::string to_error_string_with_status_code(const std::string& prefix, int code, const std::string& suffix);

/// True if the path can be opened for reading; that includes directories.
bool is_file_exists(const std::string& path);

/// Appends "/" and the part, or takes the part alone if the path is empty. A trailing "/" is not looked for.
void path_append(std::string& path, const std::string& part);

/// `base` with all the parts appended in order.
template <typename... Parts>
std::string build_path(const std::string& base, const Parts&... parts) {
    std::string path = base;
    (path_append(path, parts), ...);
    return path;
}

/// The text before the last "/", empty if there is none.
std::string path_get_directory(const std::string& path);

/// True unless the path begins with "/".
bool path_is_relative(const std::string& path);

/// The full path of the running executable, empty if the system does not tell.
std::string get_entry_point_exe();

/// The number of this process. A forked child has another one than its parent.
int get_process_id();

/// Opens a shared library with its symbols visible to libraries opened later; null on failure.
void* load_library(const std::string& path);

/// Gives one reference to an opened library back.
void free_library(void* handle);

/// The address of an exported symbol, null if the library has none of that name.
void* get_symbol(void* handle, const char* name);

/// Finds a library that is already in the process, without loading it. `*handle` is null if it is not.
bool get_module(const std::string& path, void** handle);

/// The parts with the separator between them; with `unique`, a part equal to an earlier one is left out.
std::string join(const std::vector<std::string>& parts, char separator, bool unique);

/// `join` without repeated parts.
std::string join_unique(const std::vector<std::string>& parts, char separator);

/// Joins the parts, relative ones below `base`, and cuts trailing separators unless there is nothing else.
std::string join_to_full_path(const std::string& base, const std::vector<std::string>& parts, char separator);

/// Adds the assembly directories below `root` to `folders`, the directory of the drawing module behind all others.
void get_app_folders(const std::string& root, bool debug, std::vector<std::string>& folders);

/// Finds the directory "netcore<major>.<minor>" of the highest version below `root` that holds `file_name`.
/// A version number beyond the range of int throws std::out_of_range.
bool get_major_netcore_path(const std::string& root, const std::string& file_name, std::string& result);

}  // namespace pal

#endif  // ZELMOR_HOST_PAL_H

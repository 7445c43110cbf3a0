// Files on disk: their names, and replacing one at once.
//
// All failures are managed exceptions that name the path.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_FILES_H
#define ZELMOR_RUNTIME_NATIVE_CORE_FILES_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zelmor::embed {

// The managed exception of a system call's error. `doing` is "read", "write" or "open".
[[noreturn]] void throw_file_error(const std::string& path, int error, const char* doing);

// A file name as the system takes it, from the text that Python gave. Bytes that are no UTF-8 have come through Python
// as lone surrogates and become themselves again. ArgumentNullException, ArgumentException for what names no file.
std::string file_path_of(const std::optional<std::u16string>& text, const char* parameter);

// The way back: the text that Python has for a file name.
std::u16string text_of_file_path(const std::string& path);

bool file_exists(const std::string& path);

// Puts the data under the name at once: it is written beside the target and moved there when it is complete, so that
// under the name there is the old file or the new one, never a part. Links are followed, permissions of an existing
// file stay. What is no regular file, such as a pipe, is written to directly.
void write_file(const std::string& path, std::span<const uint8_t> data);

// Refuses early where write_file() would have to refuse anyway: no directory, no permission, a directory of that name.
void require_writable_target(const std::string& path);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_FILES_H

// Files on disk: their names, and writing one so that it is there as a whole or not at all.
//
// All failures are managed exceptions that name the path.
#ifndef ZELMOR_RUNTIME_NATIVE_CORE_FILES_H
#define ZELMOR_RUNTIME_NATIVE_CORE_FILES_H

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zelmor::embed {

// The managed exception of a system call's error. `doing` is "read", "write" or "open".
[[noreturn]] void throw_file_error(const std::string& path, int error, const char* doing);

// UnauthorizedAccessException.
[[noreturn]] void throw_denied(const std::string& path, const std::string& reason);

// A file name as the system takes it, from the text that Python gave. Bytes that are no UTF-8 have come through Python
// as lone surrogates and become themselves again. ArgumentNullException; ArgumentException for text that names no file,
// and for all texts of a file but the one that text_of_file_path() gives.
std::string file_path_of(const std::optional<std::u16string>& text, const char* parameter);

// The way back: the text that Python has for a file name.
std::u16string text_of_file_path(const std::string& path);

// The path from the root of the system, which goes on naming the file when the working directory is another one.
std::string absolute_path(std::string path);

bool file_exists(const std::string& path);

// The directory that the last part of the path is in.
std::string directory_of(const std::string& path);

// The file that a symbolic link stands for in the end, whether it exists or not; the path itself if it is no link.
std::string link_target_of(const std::string& path);

// Puts the data under the name: afterwards the old file or the new one is there, never a part, also after a crash of
// the system. Symbolic links are followed, and what is known of an existing file besides its content stays: owner,
// mode, extended attributes, access control lists, hard links (file_replacement.cpp says how). What is no regular file,
// such as a pipe, is written to directly.
void write_file(const std::string& path, std::span<const uint8_t> data);

class FileDraft;

// A file that is written piece by piece: write_file() for content that is not in memory as a whole. Until finish() the
// path is as it was, and without it nothing stays. A short file, and one that cannot be replaced by another, is kept in
// memory until then.
class NewFile {
 public:
    explicit NewFile(std::string path);
    ~NewFile();
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    void write(std::span<const uint8_t> data);
    // What was written until now; any of it can be written again, and read. A gap before an offset is filled with
    // zeros.
    uint64_t size() const { return m_size + m_kept.size(); }
    void write_at(uint64_t offset, std::span<const uint8_t> data);
    void read_at(uint64_t offset, std::span<uint8_t> out) const;
    void finish();

 private:
    void begin_long_file();
    void begin_draft();
    void move_to_draft();
    void put_in_draft(uint64_t offset, std::span<const uint8_t> data);

    std::string m_path;
    std::vector<uint8_t> m_kept;  // what is not in the draft: the end
    bool m_is_long = false;
    std::unique_ptr<FileDraft> m_draft;  // of a long file that can be replaced
    uint64_t m_size = 0;                 // of the draft
};

// Refuses early where write_file() would have to refuse anyway: no directory, no permission, a directory of that name.
void require_writable_target(const std::string& path);

}  // namespace zelmor::embed

#endif  // ZELMOR_RUNTIME_NATIVE_CORE_FILES_H

// The system's calls on files, written down, and failing where a test says so.
//
// Defined in the program of the tests, they stand before those of the C library: in another place than a test's
// directory, and while no test records, they do what they always do. Extended attributes are kept here, since not
// every file system has them.
#ifndef ZELMOR_TESTS_UNIT_FILES_SYSTEM_CALLS_H
#define ZELMOR_TESTS_UNIT_FILES_SYSTEM_CALLS_H

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace zelmor::embed::test {

class SystemCalls {
 public:
    using Attributes = std::map<std::string, std::string>;

    // Records until it ends. Names are written down as they are below the directory.
    explicit SystemCalls(std::string directory);
    ~SystemCalls();
    SystemCalls(const SystemCalls&) = delete;
    SystemCalls& operator=(const SystemCalls&) = delete;

    // Of the calls of this name, `times` fail, after `first` others.
    void fail(const std::string& name, int error, int first = 0, int times = 1);
    // What each has made of its calls; reading and asking is written down only where it fails.
    std::string log() const;

    size_t longest = SIZE_MAX;                  // that is read or written at once
    std::optional<uid_t> owner_of_drafts = {};  // as the system tells it of new files
    std::map<ino_t, Attributes> attributes = {};
    Attributes attributes_of_new_files = {};

    // For the calls themselves.
    int failure(const std::string& name);  // or 0
    void write_down(std::string line, int error);
    std::string name_of(const char* path) const;
    std::map<int, std::string> open_files = {};

 private:
    struct Failure {
        std::string name;
        int error;
        int first;
        int times;
    };
    std::string m_directory;
    std::vector<Failure> m_failures;
    std::vector<std::string> m_lines;
};

// How many files the process has open.
size_t open_descriptors();

}  // namespace zelmor::embed::test

#endif  // ZELMOR_TESTS_UNIT_FILES_SYSTEM_CALLS_H

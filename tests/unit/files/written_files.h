// A fixture for files that are written: what is in their directory, and what is refused.
#ifndef ZELMOR_TESTS_UNIT_FILES_WRITTEN_FILES_H
#define ZELMOR_TESTS_UNIT_FILES_WRITTEN_FILES_H

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <set>
#include <span>

#include "../runtime/with_directory.h"
#include "runtime/native/core/files.h"
#include "runtime/native/core/managed_exception.h"
#include "system_calls.h"

namespace zelmor::embed::test {

inline const std::string kOld = "old content", kNew = "new content, which is longer", kShort = "new";

// What the runtime says of files that it changes where they are, and whether it is to be refused.
struct Changes {
    bool refused = false;
    std::vector<ino_t> files;
};
Changes& changes();

inline std::span<const uint8_t> bytes_of(const std::string& text) {
    return {reinterpret_cast<const uint8_t*>(text.data()), text.size()};
}

class FilesTest : public test::WithDirectory {
 protected:
    void SetUp() override {
        WithDirectory::SetUp();
        changes() = {};
        m_open = open_descriptors();
    }
    void TearDown() override {
        EXPECT_EQ(open_descriptors(), m_open);
        WithDirectory::TearDown();
    }

    std::string directory() const { return std::filesystem::path(path("x")).parent_path().string(); }
    std::string content(const char* name) const {
        std::ifstream file(path(name), std::ios::binary);
        return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "nothing";
    }
    void put(const char* name, const std::string& text) const { std::ofstream(path(name), std::ios::binary) << text; }
    ino_t inode(const char* name) const {
        struct stat info {};
        return ::stat(path(name).c_str(), &info) == 0 ? info.st_ino : 0;
    }
    // What else is in the directory.
    std::string others() const {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(directory())) {
            names.insert(entry.path().filename().string());
        }
        std::string text;
        for (const std::string& name : names) {
            text += name == "foobar" || name == "link" ? "" : " + " + name;
        }
        return text;
    }
    // The exception, in which the directory is left out.
    template <class Action>
    std::string refusal(Action action) const {
        try {
            action();
        } catch (const ManagedException& e) {
            std::string text = e.name() + ": " + e.detail();
            for (size_t at; (at = text.find(directory() + "/")) != std::string::npos;) {
                text.erase(at, directory().size() + 1);
            }
            return text;
        }
        return "";
    }
    // Writes "foobar", and says what came of it.
    std::string written(const std::string& text) const {
        const ino_t before = inode("foobar");
        const std::string error = refusal([&] { write_file(path("foobar"), bytes_of(text)); });
        const std::string now = content("foobar");
        return (error.empty() ? "" : error + " ") +
               (now == text   ? inode("foobar") == before ? "new in the same file" : "new"
                : now == kOld ? "old"
                              : now) +
               others();
    }

 private:
    size_t m_open = 0;
};

}  // namespace zelmor::embed::test

#endif  // ZELMOR_TESTS_UNIT_FILES_WRITTEN_FILES_H

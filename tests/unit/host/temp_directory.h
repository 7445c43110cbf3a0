// A directory of its own for one test, gone with everything in it when the test ends.
#ifndef ZELMOR_TESTS_UNIT_HOST_TEMP_DIRECTORY_H
#define ZELMOR_TESTS_UNIT_HOST_TEMP_DIRECTORY_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

class TempDirectory {
 public:
    TempDirectory() {
        std::string pattern = (std::filesystem::temp_directory_path() / "host_test_XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::filesystem::filesystem_error("mkdtemp", {});
        }
        m_path = pattern;
    }
    TempDirectory(const TempDirectory&) = delete;
    TempDirectory& operator=(const TempDirectory&) = delete;
    ~TempDirectory() { std::filesystem::remove_all(m_path); }

    const std::string& path() const { return m_path; }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

    std::string make_directory(const std::string& name) const {
        std::filesystem::create_directories(*this / name);
        return *this / name;
    }

    std::string make_file(const std::string& name) const {
        std::filesystem::create_directories(std::filesystem::path(*this / name).parent_path());
        std::ofstream(*this / name) << "x";
        return *this / name;
    }

    std::string copy_file(const std::string& from, const std::string& name) const {
        std::filesystem::create_directories(std::filesystem::path(*this / name).parent_path());
        std::filesystem::copy_file(from, *this / name);
        return *this / name;
    }

    // The content of a file, empty if there is no such file.
    std::string read(const std::string& name) const {
        std::ostringstream text;
        std::ifstream file(*this / name, std::ios::binary);
        if (file) {
            text << file.rdbuf();
        }
        return text.str();
    }

 private:
    std::string m_path;
};

#endif  // ZELMOR_TESTS_UNIT_HOST_TEMP_DIRECTORY_H

// A fixture with a directory of its own, which is gone after the test.
#ifndef ZELMOR_TESTS_UNIT_RUNTIME_WITH_DIRECTORY_H
#define ZELMOR_TESTS_UNIT_RUNTIME_WITH_DIRECTORY_H

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "fake_python.h"

namespace zelmor::embed::test {

class WithDirectory : public RuntimeTest {
 protected:
    void SetUp() override {
        RuntimeTest::SetUp();
        std::string name = (std::filesystem::temp_directory_path() / "runtimeXXXXXX").string();
        ASSERT_NE(mkdtemp(name.data()), nullptr);
        m_directory = name;
    }
    void TearDown() override {
        std::filesystem::remove_all(m_directory);
        RuntimeTest::TearDown();
    }
    std::string path(const char* name) const { return (m_directory / name).string(); }

 private:
    std::filesystem::path m_directory;
};

}  // namespace zelmor::embed::test

#endif  // ZELMOR_TESTS_UNIT_RUNTIME_WITH_DIRECTORY_H

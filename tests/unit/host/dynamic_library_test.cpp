// Holding a shared library: who opened it, who may close it, and how a holder moves.
#include "host/dynamic_library.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <utility>

#include "host/host_trace.h"
#include "host/pal.h"
#include "tests/unit/host/child_process.h"
#include "tests/unit/host/temp_directory.h"

namespace {

constexpr const char* kName = "libfake.so";

// Each test has a copy of the library of its own, so that none finds it loaded by another.
class DynamicLibraryTest : public ::testing::Test {
 protected:
    bool is_loaded() const {
        void* handle = nullptr;
        if (!pal::get_module(path, &handle)) {
            return false;
        }
        pal::free_library(handle);
        return true;
    }

    TempDirectory directory;
    std::string path = directory.copy_file(FAKE_CORECLR, kName);
};

TEST_F(DynamicLibraryTest, NewHolderIsEmpty) {
    DynamicLibrary library;
    EXPECT_FALSE(library.is_held());
    EXPECT_FALSE(library.is_first_load());
    EXPECT_FALSE(library.free());
}

TEST_F(DynamicLibraryTest, OpeningIsAFirstLoad) {
    DynamicLibrary library;
    ASSERT_TRUE(DynamicLibrary::try_load(path, kName, library));
    EXPECT_TRUE(library.is_held());
    EXPECT_TRUE(library.is_first_load());
}

TEST_F(DynamicLibraryTest, FindingIsNoFirstLoad) {
    const DynamicLibrary first = DynamicLibrary::load(path, kName);
    const DynamicLibrary second = DynamicLibrary::load(path, kName);
    EXPECT_TRUE(first.is_first_load());
    EXPECT_TRUE(second.is_held());
    EXPECT_FALSE(second.is_first_load());
}

TEST_F(DynamicLibraryTest, SameFileUnderAnotherPathIsFound) {
    const DynamicLibrary first = DynamicLibrary::load(path, kName);
    std::filesystem::create_symlink(path, directory / "link.so");
    EXPECT_FALSE(DynamicLibrary::load(directory / "link.so", kName).is_first_load());
}

TEST_F(DynamicLibraryTest, NameDoesNotIdentifyTheLibrary) {
    const DynamicLibrary first = DynamicLibrary::load(path, kName);
    const DynamicLibrary other = DynamicLibrary::load(directory.copy_file(FAKE_CORECLR, "other/libfake.so"), kName);
    EXPECT_TRUE(other.is_first_load());
    EXPECT_FALSE(DynamicLibrary::load(path, "any name").is_first_load());
}

TEST_F(DynamicLibraryTest, AbsentLibraryIsReported) {
    DynamicLibrary library;
    EXPECT_FALSE(DynamicLibrary::try_load(directory / "absent.so", "absent.so", library));
    EXPECT_FALSE(library.is_held());
    EXPECT_FALSE(library.is_first_load());
    try {
        DynamicLibrary::load(directory / "absent.so", "absent.so");
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "DynamicLibrary::load");
    }
}

TEST_F(DynamicLibraryTest, LoadingAnotherLibraryClosesTheFirst) {
    DynamicLibrary library = DynamicLibrary::load(path, kName);
    EXPECT_FALSE(DynamicLibrary::try_load(directory / "absent.so", "absent.so", library));
    EXPECT_FALSE(is_loaded());
}

TEST_F(DynamicLibraryTest, FreeClosesTheLibrary) {
    DynamicLibrary library = DynamicLibrary::load(path, kName);
    EXPECT_TRUE(is_loaded());
    EXPECT_TRUE(library.free());
    EXPECT_FALSE(library.is_held());
    EXPECT_FALSE(is_loaded());
    EXPECT_FALSE(library.free());
}

TEST_F(DynamicLibraryTest, FreeKeepsALibraryThatMayNotBeFreed) {
    DynamicLibrary library = DynamicLibrary::load(path, kName);
    library.set_can_free(false);
    EXPECT_TRUE(library.free());
    EXPECT_TRUE(library.is_held());
    EXPECT_TRUE(is_loaded());
    library.set_can_free(true);
    EXPECT_TRUE(library.free());
    EXPECT_FALSE(is_loaded());
}

TEST_F(DynamicLibraryTest, DestructorFrees) {
    { const DynamicLibrary library = DynamicLibrary::load(path, kName); }
    EXPECT_FALSE(is_loaded());
}

TEST_F(DynamicLibraryTest, MoveTakesTheLibraryAndTheFirstLoad) {
    DynamicLibrary source = DynamicLibrary::load(path, kName);
    const DynamicLibrary target(std::move(source));
    EXPECT_TRUE(target.is_held());
    EXPECT_TRUE(target.is_first_load());
    EXPECT_FALSE(source.is_held());  // NOLINT: what is left behind is the matter of this test
    EXPECT_FALSE(source.free());
    EXPECT_TRUE(is_loaded());
}

TEST_F(DynamicLibraryTest, MoveLeavesTheRightToFreeWithTheTarget) {
    DynamicLibrary source = DynamicLibrary::load(path, kName);
    source.set_can_free(false);
    {
        const DynamicLibrary target(std::move(source));
        EXPECT_TRUE(is_loaded());
    }
    EXPECT_FALSE(is_loaded());
}

TEST_F(DynamicLibraryTest, MoveAssignmentFreesTheTargetFirst) {
    const std::string other_path = directory.copy_file(FAKE_CORECLR, "other.so");
    DynamicLibrary target = DynamicLibrary::load(other_path, "other.so");
    DynamicLibrary source = DynamicLibrary::load(path, kName);
    target = std::move(source);
    EXPECT_TRUE(is_loaded());
    void* handle = nullptr;
    EXPECT_FALSE(pal::get_module(other_path, &handle));
    EXPECT_TRUE(target.is_held());
    EXPECT_FALSE(source.is_held());  // NOLINT: what is left behind is the matter of this test
}

TEST_F(DynamicLibraryTest, MoveAssignmentOntoItselfKeepsTheLibrary) {
    DynamicLibrary library = DynamicLibrary::load(path, kName);
    DynamicLibrary& same = library;
    library = std::move(same);
    EXPECT_TRUE(library.is_held());
    EXPECT_TRUE(is_loaded());
}

TEST_F(DynamicLibraryTest, SymbolsAreResolvedOrReported) {
    DynamicLibrary library;
    try {
        library.get_symbol("coreclr_initialize");
        FAIL() << "no exception";
    } catch (const std::logic_error& error) {
        EXPECT_STREQ(error.what(), "Library was not opened!");
    }
    ASSERT_TRUE(DynamicLibrary::try_load(path, kName, library));
    EXPECT_NE(library.get_symbol("coreclr_initialize"), nullptr);
    try {
        library.get_symbol("coreclr_absent");
        FAIL() << "no exception";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "No such symbol: coreclr_absent");
    }
}

TEST_F(DynamicLibraryTest, EveryWayOfLoadingLeavesItsTrace) {
    const ChildResult child = run_in_child([this] {
        trace::enable();
        const DynamicLibrary first = DynamicLibrary::load(path, kName);
        const DynamicLibrary second = DynamicLibrary::load(path, kName);
        DynamicLibrary third;
        DynamicLibrary::try_load("/absent/libfake.so", kName, third);
    });
    EXPECT_EQ(child.out,
              "Try get module...\r\nNo existed module...\r\n"
              "Try get module...\r\nUsing existed module...\r\n"
              "Try get module...\r\nNo existed module...\r\nNo module...\r\nNo: '/absent/libfake.so'\r\n");
    EXPECT_EQ(child.exit_code, 0);
}

}  // namespace

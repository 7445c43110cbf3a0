// The platform layer: output, environment, numbers, error texts, paths, lists of paths, symbols.
#include "host/pal.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "tests/unit/host/child_process.h"
#include "tests/unit/host/temp_directory.h"

namespace {

void print_out(const char* format, ...) {
    va_list args;
    va_start(args, format);
    pal::out_vprintf(format, args);
    va_end(args);
}

void print_err(const char* format, ...) {
    va_list args;
    va_start(args, format);
    pal::err_vprintf(format, args);
    va_end(args);
}

TEST(PalOutput, LinesEndInCarriageReturnAndNewlineOnTheirOwnStream) {
    const ChildResult child = run_in_child([] {
        print_out("%s=%d", "a", 1);
        print_err("%s", "b");
    });
    EXPECT_EQ(child.out, "a=1\r\n");
    EXPECT_EQ(child.err, "b\r\n");
}

TEST(PalGetenv, UnsetVariableEmptiesTheValue) {
    unsetenv("HOST_TEST_VARIABLE");
    std::string value = "old";
    EXPECT_FALSE(pal::getenv("HOST_TEST_VARIABLE", value));
    EXPECT_EQ(value, "");
}

TEST(PalGetenv, EmptyVariableCountsAsUnset) {
    setenv("HOST_TEST_VARIABLE", "", 1);
    std::string value = "old";
    EXPECT_FALSE(pal::getenv("HOST_TEST_VARIABLE", value));
    EXPECT_EQ(value, "");
}

TEST(PalGetenv, SetVariableIsCopied) {
    setenv("HOST_TEST_VARIABLE", "some text", 1);
    std::string value;
    EXPECT_TRUE(pal::getenv("HOST_TEST_VARIABLE", value));
    EXPECT_EQ(value, "some text");
}

TEST(PalToInt, ReadsTheLeadingDecimalNumber) {
    EXPECT_EQ(pal::to_int("12"), 12);
    EXPECT_EQ(pal::to_int(" -3"), -3);
    EXPECT_EQ(pal::to_int("7up"), 7);
    EXPECT_EQ(pal::to_int("0x10"), 0);
    EXPECT_EQ(pal::to_int("yes"), 0);
    EXPECT_EQ(pal::to_int(""), 0);
}

TEST(PalErrorText, IsTheSystemsOwn) {
    EXPECT_EQ(pal::to_error_string(2), std::strerror(2));
}

TEST(PalErrorText, StatusCodeStandsAsUnsignedHexadecimal) {
    EXPECT_EQ(pal::to_error_string_with_status_code("p:", -2147024894, ""), "p:0x80070002");
    EXPECT_EQ(pal::to_error_string_with_status_code("", -1, "."), "0xffffffff.");
    EXPECT_EQ(pal::to_error_string_with_status_code("a ", 0, " b"), "a 0x0 b");
    EXPECT_EQ(pal::to_error_string_with_status_code("", 0xabc, ""), "0xabc");
}

TEST(PalFileExists, FilesAndDirectoriesExistAndOthersDoNot) {
    const TempDirectory directory;
    EXPECT_TRUE(pal::is_file_exists(directory.make_file("file")));
    EXPECT_TRUE(pal::is_file_exists(directory.make_directory("debug")));
    EXPECT_FALSE(pal::is_file_exists(directory / "absent"));
    EXPECT_FALSE(pal::is_file_exists(""));
}

TEST(PalPathAppend, EmptyPathTakesThePartItself) {
    std::string path;
    pal::path_append(path, "part");
    EXPECT_EQ(path, "part");
}

TEST(PalPathAppend, AddsASeparatorEvenBehindASlash) {
    std::string path = "a";
    pal::path_append(path, "b");
    EXPECT_EQ(path, "a/b");
    path = "a/";
    pal::path_append(path, "b");
    EXPECT_EQ(path, "a//b");
}

TEST(PalBuildPath, AppendsAllPartsInOrder) {
    EXPECT_EQ(pal::build_path("/r"), "/r");
    EXPECT_EQ(pal::build_path("/r", "a"), "/r/a");
    EXPECT_EQ(pal::build_path("/r", "a", std::string("b"), "c"), "/r/a/b/c");
    EXPECT_EQ(pal::build_path("", "a", "b"), "a/b");
}

TEST(PalPathGetDirectory, IsTheTextBeforeTheLastSlash) {
    EXPECT_EQ(pal::path_get_directory("file"), "");
    EXPECT_EQ(pal::path_get_directory("/a"), "");
    EXPECT_EQ(pal::path_get_directory("/usr/bin/x"), "/usr/bin");
    EXPECT_EQ(pal::path_get_directory("/usr/bin/"), "/usr/bin");
    EXPECT_EQ(pal::path_get_directory(""), "");
}

TEST(PalPathIsRelative, UnlessItBeginsWithASlash) {
    EXPECT_TRUE(pal::path_is_relative(""));
    EXPECT_TRUE(pal::path_is_relative("a/b"));
    EXPECT_TRUE(pal::path_is_relative("./a"));
    EXPECT_FALSE(pal::path_is_relative("/"));
    EXPECT_FALSE(pal::path_is_relative("/a"));
}

TEST(PalEntryPointExe, IsThisProgram) {
    EXPECT_EQ(pal::get_entry_point_exe(), std::filesystem::read_symlink("/proc/self/exe").string());
}

TEST(PalJoin, PutsSeparatorsBetweenParts) {
    EXPECT_EQ(pal::join({}, ':', false), "");
    EXPECT_EQ(pal::join({"a"}, ':', false), "a");
    EXPECT_EQ(pal::join({"a"}, ':', true), "a");
    EXPECT_EQ(pal::join({"a", "b", "a"}, ':', false), "a:b:a");
    EXPECT_EQ(pal::join({"", "", "b"}, ':', false), "::b");
}

TEST(PalJoin, UniqueDropsRepeatedPartsWithTheirSeparators) {
    EXPECT_EQ(pal::join({"a", "b", "a"}, ':', true), "a:b");
    EXPECT_EQ(pal::join({"a", "a", "b", "b", "c", "a"}, ';', true), "a;b;c");
    EXPECT_EQ(pal::join({"ab", "a", "b"}, ':', true), "ab:a:b");
    EXPECT_EQ(pal::join_unique({"a", "b", "a"}, ':'), "a:b");
    EXPECT_EQ(pal::join_unique({}, ':'), "");
}

TEST(PalJoinToFullPath, RelativePartsGoBelowTheBase) {
    EXPECT_EQ(pal::join_to_full_path("/r", {"x", "/y"}, ':'), "/r/x:/y");
    EXPECT_EQ(pal::join_to_full_path("/r", {"x"}, ':'), "/r/x");
    EXPECT_EQ(pal::join_to_full_path("/r", {}, ':'), "");
}

TEST(PalJoinToFullPath, TrailingSeparatorsAreCutUnlessThereIsNothingElse) {
    EXPECT_EQ(pal::join_to_full_path("/r", {"x::"}, ':'), "/r/x");
    EXPECT_EQ(pal::join_to_full_path("", {"", ""}, ':'), "::");
}

TEST(PalSymbols, AreFoundByNameInAnOpenLibrary) {
    void* library = pal::load_library(FAKE_CORECLR);
    ASSERT_NE(library, nullptr);
    EXPECT_NE(pal::get_symbol(library, "coreclr_initialize"), nullptr);
    EXPECT_EQ(pal::get_symbol(library, "coreclr_absent"), nullptr);
    pal::free_library(library);
    EXPECT_EQ(pal::load_library("/absent/library.so"), nullptr);
}

TEST(PalSymbols, OfALoadedLibraryAreGlobal) {
    const ChildResult child = run_in_child([] {
        void* self = pal::load_library("");
        const bool before = pal::get_symbol(self, "coreclr_shutdown_2") != nullptr;
        pal::load_library(FAKE_CORECLR);
        const bool after = pal::get_symbol(self, "coreclr_shutdown_2") != nullptr;
        std::printf("%d %d", static_cast<int>(before), static_cast<int>(after));
    });
    EXPECT_EQ(child.out, "0 1");
}

TEST(PalGetModule, FindsOnlyWhatIsLoaded) {
    void* handle = &handle;
    EXPECT_FALSE(pal::get_module(FAKE_CORECLR, &handle));
    EXPECT_EQ(handle, nullptr);
    void* library = pal::load_library(FAKE_CORECLR);
    EXPECT_TRUE(pal::get_module(FAKE_CORECLR, &handle));
    EXPECT_EQ(handle, library);
    pal::free_library(handle);
    pal::free_library(library);
    EXPECT_FALSE(pal::get_module(FAKE_CORECLR, &handle));
}

}  // namespace

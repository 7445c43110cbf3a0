// Names of files as texts, what they lead to, and the words in which they are refused.
#include <cerrno>
#include <optional>
#include <tuple>
#include <utility>

#include "written_files.h"

namespace zelmor::embed {
namespace {

using test::kOld;
using test::SystemCalls;

class FileNames : public test::FilesTest {};

TEST_F(FileNames, TargetsThatCannotBeWrittenAreRefusedAtOnce) {
    const auto refused = [&](const char* name) { return refusal([&] { require_writable_target(path(name)); }); };
    put("foobar", kOld);
    std::filesystem::create_directory(path("folder"));
    std::filesystem::create_symlink("folder/inner", path("link"));
    for (const char* name : {"foobar", "other", "folder/other", "link"}) {
        EXPECT_EQ(refused(name), "");
    }
    const std::string denied = "UnauthorizedAccessException: Access to the path ";
    EXPECT_EQ(refused("folder"), denied + "'folder' is denied: it is a directory.");
    EXPECT_EQ(refused("folder/"), denied + "'folder/' is denied: it is a directory.");
    EXPECT_EQ(refused("none/other"),
              "DirectoryNotFoundException: Could not find a part of the path 'none/other': "
              "there is no directory 'none'.");
    EXPECT_EQ(refused("none/"),
              "DirectoryNotFoundException: Could not find a part of the path 'none/': "
              "there is no directory 'none'.");
    EXPECT_EQ(refused("foobar/other"),
              "DirectoryNotFoundException: Could not find a part of the path 'foobar/other': "
              "there is no directory 'foobar'.");
    SystemCalls calls(directory());
    const auto refused_by = [&](const char* name, int error) {
        calls.fail("faccessat", error);
        return refused(name);
    };
    EXPECT_EQ(refused_by("foobar", EACCES), denied + "'foobar' is denied: there is no permission to write it.");
    EXPECT_EQ(refused_by("foobar", EROFS), denied + "'foobar' is denied: the file system is read-only.");
    EXPECT_EQ(refused_by("link", EACCES),
              denied + "'folder/inner' is denied: there is no permission to write to its directory.");
    EXPECT_EQ(refused_by("other", EROFS), denied + "'other' is denied: the file system is read-only.");
}

TEST_F(FileNames, LinksAreFollowedToTheirEnd) {
    std::filesystem::create_directory(path("folder"));
    std::filesystem::create_symlink("folder/second", path("link"));
    std::filesystem::create_symlink("third", path("folder/second"));
    EXPECT_EQ(link_target_of(path("link")), path("folder/third"));
    EXPECT_EQ(link_target_of(path("folder/third")), path("folder/third"));
    std::filesystem::create_symlink(path("absolute"), path("folder/third"));
    EXPECT_EQ(link_target_of(path("link")), path("absolute"));
    // As many links as the system follows.
    std::string name = path("end");
    for (int i = 1; i <= 41; i++) {
        const std::string link = path(("chain" + std::to_string(i)).c_str());
        std::filesystem::create_symlink(name, link);
        name = link;
    }
    EXPECT_EQ(link_target_of(path("chain40")), path("end"));
    EXPECT_EQ(refusal([&] { link_target_of(path("chain41")); }),
              "IOException: Cannot write 'chain41': Too many levels of symbolic links.");
    if (std::filesystem::is_symlink("/bin") && std::filesystem::read_symlink("/bin") == "usr/bin") {
        EXPECT_EQ(link_target_of("/bin"), "/usr/bin");
    }
}

TEST_F(FileNames, DirectoriesAndErrorsHaveNames) {
    const std::pair<const char*, const char*> directories[] = {
        {"a", "."}, {"", "."}, {"/a", "/"}, {"/", "/"}, {"b/a", "b"}, {"/b/a", "/b"}, {"b/", "b"}, {"./a", "."},
    };
    for (const auto& [name, parent] : directories) {
        EXPECT_EQ(directory_of(name), parent);
    }
    const std::tuple<int, const char*, const char*> errors[] = {
        {ENOENT, "foobar", "FileNotFoundException: Could not find file 'foobar'."},
        {ENOTDIR, "foobar", "FileNotFoundException: Could not find file 'foobar'."},
        {ENOENT, "none/a",
         "DirectoryNotFoundException: Could not find a part of the path 'none/a': "
         "there is no directory 'none'."},
        {ENOTDIR, "none/a",
         "DirectoryNotFoundException: Could not find a part of the path 'none/a': "
         "there is no directory 'none'."},
        {EISDIR, "a", "UnauthorizedAccessException: Access to the path 'a' is denied: it is a directory."},
        {EACCES, "a",
         "UnauthorizedAccessException: Access to the path 'a' is denied: there is no permission to see it."},
        {EPERM, "a",
         "UnauthorizedAccessException: Access to the path 'a' is denied: there is no permission to see it."},
        {EROFS, "a", "UnauthorizedAccessException: Access to the path 'a' is denied: the file system is read-only."},
        {ENAMETOOLONG, "a", "PathTooLongException: The path 'a' is too long."},
        {EMFILE, "a", "IOException: Cannot see 'a': Too many open files."},
        {EIO, "\xFF", "IOException: Cannot see '\xEF\xBF\xBD': Input/output error."},
    };
    for (const auto& [error, name, text] : errors) {
        EXPECT_EQ(refusal([&, error = error, name = name] { throw_file_error(path(name), error, "see"); }), text);
    }
}

// Python keeps bytes that are no UTF-8 in a name as lone surrogates; every name has one text.
TEST_F(FileNames, ANameHasOneText) {
    const std::pair<std::u16string, std::string> names[] = {
        {u"plain", "plain"},
        {u"\u017C\U0001F422", "\xC5\xBC\xF0\x9F\x90\xA2"},
        {u"\xDC80", "\x80"},
        {u"\xDCFF", "\xFF"},
        {u"a\xDCFFz", "a\xFFz"},
        {u"\xDCC3x", "\xC3x"},
        {u"\U0001F4A9", "\xF0\x9F\x92\xA9"},
        {u"\xFFFD", "\xEF\xBF\xBD"},
        {u"\xDCED\xDCA0\xDC80", "\xED\xA0\x80"},
        {u"\xDCF0\xDC9F\xDC92", "\xF0\x9F\x92"},
    };
    for (const auto& [text, name] : names) {
        EXPECT_EQ(file_path_of(text, "file_path"), name);
        EXPECT_EQ(text_of_file_path(name), text);
    }
    const auto refused = [&](const std::optional<std::u16string>& text) {
        return refusal([&] { file_path_of(text, "p"); });
    };
    EXPECT_EQ(refused(std::nullopt), "ArgumentNullException: Value cannot be null. (Parameter 'p')");
    EXPECT_EQ(refused(u""), "ArgumentException: The path is empty. (Parameter 'p')");
    for (const std::u16string_view text : {std::u16string_view(u"\0", 1), std::u16string_view(u"a\0b", 3)}) {
        EXPECT_EQ(refused(std::u16string(text)),
                  "ArgumentException: The path has a null character in it. (Parameter 'p')");
    }
    for (const std::u16string text : {u"\xD83D", u"\xDC7F", u"\xDD00", u"\xDFFF", u"a\xD83Dz", u"\xDCC5\xDCBC"}) {
        EXPECT_EQ(refused(text),
                  "ArgumentException: The path has a lone surrogate in it, which no file name can have. "
                  "(Parameter 'p')");
    }
    EXPECT_EQ(absolute_path("/a/b"), "/a/b");
    EXPECT_EQ(absolute_path("b"), std::filesystem::current_path().string() + "/b");
    EXPECT_TRUE(file_exists(directory()));
    EXPECT_FALSE(file_exists(path("none")));
}

}  // namespace
}  // namespace zelmor::embed

// Files that are written as a whole: the order of the system's calls, and what is there after each that fails.
#include "written_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "runtime/native/core/file_changes.h"

namespace zelmor::embed {

test::Changes& test::changes() {
    static Changes changes;
    return changes;
}

namespace {

using test::bytes_of;
using test::kNew;
using test::kOld;
using test::kShort;
using test::SystemCalls;

const BeforeFileChange kListener([](const struct stat& file) {
    test::changes().files.push_back(file.st_ino);
    if (test::changes().refused) {
        throw ManagedException("IOException", "The file is in use.");
    }
});

// The FNV-1a hash of "foobar" is one of its published test vectors.
constexpr const char* kDraft = ".zelmor-85944171f73967e8.part";
constexpr const char* kBackup = ".zelmor-85944171f73967e8.backup";

class WrittenFiles : public test::FilesTest {};

enum class Target { kNone, kFile, kLinked };

TEST_F(WrittenFiles, AFileWithoutANameBecomesTheNewOne) {
    SystemCalls calls(directory());
    EXPECT_EQ(written(kNew), "new");
    EXPECT_EQ(calls.log(),
              "16 names looked at\n"
              "open . rw nameless\n"
              "flock draft\n"
              "write draft 28\n"
              "fsync draft\n"
              "linkat draft to foobar\n"
              "open . r directory\n"
              "fsync .\n"
              "unlink .zelmor-85944171f73967e8.backup: ENOENT\n");
    EXPECT_TRUE(test::changes().files.empty());
}

TEST_F(WrittenFiles, AFileIsReplacedByOneOfTheSameRights) {
    put("foobar", kOld);
    chmod(path("foobar").c_str(), 04751);
    SystemCalls calls(directory());
    EXPECT_EQ(written(kNew), "new");
    EXPECT_EQ(calls.log(),
              "16 names looked at\n"
              "open . rw nameless\n"
              "flock draft\n"
              "open foobar r\n"
              "fchmod draft 751\n"
              "write draft 28\n"
              "fsync draft\n"
              "linkat draft to .zelmor-85944171f73967e8.part\n"
              "rename .zelmor-85944171f73967e8.part to foobar\n"
              "open . r directory\n"
              "fsync .\n"
              "unlink .zelmor-85944171f73967e8.backup: ENOENT\n");
    EXPECT_TRUE(test::changes().files.empty());
}

TEST_F(WrittenFiles, WithoutNamelessFilesTheDraftHasANameFromTheStart) {
    put("foobar", kOld);
    chmod(path("foobar").c_str(), 0600);
    put(kDraft, "left over");
    SystemCalls calls(directory());
    calls.fail("access", ENOENT);
    EXPECT_EQ(written(kNew), "new");
    EXPECT_EQ(calls.log(),
              "open .zelmor-85944171f73967e8.part r no link no waiting\n"
              "flock .zelmor-85944171f73967e8.part\n"
              "unlink .zelmor-85944171f73967e8.part\n"
              "15 names looked at\n"
              "access /proc/self/fd: ENOENT\n"
              "open .zelmor-85944171f73967e8.part rw create exclusive\n"
              "flock .zelmor-85944171f73967e8.part\n"
              "open foobar r\n"
              "fchmod .zelmor-85944171f73967e8.part 600\n"
              "write .zelmor-85944171f73967e8.part 28\n"
              "fsync .zelmor-85944171f73967e8.part\n"
              "rename .zelmor-85944171f73967e8.part to foobar\n"
              "open . r directory\n"
              "fsync .\n"
              "unlink .zelmor-85944171f73967e8.backup: ENOENT\n");
}

TEST_F(WrittenFiles, AFileWithTwoNamesIsWrittenInPlaceBesideABackup) {
    for (const std::string& text : {kNew, kShort}) {
        put("foobar", kOld);
        std::filesystem::remove(path("link"));
        std::filesystem::create_hard_link(path("foobar"), path("link"));
        test::changes().files.clear();
        SystemCalls calls(directory());
        EXPECT_EQ(written(text), "new in the same file");
        const std::string size = std::to_string(text.size());
        EXPECT_EQ(calls.log(),
                  "open foobar rw\n"
                  "fallocate foobar " +
                      size +
                      " from 0\n"
                      "16 names looked at\n"
                      "open . rw nameless\n"
                      "flock draft\n"
                      "fchmod draft 600\n"
                      "write draft 11\n"
                      "fsync draft\n"
                      "linkat draft to .zelmor-85944171f73967e8.backup\n"
                      "open . r directory\n"
                      "fsync .\n"
                      "write foobar " +
                      size +
                      "\n"
                      "ftruncate foobar " +
                      size +
                      "\n"
                      "fsync foobar\n"
                      "unlink .zelmor-85944171f73967e8.backup\n");
        EXPECT_EQ(content("link"), text);
        EXPECT_EQ(test::changes().files, std::vector{inode("foobar")});
    }
    SystemCalls calls(directory());
    EXPECT_EQ(written(""), "new in the same file");
    EXPECT_EQ(calls.log().find("fallocate"), std::string::npos);
    test::changes().refused = true;
    EXPECT_EQ(written(kNew), "IOException: The file is in use. ");
}

// Owner, rights and attributes are those of the old file, or it is written in place.
TEST_F(WrittenFiles, WhatAFileHasBesidesItsContentIsGivenToTheNewOne) {
    const SystemCalls::Attributes own{{"user.a", "first"}, {"user.b", std::string(300, 'x')}, {"user.c", ""}};
    const auto fresh = [&](SystemCalls& calls) {
        std::filesystem::remove(path("foobar"));
        put("foobar", kOld);
        chmod(path("foobar").c_str(), 0640);
        calls.owner_of_drafts = getuid() + 1;
        calls.attributes[inode("foobar")] = own;
        calls.attributes_of_new_files = {{"user.a", "first"}, {"user.b", "y"}, {"user.d", "of the directory"}};
    };
    {
        SystemCalls calls(directory());
        fresh(calls);
        EXPECT_EQ(written(kNew), "new");
        EXPECT_EQ(calls.attributes[inode("foobar")], own);
        const std::string owner = std::to_string(getuid()) + ":" + std::to_string(getgid());
        EXPECT_NE(calls.log().find("flock draft\n"
                                   "open foobar r\n"
                                   "fchown draft " +
                                   owner +
                                   "\n"
                                   "fchmod draft 640\n"
                                   "fremovexattr draft user.d\n"
                                   "fsetxattr draft user.b\n"
                                   "fsetxattr draft user.c\n"
                                   "write draft 28\n"),
                  std::string::npos)
            << calls.log();
    }
    // The calls on a draft that fail; of those that read attributes, the number of the one that does.
    const std::pair<const char*, int> failing[] = {
        {"fstat", 0},      {"fchown", 0},     {"fchmod", 0},     {"fremovexattr", 0},
        {"fsetxattr", 0},  {"fsetxattr", 1},  {"fgetxattr", 0},  {"fgetxattr", 1},
        {"flistxattr", 0}, {"flistxattr", 1}, {"flistxattr", 2}, {"flistxattr", 3},
    };
    for (const auto& [name, first] : failing) {
        SystemCalls calls(directory());
        fresh(calls);
        calls.fail(name, EIO, first);
        EXPECT_EQ(written(kNew), "new in the same file") << name;
        EXPECT_EQ(calls.attributes[inode("foobar")], own);
    }
    SystemCalls calls(directory());  // of a file system that knows no attributes
    fresh(calls);
    calls.fail("flistxattr", ENOTSUP, 0, 2);
    EXPECT_EQ(written(kNew), "new");
}

struct Failing {
    Target target;
    const char* name;
    int error;
    int first;
    int times;
    std::string outcome;
};

TEST_F(WrittenFiles, AfterEachCallThatFailsTheOldFileOrTheNewOneIsThere) {
    const std::string denied = "UnauthorizedAccessException: Access to the path 'foobar' is denied: ";
    const auto error = [](const std::string& text) { return "IOException: Cannot write 'foobar': " + text + ". "; };
    const std::string in_place = "new in the same file";
    // The opened files are, in this order: sixteen names of left-overs, the draft, an old file, the directory.
    const std::vector<Failing> cases{
        {Target::kNone, "open", EACCES, 16, 1, denied + "there is no permission to write to its directory. nothing"},
        {Target::kNone, "open", EPERM, 16, 1, denied + "there is no permission to write to its directory. nothing"},
        {Target::kNone, "open", EROFS, 16, 1, denied + "the file system is read-only. nothing"},
        {Target::kNone, "open", ENOSPC, 16, 1, error("No space left on device") + "nothing"},
        {Target::kNone, "open", EOPNOTSUPP, 16, 1, "new"},
        {Target::kNone, "open", EISDIR, 16, 1, "new"},
        {Target::kNone, "open", EINVAL, 16, 1, "new"},
        {Target::kNone, "open", ENOENT, 16, 1, "new"},
        {Target::kNone, "open", EACCES, 17, 1, "new"},
        {Target::kNone, "flock", EWOULDBLOCK, 0, 1, error("File exists") + "nothing"},
        {Target::kNone, "flock", ENOLCK, 0, 1, "new"},
        {Target::kNone, "write", EINTR, 0, 3, "new"},
        {Target::kNone, "write", ENOSPC, 0, 1, error("No space left on device") + "nothing"},
        {Target::kNone, "fsync", EINTR, 0, 2, "new"},
        {Target::kNone, "fsync", EINVAL, 0, 1, "new"},
        {Target::kNone, "fsync", EROFS, 0, 1, "new"},
        {Target::kNone, "fsync", ENOTSUP, 0, 1, "new"},
        {Target::kNone, "fsync", EIO, 0, 1, error("Input/output error") + "nothing"},
        {Target::kNone, "fsync", EIO, 1, 1, error("Input/output error") + "new"},
        {Target::kNone, "linkat", EEXIST, 0, 1, "new"},
        {Target::kNone, "linkat", EEXIST, 0, 16, "new"},
        {Target::kNone, "linkat", EEXIST, 0, 17, error("Device or resource busy") + "nothing"},
        {Target::kNone, "linkat", EPERM, 0, 1, denied + "there is no permission to write it. nothing"},
        {Target::kNone, "linkat", ENOSPC, 0, 1, error("No space left on device") + "nothing"},
        {Target::kFile, "open", EACCES, 16, 1, in_place},
        {Target::kFile, "open", EPERM, 16, 1, in_place},
        {Target::kFile, "open", EROFS, 16, 1, in_place},
        {Target::kFile, "open", EBUSY, 16, 1, in_place},
        {Target::kFile, "open", EXDEV, 16, 1, in_place},
        {Target::kFile, "open", ENOSPC, 16, 1, error("No space left on device") + "old"},
        {Target::kFile, "open", EACCES, 17, 1, in_place},
        {Target::kFile, "open", EACCES, 18, 1, "new"},
        {Target::kFile, "write", EDQUOT, 0, 1, error("Disk quota exceeded") + "old"},
        {Target::kFile, "fsync", EIO, 0, 1, error("Input/output error") + "old"},
        {Target::kFile, "fsync", EIO, 1, 1, error("Input/output error") + "new"},
        {Target::kFile, "linkat", EPERM, 0, 1, in_place},
        {Target::kFile, "linkat", EIO, 0, 1, error("Input/output error") + "old"},
        {Target::kFile, "linkat", EEXIST, 0, 15, "new"},
        {Target::kFile, "linkat", EEXIST, 0, 16, in_place},
        {Target::kFile, "rename", EACCES, 0, 1, in_place},
        {Target::kFile, "rename", EPERM, 0, 1, in_place},
        {Target::kFile, "rename", EBUSY, 0, 1, in_place},
        {Target::kFile, "rename", EIO, 0, 1, error("Input/output error") + "old"},
        // Here the file itself comes first, then sixteen names, the draft of the backup, and the directory.
        {Target::kLinked, "open", EACCES, 0, 1, in_place},
        {Target::kLinked, "open", EACCES, 0, 2, denied + "there is no permission to write it. old"},
        {Target::kLinked, "fstat", EIO, 0, 1, error("Input/output error") + "old"},
        {Target::kLinked, "pread", EIO, 0, 1, error("Input/output error") + "old"},
        {Target::kLinked, "pread", EINTR, 0, 1, in_place},
        {Target::kLinked, "fallocate", ENOSPC, 0, 1, error("No space left on device") + "old"},
        {Target::kLinked, "fallocate", EDQUOT, 0, 1, error("Disk quota exceeded") + "old"},
        {Target::kLinked, "fallocate", EFBIG, 0, 1, error("File too large") + "old"},
        {Target::kLinked, "fallocate", EOPNOTSUPP, 0, 1, in_place},
        {Target::kLinked, "open", EACCES, 17, 1, in_place},
        {Target::kLinked, "open", ENOSPC, 17, 1, error("No space left on device") + "old"},
        {Target::kLinked, "fchmod", EPERM, 0, 1, in_place},
        {Target::kLinked, "fchmod", EIO, 0, 1, error("Input/output error") + "old"},
        {Target::kLinked, "write", ENOSPC, 0, 1, error("No space left on device") + "old"},
        {Target::kLinked, "fsync", EIO, 0, 1, error("Input/output error") + "old"},
        {Target::kLinked, "lseek", EIO, 0, 1, error("Input/output error") + "old"},
        {Target::kLinked, "write", ENOSPC, 1, 1, error("No space left on device") + "old"},
        {Target::kLinked, "write", ENOSPC, 1, 2, error("No space left on device") + "old + " + kBackup},
        {Target::kLinked, "ftruncate", EINTR, 0, 1, in_place},
        {Target::kLinked, "ftruncate", EIO, 0, 1, error("Input/output error") + "old"},
        {Target::kLinked, "fsync", EIO, 2, 1, error("Input/output error") + "old"},
    };
    for (const Failing& each : cases) {
        std::filesystem::remove_all(directory());
        std::filesystem::create_directory(directory());
        if (each.target != Target::kNone) {
            put("foobar", kOld);
        }
        if (each.target == Target::kLinked) {
            std::filesystem::create_hard_link(path("foobar"), path("link"));
        }
        SystemCalls calls(directory());
        calls.fail(each.name, each.error, each.first, each.times);
        EXPECT_EQ(written(kNew), each.outcome)
            << static_cast<int>(each.target) << ' ' << each.name << ' ' << each.first << '\n'
            << calls.log();
        if (each.target == Target::kLinked && each.outcome != in_place) {
            EXPECT_TRUE(content(kBackup) == "nothing" || content(kBackup) == kOld);
        }
    }
}

// The same where drafts have names.
TEST_F(WrittenFiles, NamedDraftsThatFailAreRemoved) {
    const std::string error = "IOException: Cannot write 'foobar': ";
    const std::vector<Failing> cases{
        {Target::kNone, "open", EEXIST, 16, 1, "new"},
        {Target::kNone, "open", EEXIST, 16, 15, "new"},
        {Target::kNone, "open", EEXIST, 16, 16, error + "Device or resource busy. nothing"},
        {Target::kNone, "open", ENOSPC, 16, 1, error + "No space left on device. nothing"},
        // Another program took it for a left-over, and removes it.
        {Target::kNone, "flock", EWOULDBLOCK, 0, 1, std::string("new + ") + kDraft},
        {Target::kNone, "flock", ENOLCK, 0, 1, "new"},
        {Target::kNone, "write", ENOSPC, 0, 1, error + "No space left on device. nothing"},
        {Target::kNone, "fsync", EIO, 0, 1, error + "Input/output error. nothing"},
        {Target::kNone, "rename", EIO, 0, 1, error + "Input/output error. nothing"},
        {Target::kNone, "fsync", EIO, 1, 1, error + "Input/output error. new"},
        {Target::kFile, "rename", EBUSY, 0, 1, "new in the same file"},
        {Target::kFile, "rename", EIO, 0, 1, error + "Input/output error. old"},
    };
    for (const Failing& each : cases) {
        std::filesystem::remove_all(directory());
        std::filesystem::create_directory(directory());
        if (each.target == Target::kFile) {
            put("foobar", kOld);
        }
        SystemCalls calls(directory());
        calls.fail("access", ENOENT, 0, 99);
        calls.fail(each.name, each.error, each.first, each.times);
        EXPECT_EQ(written(kNew), each.outcome) << each.name << ' ' << each.first << '\n' << calls.log();
    }
}

TEST_F(WrittenFiles, DraftsThatAreInUseStay) {
    put(kDraft, "of another program");
    const int held = ::open(path(kDraft).c_str(), O_RDONLY | O_CLOEXEC);
    {
        SystemCalls calls(directory());
        calls.fail("flock", EWOULDBLOCK);
        EXPECT_EQ(written(kNew), std::string("new + ") + kDraft);
    }
    // A link of that name, and one that may not be opened, are no left-overs of ours.
    std::filesystem::remove(path(kDraft));
    std::filesystem::create_symlink("elsewhere", path(kDraft));
    EXPECT_EQ(written(kShort), std::string("new + ") + kDraft);
    ::close(held);
}

TEST_F(WrittenFiles, ShortWritesAndReadsAreContinued) {
    for (const bool linked : {false, true}) {
        put("foobar", kOld);
        if (linked) {
            std::filesystem::create_hard_link(path("foobar"), path("link"));
        }
        SystemCalls calls(directory());
        calls.longest = 4;
        EXPECT_EQ(written(kNew), linked ? "new in the same file" : "new");
    }
}

// A file that is written in place and cannot be put back has its old content beside it.
TEST_F(WrittenFiles, TheBackupStaysWhereTheOldContentIsNotBack) {
    put("foobar", kOld);
    std::filesystem::create_hard_link(path("foobar"), path("link"));
    {
        SystemCalls calls(directory());
        calls.longest = 4;
        calls.fail("write", ENOSPC, 4, 2);  // after three of the backup and one of the file
        EXPECT_EQ(written(kNew), std::string("IOException: Cannot write 'foobar': No space left on device. "
                                             "new content + ") +
                                     kBackup);
    }
    EXPECT_EQ(content(kBackup), kOld);
    {
        SystemCalls calls(directory());
        calls.fail("write", ENOSPC, 0);
        put(kBackup, "whole");
        written(kNew);
        EXPECT_EQ(content(kBackup), "whole");  // it is of a save before that one
    }
    EXPECT_EQ(written(kNew), "new in the same file");
}

// Without the right to read there is nothing to put back.
TEST_F(WrittenFiles, AFileThatMayOnlyBeWrittenHasNoBackup) {
    put("foobar", kOld);
    std::filesystem::create_hard_link(path("foobar"), path("link"));
    SystemCalls calls(directory());
    calls.fail("open", EACCES);
    calls.fail("write", ENOSPC);
    EXPECT_EQ(written(kNew), "IOException: Cannot write 'foobar': No space left on device. old");
    EXPECT_EQ(calls.log(),
              "open foobar rw: EACCES\n"
              "open foobar w\n"
              "fallocate foobar 28 from 0\n"
              "write foobar 28: ENOSPC\n");
    calls.fail("open", EACCES);
    EXPECT_EQ(written(kShort), "new in the same file");
}

TEST_F(WrittenFiles, WhatIsReservedIsGivenBack) {
    put("foobar", kOld);
    std::filesystem::create_hard_link(path("foobar"), path("link"));
    SystemCalls calls(directory());
    calls.fail("fallocate", ENOSPC);
    calls.fail("ftruncate", EINTR);
    written(kNew);
    EXPECT_EQ(calls.log(),
              "open foobar rw\n"
              "fallocate foobar 28 from 0: ENOSPC\n"
              "ftruncate foobar 11: EINTR\n"
              "ftruncate foobar 11\n");
}

TEST_F(WrittenFiles, APipeIsWrittenTo) {
    ASSERT_EQ(mkfifo(path("foobar").c_str(), 0600), 0);
    const int reader = ::open(path("foobar").c_str(), O_RDWR | O_CLOEXEC);
    const auto write = [&] { write_file(path("foobar"), bytes_of(kNew)); };
    SystemCalls calls(directory());
    EXPECT_EQ(refusal(write), "");
    EXPECT_EQ(calls.log(), "open foobar w\nwrite foobar 28\n");
    char text[64];
    EXPECT_EQ(::read(reader, text, sizeof text), 28);
    EXPECT_EQ(std::string(text, 28), kNew);
    calls.fail("open", EACCES);
    EXPECT_EQ(refusal(write),
              "UnauthorizedAccessException: Access to the path 'foobar' is denied: "
              "there is no permission to write it.");
    calls.fail("write", EPIPE);
    calls.fail("close", EIO);
    EXPECT_EQ(refusal(write), "IOException: Cannot write 'foobar': Broken pipe.");
    calls.fail("close", EIO);
    EXPECT_EQ(refusal(write), "IOException: Cannot write 'foobar': Input/output error.");
    EXPECT_TRUE(test::changes().files.empty());
    ::close(reader);
}

}  // namespace
}  // namespace zelmor::embed

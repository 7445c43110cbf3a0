// Files that are written piece by piece.
#include <cerrno>
#include <memory>
#include <random>

#include "written_files.h"

namespace zelmor::embed {
namespace {

using test::bytes_of;
using test::kOld;
using test::SystemCalls;

class NewFiles : public test::FilesTest {};

// Pieces of all sizes at all places, beside a plain row of bytes.
TEST_F(NewFiles, PiecesMakeUpAFile) {
    std::minstd_rand random(5);
    for (int round = 0; round < 6; round++) {
        std::filesystem::remove(path("foobar"));
        std::filesystem::remove(path("link"));
        if (round >= 4) {
            put("foobar", kOld);
        }
        if (round == 5) {
            std::filesystem::create_hard_link(path("foobar"), path("link"));
        }
        SystemCalls calls(directory());
        calls.longest = round == 1 ? 5000 : SIZE_MAX;
        if (round == 2) {
            calls.fail("open", EACCES, 16);  // kept in memory
        }
        NewFile file(path("foobar"));
        std::string plain;
        for (int i = 0; i < 60; i++) {
            std::string piece(random() % (round == 3 ? 900 : 30'000), static_cast<char>('a' + i % 26));
            if (i % 3 == 0) {
                file.write(bytes_of(piece));
                plain += piece;
            } else {
                const size_t at = random() % (plain.size() + (i % 10 == 0 ? 90'000 : 100));
                file.write_at(at, bytes_of(piece));
                plain.resize(std::max(plain.size(), at + piece.size()));
                std::copy(piece.begin(), piece.end(), plain.begin() + static_cast<std::ptrdiff_t>(at));
            }
            ASSERT_EQ(file.size(), plain.size());
            const size_t from = random() % (plain.size() + 1);
            std::string read(random() % (plain.size() - from + 1), ' ');
            file.read_at(from, {reinterpret_cast<uint8_t*>(read.data()), read.size()});
            ASSERT_TRUE(read == plain.substr(from, read.size())) << round << ' ' << i;
            ASSERT_EQ(content("foobar"), round < 4 ? "nothing" : kOld);
        }
        file.finish();
        EXPECT_TRUE(content("foobar") == plain) << round;
        EXPECT_EQ(others(), "");
    }
}

TEST_F(NewFiles, AShortFileIsWrittenAtItsEndAndALongOneInADraft) {
    const std::string half(size_t{32} << 10, 'x');
    {
        SystemCalls calls(directory());
        NewFile file(path("foobar"));
        file.write(bytes_of(half));
        EXPECT_EQ(calls.log(), "");
        file.write(bytes_of(half));
        file.write(bytes_of("short"));
        file.write_at(3, bytes_of("four"));
        EXPECT_EQ(calls.log(),
                  "16 names looked at\n"
                  "open . rw nameless\n"
                  "flock draft\n"
                  "pwrite draft 65536 at 0\n"
                  "pwrite draft 5 at 65536\n"
                  "pwrite draft 4 at 3\n");
        file.write_at(65541, bytes_of("end"));
        file.finish();
        EXPECT_NE(calls.log().find("pwrite draft 3 at 65541\n"
                                   "fsync draft\n"
                                   "linkat draft to foobar\n"
                                   "open . r directory\n"
                                   "fsync .\n"),
                  std::string::npos)
            << calls.log();
        EXPECT_EQ(content("foobar"), "xxxfour" + std::string(65529, 'x') + "short" + "end");
    }
    {
        NewFile file(path("foobar"));  // without an end nothing comes of it
        file.write(bytes_of(half + half));
    }
    EXPECT_EQ(content("foobar").size(), 65544U);
    EXPECT_EQ(others(), "");
}

// What is written behind the end, with zeros in between, is long by its place.
TEST_F(NewFiles, AFileIsLongByItsEnd) {
    SystemCalls calls(directory());
    NewFile file(path("foobar"));
    file.write_at(0, bytes_of("short"));
    file.write_at(60'000, bytes_of("x"));
    EXPECT_EQ(calls.log(), "");
    file.write_at(200'000, bytes_of("end"));
    EXPECT_EQ(calls.log(),
              "16 names looked at\n"
              "open . rw nameless\n"
              "flock draft\n"
              "pwrite draft 60001 at 0\n"
              "pwrite draft 3 at 200000\n");
    file.finish();
    std::string expected(200'000, '\0');
    expected.replace(0, 5, "short");
    expected[60'000] = 'x';
    EXPECT_TRUE(content("foobar") == expected + "end");
}

TEST_F(NewFiles, ADraftThatFailsIsToldOf) {
    const std::string text(100'000, 'x');
    uint8_t byte[1];
    SystemCalls calls(directory());
    NewFile file(path("foobar"));
    calls.fail("pwrite", ENOSPC);
    EXPECT_EQ(refusal([&] { file.write(bytes_of(text)); }),
              "IOException: Cannot write 'foobar': No space left on device.");
    NewFile other(path("foobar"));
    calls.fail("pwrite", EINTR);
    other.write(bytes_of(text));
    calls.fail("pread", EIO);
    EXPECT_EQ(refusal([&] { other.read_at(7, byte); }), "IOException: Cannot write 'foobar': Input/output error.");
    calls.fail("pread", EINTR);
    EXPECT_EQ(refusal([&] { other.read_at(7, byte); }), "");
    EXPECT_EQ(byte[0], 'x');
    calls.fail("fsync", EIO);
    EXPECT_EQ(refusal([&] { other.finish(); }), "IOException: Cannot write 'foobar': Input/output error.");
    EXPECT_EQ(content("foobar") + others(), "nothing");
}

// What stands under the name may have changed since the first piece.
TEST_F(NewFiles, TheTargetIsLookedAtAgainAtTheEnd) {
    const std::string text(100'000, 'x');
    const auto begun = [&](const char* name) {
        auto file = std::make_unique<NewFile>(path(name));
        file->write(bytes_of(text));
        return file;
    };
    auto file = begun("foobar");
    put("foobar", kOld);
    chmod(path("foobar").c_str(), 0604);
    file->finish();
    EXPECT_TRUE(content("foobar") == text);
    struct stat info {};
    ::stat(path("foobar").c_str(), &info);
    EXPECT_EQ(info.st_mode & 07777, 0604U);

    file = begun("foobar");
    std::filesystem::create_hard_link(path("foobar"), path("link"));
    {
        SystemCalls calls(directory());
        calls.fail("pread", EIO);
        EXPECT_EQ(refusal([&] { file->finish(); }), "IOException: Cannot write 'foobar': Input/output error.");
    }
    put("foobar", kOld);
    file = begun("foobar");
    const ino_t before = inode("foobar");
    file->write(bytes_of("end"));
    file->finish();
    EXPECT_TRUE(content("link") == text + "end");
    EXPECT_EQ(inode("foobar"), before);

    std::filesystem::remove(path("link"));
    file = begun("foobar");
    {
        SystemCalls calls(directory());
        calls.fail("rename", EACCES, 0, 2);
        file->finish();
    }
    EXPECT_TRUE(content("foobar") == text);
    EXPECT_EQ(inode("foobar"), before);

    std::filesystem::create_symlink("first", path("link"));
    file = begun("link");
    std::filesystem::remove(path("link"));
    std::filesystem::create_symlink("second", path("link"));
    file->finish();
    EXPECT_TRUE(content("second") == text);
    EXPECT_EQ(others(), " + second");
    file = begun("directory");
    std::filesystem::create_directory(path("directory"));
    EXPECT_EQ(refusal([&] { file->finish(); }),
              "UnauthorizedAccessException: Access to the path 'directory' is denied: it is a directory.");
}

}  // namespace
}  // namespace zelmor::embed

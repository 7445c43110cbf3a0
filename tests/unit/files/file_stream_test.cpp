// Streams over files on disk.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <functional>
#include <tuple>

#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/stream.h"
#include "written_files.h"

namespace zelmor::embed {
namespace {

using api::SeekOrigin;
using test::kNew;
using test::kOld;
using test::SystemCalls;

std::span<const std::byte> data_of(const std::string& text) {
    return std::as_bytes(std::span(text));
}

std::string read_all(ManagedStream& stream) {
    const auto data = stream.read_to_end();
    return {reinterpret_cast<const char*>(data.data()), data.size()};
}

class FileStreams : public test::FilesTest {
 protected:
    Ref<ManagedStream> opened(FileUse use, const char* name = "foobar") const {
        return open_file_stream(path(name), use, "look at");
    }
};

TEST_F(FileStreams, AFileIsOpenedForWhatItIsUsedFor) {
    const auto log = [&](FileUse use) {
        SystemCalls calls(directory());
        const auto stream = opened(use);
        EXPECT_TRUE(stream->can_read());
        EXPECT_TRUE(stream->can_seek());
        EXPECT_EQ(stream->can_write(), use != FileUse::kRead);
        EXPECT_EQ(stream->descriptor(), calls.open_files.rbegin()->first);
        return calls.log();
    };
    put("foobar", kOld);
    EXPECT_EQ(log(FileUse::kRead), "open foobar r\n");
    EXPECT_EQ(log(FileUse::kReadWrite), "open foobar rw\n");
    EXPECT_EQ(content("foobar"), kOld);
    EXPECT_TRUE(test::changes().files.empty());
    EXPECT_EQ(log(FileUse::kCreate), "open foobar rw create\nftruncate foobar 0\n");
    EXPECT_EQ(content("foobar"), "");
    EXPECT_EQ(test::changes().files, std::vector{inode("foobar")});
    EXPECT_EQ(log(FileUse::kCreate), "open foobar rw create\n");
    std::filesystem::remove(path("foobar"));
    EXPECT_EQ(log(FileUse::kCreate), "open foobar rw create\n");
    EXPECT_EQ(test::changes().files.size(), 1U);
}

TEST_F(FileStreams, AFileThatCannotBeOpenedIsClosedAgain) {
    put("foobar", kOld);
    std::filesystem::create_directory(path("folder"));
    const std::string denied = "UnauthorizedAccessException: Access to the path ";
    const auto refused = [&](FileUse use, const char* name) { return refusal([&] { opened(use, name); }); };
    EXPECT_EQ(refused(FileUse::kRead, "none"), "FileNotFoundException: Could not find file 'none'.");
    EXPECT_EQ(refused(FileUse::kReadWrite, "none"), "FileNotFoundException: Could not find file 'none'.");
    EXPECT_EQ(refused(FileUse::kRead, "folder"), denied + "'folder' is denied: it is a directory.");
    EXPECT_EQ(refused(FileUse::kCreate, "folder"), denied + "'folder' is denied: it is a directory.");
    SystemCalls calls(directory());
    calls.fail("open", EACCES);
    EXPECT_EQ(refused(FileUse::kRead, "foobar"), denied + "'foobar' is denied: there is no permission to look at it.");
    calls.fail("fstat", EIO);
    EXPECT_EQ(refused(FileUse::kRead, "foobar"), "IOException: Cannot look at 'foobar': Input/output error.");
    calls.fail("ftruncate", EIO);
    EXPECT_EQ(refused(FileUse::kCreate, "foobar"), "IOException: Cannot use 'foobar': Input/output error.");
    test::changes().refused = true;
    EXPECT_EQ(refused(FileUse::kCreate, "foobar"), "IOException: The file is in use.");
    EXPECT_EQ(content("foobar"), kOld);
}

TEST_F(FileStreams, BytesAreReadAndWrittenAtThePosition) {
    put("foobar", kOld);
    SystemCalls calls(directory());
    const auto stream = opened(FileUse::kReadWrite);
    EXPECT_EQ(stream->length(), 11);
    EXPECT_EQ(stream->seek(4, SeekOrigin::kBegin), 4);
    EXPECT_EQ(stream->seek(2, SeekOrigin::kCurrent), 6);
    EXPECT_EQ(stream->position(), 6);
    EXPECT_EQ(stream->seek(-3, SeekOrigin::kEnd), 8);
    EXPECT_EQ(read_all(*stream), "ent");
    EXPECT_EQ(stream->position(), 11);
    stream->set_position(4);
    calls.longest = 3;
    stream->write(data_of("CONTENTS"));
    EXPECT_EQ(stream->position(), 12);
    EXPECT_EQ(content("foobar"), "old CONTENTS");
    EXPECT_EQ(calls.log(), "open foobar rw\nwrite foobar 8\nwrite foobar 5\nwrite foobar 2\n");
    EXPECT_EQ(test::changes().files.size(), 1U);
    stream->set_position(1);
    EXPECT_EQ(read_all(*stream), "ld CONTENTS");
    stream->flush();
}

TEST_F(FileStreams, ALengthIsSet) {
    put("foobar", kOld);
    const auto stream = opened(FileUse::kReadWrite);
    const std::tuple<int64_t, int64_t, int64_t, std::string> cases[] = {
        // position, length, position after it, content
        {2, 20, 2, kOld + std::string(9, '\0')},
        {11, 11, 11, kOld},
        {5, 4, 4, "old "},
        {4, 4, 4, "old "},
        {0, 0, 0, ""},
    };
    for (const auto& [position, length, after, text] : cases) {
        stream->set_position(position);
        stream->set_length(length);
        EXPECT_EQ(stream->position(), after);
        EXPECT_EQ(stream->length(), length);
        EXPECT_EQ(content("foobar"), text);
    }
    EXPECT_EQ(test::changes().files, std::vector(5, inode("foobar")));
    EXPECT_EQ(refusal([&] { stream->set_length(-1); }),
              "ArgumentOutOfRangeException: The length -1 is negative. (Parameter 'value')");
    test::changes().refused = true;
    EXPECT_EQ(refusal([&] { stream->set_length(5); }), "IOException: The file is in use.");
    EXPECT_EQ(refusal([&] { stream->write(data_of(kNew)); }), "IOException: The file is in use.");
    EXPECT_EQ(content("foobar"), "");
}

TEST_F(FileStreams, WhatAStreamIsNotForIsRefused) {
    put("foobar", kOld);
    const auto stream = opened(FileUse::kRead);
    const std::string read_only = "NotSupportedException: The stream of 'foobar' is read-only.";
    EXPECT_EQ(refusal([&] { stream->write(data_of(kNew)); }), read_only);
    EXPECT_EQ(refusal([&] { stream->set_length(3); }), read_only);
    EXPECT_TRUE(test::changes().files.empty());
    const auto writable = opened(FileUse::kReadWrite);
    const std::function<void(ManagedStream&)> uses[] = {
        [](ManagedStream& each) { each.length(); },        [](ManagedStream& each) { each.position(); },
        [](ManagedStream& each) { each.set_position(0); }, [](ManagedStream& each) { each.set_length(0); },
        [](ManagedStream& each) { each.read_to_end(); },   [](ManagedStream& each) { each.write({}); },
        [](ManagedStream& each) { each.flush(); },
    };
    writable->close();
    writable->close();
    EXPECT_EQ(writable->descriptor(), -1);
    EXPECT_FALSE(writable->can_read() || writable->can_write() || writable->can_seek());
    for (const auto& use : uses) {
        EXPECT_EQ(refusal([&] { use(*writable); }).substr(0, 25), "ObjectDisposedException: ");
    }
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    const auto pipe = opened(FileUse::kReadWrite, "pipe");
    EXPECT_TRUE(pipe->can_read() && pipe->can_write());
    for (size_t i = 0; i < 4; i++) {
        EXPECT_EQ(refusal([&] { uses[i](*pipe); }),
                  "NotSupportedException: The stream of 'pipe' does not support seeking.");
    }
    EXPECT_TRUE(test::changes().files.empty());
}

TEST_F(FileStreams, CallsThatFailAreToldOfAndInterruptedOnesMadeAgain) {
    put("foobar", kOld);
    const auto stream = opened(FileUse::kReadWrite);
    SystemCalls calls(directory());
    const std::tuple<const char*, int, std::function<void()>> cases[] = {
        {"fstat", 0, [&] { stream->length(); }},
        {"lseek", 1, [&] { stream->position(); }},
        {"lseek", 1, [&] { stream->set_position(3); }},
        {"ftruncate", 0, [&] { stream->set_length(3); }},
        {"read", 0, [&] { static_cast<void>(stream->read_byte()); }},
        {"write", 0, [&] { stream->write(data_of(kNew)); }},
    };
    for (const auto& [name, first, use] : cases) {
        calls.fail(name, EIO, first);
        EXPECT_EQ(refusal(use), "IOException: Cannot use 'foobar': Input/output error.") << name;
    }
    EXPECT_EQ(refusal([&] { stream->set_position(-1); }), "IOException: Cannot use 'foobar': Invalid argument.");
    EXPECT_EQ(content("foobar"), kOld);
    calls.fail("read", EINTR, 0, 3);
    EXPECT_EQ(stream->read_byte(), 'o');
    calls.fail("write", EINTR, 0, 3);
    stream->write(data_of("LD"));
    EXPECT_EQ(content("foobar"), "oLD content");
}

}  // namespace
}  // namespace zelmor::embed

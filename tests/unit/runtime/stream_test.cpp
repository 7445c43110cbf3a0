// Streams: memory, files, Python files, and the service class over them.
#include "runtime/native/core/stream.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "fake_python.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/files.h"
#include "runtime/native/core/managed_exception.h"
#include "with_directory.h"

namespace zelmor::embed {
namespace {

using test::Owned;

std::vector<std::byte> bytes(std::string_view text) {
    const auto* data = reinterpret_cast<const std::byte*>(text.data());
    return {data, data + text.size()};
}

class StreamTest : public test::WithDirectory {
 protected:
    template <class R, class... Args>
    static R service(const char* method, Args... args) {
        const Delegate made =
            resolve_delegate("WrpInterop.Zelmor.Imaging", "Zelmor.WrpGen.Interop.SiApiStream", method);
        return reinterpret_cast<R (*)(Args...)>(made.address)(args...);
    }
};

template <class Action>
std::string exception_of(Action action) {
    try {
        action();
    } catch (const ManagedException& e) {
        return e.name();
    }
    return "";
}

TEST_F(StreamTest, AMemoryStreamReadsWritesAndSeeks) {
    const auto stream = make_memory_stream(bytes("hello"));
    EXPECT_EQ(stream->length(), 5);
    stream->seek(-2, api::SeekOrigin::kEnd);
    EXPECT_EQ(stream->read_to_end(), bytes("lo"));
    stream->set_position(8);
    EXPECT_TRUE(stream->read_to_end().empty());
    stream->write(bytes("!"));
    EXPECT_EQ(stream->length(), 9);
    EXPECT_EQ(exception_of([&] { stream->set_position(-1); }), "IOException");
    stream->set_length(2);
    stream->set_position(0);
    EXPECT_EQ(stream->read_to_end(), bytes("he"));
    std::byte one[1];
    EXPECT_EQ(exception_of([&] { stream->read_exactly(one); }), "EndOfStreamException");
    stream->close();
    EXPECT_FALSE(stream->can_read());
    EXPECT_EQ(exception_of([&] { stream->length(); }), "ObjectDisposedException");
}

TEST_F(StreamTest, FilesAreCreatedAndRead) {
    const auto written = open_file_stream(path("a.bin"), FileUse::kCreate);
    written->write(bytes("content"));
    written->close();
    const auto read = open_file_stream(path("a.bin"), FileUse::kRead);
    EXPECT_TRUE(read->can_seek());
    EXPECT_FALSE(read->can_write());
    EXPECT_EQ(read->read_to_end(), bytes("content"));
    EXPECT_EQ(exception_of([&] { read->write(bytes("x")); }), "NotSupportedException");
}

TEST_F(StreamTest, FileNamesOfAnyBytesHaveAText) {
    for (const std::string name : {"plain", "\xC5\xBC\xF0\x9F\x90\xA2", "odd\xFF", "\xC3", "\xED\xA0\x80 \xF5x",
                                   "\xC0\xAF", "\xE2\x82", "\xEF\xBF\xBD"}) {
        EXPECT_EQ(file_path_of(text_of_file_path(name), "path"), name);
    }
    EXPECT_EQ(text_of_file_path("a\xFF"), u"a\xDCFF");
    EXPECT_EQ(text_of_file_path("\xF0\x9F\x90\xA2"), u"\U0001F422");
}

TEST_F(StreamTest, APipeHasNoLengthAndNoPosition) {
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    const auto stream = open_file_stream(path("pipe"), FileUse::kReadWrite);
    EXPECT_FALSE(stream->can_seek());
    EXPECT_EQ(exception_of([&] { stream->length(); }), "NotSupportedException");
    EXPECT_EQ(exception_of([&] { stream->position(); }), "NotSupportedException");
    EXPECT_EQ(exception_of([&] { stream->set_position(0); }), "NotSupportedException");
    EXPECT_EQ(exception_of([&] { stream->set_length(0); }), "NotSupportedException");
    stream->write(bytes("abc"));
    std::byte data[8];
    EXPECT_EQ(stream->read(data), 3U);
}

TEST_F(StreamTest, TheErrorForAMissingFileNamesTheFile) {
    try {
        open_file_stream(path("none.bin"), FileUse::kRead);
        ADD_FAILURE();
    } catch (const ManagedException& e) {
        EXPECT_EQ(e.name(), "FileNotFoundException");
        EXPECT_NE(e.detail().find(path("none.bin")), std::string::npos);
    }
    EXPECT_EQ(exception_of([&] { open_file_stream(path("no/where"), FileUse::kCreate); }),
              "DirectoryNotFoundException");
    EXPECT_EQ(exception_of([&] { open_file_stream(path("."), FileUse::kRead); }), "UnauthorizedAccessException");
}

PyObject* python_file(std::string_view content) {
    PyObject* data = test::new_object();
    data->value = bytes(content);
    return test::new_list({data, test::new_int(0)});
}

TEST_F(StreamTest, APythonFileIsReadThroughItsCallbacks) {
    PyObject* file = python_file("0123456789");
    {
        const VariantArg arg{2, file};
        const auto stream = read_stream(&arg);
        EXPECT_EQ(file->count, 2) << "held while the stream lives";
        EXPECT_EQ(stream->length(), 10);
        stream->set_position(4);
        EXPECT_EQ(stream->read_to_end(), bytes("456789"));
        stream->write(bytes("ab"));
        EXPECT_EQ(stream->length(), 12);
        test::fail_next_callback("ValueError: closed");
        try {
            std::byte one[1];
            static_cast<void>(stream->read(one));
            ADD_FAILURE();
        } catch (const ManagedException& e) {
            EXPECT_EQ(e.name(), "PythonException");
            EXPECT_NE(e.detail().find("ValueError: closed"), std::string::npos);
        }
        PyCollectionArg out{};
        write_stream(stream, &out);
        EXPECT_EQ(out.kind, 2);
        EXPECT_EQ(out.value, file);
    }
    EXPECT_EQ(file->count, 1);
    test::release(file);
}

TEST_F(StreamTest, NoneIsRefusedAsAStream) {
    const VariantArg none{};
    EXPECT_FALSE(read_stream_or_null(&none));
    EXPECT_EQ(exception_of([&] { read_stream(&none, "destination_stream"); }), "ArgumentNullException");
    PyCollectionArg out{};
    write_stream(nullptr, &out);
    EXPECT_EQ(out.value, nullptr);
}

TEST_F(StreamTest, TheServiceClassForwards) {
    Owned stream(make_handle(make_memory_stream(bytes("abcdef"))));
    EXPECT_TRUE(service<bool>("CanRead", stream.get()));
    EXPECT_EQ(service<int64_t>("Length", stream.get()), 6);
    EXPECT_EQ(service<int64_t>("Seek", stream.get(), int64_t{-2}, 2), 4);
    char data[4] = {};
    EXPECT_EQ(service<int>("Read", stream.get(), data, 4), 2);
    EXPECT_EQ(std::string(data, 2), "ef");
    EXPECT_EQ(service<int64_t>("SetLength", stream.get(), 0, int64_t{3}), 3);
    EXPECT_EQ(service<int64_t>("Position", stream.get()), 3);
    service<void>("Write", stream.get(), data, 2);
    EXPECT_EQ(service<int64_t>("SetLength", stream.get(), 1, int64_t{0}), 5);
    service<int64_t>("Seek", stream.get(), int64_t{0}, 9);
    EXPECT_EQ(test::take_raised().name, "ArgumentException");
    service<void>("Close", stream.get());
    service<int64_t>("Length", stream.get());
    EXPECT_EQ(test::take_raised().name, "ObjectDisposedException");
}

}  // namespace
}  // namespace zelmor::embed

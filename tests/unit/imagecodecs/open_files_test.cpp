// Sources over open files: the bytes are those of the time when the file was opened, or there is an error.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "runtime/native/imagework/limits.h"
#include "runtime/native/imagework/pixels/data_source.h"
#include "runtime/native/imagework/pixels/open_files.h"
#include "runtime/native/imagework/pixels/source_bytes.h"
#include "tests/unit/imagework/counted_source.h"
#include "tests/unit/imagework/failure_of.h"

namespace zelmor::imagework {
namespace {

using FileBytes = std::vector<uint8_t>;

// A file in a folder of its own, open for reading and writing.
class OpenFilesTest : public testing::Test {
 protected:
    OpenFilesTest() {
        std::string folder = (std::filesystem::temp_directory_path() / "open-files-XXXXXX").string();
        EXPECT_NE(::mkdtemp(folder.data()), nullptr);
        m_folder = folder;
        m_descriptor = ::open(path().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        EXPECT_GE(m_descriptor, 0);
    }
    ~OpenFilesTest() override {
        ::close(m_descriptor);
        std::filesystem::remove_all(m_folder);
    }

    std::string path() const { return (m_folder / "file").string(); }
    int descriptor() const { return m_descriptor; }
    void write(const FileBytes& bytes) const {
        ASSERT_EQ(::ftruncate(m_descriptor, static_cast<off_t>(bytes.size())), 0);
        ASSERT_EQ(::pwrite(m_descriptor, bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    }
    FileIdentity identity() const {
        struct stat status {};
        EXPECT_EQ(::fstat(m_descriptor, &status), 0);
        return FileIdentity(status);
    }

 private:
    std::filesystem::path m_folder;
    int m_descriptor = -1;
};

const FileBytes kOld(5000, 1);
const FileBytes kNew(5000, 2);

size_t open_descriptors() {
    size_t count = 0;
    for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        ++count;
    }
    return count;
}

TEST_F(OpenFilesTest, ASourceOutlivesTheNamesAndDescriptorsOfItsFile) {
    write(kOld);
    const SharedSource source = file_source(descriptor());
    std::filesystem::remove(path());
    EXPECT_EQ(all_bytes(*source), kOld);
    const int other = ::open(path().c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(::write(other, kNew.data(), kNew.size()), static_cast<ssize_t>(kNew.size()));
    ::close(other);
    EXPECT_EQ(all_bytes(*source), kOld);
}

TEST_F(OpenFilesTest, AChangedFileIsAnError) {
    // Rewritten at once with as many bytes: the stamps of a file go on in steps, and these are within one or not.
    for (int i = 0; i < 20; ++i) {
        write(kOld);
        const SharedSource source = file_source(descriptor());
        write(kNew);
        EXPECT_EQ(failure_of([&] { all_bytes(*source); }).kind(), Failure::kDamaged);
    }
    write(kOld);
    const SharedSource source = file_source(descriptor());
    ASSERT_EQ(::ftruncate(descriptor(), 100), 0);
    EXPECT_STREQ(failure_of([&] { all_bytes(*source); }).what(),
                 "the file was changed after the image was loaded from it");
    EXPECT_EQ(source->size(), kOld.size());
}

TEST_F(OpenFilesTest, ASourceReadsACopyOfAFileThatIsGoingToBeChanged) {
    write(kOld);
    const SharedSource first = file_source(descriptor());
    const SharedSource second = file_source(descriptor());
    keep_bytes_of(identity());
    write(kNew);
    EXPECT_EQ(all_bytes(*first), kOld);
    EXPECT_EQ(all_bytes(*second), kOld);

    // A source that is opened later has the new bytes, and its own copy of them.
    const SharedSource third = file_source(descriptor());
    keep_bytes_of(identity());
    write({});
    EXPECT_EQ(all_bytes(*first), kOld);
    EXPECT_EQ(all_bytes(*third), kNew);
    FileBytes end(10, 9);
    EXPECT_EQ(third->read_at(kNew.size() - 4, end), 4u);
    EXPECT_EQ(end, (FileBytes{2, 2, 2, 2, 9, 9, 9, 9, 9, 9}));
    EXPECT_EQ(third->read_at(kNew.size(), end), 0u);
}

TEST_F(OpenFilesTest, AFileThatWasChangedBeforeStaysAnError) {
    write(kOld);
    const SharedSource source = file_source(descriptor());
    write(kNew);
    keep_bytes_of(identity());
    EXPECT_EQ(failure_of([&] { all_bytes(*source); }).kind(), Failure::kDamaged);
}

TEST_F(OpenFilesTest, MuchIsKeptOnTheDisk) {
    constexpr auto kSize = static_cast<off_t>(limits::kKeptFileBytes + 1000);
    ASSERT_EQ(::ftruncate(descriptor(), kSize), 0);
    ASSERT_EQ(::pwrite(descriptor(), kOld.data(), 500, kSize - 500), 500);
    const SharedSource source = file_source(descriptor());
    keep_bytes_of(identity());
    write(kNew);
    EXPECT_EQ(source->size(), static_cast<uint64_t>(kSize));
    FileBytes end(600, 9);
    EXPECT_EQ(source->read_at(static_cast<uint64_t>(kSize) - 550, end), 550u);
    EXPECT_EQ(end[49], 0);
    EXPECT_EQ(end[50], 1);
    EXPECT_EQ(end[549], 1);
    EXPECT_EQ(end[550], 9);
}

TEST_F(OpenFilesTest, WithoutRoomForACopyTheSourceStaysWithTheFile) {
    constexpr auto kSize = static_cast<off_t>(limits::kKeptFileBytes + 1);
    ASSERT_EQ(::ftruncate(descriptor(), kSize), 0);
    const SharedSource source = file_source(descriptor());
    const char* known = ::getenv("TMPDIR");
    const std::string folder = known != nullptr ? known : "";
    ::setenv("TMPDIR", "/nowhere", 1);
    EXPECT_EQ(failure_of([&] { keep_bytes_of(identity()); }).kind(), Failure::kInternal);
    folder.empty() ? ::unsetenv("TMPDIR") : ::setenv("TMPDIR", folder.c_str(), 1);
    FileBytes start(10, 9);
    EXPECT_EQ(source->read_at(0, start), 10u);
    write(kNew);
    EXPECT_EQ(failure_of([&] { source->read_at(0, start); }).kind(), Failure::kDamaged);
}

TEST_F(OpenFilesTest, NothingStaysOpen) {
    write(kOld);
    const size_t before = open_descriptors();
    for (int i = 0; i < 3; ++i) {
        const SharedSource source = file_source(descriptor());
        EXPECT_EQ(open_descriptors(), before + 1);
        keep_bytes_of(identity());
        EXPECT_EQ(open_descriptors(), before + 1);
    }
    keep_bytes_of(identity());  // of nothing
    EXPECT_EQ(open_descriptors(), before);
}

TEST_F(OpenFilesTest, ThreadsThatReadNeverSeeTheNewBytes) {
    for (int round = 0; round < 20; ++round) {
        write(kOld);
        const SharedSource source = file_source(descriptor());
        std::atomic<bool> stop = false;
        std::atomic<int> wrong = 0;
        std::atomic<int> reads = 0;
        std::vector<std::thread> threads;
        for (int i = 0; i < 3; ++i) {
            threads.emplace_back([&] {
                FileBytes piece(700);
                while (!stop) {
                    try {
                        const size_t count = source->read_at(300, piece);
                        wrong += count != piece.size() || piece != FileBytes(700, 1) ? 1 : 0;
                    } catch (const PictureError&) {
                        wrong += 1;
                    }
                    reads += 1;
                }
            });
        }
        while (reads < 10) {
            std::this_thread::yield();
        }
        keep_bytes_of(identity());
        write(kNew);
        const int then = reads;
        while (reads < then + 10) {
            std::this_thread::yield();
        }
        stop = true;
        for (std::thread& thread : threads) {
            thread.join();
        }
        EXPECT_EQ(wrong, 0);
    }
}

TEST(SourceBytesTest, JumpsReadLittleAndStepsFewTimes) {
    FileBytes numbers(1 << 20);
    for (size_t i = 0; i < numbers.size(); ++i) {
        numbers[i] = static_cast<uint8_t>(i * 7 + i / 256);
    }
    const auto source = std::make_shared<CountedSource>(numbers);
    SourceBytes jumping(source, 64);
    for (size_t at = 0; at + 8 <= numbers.size(); at += 8192) {
        const auto found = jumping.at(at, 8);
        EXPECT_TRUE(std::equal(found.begin(), found.end(), numbers.begin() + static_cast<std::ptrdiff_t>(at)));
    }
    EXPECT_EQ(source->reads, 128u);
    EXPECT_EQ(source->read, 128u * 64);

    source->reads = source->read = 0;
    SourceBytes stepping(source, 64);
    for (size_t at = 0; at + 12 <= numbers.size(); at += 12) {
        EXPECT_EQ(stepping.at(at, 1)[0], numbers[at]);
    }
    EXPECT_LE(source->reads, 30u);

    // Long pieces are read past the window, which stays.
    source->reads = source->read = 0;
    SourceBytes copying(source, 64);
    EXPECT_EQ(copying.at(0, 4)[0], numbers[0]);
    FileBytes piece(1000);
    EXPECT_EQ(copying.copy(5000, piece), 1000u);
    EXPECT_TRUE(std::equal(piece.begin(), piece.end(), numbers.begin() + 5000));
    EXPECT_EQ(copying.at(60, 4)[0], numbers[60]);
    EXPECT_EQ(source->read, 1064u);
}

}  // namespace
}  // namespace zelmor::imagework

// Streams that hold their bytes, beside a plain row of bytes: in memory, in a file, and several joined as one.
#include "runtime/native/behaviors/streams/joined_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <limits>
#include <random>
#include <string>

#include "fake_python.h"
#include "generated/runtime/Zelmor.Imaging.h"
#include "runtime/native/core/managed_exception.h"
#include "runtime/native/core/type_system.h"
#include "with_directory.h"

namespace zelmor::embed {
namespace {

using Content = std::vector<std::byte>;

Content content(std::string_view text) {
    const auto* data = reinterpret_cast<const std::byte*>(text.data());
    return {data, data + text.size()};
}

std::string whole_text(ManagedStream& stream) {
    stream.set_position(0);
    const Content all = stream.read_to_end();
    return {reinterpret_cast<const char*>(all.data()), all.size()};
}

std::string refusal_of(const std::function<void()>& action) {
    try {
        action();
    } catch (const ManagedException& e) {
        return std::string(e.name()) + ": " + e.detail();
    }
    return "";
}

Content random_content(std::mt19937& random, size_t most) {
    Content made(random() % (most + 1));
    for (std::byte& byte : made) {
        byte = static_cast<std::byte>(1 + random() % 255);
    }
    return made;
}

// Whether writing nothing behind the end fills the gap. A managed stream in memory does so.
enum class EmptyWrite { kFills, kDoesNothing };

// Seeks, reads, writes and cuts by chance, and does the same to a row of bytes that fills gaps with zeros. `also` may
// change both besides.
void compare_with_bytes(ManagedStream& stream, Content bytes, int64_t position, int steps, EmptyWrite empty,
                        const std::function<void(Content&, std::mt19937&)>& also = {}) {
    std::mt19937 random(7);
    for (int step = 0; step < steps; step++) {
        SCOPED_TRACE(step);
        const auto size = static_cast<int64_t>(bytes.size());
        const unsigned what = random() % (also ? 6 : 5);
        if (what <= 1) {
            const auto origin = static_cast<api::SeekOrigin>(random() % 3);
            const int64_t offset = static_cast<int64_t>(random() % 24) - 8;
            const int64_t target = offset + (origin == api::SeekOrigin::kBegin     ? 0
                                             : origin == api::SeekOrigin::kCurrent ? position
                                                                                   : size);
            if (target < 0) {
                ASSERT_TRUE(refusal_of([&] { stream.seek(offset, origin); }).starts_with("IOException: "));
            } else {
                ASSERT_EQ(stream.seek(offset, origin), target);
                position = target;
            }
        } else if (what == 2) {
            Content into(random() % 9, std::byte{0xEE});
            const size_t count = stream.read(into);
            const int64_t left = std::max<int64_t>(0, size - position);
            ASSERT_LE(count, into.size());
            ASSERT_LE(static_cast<int64_t>(count), left);
            ASSERT_EQ(count == 0, left == 0 || into.empty());
            ASSERT_TRUE(std::equal(into.begin(), into.begin() + static_cast<ptrdiff_t>(count),
                                   bytes.begin() + std::min(position, size)));
            position += static_cast<int64_t>(count);
        } else if (what == 3) {
            const Content from = random_content(random, 6);
            stream.write(from);
            if (!from.empty() || empty == EmptyWrite::kFills) {
                bytes.resize(std::max(bytes.size(), static_cast<size_t>(position) + from.size()));
                std::copy(from.begin(), from.end(), bytes.begin() + position);
                position += static_cast<int64_t>(from.size());
            }
        } else if (what == 4) {
            const auto length = static_cast<int64_t>(random() % 40);
            stream.set_length(length);
            bytes.resize(static_cast<size_t>(length));
            position = std::min(position, length);
        } else {
            also(bytes, random);
        }
        ASSERT_EQ(stream.position(), position);
        ASSERT_EQ(stream.length(), static_cast<int64_t>(bytes.size()));
        stream.set_position(0);
        ASSERT_EQ(stream.read_to_end(), bytes);
        stream.set_position(position);
    }
}

using JoinedStreamTest = test::WithDirectory;

TEST_F(JoinedStreamTest, AMemoryStreamIsARowOfBytes) {
    compare_with_bytes(*make_memory_stream(content("hello")), content("hello"), 0, 4000, EmptyWrite::kFills);
}

TEST_F(JoinedStreamTest, AFileIsARowOfBytes) {
    compare_with_bytes(*open_file_stream(path("a"), FileUse::kCreate), {}, 0, 1000, EmptyWrite::kDoesNothing);
}

TEST_F(JoinedStreamTest, PiecesAreARowOfBytes) {
    for (const int64_t begin : {0, 2, 9}) {
        const auto first = make_memory_stream(content("hello"));
        first->set_position(begin);
        JoinedStream* made = new JoinedStream(first, true);
        const Ref<ManagedStream> joined(made);
        const std::function<void(Content&, std::mt19937&)> insert = [&](Content& bytes, std::mt19937& random) {
            const Content added = random_content(random, 5);
            const auto at = static_cast<int64_t>(random() % (bytes.size() + 1));
            const auto piece = make_memory_stream(added);
            piece->set_position(3);  // all of it is inserted, wherever it stands
            made->insert(at, piece, true);
            bytes.insert(bytes.begin() + at, added.begin(), added.end());
        };
        compare_with_bytes(*joined, content("hello"), begin, 500, EmptyWrite::kDoesNothing, insert);
    }
}

TEST_F(JoinedStreamTest, WhatIsWrittenGoesToTheStreamAtThePlace) {
    const auto first = make_memory_stream(content("abcdef")), second = make_memory_stream(content("123"));
    const auto joined = make_ref<JoinedStream>(first, false);
    joined->insert(2, second, false);
    EXPECT_EQ(whole_text(*joined), "ab123cdef");
    joined->set_position(1);
    joined->write(content("BxyzC"));
    EXPECT_EQ(whole_text(*first), "aBCdef");
    EXPECT_EQ(whole_text(*second), "xyz");
    joined->insert(5, make_memory_stream(content("!")), false);  // at the end of a piece nothing is cut
    EXPECT_EQ(whole_text(*joined), "aBxyz!Cdef");
    joined->insert(10, second, false);  // at the end of the last piece no piece remains behind it
    joined->set_position(13);
    joined->write(content("+"));
    EXPECT_EQ(whole_text(*second), "xyz+");
    EXPECT_EQ(whole_text(*first), "aBCdef");
    EXPECT_EQ(whole_text(*joined), "aBxyz!Cdefxyz+");
}

// The cut stream keeps its bytes, which zeros overwrite as far as the stream is made longer again.
TEST_F(JoinedStreamTest, LongGapsAreFilledWithZeros) {
    constexpr int64_t kBlock = 64 * 1024;
    for (const int64_t length : {kBlock - 1, kBlock, kBlock + 1, 2 * kBlock + 10, 2 * kBlock + 11, 3 * kBlock + 10,
                                 3 * kBlock + 11, 5 * kBlock}) {
        const std::string filled(static_cast<size_t>(3 * kBlock + 10), 'x');
        const auto stream = make_memory_stream(content(filled));
        const auto joined = make_ref<JoinedStream>(stream, false);
        joined->set_length(10);
        joined->set_length(length);
        const std::string zeros(static_cast<size_t>(length - 10), '\0');
        EXPECT_EQ(whole_text(*joined), "xxxxxxxxxx" + zeros);
        std::string left = "xxxxxxxxxx" + zeros;
        if (left.size() < filled.size()) {
            left += filled.substr(left.size());
        }
        EXPECT_EQ(whole_text(*stream), left) << length;
    }
}

TEST_F(JoinedStreamTest, PlacesOutsideAreRefused) {
    const auto joined = make_ref<JoinedStream>(make_memory_stream(content("abcde")), true);
    const auto inserted = [&](int64_t at) {
        return refusal_of([&] { joined->insert(at, make_memory_stream(content("12")), true); });
    };
    for (const int64_t at : {-1, 6}) {
        const std::string refusal = inserted(at);
        EXPECT_TRUE(refusal.starts_with("ArgumentOutOfRangeException: ")) << refusal;
        EXPECT_NE(refusal.find("The position " + std::to_string(at) + " lies outside a stream of 5 bytes."),
                  std::string::npos);
    }
    EXPECT_EQ(inserted(3), "");
    EXPECT_EQ(refusal_of([&] { joined->set_position(-1); }),
              "IOException: The position cannot be moved before the beginning of the stream.");
    joined->set_position(7);
    EXPECT_EQ(refusal_of([&] { joined->seek(std::numeric_limits<int64_t>::max() - 6, api::SeekOrigin::kCurrent); }),
              "IOException: The position cannot be moved before the beginning of the stream.");
    EXPECT_NE(refusal_of([&] { joined->set_length(-1); }).find("The length -1 is negative."), std::string::npos);
    // The last piece lies behind three bytes of its stream, which the joined one has no more.
    joined->set_length(1);
    EXPECT_EQ(refusal_of([&] { joined->set_length(std::numeric_limits<int64_t>::max()); }),
              "IOException: The stream is too long.");
    EXPECT_EQ(joined->length(), 1);
}

TEST_F(JoinedStreamTest, StreamsThatCannotSeekAreRefused) {
    const auto gone = make_memory_stream(content("abc"));
    gone->close();
    const std::string refusal = "NotSupportedException: A stream that cannot seek cannot be joined with others.";
    EXPECT_EQ(refusal_of([&] { make_ref<JoinedStream>(gone, true); }), refusal);
    const auto joined = make_ref<JoinedStream>(make_memory_stream(content("abcde")), true);
    EXPECT_EQ(refusal_of([&] { joined->insert(0, gone, true); }), refusal);
    EXPECT_EQ(whole_text(*joined), "abcde");
}

TEST_F(JoinedStreamTest, ItCanDoWhatAllOfItsStreamsCan) {
    open_file_stream(path("b"), FileUse::kCreate)->write(content("12"));
    const auto first = make_memory_stream(content("abc")), owned = make_memory_stream(content("xyz"));
    const auto joined = make_ref<JoinedStream>(first, false);
    EXPECT_TRUE(joined->can_read() && joined->can_write() && joined->can_seek());
    joined->insert(3, owned, true);
    joined->insert(3, open_file_stream(path("b"), FileUse::kRead), true);
    EXPECT_TRUE(joined->can_read() && joined->can_seek());
    EXPECT_FALSE(joined->can_write());
    joined->flush();
    EXPECT_EQ(whole_text(*joined), "abc12xyz");
    joined->dispose();
    EXPECT_FALSE(joined->can_read() || joined->can_write() || joined->can_seek());
    EXPECT_TRUE(first->can_read());
    EXPECT_FALSE(owned->can_read());
    std::byte one[1];
    const std::vector<std::function<void()>> uses{
        [&] { joined->length(); },        [&] { joined->position(); },
        [&] { joined->set_position(0); }, [&] { joined->set_length(0); },
        [&] { joined->flush(); },         [&] { static_cast<void>(joined->read(one)); },
        [&] { joined->write(one); },      [&] { joined->insert(0, first, false); },
    };
    for (size_t i = 0; i < uses.size(); i++) {
        EXPECT_TRUE(refusal_of(uses[i]).starts_with("ObjectDisposedException: ")) << i;
    }
}

TEST_F(JoinedStreamTest, AStreamThatBecameShorterIsNoEnd) {
    const auto first = make_memory_stream(content("abc"));
    const auto joined = make_ref<JoinedStream>(first, false);
    first->set_length(1);
    EXPECT_EQ(refusal_of([&] { joined->read_to_end(); }),
              "EndOfStreamException: A stream that was joined has become shorter.");
    EXPECT_EQ(joined->position(), 1);
}

// A stream whose every access does something else first, as a Python file may.
class MeddlingStream final : public ManagedStream {
 public:
    MeddlingStream() : ManagedStream(stream_type()), m_inner(make_memory_stream(content("abcdef"))) {}
    std::function<void()> before = [] {};

    bool can_read() const override { return true; }
    bool can_write() const override { return true; }
    bool can_seek() const override { return true; }
    int64_t length() override { return m_inner->length(); }
    int64_t position() override { return m_inner->position(); }
    int64_t seek(int64_t offset, api::SeekOrigin origin) override { return m_inner->seek(offset, origin); }
    void set_length(int64_t length) override { m_inner->set_length(length); }
    size_t read(std::span<std::byte> into) override {
        before();
        return m_inner->read(into);
    }
    void write(std::span<const std::byte> from) override {
        before();
        m_inner->write(from);
    }
    void flush() override { flushed++; }
    int flushed = 0;

 private:
    Ref<ManagedStream> m_inner;
};

TEST_F(JoinedStreamTest, AChangeDuringAnAccessIsTold) {
    const auto meddling = make_ref<MeddlingStream>();
    const auto joined = make_ref<JoinedStream>(meddling, false);
    joined->flush();
    EXPECT_EQ(meddling->flushed, 1);
    std::byte one[1];
    const std::vector<std::function<void()>> accesses{[&] { static_cast<void>(joined->read(one)); },
                                                      [&] { joined->write(one); },
                                                      [&] { joined->set_length(joined->length() + 1); }};
    const std::vector<std::function<void()>> changes{
        [&] { joined->insert(0, make_memory_stream(content("1")), true); },
        [&] { joined->set_length(joined->length()); },
    };
    for (size_t i = 0; i < accesses.size() * changes.size(); i++) {
        joined->set_position(joined->length() - 1);
        meddling->before = changes[i % changes.size()];
        EXPECT_EQ(refusal_of(accesses[i / changes.size()]),
                  "InvalidOperationException: The stream was changed by the file behind it while that was in use.")
            << i;
        meddling->before = [] {};
    }
    meddling->before = [&] { joined->dispose(); };
    joined->set_position(joined->length() - 1);
    EXPECT_TRUE(refusal_of(accesses[0]).starts_with("ObjectDisposedException: "));
    meddling->before = [] {};
}

}  // namespace
}  // namespace zelmor::embed

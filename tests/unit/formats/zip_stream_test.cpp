// Streams of zlib data in a file: read on from several places, over the end of one to the next, and up to their ends.
#include "runtime/native/formats/psd/zip_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "runtime/native/imagework/pixels/source_bytes.h"

namespace zelmor::imagework {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes numbers(size_t count, uint32_t seed) {
    Bytes found(count);
    for (uint8_t& each : found) {
        seed = seed * 1664525 + 1013904223;
        each = static_cast<uint8_t>(seed >> 28);  // so that it is worth to be compressed
    }
    return found;
}

Bytes packed(const Bytes& plain) {
    uLongf size = compressBound(static_cast<uLong>(plain.size()));
    Bytes found(size);
    EXPECT_EQ(compress(found.data(), &size, plain.data(), static_cast<uLong>(plain.size())), Z_OK);
    found.resize(size);
    return found;
}

Bytes part(const Bytes& of, size_t from, size_t count) {
    return {of.begin() + static_cast<std::ptrdiff_t>(from), of.begin() + static_cast<std::ptrdiff_t>(from + count)};
}

Bytes taken(ZipStream& stream, size_t count) {
    Bytes out(count);
    EXPECT_TRUE(stream.read(out));
    return out;
}

// More than three buffers of compressed data, behind something else.
struct ZipStreamTest : testing::Test {
    const Bytes plain = numbers(120'000, 1);
    const Bytes data = packed(plain);
    static constexpr size_t kBefore = 7;
    Bytes file() const {
        Bytes whole(kBefore, 0x78);
        whole.insert(whole.end(), data.begin(), data.end());
        EXPECT_GT(data.size(), 3U * 16384);
        return whole;
    }
    PsdRange range(size_t cut = 0) const { return {kBefore, data.size() - cut}; }
};

TEST_F(ZipStreamTest, CopiesGoOnFromWhereTheStreamIs) {
    ZipStream stream(memory_source(file()), range());
    for (const size_t at : {0, 1, 5'000, 60'000, 119'000}) {
        ZipStream again(memory_source(file()), range());
        ASSERT_TRUE(again.skip(at));
        const auto copy = again.copy();
        EXPECT_EQ(taken(*copy, 900), part(plain, at, 900)) << at;
        EXPECT_EQ(taken(again, 1'000), part(plain, at, 1'000)) << at;
        EXPECT_EQ(taken(*copy, 100), part(plain, at + 900, 100)) << at;
        EXPECT_EQ(copy->fault(), nullptr);
    }
    EXPECT_EQ(taken(stream, plain.size()), plain);
}

TEST_F(ZipStreamTest, WhatIsSkippedIsNotRead) {
    for (const size_t count : {0, 1, 4'095, 4'096, 4'097, 100'000}) {
        ZipStream stream(memory_source(file()), range());
        EXPECT_TRUE(stream.skip(count));
        EXPECT_EQ(taken(stream, 50), part(plain, count, 50)) << count;
    }
    ZipStream stream(memory_source(file()), range());
    EXPECT_TRUE(stream.skip(plain.size()));
    EXPECT_FALSE(stream.skip(1));
    EXPECT_STREQ(stream.fault(), "the compressed data end too early");
}

// Though the file has the rest of the data behind the end of the range.
TEST_F(ZipStreamTest, NothingBehindTheRangeIsTaken) {
    for (const size_t cut : {20, 20'000}) {
        for (const bool of_copy : {false, true}) {
            ZipStream stream(memory_source(file()), range(cut));
            EXPECT_TRUE(stream.skip(1'000));
            const auto copy = stream.copy();
            ZipStream& asked = of_copy ? *copy : stream;
            Bytes rest(plain.size() - 1'000);
            EXPECT_FALSE(asked.read(rest));
            EXPECT_STREQ(asked.fault(), "the compressed data end too early");
            EXPECT_FALSE(asked.read(std::span(rest).first(1)));
            EXPECT_STREQ(asked.fault(), "the rest of the compressed data is lost");
            const auto after = asked.copy();
            EXPECT_FALSE(after->read(std::span(rest).first(1)));
            EXPECT_STREQ(after->fault(), "the rest of the compressed data is lost");
        }
    }
}

TEST_F(ZipStreamTest, DataThatMakeNoSenseAreTold) {
    Bytes damaged = file();
    damaged[kBefore] = 0;
    ZipStream stream(memory_source(damaged), range());
    Bytes out(1);
    EXPECT_FALSE(stream.read(out));
    EXPECT_STREQ(stream.fault(), "the compressed data are damaged");
}

TEST(ZipStreams, OneGoesOnWithTheNext) {
    const Bytes first = numbers(100, 2), second = numbers(200, 3);
    Bytes file = packed(first), more = packed(second), plain = first;
    file.insert(file.end(), more.begin(), more.end());
    plain.insert(plain.end(), second.begin(), second.end());
    ZipStream whole(memory_source(file), {0, file.size()});
    EXPECT_EQ(taken(whole, 300), plain);
    ZipStream stream(memory_source(file), {0, file.size()});
    EXPECT_EQ(taken(stream, 100), first);
    EXPECT_EQ(taken(*stream.copy(), 200), second);
    EXPECT_EQ(taken(stream, 200), second);
}

}  // namespace
}  // namespace zelmor::imagework

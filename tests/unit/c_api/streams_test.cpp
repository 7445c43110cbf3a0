// Streams of the host behind members of the runtime: each function, its failures, threads, and who closes what.
#include <atomic>
#include <thread>

#include "host.h"

namespace zelmor::embed::test {
namespace {

constexpr const char* kContainer = "Zelmor.Imaging.StreamContainer";

class StreamsTest : public CApiTest {
 protected:
    StreamsTest() : m_number(add_stream({1, 2, 3, 4, 5})) {}
    static Held container(int64_t number) {
        return Held(call(kContainer, "ctor_000_StreamContainer", 0, {stream(number)}));
    }
    HostState::Stream& stream_of_host() const { return host().streams.at(m_number); }
    int64_t number() const { return m_number; }

 private:
    int64_t m_number;
};

TEST_F(StreamsTest, EveryFunctionReachesTheHost) {
    const Held held = container(number());
    EXPECT_EQ(call(kContainer, "get_Length", held.get()).word, 5);
    EXPECT_EQ(call(kContainer, "call_000_ReadByte", held.get()).word, 1);
    EXPECT_EQ(call(kContainer, "get_Position", held.get()).word, 1);
    Blob room(9, 0xEE);
    EXPECT_EQ(call(kContainer, "call_001_Read", held.get(), {bytes(room), integer(2), integer(3)}).word, 3);
    EXPECT_EQ(room, (Blob{0xEE, 0xEE, 2, 3, 4, 0xEE, 0xEE, 0xEE, 0xEE}));
    EXPECT_EQ(call(kContainer, "call_000_Seek", held.get(), {integer(-2), integer(2)}).word, 3);
    EXPECT_EQ(call(kContainer, "call_000_Seek", held.get(), {integer(1), integer(1)}).word, 4);
    EXPECT_EQ(call(kContainer, "call_000_Seek", held.get(), {integer(0), integer(0)}).word, 0);
    const Blob written = {9, 8};
    call(kContainer, "call_000_Write", held.get(), {bytes(written)});
    call(kContainer, "call_000_Flush", held.get());
    EXPECT_EQ(stream_of_host().data, (Blob{9, 8, 3, 4, 5}));
    EXPECT_EQ(stream_of_host().flushes, 1);
    call(kContainer, "set_Length", held.get(), {integer(3)});
    EXPECT_EQ(stream_of_host().data, (Blob{9, 8, 3}));
    const Given all = call(kContainer, "call_000_ToBytes", held.get());
    EXPECT_EQ(host().bytes.at(all.word), (Blob{9, 8, 3}));
}

TEST_F(StreamsTest, TheHostSaysWhatTheStreamCanDo) {
    const Held held = container(number());
    bool HostState::Stream::*const abilities[] = {&HostState::Stream::can_read, &HostState::Stream::can_write,
                                                  &HostState::Stream::can_seek};
    const char* const getters[] = {"get_CanRead", "get_CanWrite", "get_CanSeek"};
    for (int i = 0; i < 3; ++i) {
        for (const bool can : {false, true}) {
            stream_of_host().*abilities[i] = can;
            for (int j = 0; j < 3; ++j) {
                EXPECT_EQ(call(kContainer, getters[j], held.get()).word, i == j && !can ? 0 : 1) << getters[j];
            }
        }
    }
}

TEST_F(StreamsTest, TheStreamComesBackAsTheNumberThatTheHostKnows) {
    const Held held = container(number());
    const Given back = call(kContainer, "get_Stream", held.get());
    EXPECT_EQ(back.kind, ZELMOR_PICTURES_STREAM);
    EXPECT_EQ(back.word, number());
}

TEST_F(StreamsTest, AFailureOfTheHostIsTheErrorOfTheCall) {
    const Failure expected = {u"HostException", u"The stream of the host fails."};
    const Blob two = {1, 2};
    struct Row {
        const char* function;
        const char* member;
        std::vector<Given> arguments;
    };
    const Held held = container(number());
    for (const Row& row : {Row{"read", "call_000_ReadByte", {}}, Row{"write", "call_000_Write", {bytes(two)}},
                           Row{"seek", "call_000_Seek", {integer(0), integer(0)}}, Row{"length", "get_Length", {}},
                           Row{"set_length", "set_Length", {integer(1)}}, Row{"flush", "call_000_Flush", {}},
                           Row{"can", "get_CanRead", {}}}) {
        stream_of_host().failing = row.function;
        EXPECT_EQ(refusal(kContainer, row.member, held.get(), row.arguments), expected) << row.function;
        stream_of_host().failing.clear();
        call(kContainer, "get_Length", held.get());  // the error is gone with the next call
    }
}

TEST_F(StreamsTest, MoreThanThereWasRoomForIsRefused) {
    const Held held = container(number());
    stream_of_host().answers_too_much = 2;
    Blob room(4);
    const Failure failure = refusal(kContainer, "call_001_Read", held.get(), {bytes(room), integer(0), integer(4)});
    EXPECT_EQ(failure,
              (Failure{u"IOException", u"The stream answered that it has read 6 bytes, but it had room for 4."}));
}

TEST_F(StreamsTest, AStreamIsFreedWithTheLastThatRefersToIt) {
    {
        const Held one = container(number());
        EXPECT_TRUE(host().freed_streams.empty());
    }
    EXPECT_EQ(host().freed_streams, std::vector<int64_t>{number()});
}

TEST_F(StreamsTest, AContainerClosesTheStreamIfItWasToldTo) {
    for (const bool closes : {true, false}) {
        const int64_t other = add_stream();
        const Held held(call(kContainer, "ctor_001_StreamContainer", 0, {stream(other), boolean(closes)}));
        EXPECT_EQ(zelmor_pictures_dispose(held.get()), 0) << last_failure();
        EXPECT_EQ(host().closed_streams, closes ? std::vector<int64_t>{other} : std::vector<int64_t>{});
        host().closed_streams.clear();
    }
    container(number());
}

TEST_F(StreamsTest, OtherThreadsHaveTheirTurnWhileTheHostReads) {
    const Held held = container(number());
    const Held other(call("Zelmor.Imaging.Matrix", "ctor_000_Matrix", 0));
    std::atomic<double> seen = 0;
    stream_of_host().on_read = [&] {
        std::thread([&] { seen = real_of(call("Zelmor.Imaging.Matrix", "get_M11", other.get())); }).join();
    };
    EXPECT_EQ(call(kContainer, "call_000_ReadByte", held.get()).word, 1);
    EXPECT_EQ(seen, 1.0);
}

TEST_F(StreamsTest, TheHostMayCallWhileItReads) {
    const Held held = container(number());
    int64_t length = 0;
    stream_of_host().on_read = [&] { length = call(kContainer, "get_Length", held.get()).word; };
    EXPECT_EQ(call(kContainer, "call_000_ReadByte", held.get()).word, 1);
    EXPECT_EQ(length, 5);
}

}  // namespace
}  // namespace zelmor::embed::test

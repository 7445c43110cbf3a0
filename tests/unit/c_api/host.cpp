// The host of the tests; see host.h.
#include "host.h"

#include <algorithm>
#include <cstring>
#include <ostream>

namespace zelmor::embed::test {

namespace {

const std::u16string kErrorName = u"HostException";
const std::u16string kErrorText = u"The stream of the host fails.";

HostState::Stream* stream_for(int64_t number, const char* function) {
    HostState::Stream& found = host().streams.at(number);
    return found.failing == function ? nullptr : &found;
}

int32_t read_stream(int64_t number, void* data, int32_t count) {
    HostState::Stream* stream = stream_for(number, "read");
    if (stream == nullptr) {
        return -1;
    }
    stream->on_read();
    const auto left = std::max<int64_t>(static_cast<int64_t>(stream->data.size()) - stream->position, 0);
    const auto taken = static_cast<int32_t>(std::min<int64_t>(left, count));
    std::memcpy(data, stream->data.data() + stream->position, static_cast<size_t>(taken));
    stream->position += taken;
    return stream->answers_too_much > 0 ? count + stream->answers_too_much : taken;
}
int32_t write_stream(int64_t number, const void* data, int32_t count) {
    HostState::Stream* stream = stream_for(number, "write");
    if (stream == nullptr) {
        return -1;
    }
    const auto end = static_cast<size_t>(stream->position + count);
    stream->data.resize(std::max(stream->data.size(), end));
    std::memcpy(stream->data.data() + stream->position, data, static_cast<size_t>(count));
    stream->position += count;
    return 0;
}
int64_t seek_stream(int64_t number, int64_t offset, int32_t origin) {
    HostState::Stream* stream = stream_for(number, "seek");
    if (stream == nullptr) {
        return -1;
    }
    const int64_t from[] = {0, stream->position, static_cast<int64_t>(stream->data.size())};
    return stream->position = from[origin] + offset;
}
int64_t stream_length(int64_t number) {
    HostState::Stream* stream = stream_for(number, "length");
    return stream != nullptr ? static_cast<int64_t>(stream->data.size()) : -1;
}
int32_t set_stream_length(int64_t number, int64_t length) {
    HostState::Stream* stream = stream_for(number, "set_length");
    if (stream == nullptr) {
        return -1;
    }
    stream->data.resize(static_cast<size_t>(length));
    return 0;
}
int32_t flush_stream(int64_t number) {
    HostState::Stream* stream = stream_for(number, "flush");
    if (stream == nullptr) {
        return -1;
    }
    ++stream->flushes;
    return 0;
}
int32_t close_stream(int64_t number) {
    HostState::Stream* stream = stream_for(number, "close");
    if (stream == nullptr) {
        return -1;
    }
    host().closed_streams.push_back(number);
    return 0;
}
int32_t can_stream(int64_t number, int32_t what) {
    const HostState::Stream* stream = stream_for(number, "can");
    if (stream == nullptr) {
        return -1;
    }
    const bool can[] = {stream->can_read, stream->can_write, stream->can_seek};
    return can[what] ? 1 : 0;
}
void free_stream(int64_t number) {
    host().freed_streams.push_back(number);
    host().streams.erase(number);
}
int64_t new_bytes(int32_t length, void** data) {
    if (!host().has_memory) {
        return -1;
    }
    const int64_t number = host().next++;
    Blob& made = host().bytes[number];
    made.resize(static_cast<size_t>(length));
    *data = made.data();
    return number;
}
void free_bytes(int64_t number) {
    host().freed_bytes.push_back(number);
    host().bytes.erase(number);
}
void tell_error(Given* name, Given* told) {
    *name = text(kErrorName);
    *told = text(kErrorText);
}

}  // namespace

HostState& host() {
    static HostState state;
    return state;
}

int64_t add_stream(Blob data) {
    const int64_t number = host().next++;
    host().streams[number].data = std::move(data);
    return number;
}

std::u16string text_of(const Given& value) {
    EXPECT_EQ(value.kind, ZELMOR_PICTURES_TEXT);
    return {static_cast<const char16_t*>(value.data), static_cast<size_t>(value.length)};
}

double real_of(const Given& value) {
    EXPECT_EQ(value.kind, ZELMOR_PICTURES_REAL);
    return std::bit_cast<double>(value.word);
}

std::ostream& operator<<(std::ostream& out, const Failure& failure) {
    const auto plain = [](const std::u16string& wide) { return std::string(wide.begin(), wide.end()); };
    return out << plain(failure.name) << ": " << plain(failure.text);
}

Failure last_failure() {
    Given name = {}, told = {};
    zelmor_pictures_error(&name, &told);
    return {text_of(name), text_of(told)};
}

const zelmor_pictures_entry* entry_of(const char* type, const char* name) {
    const zelmor_pictures_entry* found = nullptr;
    EXPECT_EQ(zelmor_pictures_find(type, name, &found), 0) << type << " " << name << ": " << last_failure();
    return found;
}

CApiTest::CApiTest() {
    static constexpr zelmor_pictures_host kHost = {read_stream,       write_stream, seek_stream,  stream_length,
                                                   set_stream_length, flush_stream, close_stream, can_stream,
                                                   free_stream,       new_bytes,    free_bytes,   tell_error};
    zelmor_pictures_start(&kHost);
    HostState fresh;
    fresh.next = host().next;
    host() = std::move(fresh);
}

CApiTest::~CApiTest() {
    EXPECT_TRUE(host().streams.empty()) << "a stream is still referred to";
}

int32_t CApiTest::try_call(const char* type, const char* name, int64_t self, std::vector<Given>& arguments,
                           Given& result) {
    return zelmor_pictures_call(entry_of(type, name), self, arguments.data(), static_cast<int32_t>(arguments.size()),
                                &result);
}

Given CApiTest::call(const char* type, const char* name, int64_t self, std::vector<Given> arguments) {
    Given result = {};
    EXPECT_EQ(try_call(type, name, self, arguments, result), 0) << type << " " << name << ": " << last_failure();
    return result;
}

Failure CApiTest::refusal(const char* type, const char* name, int64_t self, std::vector<Given> arguments) {
    Given result = {};
    EXPECT_EQ(try_call(type, name, self, arguments, result), -1) << type << " " << name;
    return last_failure();
}

Held CApiTest::make(const char* type) {
    Given result = {};
    EXPECT_EQ(zelmor_pictures_make(type, nullptr, 0, &result), 0) << type << ": " << last_failure();
    return Held(result);
}

Given CApiTest::stored(const Held& object, const char* property) {
    Given result = {};
    EXPECT_EQ(zelmor_pictures_stored(object.get(), property, &result), 0) << last_failure();
    return result;
}

}  // namespace zelmor::embed::test

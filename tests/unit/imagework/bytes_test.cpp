// The bytes of files that are read and written, and the memory that is counted for pixels.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "failure_of.h"
#include "runtime/native/imagework/format_encoding.h"
#include "runtime/native/imagework/pixels/byte_sink.h"
#include "runtime/native/imagework/pixels/memory_budget.h"
#include "runtime/native/imagework/pixels/source_bytes.h"
#include "runtime/native/imagework/probe/byte_reader.h"

namespace zelmor::imagework {
namespace {

std::vector<uint8_t> counted(size_t size) {
    std::vector<uint8_t> bytes(size);
    for (size_t i = 0; i < size; i++) {
        bytes[i] = static_cast<uint8_t>(i * 7 + i / 256);
    }
    return bytes;
}

// A file that is not in memory, and keeps what it was asked.
class MadeUpFile final : public DataSource {
 public:
    explicit MadeUpFile(std::vector<uint8_t> bytes) : m_bytes(std::move(bytes)) {}
    uint64_t size() const override { return m_bytes.size(); }
    size_t read_at(uint64_t offset, std::span<uint8_t> out) const override {
        asked.emplace_back(offset, out.size());
        const size_t count = offset < m_bytes.size() ? std::min<size_t>(out.size(), m_bytes.size() - offset) : 0;
        std::copy_n(m_bytes.begin() + static_cast<ptrdiff_t>(std::min<uint64_t>(offset, m_bytes.size())), count,
                    out.begin());
        return count;
    }
    mutable std::vector<std::pair<uint64_t, size_t>> asked;

 private:
    std::vector<uint8_t> m_bytes;
};

TEST(DataSourceTest, BytesAreReadAsFarAsTheyAreThere) {
    const std::vector<uint8_t> bytes = counted(100);
    for (const SharedSource& source : {memory_source(bytes), borrowed_source(bytes)}) {
        EXPECT_EQ(source->size(), 100U);
        EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), source->in_memory().begin(), source->in_memory().end()));
        for (const auto& [offset, wanted, count] :
             {std::tuple{0, 100, 100}, {0, 101, 100}, {99, 1, 1}, {99, 2, 1}, {100, 1, 0}, {500, 3, 0}, {40, 0, 0}}) {
            std::vector<uint8_t> out(static_cast<size_t>(wanted), 0xEE);
            EXPECT_EQ(source->read_at(static_cast<uint64_t>(offset), out), static_cast<size_t>(count));
            EXPECT_TRUE(std::equal(out.begin(), out.begin() + count, bytes.begin() + std::min(offset, 100)));
            EXPECT_EQ(std::count(out.begin() + count, out.end(), 0xEE), wanted - count);
        }
        EXPECT_EQ(all_bytes(*source), bytes);
    }
    EXPECT_EQ(all_bytes(MadeUpFile(bytes)), bytes);
    EXPECT_TRUE(all_bytes(MadeUpFile({})).empty());
}

TEST(SourceBytesTest, WindowsGrowWhereAWalkGoesOn) {
    const std::vector<uint8_t> bytes = counted(300'000);
    const auto file = std::make_shared<MadeUpFile>(bytes);
    SourceBytes window(file, 1000);
    EXPECT_EQ(window.size(), bytes.size());
    const auto expect_at = [&](uint64_t offset, uint64_t length) {
        const auto found = window.at(offset, length);
        const uint64_t count = offset < bytes.size() ? std::min<uint64_t>(length, bytes.size() - offset) : 0;
        ASSERT_EQ(found.size(), count);
        EXPECT_TRUE(std::equal(found.begin(), found.end(),
                               bytes.begin() + static_cast<ptrdiff_t>(std::min<uint64_t>(offset, bytes.size()))));
    };
    expect_at(5, 10);     // a first window
    expect_at(700, 305);  // to its very end
    expect_at(700, 306);  // one byte more: the walk goes on, with twice as much
    expect_at(2699, 1);
    expect_at(2700, 1);                // four times
    expect_at(2700 + 4000 + 1000, 1);  // as far behind the end as a jump goes
    expect_at(7700 + 8000 + 1001, 1);  // and one byte farther
    expect_at(16701, 5000);            // longer than any window would be
    expect_at(16700, 1);               // before it
    expect_at(200'000, 1);
    for (uint64_t offset = 201'000; offset < 300'000;) {
        expect_at(offset, 1);
        offset += file->asked.back().second;
    }
    expect_at(299'999, 5);
    expect_at(300'000, 1);
    expect_at(1 << 30, 1);
    const std::vector<std::pair<uint64_t, size_t>> expected{
        {5, 1000},       {700, 2000},      {2700, 4000},     {7700, 8000},    {16701, 1000},
        {16701, 5000},   {16700, 1000},    {200'000, 1000},  {201'000, 2000}, {203'000, 4000},
        {207'000, 8000}, {215'000, 16000}, {231'000, 32000}, {263'000, 37000}};
    EXPECT_EQ(file->asked, expected);
    EXPECT_TRUE(window.has(299'999, 1));
    EXPECT_FALSE(window.has(299'999, 2));
    EXPECT_TRUE(window.has(300'000, 0));
    EXPECT_FALSE(window.has(300'001, 0));
}

TEST(SourceBytesTest, LongPiecesLeaveTheWindow) {
    const std::vector<uint8_t> bytes = counted(200'000);
    const auto file = std::make_shared<MadeUpFile>(bytes);
    SourceBytes window(file, 1000);
    const auto copied = [&](uint64_t offset, size_t length) {
        std::vector<uint8_t> out(length, 0);
        const size_t count = window.copy(offset, out);
        EXPECT_TRUE(std::equal(out.begin(), out.begin() + static_cast<ptrdiff_t>(count),
                               bytes.begin() + static_cast<ptrdiff_t>(offset)));
        return count;
    };
    EXPECT_EQ(copied(100, 50), 50U);
    EXPECT_EQ(copied(150, 950), 950U);     // in the window
    EXPECT_EQ(copied(5000, 1000), 1000U);  // read by itself
    EXPECT_EQ(copied(100, 1000), 1000U);   // still there
    EXPECT_EQ(copied(101, 999), 999U);
    EXPECT_EQ(copied(102, 999), 999U);  // not long, and not there as a whole
    EXPECT_EQ(copied(199'990, 1000), 10U);
    const std::vector<std::pair<uint64_t, size_t>> expected{{100, 1000}, {5000, 1000}, {102, 2000}, {199'990, 1000}};
    EXPECT_EQ(file->asked, expected);
    SourceBytes whole(memory_source(bytes));
    EXPECT_EQ(whole.at(10, 1'000'000).size(), 199'990U);
    EXPECT_TRUE(whole.at(200'000, 1).empty());
    std::vector<uint8_t> out(100'000);
    EXPECT_EQ(whole.copy(150'000, out), 50'000U);
}

TEST(SourceBytesTest, AFileThatBecameShorterEndsThere) {
    class Shorter final : public DataSource {
     public:
        uint64_t size() const override { return 1000; }
        size_t read_at(uint64_t offset, std::span<uint8_t> out) const override {
            const size_t count = offset < 600 ? std::min<size_t>(out.size(), 600 - offset) : 0;
            std::fill_n(out.begin(), count, uint8_t{5});
            return count;
        }
    };
    SourceBytes window(std::make_shared<Shorter>(), 100);
    EXPECT_EQ(window.at(550, 80).size(), 50U);
    EXPECT_EQ(window.at(599, 1).size(), 1U);
    EXPECT_TRUE(window.at(620, 10).empty());
}

TEST(SourceBytesTest, BytesInMemoryAreNotCopied) {
    const std::vector<uint8_t> bytes = counted(100);
    SourceBytes window(borrowed_source(bytes), 10);
    EXPECT_EQ(window.at(0, 100).data(), bytes.data());
    EXPECT_EQ(window.at(7, 50).data(), bytes.data() + 7);
}

TEST(SourceBytesTest, AReadThatFailsLeavesNoWindow) {
    class Failing final : public DataSource {
     public:
        uint64_t size() const override { return 1000; }
        size_t read_at(uint64_t offset, std::span<uint8_t> out) const override {
            if (fails) {
                throw PictureError(Failure::kDamaged, "gone");
            }
            std::fill(out.begin(), out.end(), static_cast<uint8_t>(offset / 100));
            return out.size();
        }
        bool fails = false;
    };
    const auto file = std::make_shared<Failing>();
    SourceBytes window(file, 100);
    EXPECT_EQ(window.at(100, 1)[0], 1);
    file->fails = true;
    EXPECT_THROW(window.at(500, 1), PictureError);
    file->fails = false;
    EXPECT_EQ(window.at(500, 1)[0], 5);
}

TEST(ByteReaderTest, NumbersHaveAnOrderAndAnEnd) {
    const std::vector<uint8_t> bytes{0x81, 0x02, 0x03, 0x04, 0x05, 0x06, 0x07, 0x88, 0x09};
    const auto file = std::make_shared<MadeUpFile>(bytes);
    SourceBytes window(file);
    for (const ByteReader& little : {ByteReader(bytes), ByteReader(window)}) {
        const ByteReader big = little.in_order(true);
        EXPECT_EQ(little.u8(0), 0x81);
        EXPECT_EQ(little.u16(0), 0x0281);
        EXPECT_EQ(big.u16(0), 0x8102);
        EXPECT_EQ(little.u32(4), 0x88070605U);
        EXPECT_EQ(little.i32(4), static_cast<int32_t>(0x88070605U));
        EXPECT_EQ(big.u32(0), 0x81020304U);
        EXPECT_EQ(little.u64(0), 0x8807060504030281U);
        EXPECT_EQ(big.u64(1), 0x0203040506078809U);
        EXPECT_TRUE(little.ok() && big.ok());
        for (const size_t size : {1U, 2U, 4U, 8U}) {
            const ByteReader reader = little.in_order(false);
            const auto read = [&](uint64_t offset) -> uint64_t {
                return size == 1   ? reader.u8(offset)
                       : size == 2 ? reader.u16(offset)
                       : size == 4 ? reader.u32(offset)
                                   : reader.u64(offset);
            };
            EXPECT_NE(read(9 - size), 0U);
            EXPECT_TRUE(reader.ok());
            for (const uint64_t beyond : {uint64_t{10} - size, uint64_t{9}, uint64_t{10}, ~uint64_t{0}}) {
                const ByteReader again = reader.in_order(true);
                EXPECT_TRUE(again.ok());
                EXPECT_EQ(size == 1   ? again.u8(beyond)
                          : size == 2 ? again.u16(beyond)
                          : size == 4 ? again.u32(beyond)
                                      : again.u64(beyond),
                          0U);
                EXPECT_FALSE(again.ok());
                EXPECT_TRUE(again.in_order(false).ok());
            }
        }
        for (const auto& [offset, length, count] :
             {std::tuple{0, 9, 9}, {0, 10, 9}, {8, 1, 1}, {8, 5, 1}, {9, 1, 0}, {20, 1, 0}, {3, 0, 0}}) {
            EXPECT_EQ(little.piece(static_cast<uint64_t>(offset), static_cast<uint64_t>(length)).size(),
                      static_cast<size_t>(count));
            EXPECT_EQ(little.has(static_cast<uint64_t>(offset), static_cast<uint64_t>(length)),
                      length == count && offset <= 9);
        }
        EXPECT_EQ(little.piece(3, 2)[0], 4);
        EXPECT_TRUE(little.starts_with(1, "\2\3\4"));
        EXPECT_TRUE(little.starts_with(8, "\t"));
        EXPECT_FALSE(little.starts_with(1, "\2\3\5"));
        EXPECT_FALSE(little.starts_with(8, "\t\n"));
        EXPECT_TRUE(little.ok());
    }
    EXPECT_EQ(ByteReader(bytes, true).u16(0), 0x8102);
    EXPECT_EQ(ByteReader(window, true).u16(0), 0x8102);
}

// ---- Writing

TEST(MemorySinkTest, BytesAreAddedAndWrittenOver) {
    MemorySink sink;
    const std::vector<uint8_t> bytes = counted(10);
    sink.write(std::span(bytes).first(4));
    sink.write(std::span(bytes).subspan(4));
    EXPECT_EQ(sink.size(), 10U);
    EditableFile& file = *sink.editable();
    file.write_at(8, std::vector<uint8_t>{1, 2, 3, 4});  // beyond the end, and far behind it
    file.write_at(14, std::vector<uint8_t>{9});
    file.write_at(0, std::vector<uint8_t>{7});
    EXPECT_EQ(file.size(), 15U);
    std::vector<uint8_t> expected = bytes;
    expected.resize(8);
    expected.insert(expected.end(), {1, 2, 3, 4, 0, 0, 9});
    expected[0] = 7;
    std::vector<uint8_t> found(15);
    file.read_at(0, found);
    EXPECT_EQ(found, expected);
    found.resize(3);
    file.read_at(12, found);
    EXPECT_EQ(found, (std::vector<uint8_t>{0, 0, 9}));
    const EncodedBytes taken = sink.take();
    EXPECT_TRUE(std::equal(expected.begin(), expected.end(), taken.bytes().begin(), taken.bytes().end()));
    EXPECT_EQ(sink.size(), 0U);
    MemorySink other;
    other.write_whole(to_encoded(bytes));
    const EncodedBytes whole = other.take();
    EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), whole.bytes().begin(), whole.bytes().end()));
    EXPECT_TRUE(other.take().bytes().empty());
}

TEST(MemorySinkTest, AFileIsEditedWhereItBelongs) {
    class Plain final : public ByteSink {
     public:
        void write(std::span<const uint8_t> bytes) override { written.assign(bytes.begin(), bytes.end()); }
        std::vector<uint8_t> written;
    };
    EditableFile* used = nullptr;
    const auto encode = [&](EditableFile& file) {
        used = &file;
        file.write_at(1, std::vector<uint8_t>{5});
    };
    MemorySink memory;
    write_editable(memory, encode);
    EXPECT_EQ(used, memory.editable());
    EXPECT_EQ(memory.size(), 2U);
    Plain plain;
    write_editable(plain, encode);
    EXPECT_EQ(plain.written, (std::vector<uint8_t>{0, 5}));
    EXPECT_EQ(plain.editable(), nullptr);
}

// ---- Memory for pixels

TEST(MemoryBudgetTest, SharesAreTakenUpToTheLimit) {
    const auto budget = std::make_shared<MemoryBudget>(1000);
    EXPECT_EQ(budget->limit(), 1000U);
    EXPECT_FALSE(budget->try_take(1001));
    EXPECT_TRUE(budget->try_take(1000));
    EXPECT_FALSE(budget->try_take(1));
    EXPECT_TRUE(budget->try_take(0));
    budget->give_back(400);
    EXPECT_EQ(budget->used(), 600U);
    EXPECT_FALSE(budget->try_take(401));
    EXPECT_FALSE(budget->try_take(~uint64_t{0}));
    const PictureError error = failure_of([&] { budget->take(401); });
    EXPECT_EQ(error.kind(), Failure::kTooLarge);
    EXPECT_STREQ(error.what(),
                 "its pixels need 401 bytes of memory besides the 600 in use, and the limit of one image is "
                 "1000 bytes (buffer_size_hint raises it)");
    int reclaims = 0;
    budget->set_reclaim([&] {
        reclaims++;
        budget->give_back(100);
    });
    budget->take(400);  // fits as it is
    EXPECT_EQ(reclaims, 0);
    budget->take(100);
    EXPECT_EQ(reclaims, 1);
    EXPECT_EQ(budget->used(), 1000U);
    EXPECT_EQ(failure_of([&] { budget->take(101); }).kind(), Failure::kTooLarge);
    EXPECT_EQ(reclaims, 2);
    budget->set_reclaim({});
    budget->take(100);
    EXPECT_EQ(failure_of([&] { budget->take(1); }).kind(), Failure::kTooLarge);
    EXPECT_EQ(reclaims, 2);
}

TEST(MemoryBudgetTest, AShareIsGivenBackOnce) {
    const auto budget = std::make_shared<MemoryBudget>(1000), other = std::make_shared<MemoryBudget>(1000);
    {
        MemoryShare share(budget, 300), second(other, 200);
        MemoryShare moved(std::move(share));
        EXPECT_EQ(budget->used(), 300U);
        second = std::move(moved);
        EXPECT_EQ(budget->used(), 300U);
        EXPECT_EQ(other->used(), 0U);
        auto& same = second;
        second = std::move(same);
        EXPECT_EQ(budget->used(), 300U);
        second.reset();
        EXPECT_EQ(budget->used(), 0U);
        second = MemoryShare(budget, 10);
        EXPECT_EQ(budget->used(), 10U);
        const MemoryShare counted_by_nobody(nullptr, ~uint64_t{0});
    }
    EXPECT_EQ(budget->used(), 0U);
}

// ---- Settings of formats

struct BmpSettings {
    static constexpr Format kFormat = Format::kBmp;
    int value = 0;
};
struct GifSettings {
    static constexpr Format kFormat = Format::kGif;
    int value = 0;
};

TEST(FormatEncodingTest, TheStructureIsFoundByItsFormat) {
    FormatEncoding none;
    EXPECT_EQ(none.format(), Format::kUnknown);
    EXPECT_EQ(none.as<BmpSettings>(), nullptr);
    FormatEncoding settings(BmpSettings{5});
    const FormatEncoding& constant = settings;
    EXPECT_EQ(settings.format(), Format::kBmp);
    EXPECT_EQ(settings.as<GifSettings>(), nullptr);
    EXPECT_EQ(constant.as<GifSettings>(), nullptr);
    ASSERT_NE(settings.as<BmpSettings>(), nullptr);
    ASSERT_NE(constant.as<BmpSettings>(), nullptr);
    EXPECT_EQ(constant.as<BmpSettings>()->value, 5);
    EXPECT_EQ(constant.get<BmpSettings>().value, 5);
    FormatEncoding copy = settings;
    copy.get<BmpSettings>().value = 6;
    EXPECT_EQ(settings.get<BmpSettings>().value, 5);
    copy = FormatEncoding(GifSettings{7});
    EXPECT_EQ(copy.as<BmpSettings>(), nullptr);
    EXPECT_EQ(copy.get<GifSettings>().value, 7);
    copy = none;
    EXPECT_EQ(copy.format(), Format::kUnknown);
    copy = settings;
    EXPECT_EQ(copy.get<BmpSettings>().value, 5);
}

}  // namespace
}  // namespace zelmor::imagework

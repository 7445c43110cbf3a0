// Lists through the C interface: their elements, changes of them, and lists that a call keeps or changes.
#include <cstring>
#include <iterator>

#include "host.h"

namespace zelmor::embed::test {
namespace {

constexpr const char* kMatrix = "Zelmor.Imaging.Matrix";
constexpr const char* kTiff = "Zelmor.Imaging.ImageOptions.TiffOptions";
constexpr const char* kPackage = "Zelmor.Imaging.Xmp.XmpPackage";
constexpr const char* kMedia = "Zelmor.Imaging.Xmp.Schemas.XmpMm.XmpMediaManagementPackage";

class ListsTest : public CApiTest {
 protected:
    // A list as an object: what the argument of a package became, which then let go of it.
    static Held list_of(const Given& values) {
        const Held package = make(kMedia);
        std::vector<Given> arguments = {text(u"xmpMM:Key"), values};
        Given result = {};
        EXPECT_EQ(try_call(kPackage, "call_000_SetPropValue", package.get(), arguments, result), 0) << last_failure();
        return Held(arguments[1]);
    }
    static Given elements(const Held& list) {
        Given all = {};
        EXPECT_EQ(zelmor_pictures_elements(list.get(), &all), 0) << last_failure();
        return all;
    }
    static std::vector<int64_t> words(const Held& list) {
        std::vector<int64_t> found;
        for (int64_t i = 0; i < elements(list).length; ++i) {
            Given item = {};
            EXPECT_EQ(zelmor_pictures_item(list.get(), i, &item), 0) << last_failure();
            found.push_back(item.word);
        }
        return found;
    }
    static Failure failed(int32_t status) {
        EXPECT_EQ(status, -1);
        return last_failure();
    }
};

TEST_F(ListsTest, NumbersHaveTheWidthAndShapeThatTheyWereGiven) {
    const std::vector<int8_t> bytes_of = {-128, 127};
    const std::vector<uint16_t> shorts = {0, 65535};
    const std::vector<int64_t> longs = {INT64_MIN, INT64_MAX};
    const std::vector<float> floats = {0.5f, -3e38f};
    const std::vector<double> doubles = {0.1, 1e300};
    struct Row {
        Given given;
        int32_t width;
    };
    for (const int32_t shape : {ZELMOR_PICTURES_ARRAY, ZELMOR_PICTURES_LIST}) {
        for (const Row& row :
             {Row{numbers(bytes_of, shape), 1}, Row{numbers(shorts, shape), 2}, Row{numbers(longs, shape), 8},
              Row{numbers(floats, shape), 4}, Row{numbers(doubles, shape), 8}}) {
            const Held list = list_of(row.given);
            const Given all = elements(list);
            EXPECT_EQ(all.kind, ZELMOR_PICTURES_NUMBERS);
            EXPECT_EQ(all.detail, shape | row.width << 8);
            EXPECT_EQ(all.word, 0) << "only the handle refers to the list";
            ASSERT_EQ(all.length, 2);
            EXPECT_EQ(std::memcmp(all.data, row.given.data, static_cast<size_t>(2 * row.width)), 0);
        }
    }
}

TEST_F(ListsTest, NumbersOfNoKnownKindAreRefused) {
    const std::vector<int32_t> values = {1, 2};
    const Held package = make(kMedia);
    for (const int32_t detail : {0, 3 << 8, 16 << 8, 5 << 8, 1 << 8 | 2 << 16, 2 << 8 | 2 << 16, 4 << 8 | 3 << 16}) {
        const Given given = {ZELMOR_PICTURES_NUMBERS, detail, 0, values.data(), 2};
        const Failure failure = refusal(kPackage, "call_000_SetPropValue", package.get(), {text(u"xmpMM:Key"), given});
        EXPECT_EQ(failure, (Failure{u"ArgumentException", u"The numbers of a list are of no known kind."})) << detail;
    }
}

TEST_F(ListsTest, NumbersOfAnotherWidthThanTheElementsAreRefused) {
    const std::vector<uint32_t> values = {1, 2};
    EXPECT_EQ(refusal(kTiff, "set_BitsPerSample", make(kTiff).get(), {numbers(values)}),
              (Failure{u"ArgumentException", u"The numbers of a list are of another kind than its elements."}));
    const std::vector<uint32_t> none;
    EXPECT_EQ(elements(list_of(numbers(none))).length, 0);
}

TEST_F(ListsTest, BytesAreAnArrayOfNumbersWhereAListIsWanted) {
    const Blob values = {8, 8, 8};
    EXPECT_EQ(refusal(kTiff, "set_BitsPerSample", make(kTiff).get(), {bytes(values)}),
              (Failure{u"ArgumentException", u"The numbers of a list are of another kind than its elements."}));
}

TEST_F(ListsTest, ItemsAreGivenOneByOne) {
    const std::vector<Given> values = {integer(5), text(u"six"), real(7.5), null()};
    const Held list = list_of(items(values, ZELMOR_PICTURES_ARRAY_LIST));
    const Given all = elements(list);
    EXPECT_EQ(all.kind, ZELMOR_PICTURES_ITEMS);
    EXPECT_EQ(all.detail & 0xFF, ZELMOR_PICTURES_ARRAY_LIST);
    EXPECT_EQ(all.data, nullptr);
    ASSERT_EQ(all.length, 4);
    Given item = {};
    ASSERT_EQ(zelmor_pictures_item(list.get(), 0, &item), 0);
    EXPECT_EQ(item.word, 5);
    ASSERT_EQ(zelmor_pictures_item(list.get(), 1, &item), 0);
    EXPECT_EQ(text_of(item), u"six");
    ASSERT_EQ(zelmor_pictures_item(list.get(), 2, &item), 0);
    EXPECT_EQ(real_of(item), 7.5);
    ASSERT_EQ(zelmor_pictures_item(list.get(), 3, &item), 0);
    EXPECT_EQ(item.kind, ZELMOR_PICTURES_NULL);
}

TEST_F(ListsTest, ElementsAreSetPutInAndTakenOut) {
    const std::vector<int32_t> values = {10, 20, 30};
    const Held list = list_of(numbers(values, ZELMOR_PICTURES_LIST));
    const auto change = [&](int32_t what, int64_t index, const Given& item) {
        return zelmor_pictures_change(list.get(), what, index, &item);
    };
    EXPECT_EQ(change(ZELMOR_PICTURES_SET, 2, integer(31)), 0);
    EXPECT_EQ(words(list), (std::vector<int64_t>{10, 20, 31}));
    EXPECT_EQ(change(ZELMOR_PICTURES_INSERT, 0, integer(5)), 0);
    EXPECT_EQ(change(ZELMOR_PICTURES_INSERT, 4, integer(40)), 0);
    EXPECT_EQ(words(list), (std::vector<int64_t>{5, 10, 20, 31, 40}));
    EXPECT_EQ(change(ZELMOR_PICTURES_REMOVE, 1, null()), 0);
    EXPECT_EQ(words(list), (std::vector<int64_t>{5, 20, 31, 40}));
    const std::vector<int32_t> others = {1, 2};
    EXPECT_EQ(change(ZELMOR_PICTURES_REPLACE, 0, numbers(others)), 0);
    EXPECT_EQ(words(list), (std::vector<int64_t>{1, 2}));
    const std::vector<Given> more = {integer(7), integer(8), integer(9)};
    EXPECT_EQ(change(ZELMOR_PICTURES_REPLACE, 0, items(more)), 0);
    EXPECT_EQ(words(list), (std::vector<int64_t>{7, 8, 9}));

    const auto outside = [](int64_t index) {
        const std::string told = "The index " + std::to_string(index) + " is not inside the list.";
        return std::u16string(told.begin(), told.end());
    };
    for (const auto& [what, index] : {std::pair<int32_t, int64_t>{ZELMOR_PICTURES_SET, -1},
                                      {ZELMOR_PICTURES_SET, 3},
                                      {ZELMOR_PICTURES_INSERT, 4},
                                      {ZELMOR_PICTURES_INSERT, -1},
                                      {ZELMOR_PICTURES_REMOVE, 3}}) {
        const Failure failure = failed(change(what, index, integer(1)));
        EXPECT_EQ(failure.name, u"ArgumentOutOfRangeException");
        EXPECT_NE(failure.text.find(outside(index)), std::u16string::npos) << failure;
    }
    Given item = {};
    EXPECT_EQ(failed(zelmor_pictures_item(list.get(), 3, &item)).name, u"ArgumentOutOfRangeException");
    EXPECT_EQ(failed(zelmor_pictures_item(list.get(), -1, &item)).name, u"ArgumentOutOfRangeException");
    EXPECT_EQ(failed(change(4, 0, integer(1))),
              (Failure{u"ArgumentException", u"The change of the list is of an unknown kind."}));
    EXPECT_EQ(failed(change(ZELMOR_PICTURES_REPLACE, 0, integer(1))),
              (Failure{u"ArgumentException", u"The elements of a list are no list."}));
    EXPECT_EQ(words(list), (std::vector<int64_t>{7, 8, 9}));
}

TEST_F(ListsTest, EnumeratingMakesAListOfWhatIsThere) {
    const std::vector<int32_t> values = {3, 1, 2};
    const Held list = list_of(numbers(values));
    Given result = {};
    ASSERT_EQ(zelmor_pictures_enumerate(list.get(), &result), 0) << last_failure();
    const Held copy(result);
    EXPECT_EQ(result.detail, 1);
    EXPECT_EQ(elements(copy).detail & 0xFF, ZELMOR_PICTURES_ARRAY_LIST);
    EXPECT_EQ(words(copy), (std::vector<int64_t>{3, 1, 2}));
    EXPECT_EQ(zelmor_pictures_enumerate(make(kTiff).get(), &result), -1);
}

TEST_F(ListsTest, AListThatIsKeptBecomesTheObjectsList) {
    const std::vector<uint16_t> bits = {8, 8, 8};
    const Held options = make(kTiff);
    std::vector<Given> arguments = {numbers(bits)};
    Given result = {};
    ASSERT_EQ(try_call(kTiff, "set_BitsPerSample", options.get(), arguments, result), 0) << last_failure();
    ASSERT_EQ(arguments[0].kind, ZELMOR_PICTURES_OBJECT);
    const Held list(arguments[0]);
    EXPECT_EQ(arguments[0].detail, 1);
    EXPECT_EQ(elements(list).word, 1) << "the options refer to the list, too";
    EXPECT_EQ(words(list), (std::vector<int64_t>{8, 8, 8}));
    const Held package = make(kMedia);
    arguments = {text(u"xmpMM:Key"), numbers(bits)};
    ASSERT_EQ(try_call(kPackage, "call_000_SetPropValue", package.get(), arguments, result), 0) << last_failure();
    ASSERT_EQ(arguments[1].kind, ZELMOR_PICTURES_OBJECT);
    const Held kept(arguments[1]);
    EXPECT_EQ(arguments[1].detail, 1);
    EXPECT_EQ(elements(kept).word, 1);
}

TEST_F(ListsTest, AListThatACallChangesIsGivenBack) {
    const Held matrix(call(kMatrix, "ctor_001_Matrix", 0, {real(2), real(0), real(0), real(2), real(10), real(20)}));
    const float points[][2] = {{1, 2}, {3, 4}};
    const std::vector<Given> corners = {fields(ZELMOR_PICTURES_POINT_F, points[0]),
                                        fields(ZELMOR_PICTURES_POINT_F, points[1])};
    std::vector<Given> arguments = {items(corners)};
    Given result = {};
    ASSERT_EQ(try_call(kMatrix, "call_000_TransformPoints", matrix.get(), arguments, result), 0) << last_failure();
    ASSERT_EQ(arguments[0].kind, ZELMOR_PICTURES_OBJECT);
    EXPECT_EQ(arguments[0].detail, 3);
    const Held list(arguments[0]);
    const std::vector<float> expected[] = {{12, 24}, {16, 28}};
    for (int64_t i = 0; i < 2; ++i) {
        Given item = {};
        ASSERT_EQ(zelmor_pictures_item(list.get(), i, &item), 0);
        ASSERT_EQ(item.detail, ZELMOR_PICTURES_POINT_F);
        EXPECT_EQ(fields_of<float>(item, 2), expected[i]);
    }
    // A list that is an object already is changed in place.
    std::vector<Given> again = {object(list.get())};
    ASSERT_EQ(try_call(kMatrix, "call_000_TransformPoints", matrix.get(), again, result), 0) << last_failure();
    EXPECT_EQ(again[0].detail, 3);
    EXPECT_EQ(again[0].length, arguments[0].length);
    const Held same(again[0]);
    Given item = {};
    ASSERT_EQ(zelmor_pictures_item(list.get(), 0, &item), 0);
    EXPECT_EQ(fields_of<float>(item, 2), (std::vector<float>{34, 68}));
}

}  // namespace
}  // namespace zelmor::embed::test

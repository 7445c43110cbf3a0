// Values of every kind where a member takes or gives any object, and the objects themselves.
#include <cstring>
#include <set>

#include "host.h"

namespace zelmor::embed::test {
namespace {

constexpr const char* kPackage = "Zelmor.Imaging.Xmp.XmpPackage";
constexpr const char* kMedia = "Zelmor.Imaging.Xmp.Schemas.XmpMm.XmpMediaManagementPackage";
constexpr const char* kHeader = "Zelmor.Imaging.Xmp.XmpHeaderPi";
constexpr const char* kDate = "Zelmor.Imaging.Xmp.Types.Basic.XmpDate";
constexpr const char* kPng = "Zelmor.Imaging.ImageOptions.PngOptions";
constexpr const char* kColorType = "Zelmor.Imaging.FileFormats.Png.PngColorType";

class ValuesTest : public CApiTest {
 protected:
    // What a package has for a key after it was given this.
    static Given kept(const Held& package, const Given& value) {
        call(kPackage, "call_000_SetPropValue", package.get(), {text(u"xmpMM:Key"), value});
        return call(kPackage, "call_000_GetPropValue", package.get(), {text(u"xmpMM:Key")});
    }
    // A list with one item, and what is got out of it. Packages take no structures.
    static Held list_of(const Given& value) {
        const std::vector<Given> one = {value};
        std::vector<Given> arguments = {text(u"xmpMM:Key"), items(one, ZELMOR_PICTURES_ARRAY_LIST)};
        Given result = {};
        EXPECT_EQ(try_call(kPackage, "call_000_SetPropValue", make(kMedia).get(), arguments, result), 0)
            << last_failure();
        return Held(arguments[1]);
    }
    static Given item_of(const Held& list) {
        Given item = {};
        EXPECT_EQ(zelmor_pictures_item(list.get(), 0, &item), 0) << last_failure();
        return item;
    }
    static Held header(std::u16string_view guid) {
        return Held(call(kHeader, "ctor_001_XmpHeaderPi", 0, {text(guid)}));
    }
};

TEST_F(ValuesTest, WordsOfAnyObjectKeepTheirKindAndBits) {
    const Held package = make(kMedia);
    const Given all[] = {
        null(),
        boolean(true),
        boolean(false),
        integer(0),
        integer(INT32_MAX),
        integer(INT32_MIN),
        integer(int64_t{INT32_MAX} + 1),
        integer(int64_t{INT32_MIN} - 1),
        integer(INT64_MAX),
        integer(INT64_MIN),
        unsigned_integer(UINT64_MAX),
        unsigned_integer(uint64_t{1} << 63),
        real(0.1),
        real(-1e-300),
        {ZELMOR_PICTURES_DATE_TIME, 0, 0x08DB0000'00000000 + 7, nullptr, 0},
        {ZELMOR_PICTURES_DATE_OFFSET, 0, 638'000'000'000'000'000, nullptr, 36'000'000'000},
        {ZELMOR_PICTURES_TIME_SPAN, 0, -77, nullptr, 0},
    };
    for (const Given& value : all) {
        const Given result = kept(package, value);
        EXPECT_EQ(result.kind, value.kind);
        EXPECT_EQ(result.word, value.word) << value.kind;
        EXPECT_EQ(result.length, value.length) << value.kind;
    }
}

TEST_F(ValuesTest, TextBytesAndRecordsOfAnyObjectKeepTheirContents) {
    const Held package = make(kMedia);
    for (const std::u16string& sample :
         {std::u16string(), std::u16string(u"\u00e4\U0001F98B"), std::u16string(500, u'x')}) {
        EXPECT_EQ(text_of(kept(package, text(sample))), sample);
    }
    const uint32_t decimal[4] = {0x80020000, 1, 12345, 0xFFFFFFFF};
    const Given number = kept(package, {ZELMOR_PICTURES_DECIMAL, 0, 0, decimal, 0});
    ASSERT_EQ(number.kind, ZELMOR_PICTURES_DECIMAL);
    EXPECT_EQ(std::memcmp(number.data, decimal, sizeof decimal), 0);
    const uint8_t guid[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 255};
    const Given identifier = kept(package, {ZELMOR_PICTURES_GUID, 0, 0, guid, 0});
    ASSERT_EQ(identifier.kind, ZELMOR_PICTURES_GUID);
    EXPECT_EQ(std::memcmp(identifier.data, guid, sizeof guid), 0);
}

// The package holds the bytes as well as the caller: each has memory of its own, and what the package has is given back
// with it.
TEST_F(ValuesTest, BytesBelongToWhoeverGotThem) {
    const Blob sample = {0, 1, 254, 255};
    {
        const Held package = make(kMedia);
        const Given first = kept(package, bytes(sample));
        const Given second = call(kPackage, "call_000_GetPropValue", package.get(), {text(u"xmpMM:Key")});
        ASSERT_EQ(first.kind, ZELMOR_PICTURES_BYTES);
        ASSERT_EQ(second.kind, ZELMOR_PICTURES_BYTES);
        EXPECT_NE(first.word, second.word);
        EXPECT_EQ(host().bytes.at(first.word), sample);
        EXPECT_EQ(host().bytes.at(second.word), sample);
    }
    EXPECT_EQ(host().bytes.size(), 2u);
    EXPECT_TRUE(host().freed_bytes.empty());
}

TEST_F(ValuesTest, BytesWithoutMemoryAreAnError) {
    const Held package = make(kMedia);
    const Blob sample = {1, 2, 3};
    call(kPackage, "call_000_SetPropValue", package.get(), {text(u"xmpMM:Key"), bytes(sample)});
    host().has_memory = false;
    const Failure failure = refusal(kPackage, "call_000_GetPropValue", package.get(), {text(u"xmpMM:Key")});
    EXPECT_EQ(failure.name, u"OutOfMemoryException");
    EXPECT_EQ(failure.text, u"There is not enough memory for the operation.");
    host().has_memory = true;
    EXPECT_EQ(host().bytes.at(call(kPackage, "call_000_GetPropValue", package.get(), {text(u"xmpMM:Key")}).word),
              sample);
}

TEST_F(ValuesTest, StructuresAreObjectsWithTheirFields) {
    const int32_t whole[] = {-1, 2, 3, INT32_MAX};
    const float parts[] = {-0.5f, 1.25f, 3e30f, 4};
    const uint8_t inks[] = {1, 2, 3, 255};
    struct Row {
        const char* name;
        int32_t which;
        const void* data;
        size_t size;
    };
    for (const Row& row :
         {Row{"Size", ZELMOR_PICTURES_SIZE, whole, 8}, Row{"SizeF", ZELMOR_PICTURES_SIZE_F, parts, 8},
          Row{"Point", ZELMOR_PICTURES_POINT, whole, 8}, Row{"PointF", ZELMOR_PICTURES_POINT_F, parts, 8},
          Row{"Rectangle", ZELMOR_PICTURES_RECTANGLE, whole, 16},
          Row{"RectangleF", ZELMOR_PICTURES_RECTANGLE_F, parts, 16}, Row{"CmykColor", ZELMOR_PICTURES_CMYK, inks, 4}}) {
        const Given given = {ZELMOR_PICTURES_STRUCT, row.which, 0, row.data, 0};
        const Held list = list_of(given);
        const Given result = item_of(list);
        ASSERT_EQ(result.kind, ZELMOR_PICTURES_STRUCT) << row.which;
        EXPECT_EQ(result.detail, row.which);
        EXPECT_EQ(std::memcmp(result.data, row.data, row.size), 0) << row.which;
        const std::string refused = std::string("Unable to cast object of type 'Zelmor.Imaging.") + row.name +
                                    "' to type 'Zelmor.Imaging.Xmp.IXmlValue'.";
        EXPECT_EQ(refusal(kPackage, "call_000_SetPropValue", make(kMedia).get(), {text(u"xmpMM:Key"), given}),
                  (Failure{u"InvalidCastException", std::u16string(refused.begin(), refused.end())}));
    }
}

TEST_F(ValuesTest, ColorsKeepTheirStateAndName) {
    const std::u16string name = u"no color of this name";
    const auto* units = reinterpret_cast<const uint16_t*>(name.data());
    for (const zelmor_pictures_color& color :
         {zelmor_pictures_color{0, 0, 0, nullptr, 0}, zelmor_pictures_color{0xFFFF0000, 141, 1, nullptr, 0},
          zelmor_pictures_color{0x01020304, 0, 2, nullptr, 0},
          zelmor_pictures_color{0, 0, 8, units, static_cast<int64_t>(name.size())}}) {
        const Held list = list_of(fields(ZELMOR_PICTURES_COLOR, color));
        const Given result = item_of(list);
        ASSERT_EQ(result.kind, ZELMOR_PICTURES_STRUCT);
        ASSERT_EQ(result.detail, ZELMOR_PICTURES_COLOR);
        const auto* back = static_cast<const zelmor_pictures_color*>(result.data);
        EXPECT_EQ(back->argb, color.argb);
        EXPECT_EQ(back->known, color.known);
        EXPECT_EQ(back->state, color.state);
        const std::u16string_view kept_name(reinterpret_cast<const char16_t*>(back->name),
                                            static_cast<size_t>(back->length));
        EXPECT_EQ(kept_name, color.name != nullptr ? name : u"");
    }
}

TEST_F(ValuesTest, AnEnumerationIsItsNameAndValue) {
    const Held package = make(kMedia);
    const Given result = kept(package, {ZELMOR_PICTURES_ENUM, 0, 6, kColorType, 0});
    ASSERT_EQ(result.kind, ZELMOR_PICTURES_ENUM);
    EXPECT_EQ(result.word, 6);
    EXPECT_STREQ(static_cast<const char*>(result.data), kColorType);
}

TEST_F(ValuesTest, AnObjectIsTheSameUnderEveryHandle) {
    const Held package = make(kMedia);
    const Held list = list_of(object(package.get()));
    const Given first = item_of(list);
    ASSERT_EQ(first.kind, ZELMOR_PICTURES_OBJECT);
    const Held one(first);
    EXPECT_STREQ(static_cast<const char*>(first.data), kMedia);
    EXPECT_EQ(first.detail, 0);
    const Given second = item_of(list);
    const Held other(second);
    EXPECT_EQ(first.length, second.length);
    EXPECT_NE(one.get(), other.get());
    const Held another = make(kMedia);
    const Held other_list = list_of(object(another.get()));
    const Given third = item_of(other_list);
    const Held elsewhere(third);
    EXPECT_NE(third.length, first.length);
}

TEST_F(ValuesTest, DatesCrossWithTheirKind) {
    constexpr int64_t kUtc = int64_t{1} << 62;
    const Given moment = {ZELMOR_PICTURES_DATE_TIME, 0, 638'000'000'000'000'000 | kUtc, nullptr, 0};
    const Held date(call(kDate, "ctor_000_XmpDate", 0, {moment}));
    const Given back = call(kDate, "get_Value", date.get());
    EXPECT_EQ(back.kind, ZELMOR_PICTURES_DATE_TIME);
    EXPECT_EQ(back.word, moment.word);
}

TEST_F(ValuesTest, AnIdentifierIsItsSixteenBytes) {
    const Held package = make(kMedia);
    const uint8_t guid[16] = {0x33, 0x22, 0x11, 0x00, 0x55, 0x44, 0x77, 0x66,
                              0x88, 0x99, 0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF};
    call(kMedia, "call_000_SetDocumentId", package.get(), {{ZELMOR_PICTURES_GUID, 0, 0, guid, 0}});
    const std::u16string xml = text_of(call(kPackage, "call_000_GetXmlValue", package.get()));
    EXPECT_NE(xml.find(u"00112233-4455-6677-8899-aabbccddeeff"), std::u16string::npos)
        << std::string(xml.begin(), xml.end());
}

TEST_F(ValuesTest, ArgumentsThatAMemberWritesToGetTheirValues) {
    std::vector<Given> arguments = {integer(int64_t{7} << 32 | 0xFFFFFFFB), integer(1), integer(2)};
    Given result = {};
    ASSERT_EQ(try_call("Zelmor.Imaging.Point", "call_000_FromLong", 0, arguments, result), 0) << last_failure();
    const std::multiset<int64_t> written = {arguments[1].word, arguments[2].word};
    EXPECT_EQ(written, (std::multiset<int64_t>{-5, 7}));
    EXPECT_EQ(arguments[1].kind, ZELMOR_PICTURES_INTEGER);
    EXPECT_EQ(arguments[2].kind, ZELMOR_PICTURES_INTEGER);
}

TEST_F(ValuesTest, ObjectsAreMadeWithTheStoredPropertiesThatTheyHave) {
    const zelmor_pictures_named properties[] = {
        {"CompressionLevel", integer(9)}, {"Progressive", boolean(true)}, {"NoSuchProperty", integer(1)}};
    Given made = {};
    ASSERT_EQ(zelmor_pictures_make(kPng, properties, 3, &made), 0) << last_failure();
    const Held options(made);
    EXPECT_STREQ(static_cast<const char*>(made.data), kPng);
    EXPECT_EQ(stored(options, "CompressionLevel").word, 9);
    EXPECT_EQ(stored(options, "Progressive").kind, ZELMOR_PICTURES_BOOL);
    EXPECT_EQ(call(kPng, "get_CompressionLevel", options.get()).word, 9);
    EXPECT_EQ(call(kPng, "get_Progressive", options.get()).word, 1);
}

TEST_F(ValuesTest, ObjectsAreComparedByTheirOwnRules) {
    const Held one = header(u"W5M0MpCehiHzreSzNTczkc9d"), same = header(u"W5M0MpCehiHzreSzNTczkc9d"),
               other = header(u"x");
    const auto equals = [](const Held& a, const Held& b) {
        int32_t equal = -1;
        EXPECT_EQ(zelmor_pictures_equals(a.get(), b.get(), &equal), 0) << last_failure();
        return equal;
    };
    const auto hash = [](const Held& a) {
        int32_t found = 0;
        EXPECT_EQ(zelmor_pictures_hash(a.get(), &found), 0) << last_failure();
        return found;
    };
    EXPECT_EQ(equals(one, same), 1);
    EXPECT_EQ(equals(one, other), 0);
    EXPECT_EQ(hash(one), hash(same));
    EXPECT_NE(hash(one), hash(other));
    Given told = {};
    ASSERT_EQ(zelmor_pictures_text(one.get(), &told), 0);
    EXPECT_EQ(text_of(told), u"Zelmor.Imaging.Xmp.XmpHeaderPi");
}

TEST_F(ValuesTest, AnObjectThatWasDisposedSaysSo) {
    const Held options = make(kPng);
    EXPECT_EQ(zelmor_pictures_dispose(options.get()), 0) << last_failure();
    const Given disposed = call("Zelmor.Imaging.DisposableObject", "get_Disposed", options.get());
    EXPECT_EQ(disposed.kind, ZELMOR_PICTURES_BOOL);
    EXPECT_EQ(disposed.word, 1);
}

}  // namespace
}  // namespace zelmor::embed::test

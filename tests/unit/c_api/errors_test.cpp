// What the C interface refuses, and that each thread has its own error.
#include <thread>

#include "host.h"

namespace zelmor::embed::test {
namespace {

constexpr const char* kPng = "Zelmor.Imaging.ImageOptions.PngOptions";
constexpr const char* kContainer = "Zelmor.Imaging.StreamContainer";

class ErrorsTest : public CApiTest {};

TEST_F(ErrorsTest, EntriesAreFoundByTheNamesOfTheCatalogue) {
    const zelmor_pictures_entry* entry = nullptr;
    ASSERT_EQ(zelmor_pictures_find(kPng, "get_Progressive", &entry), 0);
    const zelmor_pictures_entry* again = nullptr;
    ASSERT_EQ(zelmor_pictures_find(kPng, "get_Progressive", &again), 0);
    EXPECT_EQ(entry, again);
    ASSERT_EQ(zelmor_pictures_find(kPng, "set_Progressive", &again), 0);
    EXPECT_NE(entry, again);
    EXPECT_EQ(zelmor_pictures_find(kPng, "get_Nothing", &again), -1);
    EXPECT_EQ(last_failure(), (Failure{u"MissingMemberException",
                                       u"The class Zelmor.Imaging.ImageOptions.PngOptions has no entry get_Nothing."}));
    EXPECT_EQ(zelmor_pictures_find("Zelmor.Imaging.Nothing", "get_Nothing", &again), -1);
    EXPECT_FALSE(last_failure().name.empty());
}

TEST_F(ErrorsTest, TheNumberOfArgumentsHasToFit) {
    const Held options = make(kPng);
    EXPECT_EQ(refusal(kPng, "set_Progressive", options.get(), {}),
              (Failure{u"ArgumentException", u"set_Progressive takes 1 arguments."}));
    EXPECT_EQ(refusal(kPng, "get_Progressive", options.get(), {boolean(true)}),
              (Failure{u"ArgumentException", u"get_Progressive takes 0 arguments."}));
    EXPECT_EQ(refusal(kContainer, "call_000_Seek", options.get(), {integer(0)}),
              (Failure{u"ArgumentException", u"call_000_Seek takes 2 arguments."}));
}

TEST_F(ErrorsTest, AnUnknownKindIsRefused) {
    const Given unknown = {99, 0, 0, nullptr, 0};
    EXPECT_EQ(refusal(kPng, "set_XmpData", make(kPng).get(), {unknown}),
              (Failure{u"ArgumentException", u"The value is of an unknown kind."}));
    const int32_t words[8] = {};
    const Given structure = {ZELMOR_PICTURES_STRUCT, 8, 0, words, 0};
    EXPECT_EQ(refusal(kPng, "set_XmpData", make(kPng).get(), {structure}),
              (Failure{u"ArgumentException", u"The value is of a structure of unknown kind."}));
}

TEST_F(ErrorsTest, AValueIsNoObject) {
    for (const Given& value : {integer(1), boolean(true), text(u"x")}) {
        const Failure failure = refusal(kPng, "set_XmpData", make(kPng).get(), {value});
        EXPECT_EQ(failure.name, u"InvalidCastException") << failure;
    }
    EXPECT_EQ(refusal(kContainer, "ctor_000_StreamContainer", 0, {integer(1)}).name, u"InvalidCastException");
}

TEST_F(ErrorsTest, NoObjectIsRefusedByEachFunction) {
    Given result = {};
    int32_t number = 0;
    const Given one = integer(1);
    for (const int32_t status :
         {zelmor_pictures_stored(0, "X", &result), zelmor_pictures_elements(0, &result),
          zelmor_pictures_item(0, 0, &result), zelmor_pictures_change(0, ZELMOR_PICTURES_SET, 0, &one),
          zelmor_pictures_enumerate(0, &result), zelmor_pictures_text(0, &result),
          zelmor_pictures_equals(0, 0, &number), zelmor_pictures_hash(0, &number), zelmor_pictures_dispose(0)}) {
        EXPECT_EQ(status, -1);
    }
    EXPECT_FALSE(last_failure().name.empty());
    Given made = {};
    EXPECT_EQ(zelmor_pictures_make("Zelmor.Imaging.Nothing", nullptr, 0, &made), -1);
}

TEST_F(ErrorsTest, EachThreadHasItsOwnError) {
    EXPECT_EQ(zelmor_pictures_dispose(0), -1);
    const Failure mine = last_failure();
    ASSERT_FALSE(mine.name.empty());
    Failure theirs = mine;
    std::thread([&] { theirs = last_failure(); }).join();
    EXPECT_EQ(theirs, Failure{});
    EXPECT_EQ(last_failure(), mine);
}

TEST_F(ErrorsTest, AnErrorOfABehaviorHasItsNameAndText) {
    const Failure failure = refusal(kPng, "set_CompressionLevel", make(kPng).get(), {integer(77)});
    EXPECT_EQ(failure.name, u"ArgumentOutOfRangeException");
    EXPECT_NE(failure.text.find(u"ompression"), std::u16string::npos) << failure;
}

}  // namespace
}  // namespace zelmor::embed::test

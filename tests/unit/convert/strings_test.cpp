// Strings and characters: views of the string's own storage one way, UTF-16 the other way.
#include "convert/strings.h"

#include <cstring>
#include <random>
#include <string>

#include "bridge_test.h"
#include "exchange/records.h"

using zelmor::PyRef;

namespace {

class Strings : public BridgeTest {};

// The code point at `index` of a view, read as the managed side reads it.
char32_t code_point(const PyStringArg& view, int index) {
    switch (view.char_size) {
        case 1:
            return static_cast<const uint8_t*>(view.data)[index];
        case 2:
            return static_cast<const uint16_t*>(view.data)[index];
        default:
            return static_cast<const uint32_t*>(view.data)[index];
    }
}

TEST_F(Strings, NoneIsANullStringAndTheRestOfTheRecordIsLeftAlone) {
    PyStringArg view = {5, 6, &view};
    EXPECT_EQ(fn_conv_py_string_to_clr_string(Py_None, &view), 1);
    EXPECT_EQ(view.length, -1);
    EXPECT_EQ(view.char_size, 6);
    EXPECT_EQ(view.data, &view);
}

TEST_F(Strings, TheEmptyStringIsEmptyAndOneByteWide) {
    const PyRef empty = evaluate("''");
    PyStringArg view = {-1, 0, nullptr};
    EXPECT_EQ(fn_conv_py_string_to_clr_string(empty.get(), &view), 1);
    EXPECT_EQ(view.length, 0);
    EXPECT_EQ(view.char_size, 1);
    EXPECT_NE(view.data, nullptr);
}

TEST_F(Strings, TheWidthIsThatOfTheWidestCodePoint) {
    const struct {
        const char* expression;
        int length;
        int width;
    } cases[] = {
        {"'abc'", 3, 1},         {"'caf\\xe9'", 4, 1},      {"'\\xff'", 1, 1},
        {"'\\u0100'", 1, 2},     {"'ab\\u20ac'", 3, 2},     {"'\\uffff'", 1, 2},
        {"'\\U00010000'", 1, 4}, {"'a\\U0001f600b'", 3, 4}, {"'\\0a'", 2, 1},
    };
    for (const auto& test : cases) {
        const PyRef text = evaluate(test.expression);
        PyStringArg view = {-1, 0, nullptr};
        EXPECT_EQ(fn_conv_py_string_to_clr_string(text.get(), &view), 1) << test.expression;
        EXPECT_EQ(view.length, test.length) << test.expression;
        EXPECT_EQ(view.char_size, test.width) << test.expression;
        for (int i = 0; i < view.length; ++i) {
            EXPECT_EQ(code_point(view, i), PyUnicode_ReadChar(text.get(), i)) << test.expression << " at " << i;
        }
    }
}

TEST_F(Strings, NothingIsCopied) {
    const PyRef text = evaluate("'a string of its own'.upper()");
    const RefCountWatch count(text.get());
    PyStringArg view = {};
    EXPECT_EQ(fn_conv_py_string_to_clr_string(text.get(), &view), 1);
    EXPECT_EQ(view.data, PyUnicode_DATA(text.get()));
    EXPECT_EQ(count.change(), 0);
}

TEST_F(Strings, ASubclassOfStrIsTaken) {
    const PyRef names = run("class Own(str):\n    pass\nown = Own('ab')\n");
    PyStringArg view = {};
    EXPECT_EQ(fn_conv_py_string_to_clr_string(entry_of(names, "own"), &view), 1);
    EXPECT_EQ(view.length, 2);
    EXPECT_EQ(std::memcmp(view.data, "ab", 2), 0);
}

TEST_F(Strings, AnythingElseIsRefused) {
    PyStringArg view = {};
    EXPECT_EQ(fn_conv_py_string_to_clr_string(evaluate("5").get(), &view), 0);
    expect_error(PyExc_TypeError, "can't build String from 'int'");
    EXPECT_EQ(fn_conv_py_string_to_clr_string(evaluate("b'x'").get(), &view), 0);
    expect_error(PyExc_TypeError, "can't build String from 'bytes'");
}

TEST_F(Strings, TheReaderOfTheManagedSideGivesTheSameView) {
    const PyRef text = evaluate("'ab\\u20ac'");
    PyStringArg view = {};
    EXPECT_EQ(fn_read_py_string(text.get(), &view), 1);
    EXPECT_EQ(view.length, 3);
    EXPECT_EQ(view.char_size, 2);
    EXPECT_EQ(view.data, PyUnicode_DATA(text.get()));
}

TEST_F(Strings, ANullPathIsANullString) {
    PyEphStrArgBuilder builder;
    EXPECT_EQ(fn_conv_py_strorpath_to_clr_string(Py_None, builder.get_info()), 1);
    EXPECT_EQ(builder.get_info()->text.length, -1);
    EXPECT_EQ(builder.get_info()->owner, nullptr);
}

TEST_F(Strings, AStringPathPointsIntoTheCallersString) {
    const PyRef text = evaluate("'a/path of its own'.upper()");
    const RefCountWatch count(text.get());
    PyEphStrArgBuilder builder;
    EXPECT_EQ(fn_conv_py_strorpath_to_clr_string(text.get(), builder.get_info()), 1);
    EXPECT_EQ(builder.get_info()->text.data, PyUnicode_DATA(text.get()));
    EXPECT_EQ(builder.get_info()->owner, nullptr);
    EXPECT_EQ(count.change(), 0);
}

TEST_F(Strings, APathObjectOrBytesPathKeepsItsTemporaryStringUntilTheCallEnds) {
    const PyRef names =
        run("import pathlib\npath = pathlib.PurePosixPath('some') / 'caf\xC3\xA9.png'\n"
            "raw = b'some/caf\\xc3\\xa9.png'\n");
    for (const char* name : {"path", "raw"}) {
        PyObject* owner = nullptr;
        {
            PyEphStrArgBuilder builder;
            ASSERT_EQ(fn_conv_py_strorpath_to_clr_string(entry_of(names, name), builder.get_info()), 1) << name;
            owner = Py_XNewRef(builder.get_info()->owner);
            ASSERT_NE(owner, nullptr);
            EXPECT_EQ(text_of(owner), "some/caf\xC3\xA9.png");
            EXPECT_EQ(builder.get_info()->text.data, PyUnicode_DATA(owner));
            EXPECT_EQ(builder.get_info()->text.length, 13);
            EXPECT_GE(Py_REFCNT(owner), 2);
        }
        const PyRef last = PyRef::steal(owner);
        if (std::string(name) == "raw") {
            EXPECT_EQ(Py_REFCNT(owner), 1);
        }
    }
}

TEST_F(Strings, APathOfAnotherKindFailsInPythonsWords) {
    PyEphStrArgBuilder builder;
    EXPECT_EQ(fn_conv_py_strorpath_to_clr_string(evaluate("5").get(), builder.get_info()), 0);
    expect_error(PyExc_TypeError, "expected str, bytes or os.PathLike object, not int");
    EXPECT_EQ(builder.get_info()->owner, nullptr);
}

TEST_F(Strings, ACharacterIsOneCodeUnit) {
    unsigned short unit = 0;
    EXPECT_EQ(fn_conv_py_string_to_clr_char(evaluate("'A'").get(), &unit), 1);
    EXPECT_EQ(unit, 'A');
    EXPECT_EQ(fn_conv_py_string_to_clr_char(evaluate("'\\0'").get(), &unit), 1);
    EXPECT_EQ(unit, 0);
    EXPECT_EQ(fn_conv_py_string_to_clr_char(evaluate("'\\uffff'").get(), &unit), 1);
    EXPECT_EQ(unit, 0xFFFF);
}

TEST_F(Strings, TheEmptyStringAndAnAstralCharacterAreNoCharacter) {
    unsigned short unit = 0;
    for (const char* expression : {"''", "'\\U0001f600'", "'ab'"}) {
        EXPECT_EQ(fn_conv_py_string_to_clr_char(evaluate(expression).get(), &unit), 0) << expression;
        expect_error(PyExc_TypeError, "string must contain one UTF-16 code unit");
    }
}

TEST_F(Strings, ACharacterFromSomethingElseIsRefused) {
    unsigned short unit = 0;
    EXPECT_EQ(fn_conv_py_string_to_clr_char(Py_None, &unit), 0);
    expect_error(PyExc_TypeError, "can't build Char from 'NoneType'");
    EXPECT_EQ(fn_conv_py_string_to_clr_char(evaluate("65").get(), &unit), 0);
    expect_error(PyExc_TypeError, "can't build Char from 'int'");
}

TEST_F(Strings, ALoneSurrogateIsRefusedInPythonsWords) {
    unsigned short unit = 0;
    EXPECT_EQ(fn_conv_py_string_to_clr_char(evaluate("'\\ud800'").get(), &unit), 0);
    expect_error_of(PyExc_UnicodeEncodeError);
}

TEST_F(Strings, EveryCharacterIsConvertedThereAndBack) {
    for (unsigned unit = 0; unit <= 0xFFFF; ++unit) {
        if (unit >= 0xD800 && unit <= 0xDFFF) {
            continue;
        }
        const PyRef text = PyRef::steal(fn_write_py_char(static_cast<int>(unit)));
        ASSERT_TRUE(text) << unit;
        ASSERT_EQ(PyUnicode_GET_LENGTH(text.get()), 1);
        ASSERT_EQ(PyUnicode_READ_CHAR(text.get(), 0), unit);
        unsigned short back = 0;
        ASSERT_EQ(fn_conv_py_string_to_clr_char(text.get(), &back), 1) << unit;
        ASSERT_EQ(back, unit);
    }
}

TEST_F(Strings, AWrittenCharacterIsTheLowSixteenBits) {
    const PyRef text = PyRef::steal(fn_write_py_char(0x7FFF0041));
    EXPECT_EQ(text_of(text.get()), "A");
}

TEST_F(Strings, ALoneSurrogateFromTheManagedSideMeetsAHandlerWithoutAName) {
    EXPECT_EQ(fn_conv_clr_char_to_py_string(0xD800), nullptr);
    expect_error(PyExc_LookupError, "unknown error handler name ''");
    const char16_t lone[] = {u'a', 0xDC00};
    EXPECT_EQ(fn_conv_clr_string_to_py_string(lone, 2), nullptr);
    expect_error(PyExc_LookupError, "unknown error handler name ''");
}

TEST_F(Strings, AByteOrderMarkIsTextLikeAnyOther) {
    const char16_t units[] = {0xFEFF, u'a'};
    const PyRef text = PyRef::steal(fn_conv_clr_string_to_py_string(units, 2));
    EXPECT_EQ(PyUnicode_GET_LENGTH(text.get()), 2);
    EXPECT_EQ(PyUnicode_READ_CHAR(text.get(), 0), 0xFEFFu);
}

TEST_F(Strings, AManagedStringOfNoUnitsIsEmpty) {
    const PyRef text = PyRef::steal(fn_conv_clr_string_to_py_string(u"", 0));
    EXPECT_EQ(text_of(text.get()), "");
    const PyRef from_null = PyRef::steal(fn_conv_clr_string_to_py_string(nullptr, 0));
    EXPECT_EQ(text_of(from_null.get()), "");
    const char16_t long_count[] = {u'a', u'b'};
    const PyRef by_long =
        PyRef::steal(fn_conv_clr_string_to_py_string_value(reinterpret_cast<const char*>(long_count), 2));
    EXPECT_EQ(text_of(by_long.get()), "ab");
}

TEST_F(Strings, RandomTextComesBackCodePointByCodePoint) {
    std::mt19937_64 random(20230605);
    constexpr char32_t kLimits[] = {0x7F, 0xFF, 0xFFFF, 0x10FFFF};
    for (int i = 0; i < 3000; ++i) {
        const char32_t limit = kLimits[random() % 4];
        std::u32string points;
        std::u16string units;
        for (size_t length = random() % 40; points.size() < length;) {
            const auto point = static_cast<char32_t>(random() % (limit + 1));
            if (point >= 0xD800 && point <= 0xDFFF) {
                continue;
            }
            points.push_back(point);
            if (point < 0x10000) {
                units.push_back(static_cast<char16_t>(point));
            } else {
                units.push_back(static_cast<char16_t>(0xD800 + ((point - 0x10000) >> 10)));
                units.push_back(static_cast<char16_t>(0xDC00 + ((point - 0x10000) & 0x3FF)));
            }
        }
        const PyRef text = PyRef::steal(fn_conv_clr_string_to_py_string(units.data(), static_cast<int>(units.size())));
        ASSERT_TRUE(text);
        PyStringArg view = {};
        ASSERT_EQ(fn_conv_py_string_to_clr_string(text.get(), &view), 1);
        ASSERT_EQ(view.length, static_cast<int>(points.size()));
        for (int at = 0; at < view.length; ++at) {
            ASSERT_EQ(code_point(view, at), points[static_cast<size_t>(at)]);
        }
    }
}

TEST_F(Strings, AUnicodeImageStartsOneUnitBehindItsLength) {
    const PyRef text = evaluate("'a\\U0001f600'");
    PyObject* owner = nullptr;
    unsigned int length = 0;
    void* data = nullptr;
    ASSERT_EQ(fn_clbk_ucol_get_unicode_bytes(text.get(), &owner, &length, &data), 1);
    const PyRef bytes = PyRef::steal(owner);
    EXPECT_EQ(length, 3u);
    EXPECT_EQ(data, PyBytes_AS_STRING(owner) + 4);
    EXPECT_EQ(Py_REFCNT(owner), 1);
    const uint16_t expected[] = {0xFEFF, u'a', 0xD83D, 0xDE00};
    ASSERT_EQ(PyBytes_GET_SIZE(owner), Py_ssize_t{sizeof expected});
    EXPECT_EQ(std::memcmp(PyBytes_AS_STRING(owner), expected, sizeof expected), 0);
}

TEST_F(Strings, AUnicodeImageOfSomethingElseIsRefused) {
    PyObject* owner = nullptr;
    unsigned int length = 7;
    void* data = nullptr;
    EXPECT_EQ(fn_clbk_ucol_get_unicode_bytes(evaluate("5").get(), &owner, &length, &data), 0);
    expect_error(PyExc_TypeError, "can't build Char from 'int'");
    EXPECT_EQ(fn_clbk_ucol_get_unicode_bytes(evaluate("'\\udfff'").get(), &owner, &length, &data), 0);
    expect_error_of(PyExc_UnicodeEncodeError);
    EXPECT_EQ(owner, nullptr);
    EXPECT_EQ(length, 7u);
}

}  // namespace

// The settings of the test flavor, and the text in which it answers.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <utility>

#include "runtime/native/control/settings.h"
#include "runtime/native/control/text_writer.h"

namespace zelmor::embed::control {
namespace {

class ControlSettingsTest : public ::testing::Test {
 protected:
    void TearDown() override { settings() = Settings(); }
};

TEST_F(ControlSettingsTest, SettingsAreReadFromText) {
    EXPECT_EQ(
        add_settings(settings(), "missing=A.B::get_X;init_status=0x80070002;;missing=A.B::#3;journal=1;collect=1"), "");
    EXPECT_TRUE(settings().collect);
    EXPECT_EQ(settings().initialize_status, static_cast<int>(0x80070002u));
    EXPECT_TRUE(settings().journal);
    EXPECT_TRUE(is_missing("A.B", nullptr, "get_X", 1));
    EXPECT_FALSE(is_missing("A.B", nullptr, "get_Y", 1));
    EXPECT_TRUE(is_missing("A.B", nullptr, "get_Y", 3));
    EXPECT_TRUE(is_missing("HostClass", "A.B", "get_X", 1));
    EXPECT_FALSE(is_missing("HostClass", "A.C", "get_X", 1));
}

TEST_F(ControlSettingsTest, AnUnknownSettingIsAnError) {
    for (const char* text : {"missing", "missing=", "missing=A.B", "missing=::X", "missing=A::#0", "init_status=x",
                             "init_status=", "what=1"}) {
        EXPECT_NE(add_settings(settings(), text), "") << text;
    }
    EXPECT_EQ(add_settings(settings(), ""), "");
}

// An error ends the reading; what came before it holds.
TEST_F(ControlSettingsTest, AnErrorNamesWhatIsWrong) {
    const std::pair<const char*, const char*> errors[] = {
        {"missing", "missing wants <type>::<method>, not ''"},
        {"missing=A.B", "missing wants <type>::<method>, not 'A.B'"},
        {"missing=::X", "missing wants <type>::<method>, not '::X'"},
        {"missing=A::", "missing wants <type>::<method>, not 'A::'"},
        {"missing=A::#0", "missing wants a number from 1 behind '#', not '#0'"},
        {"missing=A::#x", "missing wants a number from 1 behind '#', not '#x'"},
        {"init_status=", "init_status wants a number, not ''"},
        {"init_status=12x", "init_status wants a number, not '12x'"},
        {"journal2=1", "there is no setting 'journal2'"},
        {"=1", "there is no setting ''"},
    };
    for (const auto& [text, error] : errors) {
        settings() = Settings();
        EXPECT_EQ(add_settings(settings(), std::string("collect=1;") + text + ";journal=1"), error);
        EXPECT_TRUE(settings().collect);
        EXPECT_FALSE(settings().journal);
        EXPECT_TRUE(settings().missing.empty());
    }
    settings() = Settings();
    EXPECT_EQ(add_settings(settings(), "missing=A::#1;init_status=017;journal=0;collect=0;missing=A::b"), "");
    EXPECT_EQ(settings().initialize_status, 15);
    EXPECT_FALSE(settings().journal || settings().collect);
    ASSERT_EQ(settings().missing.size(), 2U);
    EXPECT_EQ(settings().missing[0].nth, 1);
    EXPECT_EQ(settings().missing[0].method, "");
    EXPECT_EQ(settings().missing[1].nth, 0);
    EXPECT_EQ(settings().missing[1].method, "b");
    EXPECT_TRUE(is_missing("A", nullptr, "x", 1));
    EXPECT_FALSE(is_missing("A", nullptr, "x", 2));
    EXPECT_TRUE(is_missing("A", nullptr, "b", 2));
    EXPECT_FALSE(is_missing("B", nullptr, "b", 1));
    EXPECT_FALSE(is_missing("B", "C", "b", 1));
}

TEST_F(ControlSettingsTest, TheEnvironmentIsRead) {
    unsetenv("ZELMOR_EMBED_CONTROL");
    read_environment();
    EXPECT_FALSE(settings().journal);
    setenv("ZELMOR_EMBED_CONTROL", "journal=1", 1);
    read_environment();
    EXPECT_TRUE(settings().journal);
    setenv("ZELMOR_EMBED_CONTROL", "mising=A::B", 1);
    EXPECT_EXIT(read_environment(), testing::KilledBySignal(SIGABRT),
                "ZELMOR_EMBED_CONTROL: there is no setting 'mising'");
    unsetenv("ZELMOR_EMBED_CONTROL");
}

TEST(ControlTextTest, ValuesAreWrittenAsJson) {
    TextWriter writer;
    writer.open('{').key("a").number(-5).key("b").open('[').close(']');
    EXPECT_EQ(writer.result(), "{\"a\":-5,\"b\":[]");
    TextWriter all;
    all.open('{');
    all.key("numbers").open('[').number(0).number(INT64_MIN).number(INT64_MAX).close(']');
    all.key("words").open('[').word(0).word(0xABCDEF).word(UINT64_MAX).close(']');
    all.key("nothing").null();
    all.key("texts").open('[').text("").text("x").text_or_null("y").text_or_null(nullptr).close(']');
    all.key("bytes").open('[').bytes("\x00\x1F\xA0\xFF", 4).bytes(nullptr, 0).close(']');
    all.key("nested").open('[').open('[').close(']').open('{').close('}').close(']');
    all.close('}');
    EXPECT_EQ(all.result(),
              "{\"numbers\":[0,-9223372036854775808,9223372036854775807],"
              "\"words\":[\"0x0\",\"0xabcdef\",\"0xffffffffffffffff\"],"
              "\"nothing\":null,\"texts\":[\"\",\"x\",\"y\",null],\"bytes\":[\"001fa0ff\",\"\"],"
              "\"nested\":[[],{}]}");
}

TEST(ControlTextTest, SpecialCharactersAreEscaped) {
    constexpr char kDigits[] = "0123456789abcdef";
    for (int code = 0; code < 256; code++) {
        const char c = static_cast<char>(code);
        std::string wanted = code < 0x20             ? std::string("\\u00") + kDigits[code / 16] + kDigits[code % 16]
                             : c == '"' || c == '\\' ? std::string("\\") + c
                                                     : std::string(1, c);
        TextWriter writer;
        EXPECT_EQ(writer.text(std::string(1, c)).result(), '"' + wanted + '"') << code;
    }
}

TEST(ControlTextTest, AsMuchIsDeliveredAsFits) {
    const std::pair<size_t, std::string> cases[] = {
        {0, "####"}, {1, std::string("\0###", 4)}, {2, std::string("a\0##", 4)}, {4, std::string("abc\0", 4)}};
    for (const auto& [size, left] : cases) {
        char buffer[] = "####";
        EXPECT_EQ(deliver("abc", buffer, size), 4U);
        EXPECT_EQ(std::string(buffer, 4), left) << size;
    }
    char large[] = "########";
    EXPECT_EQ(deliver("abc", large, 8), 4U);
    EXPECT_EQ(std::string(large, 8), std::string("abc\0####", 8));
    EXPECT_EQ(deliver("abc", nullptr, 8), 4U);
    EXPECT_EQ(deliver("", large, 8), 1U);
}

}  // namespace
}  // namespace zelmor::embed::control

// The settings of the test flavor.
#include <gtest/gtest.h>

#include "runtime/native/control/settings.h"

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

}  // namespace
}  // namespace zelmor::embed::control

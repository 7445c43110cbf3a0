// The trace and the exception classes.
#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "host/exceptions.h"
#include "host/host_trace.h"
#include "tests/unit/host/child_process.h"

namespace {

std::string trace_with(const char* value) {
    const ChildResult child = run_in_child([value] {
        value != nullptr ? setenv("COREHOST_TRACE", value, 1) : unsetenv("COREHOST_TRACE");
        trace::initialize();
        trace::info("%s %d", "info", 1);
        trace::verbose("%s", "verbose");
        trace::warning("%s", "warning");
        std::printf("%d", static_cast<int>(trace::is_enabled()));
    });
    EXPECT_EQ(child.exit_code, 0);
    EXPECT_EQ(child.err, "");
    return child.out;
}

TEST(Trace, IsOffUnlessTheVariableHoldsAPositiveNumber) {
    EXPECT_EQ(trace_with(nullptr), "0");
    for (const char* value : {"", "0", "-1", "on", "x1"}) {
        EXPECT_EQ(trace_with(value), "0") << value;
    }
}

TEST(Trace, HasOneLevelForAllPositiveNumbers) {
    for (const char* value : {"1", "2", "9", "1x"}) {
        EXPECT_EQ(trace_with(value), "CLR host tracing enabled\r\ninfo 1\r\nverbose\r\nwarning\r\n1") << value;
    }
}

TEST(Trace, SecondInitializationSaysNothing) {
    const ChildResult child = run_in_child([] {
        setenv("COREHOST_TRACE", "1", 1);
        trace::initialize();
        trace::initialize();
    });
    EXPECT_EQ(child.out, "CLR host tracing enabled\r\n");
}

TEST(Trace, InitializationNeverSwitchesOff) {
    const ChildResult child = run_in_child([] {
        trace::enable();
        setenv("COREHOST_TRACE", "0", 1);
        trace::initialize();
        std::printf("%d", static_cast<int>(trace::is_enabled()));
        trace::disable();
        std::printf("%d", static_cast<int>(trace::is_enabled()));
    });
    EXPECT_EQ(child.out, "10");
}

TEST(Trace, ErrorsGoToStandardErrorAlways) {
    const ChildResult child = run_in_child([] {
        trace::error("%s", "off");
        trace::enable();
        trace::error("%s", "on");
    });
    EXPECT_EQ(child.out, "");
    EXPECT_EQ(child.err, "off\r\non\r\n");
}

template <typename T>
class HostExceptions : public ::testing::Test {};

using ExceptionClasses = ::testing::Types<BaseException, HostException>;
TYPED_TEST_SUITE(HostExceptions, ExceptionClasses);

TYPED_TEST(HostExceptions, FinishedTextIsGivenAsItIs) {
    const TypeParam error(2, "x");
    EXPECT_STREQ(error.what(), "x");
    EXPECT_EQ(error.error_code(), 2u);
}

TYPED_TEST(HostExceptions, TextAloneHasCodeZero) {
    const TypeParam error(std::string("x"));
    EXPECT_STREQ(error.what(), "x");
    EXPECT_EQ(error.error_code(), 0u);
}

TYPED_TEST(HostExceptions, MessageIsCombinedWithTheSystemsText) {
    const TypeParam error("x", 2);
    EXPECT_EQ(error.what(), std::string("x: ") + std::strerror(2));
    EXPECT_EQ(error.error_code(), 2u);
}

TYPED_TEST(HostExceptions, MessageWithCodeZeroHasNoSeparator) {
    EXPECT_EQ(TypeParam("x", 0).what(), std::string("x") + std::strerror(0));
}

TYPED_TEST(HostExceptions, CodeAloneGivesTheSystemsText) {
    const TypeParam error(2);
    EXPECT_STREQ(error.what(), std::strerror(2));
    EXPECT_EQ(error.error_code(), 2u);
}

TYPED_TEST(HostExceptions, EmptyTextIsBuiltFromTheCode) {
    EXPECT_STREQ(TypeParam(2, "").what(), std::strerror(2));
}

TYPED_TEST(HostExceptions, TextIsBuiltOnce) {
    const TypeParam error("x", 2);
    const char* text = error.what();
    EXPECT_EQ(error.what(), text);
}

TYPED_TEST(HostExceptions, IsAStandardException) {
    EXPECT_TRUE((std::is_base_of_v<std::exception, TypeParam>));
}

TEST(HostExceptionUncaught, EndsTheProcessWithItsText) {
    const ChildResult child = run_in_child([] { throw HostException(2, "runtime is missing"); });
    EXPECT_EQ(child.signal, SIGABRT);
    EXPECT_NE(child.err.find("HostException"), std::string::npos) << child.err;
    EXPECT_NE(child.err.find("runtime is missing"), std::string::npos) << child.err;
}

}  // namespace

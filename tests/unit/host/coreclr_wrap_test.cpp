// The wrapper library over a fake runtime: what it hands on, what it keeps, and how it answers calls out of order.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>

#include "runtime/wrapper/status.h"
#include "tests/unit/host/child_process.h"
#include "tests/unit/host/fake_coreclr.h"
#include "tests/unit/host/temp_directory.h"

namespace {

// Each test loads copies of both libraries, and so meets both in their first state.
class CoreclrWrap : public ::testing::Test {
 protected:
    void SetUp() override {
        wrapper = dlopen(directory.copy_file(WRAPPER_LIBRARY, "wrapper.so").c_str(), RTLD_NOW | RTLD_LOCAL);
        ASSERT_NE(wrapper, nullptr) << dlerror();
        resolve(wrapper, "coreclr_wrap_load", load);
        resolve(wrapper, "coreclr_wrap_initialize", initialize);
        resolve(wrapper, "coreclr_wrap_create_delegate", create_delegate);
        resolve(wrapper, "coreclr_wrap_shutdown", shutdown);
        resolve(wrapper, "coreclr_wrap_is_domain_initialized", is_domain_initialized);
    }

    void TearDown() override {
        if (wrapper != nullptr) {
            dlclose(wrapper);
        }
    }

    template <typename Function>
    static void resolve(void* library, const char* name, Function*& function) {
        function = reinterpret_cast<Function*>(dlsym(library, name));
        ASSERT_NE(function, nullptr) << name;
    }

    FakeCoreclr& state() {
        void* library = dlopen(runtime.c_str(), RTLD_NOW | RTLD_NOLOAD);
        FakeCoreclrState* function = nullptr;
        resolve(library, "fake_coreclr_state", function);
        return *function();
    }

    int start() { return initialize("/exe", "domain", 2, keys, values); }
    int ask(const char* assembly, const char* type, const char* method) {
        return create_delegate(assembly, type, method, &delegate);
    }

    TempDirectory directory;
    std::string runtime = directory.copy_file(FAKE_CORECLR, "libcoreclr.so");
    void* wrapper = nullptr;
    void* delegate = this;
    const char* keys[2] = {"A", "B"};
    const char* values[2] = {"1", ""};
    int (*load)(const char*) = nullptr;
    int (*initialize)(const char*, const char*, int, const char**, const char**) = nullptr;
    int (*create_delegate)(const char*, const char*, const char*, void**) = nullptr;
    int (*shutdown)() = nullptr;
    int (*is_domain_initialized)() = nullptr;
};

TEST_F(CoreclrWrap, HandsEveryCallToTheRuntime) {
    EXPECT_NE(load(runtime.c_str()), 0);
    EXPECT_EQ(is_domain_initialized(), 0);
    EXPECT_EQ(start(), 0);
    EXPECT_NE(is_domain_initialized(), 0);
    EXPECT_EQ(ask("assembly", "type", "method"), 0);
    EXPECT_NE(delegate, nullptr);
    EXPECT_NE(delegate, this);
    EXPECT_EQ(shutdown(), 0);
    EXPECT_EQ(is_domain_initialized(), 0);
    EXPECT_STREQ(state().journal,
                 "initialize /exe domain A=1 B=\n"
                 "delegate 1 7 assembly type method\n"
                 "shutdown 1 7\n");
}

TEST_F(CoreclrWrap, LoadFailsWithoutARuntimeLibrary) {
    EXPECT_EQ(load(nullptr), 0);
    EXPECT_EQ(load((directory / "absent.so").c_str()), 0);
    EXPECT_EQ(start(), kStatusNoRuntime);
}

TEST_F(CoreclrWrap, LoadFailsWithoutOneOfTheHostingFunctions) {
    const std::string incomplete = directory.copy_file(FAKE_CORECLR_INCOMPLETE, "incomplete.so");
    EXPECT_EQ(load(incomplete.c_str()), 0);
    EXPECT_EQ(dlopen(incomplete.c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr);
    EXPECT_NE(load(runtime.c_str()), 0);
}

TEST_F(CoreclrWrap, LoadFailureTellsItsReasonOnlyToATracingPerson) {
    const ChildResult silent = run_in_child([this] {
        unsetenv("COREHOST_TRACE");
        load("/absent/libcoreclr.so");
    });
    EXPECT_EQ(silent.err, "");
    const ChildResult tracing = run_in_child([this] {
        setenv("COREHOST_TRACE", "1", 1);
        load("/absent/libcoreclr.so");
    });
    EXPECT_NE(tracing.err.find("/absent/libcoreclr.so"), std::string::npos) << tracing.err;
    EXPECT_EQ(tracing.out, "");
}

TEST_F(CoreclrWrap, SecondLoadAgreesToTheSameRuntimeOnly) {
    EXPECT_NE(load(runtime.c_str()), 0);
    EXPECT_NE(load(runtime.c_str()), 0);
    std::filesystem::create_symlink(runtime, directory / "link.so");
    EXPECT_NE(load((directory / "link.so").c_str()), 0);
    const std::string other = directory.copy_file(FAKE_CORECLR, "other.so");
    EXPECT_EQ(load(other.c_str()), 0);
    EXPECT_EQ(dlopen(other.c_str(), RTLD_NOW | RTLD_NOLOAD), nullptr);
    EXPECT_EQ(start(), 0);
}

TEST_F(CoreclrWrap, CallsBeforeTheStartAreAnsweredByStatus) {
    EXPECT_EQ(start(), kStatusNoRuntime);
    EXPECT_EQ(ask("a", "t", "m"), kStatusNoRuntime);
    EXPECT_EQ(delegate, nullptr);
    EXPECT_EQ(shutdown(), kStatusNoRuntime);
    EXPECT_EQ(is_domain_initialized(), 0);
    ASSERT_NE(load(runtime.c_str()), 0);
    EXPECT_EQ(ask("a", "t", "m"), kStatusNoRuntime);
    EXPECT_EQ(shutdown(), kStatusNoRuntime);
    EXPECT_STREQ(state().journal, "");
}

TEST_F(CoreclrWrap, RuntimeStartsOnceInAProcess) {
    ASSERT_NE(load(runtime.c_str()), 0);
    EXPECT_EQ(start(), 0);
    EXPECT_EQ(start(), kStatusWrongState);
    EXPECT_EQ(shutdown(), 0);
    EXPECT_EQ(shutdown(), kStatusNoRuntime);
    EXPECT_EQ(ask("a", "t", "m"), kStatusNoRuntime);
    EXPECT_EQ(start(), kStatusWrongState);
    EXPECT_STREQ(state().journal, "initialize /exe domain A=1 B=\nshutdown 1 7\n");
}

TEST_F(CoreclrWrap, RuntimesOwnStatusIsHandedOn) {
    ASSERT_NE(load(runtime.c_str()), 0);
    state().initialize_status = static_cast<int>(0x80070002u);
    EXPECT_EQ(start(), static_cast<int>(0x80070002u));
    EXPECT_EQ(is_domain_initialized(), 0);
    state().initialize_status = 0;
    EXPECT_EQ(start(), 0);
    state().delegate_status = static_cast<int>(0x80131513u);
    EXPECT_EQ(ask("a", "t", "m"), static_cast<int>(0x80131513u));
    EXPECT_EQ(delegate, nullptr);
    state().shutdown_status = -5;
    EXPECT_EQ(shutdown(), -5);
    EXPECT_EQ(is_domain_initialized(), 0);
}

TEST_F(CoreclrWrap, MissingArgumentsAreAnsweredByStatus) {
    ASSERT_NE(load(runtime.c_str()), 0);
    EXPECT_EQ(initialize(nullptr, "domain", 2, keys, values), kStatusNullArgument);
    EXPECT_EQ(initialize("/exe", nullptr, 2, keys, values), kStatusNullArgument);
    EXPECT_EQ(initialize("/exe", "domain", 2, nullptr, values), kStatusNullArgument);
    EXPECT_EQ(initialize("/exe", "domain", 2, keys, nullptr), kStatusNullArgument);
    EXPECT_EQ(initialize("/exe", "domain", -1, keys, values), kStatusInvalidArgument);
    EXPECT_EQ(initialize("/exe", "domain", 0, nullptr, nullptr), 0);
    EXPECT_EQ(create_delegate("a", "t", "m", nullptr), kStatusNullArgument);
    EXPECT_EQ(ask(nullptr, "t", "m"), kStatusNullArgument);
    EXPECT_EQ(ask("a", nullptr, "m"), kStatusNullArgument);
    EXPECT_EQ(ask("a", "t", nullptr), kStatusNullArgument);
    EXPECT_EQ(delegate, nullptr);
    EXPECT_STREQ(state().journal, "initialize /exe domain\n");
}

}  // namespace

// A whole start of the host in a child process, over a wrapper library that logs its calls: which directories are
// chosen, what is called in which order, what is fatal, what is traced, and what happens at the exit.
#include "host/host_environment.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "host/pal.h"
#include "tests/unit/host/child_process.h"
#include "tests/unit/host/temp_directory.h"

namespace {

constexpr const char* kWrapper = "libzelmor.embed.coreclrwrap.so";
constexpr const char* kDebugWrapper = "libzelmor.embed.coreclrwrap.debug.so";
const std::string kFakeWrapper = std::string(FAKE_WRAPPER_DIR) + "/libfake_wrapper.so";

HostEnvironment& start(const char* netcore_dir = nullptr, const char* assembly_dir = nullptr, bool debug = false) {
    return HostEnvironment::instance("3.1", debug, "zelmor", "imaging", netcore_dir, assembly_dir);
}

// What the trace makes of these lines.
std::string lines(std::initializer_list<std::string> texts) {
    std::string all;
    for (const std::string& text : texts) {
        all += text + "\r\n";
    }
    return all;
}

class HostStart : public ::testing::Test {
 protected:
    void SetUp() override {
        for (const char* variable : {"COREHOST_TRACE", "FAKE_WRAP_LOAD", "FAKE_WRAP_INITIALIZE", "FAKE_WRAP_SHUTDOWN",
                                     "FAKE_WRAP_IS_DOMAIN", "FAKE_WRAP_NO_DELEGATE", "FAKE_WRAP_REAL"}) {
            unsetenv(variable);
        }
        setenv("FAKE_WRAP_LOG", (directory / "log").c_str(), 1);
        setenv("NETCORE_WRAPPER_NETCORE_DIR_zelmor", netcore_root.c_str(), 1);
        setenv("NETCORE_WRAPPER_ASSEMBLY_DIR_zelmor", assembly_root.c_str(), 1);
    }

    void install(const std::string& version = "netcore3.1", const std::string& from = kFakeWrapper,
                 const std::string& name = kWrapper) {
        directory.copy_file(from, "runtime/" + version + "/" + name);
        netcore_dir = netcore_root + "/" + version;
    }

    std::string log() const { return directory.read("log"); }

    // The log of a successful start with these assembly directories.
    std::string start_log(const std::string& app_paths) const {
        return "load " + netcore_dir + "/libcoreclr.so\n" + "initialize " + exe +
               " ZelmorCLRHostDomain 5\n"
               "property TRUSTED_PLATFORM_ASSEMBLIES=\n"
               "property APP_PATHS=" +
               app_paths + "\nproperty APP_NI_PATHS=" + app_paths +
               "\nproperty NATIVE_DLL_SEARCH_DIRECTORIES=" + app_paths +
               "\nproperty AppDomainCompatSwitch=UseLatestBehaviorWhenTFMNotSpecified\n";
    }

    void expect_fatal(const std::string& type, const std::string& text, bool debug = false) {
        const ChildResult child = run_in_child([debug] { start(nullptr, nullptr, debug); });
        EXPECT_EQ(child.signal, SIGABRT);
        EXPECT_NE(child.err.find(type), std::string::npos) << child.err;
        EXPECT_NE(child.err.find(text + "\n"), std::string::npos) << child.err;
        EXPECT_EQ(child.out, "");
    }

    TempDirectory directory;
    std::string netcore_root = directory.make_directory("runtime");
    std::string assembly_root = directory.make_directory("assemblies");
    std::string netcore_dir;
    std::string exe = pal::get_entry_point_exe();
    std::string exe_dir = pal::path_get_directory(exe);
};

TEST_F(HostStart, FirstModuleLoadsInitializesAndShutsDownAtExit) {
    install();
    directory.make_directory("assemblies/imaging");
    directory.make_directory("assemblies/pydrawing");
    const ChildResult child = run_in_child([] { start(); });
    EXPECT_EQ(child.exit_code, 0) << child.err;
    EXPECT_EQ(child.out + child.err, "");
    EXPECT_EQ(log(),
              start_log(assembly_root + "/imaging:" + assembly_root + "/pydrawing:" + netcore_dir) + "shutdown\n");
}

TEST_F(HostStart, FurtherCallsChangeNothing) {
    install();
    const ChildResult child = run_in_child([] {
        HostEnvironment& environment = start();
        if (&HostEnvironment::instance(nullptr, false, nullptr, nullptr, nullptr, nullptr) != &environment) {
            abort();
        }
        if (&HostEnvironment::instance("5", true, "other", "x", "/absent", "/absent") != &environment) {
            abort();
        }
    });
    EXPECT_EQ(child.exit_code, 0) << child.err;
    EXPECT_EQ(log(), start_log(netcore_dir) + "shutdown\n");
}

TEST_F(HostStart, AttachesToALibraryThatIsLoadedAlready) {
    install();
    const ChildResult child = run_in_child([this] {
        if (pal::load_library(netcore_dir + "/" + kWrapper) == nullptr) {
            abort();
        }
        HostEnvironment& environment = start();
        std::printf("%d", static_cast<int>(environment.create_default_app_domain()));
    });
    EXPECT_EQ(child.exit_code, 0) << child.err;
    EXPECT_EQ(child.out, "0");
    EXPECT_EQ(log(), "is_domain_initialized\n");
}

TEST_F(HostStart, AttachingWithoutADomainIsNoFailure) {
    install();
    setenv("FAKE_WRAP_IS_DOMAIN", "0", 1);
    const ChildResult child = run_in_child([this] {
        if (pal::load_library(netcore_dir + "/" + kWrapper) == nullptr) {
            abort();
        }
        void* delegate = nullptr;
        std::printf("%d", start().try_create_delegate("a", "t", "m", &delegate));
    });
    EXPECT_EQ(child.exit_code, 0) << child.err;
    EXPECT_EQ(child.out, "0");
    EXPECT_EQ(log(), "is_domain_initialized\ndelegate a t m\n");
}

TEST_F(HostStart, DelegatesAreAskedForByNameAndReportByStatus) {
    install();
    setenv("FAKE_WRAP_NO_DELEGATE", "b,0", 1);
    const ChildResult child = run_in_child([] {
        void* delegate = nullptr;
        const int found = start().try_create_delegate("a", "t", "m", &delegate);
        const int missing = start().try_create_delegate("b", "t", "m", &delegate);
        std::printf("%x %x", static_cast<unsigned>(found), static_cast<unsigned>(missing));
    });
    EXPECT_EQ(child.out, "0 80131513");
}

TEST_F(HostStart, HighestVersionWithTheWrapperIsTheRuntimeDirectory) {
    install("netcore9.0");
    directory.make_directory("runtime/netcore11.0");
    install("netcore10.0");
    run_in_child([] { start(); });
    EXPECT_EQ(log(), start_log(netcore_root + "/netcore10.0") + "shutdown\n");
}

TEST_F(HostStart, GivenDirectoriesComeBeforeTheVariables) {
    install();
    const std::string given = directory.make_directory("given");
    directory.copy_file(kFakeWrapper, std::string("given/") + kWrapper);
    netcore_dir = given;
    const ChildResult child = run_in_child([given] { start(given.c_str(), "/assemblies of my own"); });
    EXPECT_EQ(child.exit_code, 0) << child.err;
    EXPECT_EQ(log(), start_log("/assemblies of my own:" + given) + "shutdown\n");
}

TEST_F(HostStart, UnsetAssemblyVariableMeansTheDirectoryOfTheExecutable) {
    install();
    for (const char* value : {static_cast<const char*>(nullptr), ""}) {
        value != nullptr ? setenv("NETCORE_WRAPPER_ASSEMBLY_DIR_zelmor", value, 1)
                         : unsetenv("NETCORE_WRAPPER_ASSEMBLY_DIR_zelmor");
        std::filesystem::remove(directory / "log");
        run_in_child([] { start(); });
        EXPECT_EQ(log(), start_log(exe_dir + ":" + netcore_dir) + "shutdown\n");
    }
}

TEST_F(HostStart, RuntimeDirectoryAppearsOnceAmongTheAssemblyDirectories) {
    install();
    setenv("NETCORE_WRAPPER_ASSEMBLY_DIR_zelmor", netcore_root.c_str(), 1);
    run_in_child([] { start(); });
    EXPECT_EQ(log(), start_log(netcore_dir) + "shutdown\n");
}

TEST_F(HostStart, MissingRuntimeDirectoryFallsBackToTheExecutablesDirectory) {
    for (const char* value : {netcore_root.c_str(), "/absent", ""}) {
        setenv("NETCORE_WRAPPER_NETCORE_DIR_zelmor", value, 1);
        const ChildResult child = run_in_child([] {
            setenv("COREHOST_TRACE", "1", 1);
            start();
        });
        EXPECT_EQ(child.signal, SIGABRT);
        // The lines before an abort are lost with the buffer of the stream, so that only the exception is seen.
        EXPECT_NE(child.err.find("DynamicLibrary::load"), std::string::npos) << child.err;
    }
    unsetenv("NETCORE_WRAPPER_NETCORE_DIR_zelmor");
    const ChildResult child = run_in_child([] {
        std::setvbuf(stdout, nullptr, _IONBF, 0);
        setenv("COREHOST_TRACE", "1", 1);
        start();
    });
    EXPECT_NE(child.out.find("NETCORE_DIR: '" + exe_dir + "'\r\n"), std::string::npos) << child.out;
    EXPECT_NE(child.out.find("No: '" + exe_dir + "/" + kWrapper + "'\r\n"), std::string::npos) << child.out;
}

TEST_F(HostStart, MissingWrapperLibraryIsFatal) {
    expect_fatal("std::runtime_error", "DynamicLibrary::load");
}

TEST_F(HostStart, EachMissingSymbolIsFatal) {
    for (const char* symbol : {"load", "initialize", "create_delegate", "shutdown", "is_domain_initialized"}) {
        std::filesystem::remove_all(netcore_root);
        install("netcore3.1", std::string(FAKE_WRAPPER_DIR) + "/libfake_wrapper_without_" + symbol + ".so");
        expect_fatal("std::runtime_error", std::string("No such symbol: coreclr_wrap_") + symbol);
    }
    EXPECT_EQ(log(), "");
}

TEST_F(HostStart, FailedLoadOfTheRuntimeIsFatal) {
    install();
    setenv("FAKE_WRAP_LOAD", "0", 1);
    expect_fatal("std::runtime_error", "init coreclr wap");
    EXPECT_EQ(log(), "load " + netcore_dir + "/libcoreclr.so\n");
}

TEST_F(HostStart, FailedInitializationIsFatal) {
    install();
    setenv("FAKE_WRAP_INITIALIZE", "0x80070002", 1);
    expect_fatal("HostException", "coreclr_initialize failed - status:0x80070002");
    EXPECT_EQ(log(), start_log(netcore_dir));
}

TEST_F(HostStart, VersionNumberBeyondIntIsFatal) {
    install();
    directory.make_directory("runtime/netcore99999999999.1");
    expect_fatal("std::out_of_range", "stoi");
}

TEST_F(HostStart, DebugFlavourIsLoadedFromWhereTheOrdinaryOneLies) {
    install();
    expect_fatal("std::runtime_error", "DynamicLibrary::load", true);
    install("netcore3.1", kFakeWrapper, kDebugWrapper);
    directory.make_directory("assemblies/imaging/debug");
    directory.make_directory("assemblies/other");
    const ChildResult child =
        run_in_child([] { std::printf("%s", start(nullptr, nullptr, true).get_libcoreclr_wrap_name()); });
    EXPECT_EQ(child.out, kDebugWrapper);
    EXPECT_EQ(log(), start_log(assembly_root + "/imaging/debug:" + netcore_dir) + "shutdown\n");
}

TEST_F(HostStart, TraceFollowsTheSteps) {
    install();
    setenv("FAKE_WRAP_SHUTDOWN", "-7", 1);
    const ChildResult child = run_in_child([] {
        setenv("COREHOST_TRACE", "1", 1);
        start();
    });
    const std::string wrapper_path = netcore_dir + "/" + kWrapper;
    EXPECT_EQ(child.out, lines({
                             "CLR host tracing enabled",
                             "Initializing .NET Core host...",
                             "NETCORE_DIR: '" + netcore_dir + "'",
                             "PRODUCT_ASSEMBLY_DIR: '" + netcore_dir + "'",
                             "Loading: '" + wrapper_path + "'",
                             "Try get module...",
                             "No existed module...",
                             "wrap dll loaded",
                             "Loading2: '" + netcore_dir + "/libcoreclr.so'",
                             ".NET Core host ready.",
                             "Creating default AppDomain...",
                             "APP_PATH: '" + netcore_dir + "'",
                             "APP_NI_PATHS: '" + netcore_dir + "'",
                             "NATIVE_DLL_SEARCH_DIRECTORIES: '" + netcore_dir + "'",
                             "Default AppDomain ready.",
                             "Shutdowning .NET Core host...",
                             ".NET Core host is down: -7",
                         }));
}

TEST_F(HostStart, AttachedModuleTracesNoStart) {
    install();
    const ChildResult child = run_in_child([this] {
        setenv("COREHOST_TRACE", "1", 1);
        if (pal::load_library(netcore_dir + "/" + kWrapper) == nullptr) {
            abort();
        }
        start();
    });
    EXPECT_NE(child.out.find("Using existed module...\r\nwrap dll loaded\r\n.NET Core host ready.\r\n"),
              std::string::npos)
        << child.out;
    EXPECT_EQ(child.out.find("AppDomain"), std::string::npos) << child.out;
    EXPECT_EQ(child.out.find("Shutdowning"), std::string::npos) << child.out;
}

TEST_F(HostStart, ShutsDownOnce) {
    install();
    const ChildResult child = run_in_child([] {
        HostEnvironment& environment = start();
        std::printf("%d ", environment.try_shutdown_default_app_domain());
        std::printf("%d", environment.try_shutdown_default_app_domain());
    });
    EXPECT_EQ(child.out, "0 -1");
    EXPECT_EQ(log(), start_log(netcore_dir) + "shutdown\n");
}

TEST_F(HostStart, ForkedChildLeavesTheRuntimeToItsParent) {
    install();
    const ChildResult child = run_in_child([this] {
        HostEnvironment& environment = start();
        std::fflush(nullptr);
        const pid_t forked = fork();
        if (forked == 0) {
            std::exit(environment.try_shutdown_default_app_domain() == -1 ? 0 : 1);
        }
        int status = 0;
        if (waitpid(forked, &status, 0) != forked || status != 0) {
            abort();
        }
        if (log() != start_log(netcore_dir)) {
            abort();
        }
        if (fork() == 0) {
            std::exit(0);
        }
        if (wait(nullptr) < 0) {
            abort();
        }
        std::printf("%d", static_cast<int>(log() == start_log(netcore_dir)));
    });
    EXPECT_EQ(child.exit_code, 0) << child.err;
    EXPECT_EQ(child.out, "1");
    EXPECT_EQ(log(), start_log(netcore_dir) + "shutdown\n");
}

TEST_F(HostStart, WrapperLibraryStaysLoadedToTheEnd) {
    install();
    const ChildResult child = run_in_child([this] {
        static std::string path = netcore_dir + "/" + kWrapper;
        // Registered before the environment exists, and so run after its destructor.
        std::atexit([] {
            void* handle = nullptr;
            std::printf("%d", static_cast<int>(pal::get_module(path, &handle)));
        });
        start();
    });
    EXPECT_EQ(child.out, "1");
}

TEST_F(HostStart, FolderIsCompletedOnce) {
    install();
    const ChildResult child = run_in_child([] {
        std::vector<std::string> folders = {"a"};
        start().complete_app_folders(folders, "b");
        start().complete_app_folders(folders, "a");
        std::printf("%s", pal::join(folders, ':', false).c_str());
    });
    EXPECT_EQ(child.out, "a:b");
}

TEST(DomainName, IsTheOneThatTheRuntimeIsGiven) {
    EXPECT_STREQ(ZelmorDomainName, "ZelmorCLRHostDomain");
}

}  // namespace

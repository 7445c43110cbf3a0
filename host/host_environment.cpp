// Finding, loading, starting and stopping the managed runtime. Until the domain runs, a failure is an exception that
// nothing catches, since the module is of no use without a runtime. Afterwards failures are reported as status codes.
#include "host/host_environment.h"

#include <algorithm>
#include <cassert>
#include <iterator>
#include <stdexcept>

#include "host/exceptions.h"
#include "host/host_trace.h"
#include "host/pal.h"

// Never changed: exported for others that look for it.
const char* ZelmorDomainName = "ZelmorCLRHostDomain";

namespace {

constexpr const char* kWrapName = "libzelmor.embed.coreclrwrap.so";
constexpr const char* kWrapDebugName = "libzelmor.embed.coreclrwrap.debug.so";
constexpr const char* kRuntimeName = "libcoreclr.so";
constexpr const char* kNetcoreDirVariable = "NETCORE_WRAPPER_NETCORE_DIR";
constexpr const char* kAssemblyDirVariable = "NETCORE_WRAPPER_ASSEMBLY_DIR";
constexpr char kListSeparator = ':';

// Reads the environment variable `<stem>_<suffix>`; the suffix names the family of products.
bool read_variable(const char* stem, const char* suffix, std::string& value) {
    assert(stem != nullptr);
    return pal::getenv((std::string(stem) + "_" + (suffix != nullptr ? suffix : "")).c_str(), value);
}

template <typename Function>
void resolve(const DynamicLibrary& library, const char* name, Function*& function) {
    assert(library.is_held() && name != nullptr);
    function = reinterpret_cast<Function*>(library.get_symbol(name));
}

}  // namespace

HostEnvironment& HostEnvironment::instance(const char* version, bool debug, const char* suffix, const char* product,
                                           const char* netcore_dir, const char* assembly_dir) {
    // The runtime is one for the process; it is started while the module is imported, under the interpreter lock.
    static HostEnvironment environment;
    if (environment.m_wrap_library.is_held()) {
        return environment;
    }

    trace::initialize();
    environment.initialize(version, debug, suffix, product, netcore_dir, assembly_dir);
    if (environment.m_wrap_library.is_first_load()) {
        environment.create_default_app_domain();
    } else {
        // A domain that is not up is no failure here: the first delegate that is asked for reports it.
        environment.m_domain_ready = environment.m_coreclr_wrap_is_domain_initialized() != 0;
    }
    return environment;
}

HostEnvironment::HostEnvironment()
    : m_coreclr_wrap_initialize(nullptr),
      m_coreclr_wrap_create_delegate(nullptr),
      m_coreclr_wrap_shutdown(nullptr),
      m_coreclr_wrap_is_domain_initialized(nullptr),
      m_domain_ready(false),
      m_debug(false),
      m_starting_process(0) {}

// Runs at process exit, after Py_Finalize. Being noexcept, it turns any exception into std::terminate.
HostEnvironment::~HostEnvironment() {
    try_shutdown_default_app_domain();
}

int HostEnvironment::try_create_delegate(const char* assembly, const char* type, const char* method,
                                         void** delegate) const {
    assert(m_coreclr_wrap_create_delegate != nullptr);
    assert(assembly != nullptr && type != nullptr && method != nullptr && delegate != nullptr);
    return m_coreclr_wrap_create_delegate(assembly, type, method, delegate);
}

const char* HostEnvironment::get_libcoreclr_wrap_name() const {
    return m_debug ? kWrapDebugName : kWrapName;
}

void HostEnvironment::complete_app_folders(std::vector<std::string>& folders, const std::string& folder) {
    if (std::find(folders.begin(), folders.end(), folder) == folders.end()) {
        folders.push_back(folder);
    }
}

void HostEnvironment::initialize(const char* /*version*/, bool debug, const char* suffix, const char* /*product*/,
                                 const char* netcore_dir, const char* assembly_dir) {
    trace::info("Initializing .NET Core host...");
    m_entry_point_exe = pal::get_entry_point_exe();
    m_debug = debug;

    const std::string wrap_name = get_libcoreclr_wrap_name();
    const std::string exe_dir = pal::path_get_directory(m_entry_point_exe);
    find_netcore_dir(suffix, netcore_dir, exe_dir);
    trace::info("NETCORE_DIR: '%s'", m_netcore_dir.c_str());
    find_assembly_dirs(suffix, assembly_dir, exe_dir);
    trace::info("PRODUCT_ASSEMBLY_DIR: '%s'", m_assembly_dirs.c_str());

    const std::string path = pal::build_path(m_netcore_dir, wrap_name);
    trace::verbose("Loading: '%s'", path.c_str());
    m_wrap_library = DynamicLibrary::load(path, wrap_name);
    trace::info("wrap dll loaded");
    m_wrap_library.set_can_free(false);

    resolve_wrapper();
    if (m_wrap_library.is_first_load()) {
        load_runtime();
    }
    trace::info(".NET Core host ready.");
}

void HostEnvironment::find_netcore_dir(const char* suffix, const char* netcore_dir, const std::string& exe_dir) {
    if (netcore_dir != nullptr) {
        m_netcore_dir = netcore_dir;
        return;
    }
    // The search asks for the ordinary flavor even if the debug flavor is going to be loaded: the two lie together.
    std::string best;
    const bool found = read_variable(kNetcoreDirVariable, suffix, m_netcore_dir) &&
                       pal::get_major_netcore_path(m_netcore_dir, kWrapName, best);
    m_netcore_dir = found ? best : exe_dir;
}

void HostEnvironment::find_assembly_dirs(const char* suffix, const char* assembly_dir, const std::string& exe_dir) {
    std::vector<std::string> folders;
    std::string root;
    if (assembly_dir != nullptr) {
        folders.emplace_back(assembly_dir);
    } else if (read_variable(kAssemblyDirVariable, suffix, root)) {
        pal::get_app_folders(root, m_debug, folders);
    } else {
        folders.push_back(exe_dir);
    }
    complete_app_folders(folders, m_netcore_dir);
    m_assembly_dirs = pal::join(folders, kListSeparator, false);
}

void HostEnvironment::resolve_wrapper() {
    resolve(m_wrap_library, "coreclr_wrap_initialize", m_coreclr_wrap_initialize);
    resolve(m_wrap_library, "coreclr_wrap_create_delegate", m_coreclr_wrap_create_delegate);
    resolve(m_wrap_library, "coreclr_wrap_shutdown", m_coreclr_wrap_shutdown);
    resolve(m_wrap_library, "coreclr_wrap_is_domain_initialized", m_coreclr_wrap_is_domain_initialized);
}

void HostEnvironment::load_runtime() {
    int (*coreclr_wrap_load)(const char* libcoreclr_path) = nullptr;
    resolve(m_wrap_library, "coreclr_wrap_load", coreclr_wrap_load);
    const std::string core = pal::build_path(m_netcore_dir, kRuntimeName);
    trace::verbose("Loading2: '%s'", core.c_str());
    if (coreclr_wrap_load(core.c_str()) == 0) {
        throw std::runtime_error("init coreclr wap");
    }
}

bool HostEnvironment::create_default_app_domain() {
    if (m_domain_ready) {
        return false;
    }
    assert(m_coreclr_wrap_initialize != nullptr);
    trace::info("Creating default AppDomain...");
    const std::string app_path = m_assembly_dirs;
    const std::string app_ni_paths = m_assembly_dirs;
    const std::string native_dirs = m_assembly_dirs;
    // The C library reads "%hs" as "%s"; the compilers' objection to it is silenced for these three lines only.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat"
    trace::verbose("APP_PATH: '%hs'", app_path.c_str());
    trace::verbose("APP_NI_PATHS: '%hs'", app_ni_paths.c_str());
    trace::verbose("NATIVE_DLL_SEARCH_DIRECTORIES: '%hs'", native_dirs.c_str());
#pragma GCC diagnostic pop

    // No trusted list: the framework and the assemblies are all found by directory, through APP_PATHS.
    const char* keys[] = {
        "TRUSTED_PLATFORM_ASSEMBLIES", "APP_PATHS", "APP_NI_PATHS", "NATIVE_DLL_SEARCH_DIRECTORIES",
        "AppDomainCompatSwitch",
    };
    const char* values[] = {
        "", app_path.c_str(), app_ni_paths.c_str(), native_dirs.c_str(), "UseLatestBehaviorWhenTFMNotSpecified",
    };
    static_assert(std::size(keys) == std::size(values));

    const std::string exe = m_entry_point_exe;
    const int status =
        m_coreclr_wrap_initialize(exe.c_str(), ZelmorDomainName, static_cast<int>(std::size(keys)), keys, values);
    if (status != 0) {
        throw HostException(static_cast<unsigned int>(status),
                            pal::to_error_string_with_status_code("coreclr_initialize failed - status:", status, ""));
    }
    m_domain_ready = true;
    m_starting_process = pal::get_process_id();
    trace::info("Default AppDomain ready.");
    return true;
}

int HostEnvironment::try_shutdown_default_app_domain() {
    if (m_coreclr_wrap_shutdown == nullptr || !m_domain_ready) {
        return -1;
    }
    const bool started_here = m_wrap_library.is_first_load() && m_starting_process == pal::get_process_id();
    if (!m_wrap_library.is_held() || !started_here) {
        m_domain_ready = false;
        return -1;
    }
    trace::info("Shutdowning .NET Core host...");
    const int result = m_coreclr_wrap_shutdown();
    trace::info(".NET Core host is down: %d", result);
    m_domain_ready = false;
    return 0;
}

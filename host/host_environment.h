// The owner of the managed runtime inside the Python process. It finds the directories, loads the wrapper library,
// starts the runtime or joins the one that a sibling module started, and creates delegates on request. It does not know
// which delegates there are or what they do. There is one environment per extension module.
#ifndef ZELMOR_HOST_HOST_ENVIRONMENT_H
#define ZELMOR_HOST_HOST_ENVIRONMENT_H

#include <string>
#include <vector>

#include "host/dynamic_library.h"

/// Name of the application domain. Exported by every module on the bridge.
[[gnu::visibility("default")]] extern const char* ZelmorDomainName;

class HostEnvironment {
 public:
    /// The environment of this module, started by the first call. Later calls ignore the arguments and pass nulls and
    /// false. `version` and `product` are not used. Throws if the runtime cannot be started; see exceptions.h.
    static HostEnvironment& instance(const char* version, bool debug, const char* suffix, const char* product,
                                     const char* netcore_dir, const char* assembly_dir);

    HostEnvironment(const HostEnvironment&) = delete;
    HostEnvironment& operator=(const HostEnvironment&) = delete;

    /// Asks the runtime for the native entry of a managed method; 0 on success, else a status code.
    int try_create_delegate(const char* assembly, const char* type, const char* method, void** delegate) const;

    /// File name of the wrapper library in the flavor that was asked for.
    const char* get_libcoreclr_wrap_name() const;

    /// Starts the runtime with one application domain; false if a domain is up already.
    bool create_default_app_domain();

    /// Shuts the domain down if this environment started it in this process: in a forked child, the environment is a
    /// copy of its parent's, and so is the runtime. 0 if it was shut down, otherwise -1.
    int try_shutdown_default_app_domain();

    /// Appends the folder unless an equal one is already there.
    void complete_app_folders(std::vector<std::string>& folders, const std::string& folder);

 private:
    HostEnvironment();
    ~HostEnvironment();

    void initialize(const char* version, bool debug, const char* suffix, const char* product, const char* netcore_dir,
                    const char* assembly_dir);
    void find_netcore_dir(const char* suffix, const char* netcore_dir, const std::string& exe_dir);
    void find_assembly_dirs(const char* suffix, const char* assembly_dir, const std::string& exe_dir);
    void resolve_wrapper();
    void load_runtime();

    std::string m_entry_point_exe;
    std::string m_netcore_dir;
    std::string m_assembly_dirs;
    DynamicLibrary m_wrap_library;
    int (*m_coreclr_wrap_initialize)(const char* exe_path, const char* domain_name, int property_count,
                                     const char** property_keys, const char** property_values);
    int (*m_coreclr_wrap_create_delegate)(const char* assembly, const char* type, const char* method, void** delegate);
    int (*m_coreclr_wrap_shutdown)();
    int (*m_coreclr_wrap_is_domain_initialized)();
    bool m_domain_ready;
    bool m_debug;
    int m_starting_process;
};

#endif  // ZELMOR_HOST_HOST_ENVIRONMENT_H
